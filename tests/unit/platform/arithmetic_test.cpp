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

TEST(Deadlines, ThatPassedDuringAStepAreSkippedAndTheGridStays)
{
    constexpr std::int64_t kYear = 31'536'000'000'000'000;
    struct Step
    {
        std::int64_t end;
        std::uint64_t missed;
        std::int64_t next;
        std::uint64_t index;
    };
    Deadlines deadlines(1000, 100);
    for (const auto& [end, missed, next, index] :
         {Step{1100, 0, 1100, 1},  // just in time
          Step{1201, 1, 1300, 3}, Step{1601, 3, 1700, 7}, Step{1750, 0, 1800, 8},
          Step{1000 + kYear, kYear / 100 - 9, 1000 + kYear, kYear / 100}}) {
        EXPECT_EQ(missed, deadlines.stepEnded(end)) << end;
        EXPECT_EQ(next, deadlines.next());
        EXPECT_EQ(index, deadlines.index());
    }
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
