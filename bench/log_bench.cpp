// The cost of a log line, all of whose records end in a sink that does nothing.

#include <qm.h>
#include <slrealtime/Logger.hpp>

#include <benchmark/benchmark.h>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/log/sources/record_ostream.hpp>
#include <boost/log/trivial.hpp>
#include <boost/make_shared.hpp>

#include <array>
#include <cstdarg>
#include <cstdio>

namespace {

namespace log = boost::log;

struct Nowhere : log::sinks::basic_sink_backend<log::sinks::concurrent_feeding>
{
    void consume(const log::record_view& /*record*/) {}
};

constexpr char kFormat[] = "board %d: BAR %u at 0x%08x, %s\n";
constexpr int kBoard = 3;
constexpr unsigned kBar = 0;
constexpr unsigned kAddress = 0xFEB00000;
constexpr char kState[] = "mapped";
constexpr char kText[] = "QM: board 3: BAR 0 at 0xfeb00000, mapped";

/// Makes the sink that does nothing the only one while it lives.
class OnlyNowhere
{
public:
    explicit OnlyNowhere(bool enabled)
    {
        log::core::get()->remove_all_sinks();
        log::core::get()->add_sink(boost::make_shared<log::sinks::unlocked_sink<Nowhere>>());
        log::core::get()->set_logging_enabled(enabled);
    }
    OnlyNowhere(const OnlyNowhere&) = delete;
    OnlyNowhere& operator=(const OnlyNowhere&) = delete;
    ~OnlyNowhere()
    {
        log::core::get()->set_logging_enabled(false);
        log::core::get()->remove_all_sinks();
    }
};

void logLines(benchmark::State& state, bool enabled)
{
    const OnlyNowhere sink(enabled);
    for (auto _ : state)
        qm_printf(qm_info, kFormat, kBoard, kBar, kAddress, kState);
}

void logLine(benchmark::State& state)
{
    logLines(state, true);
}
void logLineDisabled(benchmark::State& state)
{
    logLines(state, false);
}

void boostRecord(benchmark::State& state)
{
    const OnlyNowhere sink(true);
    auto& logger = slrealtime::Logger::getLogger();
    for (auto _ : state)
        BOOST_LOG_CHANNEL_SEV(logger, 0, log::trivial::info) << kText;
}

int formatBare(char* buffer, std::size_t size, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std::vsnprintf(buffer, size, format, arguments);
    va_end(arguments);
    return length;
}

void bareFormat(benchmark::State& state)
{
    std::array<char, 512> buffer{};
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            formatBare(buffer.data(), buffer.size(), kFormat, kBoard, kBar, kAddress, kState));
        benchmark::ClobberMemory();
    }
}

BENCHMARK(logLine);
BENCHMARK(boostRecord);
BENCHMARK(logLineDisabled);
BENCHMARK(bareFormat);

}  // namespace
