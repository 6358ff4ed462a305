// qmctl latency and irq latency: how this machine reacts, as a model will feel it.

#include "board.hpp"
#include "files.hpp"
#include "measuring.hpp"
#include "nouns.hpp"
#include "text.hpp"

#include <fmt/format.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <regex>

namespace qmctl {

namespace {

constexpr std::array<uint32_t, 4> kWaits{100, 1000, 10'000, 100'000};  // ns
constexpr std::size_t kBusyWaits = 2000;                               // of each length
constexpr std::size_t kMostSamples = 20'000'000;
constexpr char kUioDriver[] = "uio_quillmark";

/// Boards whose interrupt registers are known.
struct KnownBoard
{
    uint16_t vendor, device;
    Stimulus stimulus;
};

constexpr KnownBoard kKnownBoards[] = {{0x1234, 0x11E8, {0, 0x60, 1, 0x64, 1}}};

/// "0x60=1": offset and value.
std::pair<uint32_t, uint32_t> registerWrite(const Arguments& arguments, const std::string& option)
{
    static const std::regex kForm("(0x[0-9a-fA-F]{1,8}|[0-9]{1,9})=(0x[0-9a-fA-F]{1,8}|[0-9]{1,9})");
    std::smatch parts;
    const std::string text = arguments.text(option);
    if (!std::regex_match(text, parts, kForm))
        throw usage(fmt::format("{}: '{}' is wrong; right is OFFSET=VALUE as in 0x60=1", option, text));
    const auto offset = static_cast<uint32_t>(std::stoul(parts[1], nullptr, 0));
    if (offset % sizeof(uint32_t) != 0)
        throw usage(fmt::format("{}: the offset 0x{:x} is no multiple of 4", option, offset));
    return {offset, static_cast<uint32_t>(std::stoul(parts[2], nullptr, 0))};
}

/// What --raise and --acknowledge say; nothing without them.
std::optional<Stimulus> stimulusFrom(const Arguments& arguments)
{
    if (arguments.has("--raise") != arguments.has("--acknowledge"))
        throw usage("--raise and --acknowledge need each other");
    if (!arguments.has("--raise")) return std::nullopt;
    Stimulus stimulus;
    stimulus.bar = static_cast<unsigned>(arguments.whole("--bar"));
    std::tie(stimulus.raiseAt, stimulus.raiseValue) = registerWrite(arguments, "--raise");
    std::tie(stimulus.acknowledgeAt, stimulus.acknowledgeValue) = registerWrite(arguments, "--acknowledge");
    return stimulus;
}

Stimulus knownStimulus(const qm_PCIDevice& board)
{
    for (const KnownBoard& known : kKnownBoards)
        if (known.vendor == board.VendorId && known.device == board.DeviceId) return known.stimulus;
    throw usage(
        fmt::format("how {} interrupts is not known; say --raise OFFSET=VALUE and --acknowledge OFFSET=VALUE",
                    idsOf(board)));
}

/// The first isolated CPU; -1 without one.
int isolatedCpu()
{
    const std::string list = files::firstLine("/sys/devices/system/cpu/isolated").value_or("");
    return list.empty() ? -1 : std::atoi(list.c_str());
}

Settings settingsFrom(const Arguments& arguments)
{
    Settings settings;
    settings.cpu = arguments.has("--cpu") ? arguments.whole("--cpu") : isolatedCpu();
    settings.priority = arguments.whole("--priority");
    settings.periodNs = static_cast<int64_t>(arguments.number("--period") * 1e3);
    settings.seconds = arguments.number("--duration");
    if (settings.samples() > kMostSamples)
        throw usage(fmt::format(
            "{} samples are too many; right are {} at most: a longer --period, a shorter --duration",
            settings.samples(), kMostSamples));
    return settings;
}

void add(Json& measurements, const std::string& name, const std::string& title, const Recorder& recorder)
{
    Json measurement{{"name", name}, {"title", title}};
    measurement.update(statisticsOf(recorder.sorted()));
    measurements.push_back(measurement);
}

void addWakeUp(const Settings& settings, Json& measurements)
{
    Recorder times(settings.samples());
    measureWakeUp(settings, times);
    add(measurements, "wake-up", fmt::format("Wake-up latency, period {} us", settings.periodNs / 1000),
        times);
}

void addBusyWaits(const Settings& settings, Json& measurements)
{
    for (const uint32_t length : kWaits) {
        Recorder times(kBusyWaits);
        measureBusyWait(settings, length, times);
        add(measurements, fmt::format("qm_wait_ns({})", length),
            fmt::format("Overshoot of qm_wait_ns({})", length), times);
    }
}

void addInterrupt(const Settings& settings, const Arguments& arguments, Json& measurements)
{
    const std::optional<Stimulus> stimulus = stimulusFrom(arguments);
    const qm_PCIDevice board = findBoardInChild(arguments);
    const std::string address = addressOf(board);
    const std::string driver = driverOf(address);
    if (!driver.empty() && driver != kUioDriver)
        throw Failure(fmt::format("{} belongs to the driver {}; 'qmctl pci bind {} {}' takes it over",
                                  address, driver, address, kUioDriver));
    Recorder times(settings.samples());
    measureInterrupt(settings, board, stimulus ? *stimulus : knownStimulus(board), times);
    add(measurements, "interrupt", fmt::format("Interrupt latency of {} {}", address, idsOf(board)), times);
}

std::string picture(const Json& value)
{
    return svgPlot(value.at("measurements"),
                   fmt::format("{}, CPU {}, priority {}", plain(value.at("kernel")), plain(value.at("cpu")),
                               plain(value.at("priority"))));
}

Outcome run(const Arguments& given, const std::string& only)
{
    Arguments arguments = given;
    if (arguments.has("--board")) arguments.set("BOARD", arguments.text("--board"));
    if (only == "interrupt" && !arguments.has("BOARD")) throw usage("--only interrupt needs --board BOARD");
    const Settings settings = settingsFrom(arguments);
    const std::string path = arguments.text("--svg");
    std::ofstream file;
    if (arguments.has("--svg")) file.open(path, std::ios::trunc);  // before the long measurement
    if (!file) throw Failure(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
    Json value{{"kernel", files::firstLine("/proc/sys/kernel/osrelease").value_or("")},
               {"cpu", settings.cpu < 0 ? Json("any") : Json(settings.cpu)},
               {"priority", settings.priority},
               {"unit", "us"},
               {"measurements", Json::array()}};
    Json& measurements = value["measurements"];
    if (only == "all" || only == "wake-up") addWakeUp(settings, measurements);
    if (only == "all" || only == "busy-wait") addBusyWaits(settings, measurements);
    if (arguments.has("BOARD") && (only == "all" || only == "interrupt"))
        addInterrupt(settings, arguments, measurements);
    if (arguments.has("--svg") && !(file << picture(value) << std::flush))
        throw Failure(fmt::format("cannot write {}: {}", path, std::strerror(errno)));
    return {value};
}

std::string show(const Json& value, const Look& look)
{
    std::string text = fmt::format("Kernel {}, CPU {}, priority {}\n\n", plain(value.at("kernel")),
                                   plain(value.at("cpu")), plain(value.at("priority")));
    Json rows = value.at("measurements");
    for (Json& row : rows)
        for (auto& [key, entry] : row.items())
            if (entry.is_number_float()) entry = fmt::format("{:.1f}", entry.get<double>());
    text += table(rows,
                  {{"us", "name"},
                   {"Samples", "count", false, true},
                   {"min", "min", false, true},
                   {"mean", "mean", false, true},
                   {"p50", "p50", false, true},
                   {"p99", "p99", false, true},
                   {"p99.9", "p99_9", false, true},
                   {"max", "max", false, true}},
                  look, "nothing was measured");
    for (const Json& measurement : value.at("measurements"))
        if (measurement.contains("histogram") && !plain(measurement.at("name")).starts_with("qm_wait"))
            text += textPlot(measurement.at("title"), measurement, look);
    return text;
}

std::vector<Option> measuringOptions()
{
    return {{"--cpu", Kind::whole, "N", "CPU to run on (the first isolated one)", "", 0, 4095},
            {"--priority", Kind::whole, "N", "Real-time priority", "90", 1, 99},
            {"--period", Kind::number, "US", "Microseconds from one sample to the next", "1000", 50, 1e6},
            {"--duration", Kind::number, "S", "Seconds that each measurement takes", "5", 0.1, 86400},
            {"--svg", Kind::file, "FILE", "Write the histograms as a picture"},
            {"--position", Kind::whole, "N", "Which of several boards with the IDs", "1", 1, 255},
            {"--bar", Kind::whole, "N", "BAR of the registers below", "0", 0, 5},
            {"--raise", Kind::text, "OFFSET=VALUE", "Register write that raises the interrupt"},
            {"--acknowledge", Kind::text, "OFFSET=VALUE", "Register write that takes it back"}};
}

constexpr char kDetails[] =
    "Everything is measured in a real-time thread made by the library; without the rights for one the "
    "command "
    "fails rather than measure something else. --raise and --acknowledge are known already for the board of "
    "the virtual target, 1234:11e8. Latencies in a virtual machine say nothing about a real one.";

}  // namespace

std::vector<Command> latencyCommands()
{
    auto all = measuringOptions();
    all.insert(all.begin(), {"--board", Kind::text, "BOARD", "Measure this board's interrupt, too"});
    all.insert(all.begin(), {"--only",
                             Kind::text,
                             "WHAT",
                             "all, wake-up, busy-wait or interrupt",
                             "all",
                             0,
                             0,
                             {"all", "wake-up", "busy-wait", "interrupt"}});
    auto board = measuringOptions();
    board.insert(board.begin(), boardOptions().front());
    return {{"irq", "latency", "Measure a board's interrupt latency", board,
             [](const Arguments& arguments) { return run(arguments, "interrupt"); }, show, kDetails, false},
            {"latency", "", "Measure wake-up, interrupt latency and busy waits", all,
             [](const Arguments& arguments) { return run(arguments, arguments.text("--only")); }, show,
             kDetails, false}};
}

}  // namespace qmctl
