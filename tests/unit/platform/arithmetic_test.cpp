#include "cpu_list.hpp"
#include "deadlines.hpp"
#include "histogram.hpp"

#include <gmock/gmock.h>

#include <tuple>
#include <utility>

using slrealtime::Deadlines;
using slrealtime::Histogram;
using slrealtime::parseCpuList;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Deadlines, ThatPassedDuringAStepAreSkippedAndTheGridStays)
{
    constexpr std::int64_t kYear = 31'536'000'000'000'000;
    Deadlines deadlines(1000, 100);
    for (const auto& [end, missed, next, index] :
         {std::tuple<int64_t, uint64_t, int64_t, uint64_t>{1100, 0, 1100, 1},  // just in time
          {1201, 1, 1300, 3},
          {1601, 3, 1700, 7},
          {1750, 0, 1800, 8},
          {1000 + kYear, kYear / 100 - 9, 1000 + kYear, kYear / 100}}) {
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

TEST(HistogramTest, PercentilesAreAtMostOneBucketAboveThoseOfTheTimes)
{
    Histogram histogram;
    for (std::int64_t i = 20000; i > 0; --i)
        histogram.record(i * i);
    for (const auto& [share, rank] : {std::pair{0.001, 20}, {0.5, 10000}, {0.99, 19800}, {1.0, 20000}}) {
        const std::int64_t exact = std::int64_t{rank} * rank;
        EXPECT_GE(histogram.percentile(share), exact) << share;
        EXPECT_LE(histogram.percentile(share), exact + exact / 64) << share;
    }
    EXPECT_EQ(1, histogram.min());
    EXPECT_EQ(400'000'000, histogram.max());
}

TEST(CpuList, ReadsWhatTheKernelWrites)
{
    EXPECT_THAT(parseCpuList("1,3-5"), ElementsAre(1, 3, 4, 5));
    EXPECT_THAT(parseCpuList(""), IsEmpty());
    EXPECT_THAT(parseCpuList("0,99999999999"), ElementsAre(0));
}
