#include "test.hpp"

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/trivial.hpp>

namespace {

using namespace qm::test;

namespace logging = boost::log;

std::string x(size_t length)
{
    return std::string(length, 'x');
}

/// Sets a filter of the logging core, which asks it while the logger is locked.
template <typename Function>
void filterBy(Function filter)
{
    logging::core::get()->set_filter(filter);
}

TEST(Printf, LinesBecomeRecords)
{
    LogCapture log;
    for (const auto& [text, records] : {std::pair<std::string, std::vector<std::string>>{"x", {}},
                                        {"x\ny", {"x"}},
                                        {"\n", {""}},
                                        {"a\n\n", {"a", ""}},
                                        {"100%s\n", {"100%s"}},
                                        {x(510) + "\n", {x(510)}},
                                        {x(510), {}},
                                        {x(511), {x(510)}},
                                        {x(5000) + "\n", {x(510)}},
                                        {x(300) + "\n" + x(210), {x(300), x(209)}},
                                        {x(509) + "\n" + x(5), {x(509), ""}},
                                        {x(300) + "\n" + x(209), {x(300)}}}) {
        std::vector<std::string> expected;
        for (const std::string& record : records)
            expected.push_back("info QM: " + record);
        log.clear();
        errno = ERANGE;
        qm_printf(qm_info, "%s", text.c_str());
        EXPECT_EQ(ERANGE, errno);
        EXPECT_EQ(expected, log.lines());
    }
}

TEST(Printf, TextEndsAtAZeroCharacterAndIsDroppedWhenItCannotBeFormatted)
{
    const LogCapture log;
    qm_printf(qm_info, "a\nb%c\nc\n", 0);
    errno = ERANGE;
    qm_printf(qm_info, "a\n%ls\n", L"\u00e4");
    EXPECT_EQ(ERANGE, errno);
    EXPECT_THAT(log.lines(), ElementsAre("info QM: a"));
}

TEST(Printf, SeverityKeepsItsNumberAndAnInvalidOneIsAnErrorForEachLine)
{
    const LogCapture log;
    for (const Severity severity : {qm_trace, qm_debug, qm_info, qm_warning, qm_error})
        qm_printf(severity, "x\n");
    qm_printf(static_cast<Severity>(5), "a\nb\nc");
    qm_printf(static_cast<Severity>(-1), "d\n");
    const std::string error = "error Error occoured during logging, should never land here!";
    EXPECT_THAT(log.lines(), ElementsAre("trace QM: x", "debug QM: x", "info QM: x", "warning QM: x",
                                         "error QM: x", error, error, error));
}

TEST(Printf, ThreadsKeepTheirSeverities)
{
    thread_local Severity own = qm_error;
    std::atomic<int> right = 0;
    filterBy([&right](const logging::attribute_value_set& values) {
        if (*logging::extract<logging::trivial::severity_level>("Severity", values) == static_cast<int>(own))
            ++right;
        return false;  // not built for thread checkers: its records stay within the lock
    });
    std::vector<std::thread> threads;
    for (const Severity severity : {qm_trace, qm_debug, qm_info, qm_warning})
        threads.emplace_back([severity] {
            own = severity;
            for (int i = 0; i < 500; ++i)
                qm_printf(own, "x\n");
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(2000, right);
}

TEST(Printf, AnExceptionOfTheLoggerLosesTheLineAndAnythingElseReachesTheCaller)
{
    filterBy([](const auto&) -> bool { throw std::runtime_error("disk full"); });
    errno = ERANGE;
    EXPECT_NO_THROW(qm_printf(qm_error, "lost\n"));
    EXPECT_EQ(ERANGE, errno);
    filterBy([](const auto&) -> bool { throw 42; });
    for (int i = 0; i < 2; ++i)  // not the second time, if the logger's lock were still held
        EXPECT_THROW(qm_printf(qm_error, "lost\n"), int);
}

TEST(Printf, DisabledLoggingTakesNoLockAndLogsNothing)
{
    const LogCapture log;
    filterBy([core = logging::core::get()](const auto&) {
        core->set_logging_enabled(false);
        qm_printf(qm_error, "not logged\n");
        core->set_logging_enabled(true);
        return true;
    });
    qm_printf(qm_info, "logged\n");
    EXPECT_THAT(log.lines(), ElementsAre("info QM: logged"));
}

}  // namespace
