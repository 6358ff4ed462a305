#include "cpu_list.hpp"
#include "deadlines.hpp"
#include "histogram.hpp"
#include "report_data.hpp"

#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <random>

using slrealtime::Deadlines;
using slrealtime::Histogram;
using slrealtime::parseCpuList;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Deadlines, StepThatEndsExactlyAtTheNextDeadlineIsInTime)
{
    Deadlines deadlines(1000, 100);
    EXPECT_EQ(0U, deadlines.stepEnded(1100));
    EXPECT_EQ(1100, deadlines.next());
}

TEST(Deadlines, OneNanosecondLaterSkipsThatDeadline)
{
    Deadlines deadlines(1000, 100);
    EXPECT_EQ(1U, deadlines.stepEnded(1101));
    EXPECT_EQ(1200, deadlines.next());
    EXPECT_EQ(2U, deadlines.index());
}

TEST(Deadlines, EveryDeadlinePassedIsSkippedAndTheGridStays)
{
    Deadlines deadlines(1000, 100);
    EXPECT_EQ(3U, deadlines.stepEnded(1301));  // 1100, 1200 and 1300 have passed
    EXPECT_EQ(1400, deadlines.next());
    EXPECT_EQ(0U, deadlines.stepEnded(1450)) << "the step after an overload is judged afresh";
    EXPECT_EQ(1500, deadlines.next());
}

TEST(Deadlines, AYearOfMicrosecondStepsDoesNotDrift)
{
    constexpr std::int64_t year = 31'536'000'000'000'000;
    Deadlines deadlines(7, 1000);
    deadlines.stepEnded(7 + year);
    EXPECT_EQ(7 + year, deadlines.next());
    EXPECT_EQ(static_cast<std::uint64_t>(year / 1000), deadlines.index());
}

TEST(Deadlines, AnExternalReleaseMovesTheGridButNotTheCount)
{
    Deadlines deadlines(1000, 100);
    deadlines.stepEnded(1010);
    deadlines.releasedAt(1170);
    EXPECT_EQ(1170, deadlines.next());
    EXPECT_EQ(100, deadlines.elapsed());
    EXPECT_EQ(0U, deadlines.stepEnded(1270)) << "judged from its release";
}

TEST(HistogramTest, PercentilesAreAtMostOneBucketAboveThoseOfTheSortedTimes)
{
    std::mt19937 random(42);  // NOLINT(cert-msc51-cpp): the same every time
    std::lognormal_distribution<double> times(11.0, 2.5);
    Histogram histogram;
    std::vector<std::int64_t> all(20000);
    for (auto& time : all)
        histogram.record(time = static_cast<std::int64_t>(times(random)));
    std::sort(all.begin(), all.end());
    for (const double share : {0.001, 0.5, 0.9, 0.99, 0.999, 1.0}) {
        const auto exact = all[static_cast<std::size_t>(std::ceil(share * 20000.0)) - 1];
        EXPECT_GE(histogram.percentile(share), exact) << share;
        EXPECT_LE(histogram.percentile(share), exact + exact / 64) << share;
    }
    EXPECT_EQ(all.front(), histogram.min());
    EXPECT_EQ(all.back(), histogram.max());
}

TEST(HistogramTest, EveryTimeFallsIntoTheBucketThatHoldsIt)
{
    for (std::int64_t time = 0; time < (1LL << 42); time = time * 9 / 8 + 1) {
        Histogram one;
        one.record(time);
        std::size_t bucket = 0;
        while (one.bucketCount(bucket) == 0)
            ++bucket;
        ASSERT_LE(Histogram::bucketBegin(bucket), time);
        ASSERT_GT(Histogram::bucketBegin(bucket + 1), time);
    }
}

TEST(HistogramTest, ExtremesAreKept)
{
    Histogram histogram;
    EXPECT_EQ(0, histogram.percentile(0.5));
    histogram.record(-5);
    histogram.record(INT64_MAX);
    EXPECT_EQ(0, histogram.min());
    EXPECT_EQ(INT64_MAX, histogram.percentile(1.0));
    EXPECT_EQ(2U, histogram.count());
}

TEST(Summary, BinsRunFromTheFirstToTheLastTimeAndHoldThemAll)
{
    Histogram histogram;
    for (const std::int64_t us : {3, 3, 4, 15, 120})
        histogram.record(us * 1000);
    const auto times = slrealtime::summarize(histogram);
    ASSERT_EQ(6U, times.histogram_.size());  // 2-5, 5-10, 10-20, 20-50, 50-100, 100-200
    EXPECT_EQ(2.0, times.histogram_.front().from_);
    EXPECT_EQ(3U, times.histogram_.front().count_);
    EXPECT_EQ(1U, times.histogram_[2].count_);
    EXPECT_EQ(200.0, times.histogram_.back().to_);
    EXPECT_EQ(1U, times.histogram_.back().count_);
    EXPECT_THAT(slrealtime::summarize(Histogram()).histogram_, IsEmpty());
}

TEST(CpuList, ReadsWhatTheKernelWrites)
{
    EXPECT_THAT(parseCpuList("1,3-5"), ElementsAre(1, 3, 4, 5));
    EXPECT_THAT(parseCpuList("2-3\n"), ElementsAre(2, 3));
    EXPECT_THAT(parseCpuList(""), IsEmpty());
    EXPECT_THAT(parseCpuList("0,99999999999"), ElementsAre(0));
}
