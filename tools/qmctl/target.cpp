// qmctl target: what the library knows of this computer.

#include "child.hpp"
#include "doctor.hpp"
#include "nouns.hpp"
#include "text.hpp"
#include <qm/paths.h>
#include <qm/target.h>

#include <array>

namespace qmctl {

namespace {

constexpr std::size_t kVersionSize = 100;

constexpr std::array<const char*, 18> kNames{"KR410",   "KR411", "Ridge",       "Lowland", "Lowland_TopLayer",
                                             "RoverV2", "Slate", "Cube",        "Harbor",  "RoverAEG",
                                             "Campus2", "KT411", "RoverV3",     "Zenith",  "Brisa",
                                             "Otter",   "Talus", "NonQuillmark"};

Json libraryVersion()
{
    std::array<char, kVersionSize> version{};
    if (qm_getLibVersion(version.data()) != 0) return nullptr;
    std::string text = version.data();
    return text.erase(text.find_last_not_of("\r\n") + 1);
}

Json describe()
{
    const qm_TargetType type = qm_getTargetType();
    return {{"type", kNames.at(static_cast<std::size_t>(type))}, {"number", static_cast<int>(type)},
            {"marketing_name", qm_getTargetMarketingName()},     {"screen_line_1", qm_getTargetScreenLine1()},
            {"screen_line_2", qm_getTargetScreenLine2()},        {"library_version", libraryVersion()}};
}

std::string show(const Json& value, const Look& look)
{
    return facts(value,
                 {{"Type", "type"},
                  {"Number", "number"},
                  {"Marketing name", "marketing_name"},
                  {"Screen line 1", "screen_line_1"},
                  {"Screen line 2", "screen_line_2"},
                  {"Library version", "library_version"},
                  {"CPU temperature", "cpu_temperature"}},
                 look);
}

}  // namespace

std::vector<Command> targetCommands()
{
    return {{"target",
             "",
             "Show what the library takes this computer for",
             {},
             [](const Arguments&) {
                 Outcome outcome{inChild(describe).value};
                 outcome.value["cpu_temperature"] = cpuTemperature();
                 return outcome;
             },
             show,
             "The type follows from the PCI topology; the screen lines and the version are those of the "
             "target's image, below /usr/quillmark/sysinfo."}};
}

}  // namespace qmctl
