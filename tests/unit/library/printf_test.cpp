#include "log_capture.hpp"
#include <qm.h>

#include <boost/log/attributes/value_extraction.hpp>
#include <boost/log/core.hpp>
#include <boost/log/sinks/basic_sink_backend.hpp>
#include <boost/log/sinks/unlocked_frontend.hpp>
#include <boost/log/trivial.hpp>
#include <boost/smart_ptr/make_shared_object.hpp>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <functional>
#include <ostream>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace {

namespace logging = boost::log;
namespace sinks = boost::log::sinks;
using qm::test::LogCapture;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::IsEmpty;

std::string x(size_t length)
{
    return std::string(length, 'x');
}

/// Runs a function for each record while it lives.
class Interruption : public sinks::basic_sink_backend<sinks::concurrent_feeding>
{
public:
    using Sink = sinks::unlocked_sink<Interruption>;

    explicit Interruption(std::function<void()> action) : action_(std::move(action)) {}
    void consume(const logging::record_view& /*record*/) { action_(); }

private:
    std::function<void()> action_;
};

class Interrupted
{
public:
    explicit Interrupted(std::function<void()> action)
        : sink_(boost::make_shared<Interruption::Sink>(boost::make_shared<Interruption>(std::move(action))))
    {
        logging::core::get()->add_sink(sink_);
    }
    ~Interrupted() { logging::core::get()->remove_sink(sink_); }
    Interrupted(const Interrupted&) = delete;
    Interrupted& operator=(const Interrupted&) = delete;

private:
    boost::shared_ptr<Interruption::Sink> sink_;
};

struct Cut
{
    std::string name;
    std::string text;
    std::vector<std::string> records;
};

void PrintTo(const Cut& cut, std::ostream* out)
{
    *out << cut.name;
}

class Lines : public testing::TestWithParam<Cut>
{};

TEST_P(Lines, BecomeRecords)
{
    std::vector<std::string> expected;
    for (const std::string& record : GetParam().records)
        expected.push_back("info QM: " + record);
    const LogCapture log;
    errno = ERANGE;
    qm_printf(qm_info, "%s", GetParam().text.c_str());
    EXPECT_EQ(ERANGE, errno);
    EXPECT_THAT(log.lines(), ElementsAreArray(expected));
}

INSTANTIATE_TEST_SUITE_P(
    Text, Lines,
    testing::Values(Cut{"None", "x", {}}, Cut{"One", "x\n", {"x"}}, Cut{"Two", "a\nb\n", {"a", "b"}},
                    Cut{"RestDropped", "x\ny", {"x"}}, Cut{"OnlyBreak", "\n", {""}},
                    Cut{"EmptyLine", "a\n\n", {"a", ""}}, Cut{"Percent", "100%s\n", {"100%s"}},
                    Cut{"LongestUncut", x(510) + "\n", {x(510)}}, Cut{"510WithoutBreak", x(510), {}},
                    Cut{"511WithoutBreak", x(511), {x(510)}}, Cut{"512WithBreak", x(511) + "\n", {x(510)}},
                    Cut{"TooLong", x(5000) + "\n", {x(510)}},
                    Cut{"BreakWithin511", x(300) + "\n" + x(210), {x(300), x(209)}},
                    Cut{"BreakAtTheCut", x(509) + "\n" + x(5), {x(509), ""}},
                    Cut{"BreakIn510", x(300) + "\n" + x(209), {x(300)}}),
    [](const auto& cut) { return cut.param.name; });

TEST(Printf, TextEndsAtAZeroCharacter)
{
    const LogCapture log;
    qm_printf(qm_info, "a\nb%c\nc\n", 0);
    EXPECT_THAT(log.lines(), ElementsAre("info QM: a"));
}

TEST(Printf, TextThatCannotBeFormattedIsDropped)
{
    const LogCapture log;
    errno = ERANGE;
    qm_printf(qm_info, "a\n%ls\n", L"\u00e4");
    EXPECT_EQ(ERANGE, errno);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(Printf, SeverityKeepsItsNumberAndTheChannelIsZero)
{
    const LogCapture log;
    for (const Severity severity : {qm_trace, qm_debug, qm_info, qm_warning, qm_error})
        qm_printf(severity, "x\n");
    EXPECT_THAT(log.lines(),
                ElementsAre("trace QM: x", "debug QM: x", "info QM: x", "warning QM: x", "error QM: x"));
    for (const LogCapture::Record& record : log.records())
        EXPECT_EQ(0, record.channel);
}

TEST(Printf, ThreadsKeepTheirSeverities)
{
    thread_local Severity own = qm_error;
    std::atomic<int> right = 0;
    logging::core::get()->set_filter([&right](const logging::attribute_value_set& values) {
        if (*logging::extract<logging::trivial::severity_level>("Severity", values) == static_cast<int>(own))
            ++right;
        return false;  // the logging library is not built for thread checkers: keep its records within the
                       // lock
    });
    std::vector<std::thread> threads;
    for (const Severity severity : {qm_trace, qm_debug, qm_info, qm_warning}) {
        threads.emplace_back([severity] {
            own = severity;
            for (int i = 0; i < 500; ++i)
                qm_printf(own, "x\n");
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    logging::core::get()->reset_filter();
    EXPECT_EQ(2000, right);
}

TEST(Printf, AnInvalidSeverityIsAnErrorForEachLine)
{
    const LogCapture log;
    qm_printf(static_cast<Severity>(5), "a\nb\nc");
    qm_printf(static_cast<Severity>(-1), "d\n");
    const std::string error = "error Error occoured during logging, should never land here!";
    EXPECT_THAT(log.lines(), ElementsAre(error, error, error));
}

TEST(Printf, AnExceptionOfTheLoggerLosesTheLine)
{
    {
        const Interrupted sink([] { throw std::runtime_error("disk full"); });
        errno = ERANGE;
        EXPECT_NO_THROW(qm_printf(qm_error, "lost\n"));
        EXPECT_EQ(ERANGE, errno);
    }
    logging::core::get()->set_filter([](const auto&) -> bool { throw std::runtime_error("no filter"); });
    EXPECT_NO_THROW(qm_printf(qm_error, "lost\n"));
    logging::core::get()->reset_filter();

    const LogCapture log;
    qm_printf(qm_error, "kept\n");
    EXPECT_THAT(log.lines(), ElementsAre("error QM: kept")) << "the logger's lock was released";
}

TEST(Printf, AnythingElseThatIsThrownReachesTheCaller)
{
    {
        const Interrupted sink([] { throw 42; });
        EXPECT_THROW(qm_printf(qm_error, "lost\n"), int);
    }
    const LogCapture log;
    qm_printf(qm_error, "kept\n");
    EXPECT_THAT(log.lines(), ElementsAre("error QM: kept"));
}

TEST(Printf, ASinkMayLogItself)
{
    const LogCapture log;
    int depth = 0;
    const Interrupted sink([&depth] {
        if (depth++ == 0) qm_printf(qm_info, "inner\n");
    });
    qm_printf(qm_info, "outer\n");
    EXPECT_THAT(log.lines(), testing::UnorderedElementsAre("info QM: outer", "info QM: inner"));
}

TEST(Printf, DisabledLoggingTakesNoLockAndLogsNothing)
{
    const LogCapture log;
    const auto core = logging::core::get();
    core->set_filter([&core](const auto&) {  // runs while the logger is locked
        core->set_logging_enabled(false);
        qm_printf(qm_error, "not logged\n");
        core->set_logging_enabled(true);
        return true;
    });
    qm_printf(qm_info, "logged\n");
    core->reset_filter();
    EXPECT_THAT(log.lines(), ElementsAre("info QM: logged"));
}

TEST(Printf, AThreadCanBeCancelledInsideASink)
{
    void* result = nullptr;
    {
        const Interrupted sink([] {
            pthread_cancel(pthread_self());
            pthread_testcancel();
        });
        const auto log = [](void*) -> void* {
            qm_printf(qm_error, "lost\n");
            return nullptr;
        };
        pthread_t thread{};
        ASSERT_EQ(0, pthread_create(&thread, nullptr, log, nullptr));
        pthread_join(thread, &result);
    }
    EXPECT_EQ(PTHREAD_CANCELED, result);

    const LogCapture log;
    qm_printf(qm_error, "kept\n");
    EXPECT_THAT(log.lines(), ElementsAre("error QM: kept"));
}

}  // namespace
