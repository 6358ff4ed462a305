// qmctl persist: memory that outlives a model run. Listed and dumped from the files of shared memory, so that
// looking changes nothing; cleared by the library.

#include "ask.hpp"
#include "child.hpp"
#include "files.hpp"
#include "nouns.hpp"
#include "persistent_format.hpp"
#include "text.hpp"
#include <qm/persistent_memory.h>

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstring>
#include <fstream>

namespace qmctl {

namespace {

using persistent::kDirectory;

/// What the objects are damaged by is told as a Failure.
Failure damaged(const std::string& what)
{
    return Failure(fmt::format("{} is damaged; save what is wanted of /dev/shm, then remove {} by hand", what,
                               kDirectory));
}

std::vector<std::string> names()
{
    const auto content = files::content(kDirectory);
    if (!content) return {};
    const persistent::Directory directory = persistent::directoryIn(*content);
    if (!directory.whole) throw damaged(kDirectory);
    return directory.names;
}

struct Object
{
    std::size_t bytes = 0;
    std::size_t fragments = 0;
    std::string content;  ///< what users have allocated, fragment behind fragment
};

Object read(const std::string& name)
{
    const std::string path = persistent::pathOf(name);
    const auto bytes = files::content(path);
    if (!bytes) throw Failure(fmt::format("{} cannot be read: {}", path, std::strerror(errno)));
    const persistent::Object found = persistent::objectIn(*bytes);
    if (!found.whole) throw damaged(path);
    Object object{bytes->size(), found.fragments.size(), {}};
    for (const persistent::Fragment& fragment : found.fragments)
        object.content += bytes->substr(fragment.usedBegin, fragment.used);
    return object;
}

Json list()
{
    Json objects = Json::array();
    for (const std::string& name : names()) {
        Json row{{"name", name}};
        try {
            const Object object = read(name);
            row.update({{"bytes", object.bytes},
                        {"used", object.content.size()},
                        {"fragments", object.fragments},
                        {"state", "ok"}});
        } catch (const Failure& failure) {
            row["state"] = failure.what();
        }
        objects.push_back(row);
    }
    return objects;
}

std::string showList(const Json& objects, const Look& look)
{
    return table(objects,
                 {{"Name", "name"},
                  {"Bytes", "bytes", false, true},
                  {"Used", "used", false, true},
                  {"Fragments", "fragments", false, true},
                  {"State", "state", true}},
                 look, "no persistent memory");
}

Outcome dump(const Arguments& arguments)
{
    const std::string name = arguments.text("NAME");
    const auto all = names();
    if (std::find(all.begin(), all.end(), name) == all.end())
        throw Failure(fmt::format("there is no object '{}'; 'qmctl persist list' shows what there is", name));
    const Object object = read(name);
    Json value{{"name", name}, {"used", object.content.size()}};
    if (!arguments.has("--output")) {
        std::string digits;
        for (const char byte : object.content)
            digits += fmt::format("{:02x}", static_cast<unsigned char>(byte));
        value["content"] = digits;
        return {value};
    }
    const std::string path = arguments.text("--output");
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    if (!(file << object.content << std::flush))
        throw Failure(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
    value["done"] = fmt::format("{} bytes of {} written to {}", object.content.size(), name, path);
    return {value};
}

/// As "hexdump -C" shows it.
std::string showDump(const Json& value, const Look& look)
{
    if (value.contains("done")) return showDone(value, look);
    constexpr std::size_t kLine = 16;
    const std::string digits = value.at("content");
    std::string text;
    for (std::size_t i = 0; i < digits.size() / 2; i += kLine) {
        std::string bytes;
        std::string letters;
        for (std::size_t j = i; j < std::min(i + kLine, digits.size() / 2); ++j) {
            const std::string pair = digits.substr(2 * j, 2);
            const int letter = std::stoi(pair, nullptr, 16);
            bytes += pair + ' ';
            letters += letter < 0x7F && std::isprint(letter) != 0 ? static_cast<char>(letter) : '.';
        }
        text += fmt::format("{:08x}  {:<48} |{}|\n", i, bytes, letters);
    }
    return text.empty() ? "the object is empty\n" : text;
}

Outcome clear(const Arguments& arguments)
{
    if (!files::present(kDirectory)) return {{{"deleted", 0}, {"done", "no persistent memory"}}};
    const auto before = names();
    const std::string what =
        fmt::format("{} object{} of persistent memory", before.size(), before.size() == 1 ? "" : "s");
    if (arguments.has("--dry-run")) return {{{"deleted", 0}, {"done", "would delete " + what}}};
    askBefore("delete " + what, arguments);
    const Told told = inChild([] {
        qm_freePersistentMemory();
        return Json();
    });
    if (files::present(kDirectory))
        throw Failure(
            fmt::format("the library cannot open the directory{}; save what is wanted of /dev/shm, then "
                        "remove {} by hand",
                        told.said.empty() ? "" : " (" + reasonOf(told.said, "") + ')', kDirectory));
    return {{{"deleted", before.size()}, {"done", "deleted " + what}}};
}

}  // namespace

std::vector<Command> persistCommands()
{
    return {{"persist",
             "list",
             "List the objects of persistent memory",
             {},
             [](const Arguments&) { return Outcome{list()}; },
             showList},
            {"persist",
             "dump",
             "Show what an object of persistent memory holds",
             {{"NAME", Kind::text, "NAME", "As in 'qmctl persist list'"},
              {"--output", Kind::file, "FILE", "Write the bytes to a file"}},
             dump,
             showDump,
             "",
             false},
            {"persist", "clear", "Delete all persistent memory", deletingOptions(), clear, showDone,
             "The next run of a model starts with fresh memory. A running model keeps what it has until it "
             "ends.",
             false}};
}

}  // namespace qmctl
