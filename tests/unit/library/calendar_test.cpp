// The part of the library under test is built into this program, with what it does not export.
#include "qm_time/calendar.hpp"

#include "test.hpp"

namespace {

using namespace qm::test;

using std::chrono::seconds;
using std::chrono::sys_days;
using std::chrono::sys_seconds;
using std::chrono::year;

std::time_t now = 0;

constexpr sys_seconds noon(std::chrono::year_month_day day)
{
    return sys_days(day) + std::chrono::hours(12);
}

struct Calendar : testing::Test
{
    Calendar() { setenv("TZ", "UTC", 1); }

    static double at(sys_seconds time)
    {
        now = time.time_since_epoch().count();
        return qm_getTargetTimeNum();
    }
};

TEST_F(Calendar, TimeIsCtimesTextInLocalTime)
{
    now = noon(year(2024) / 3 / 1).time_since_epoch().count();
    std::array<char, 30> text{};
    text.fill('#');
    EXPECT_EQ(0, qm_getTargetTime(text.data()));
    EXPECT_EQ(0, std::memcmp("Fri Mar  1 12:00:00 2024\n\0####", text.data(), text.size()));
    setenv("TZ", "XYZ-05:30", 1);
    EXPECT_EQ(0, qm_getTargetTime(text.data()));
    EXPECT_STREQ("Fri Mar  1 17:30:00 2024\n", text.data());
}

TEST_F(Calendar, DaysFromYear0To3000HaveTheirNumber)
{
    constexpr sys_days first = year(0) / 1 / 1;
    constexpr sys_seconds end = sys_days(year(3001) / 1 / 1);
    EXPECT_EQ(1.0, at(first));
    constexpr seconds step(3 * 86'400 - 1);  // at another time each
    for (sys_seconds time = first; time < end; time += step) {
        const double days = static_cast<double>((time - first).count()) / 86400.0;
        ASSERT_NEAR(1.0 + days, at(time), 1e-9) << "after " << days << " days";
    }
    setenv("TZ", "XYZ-06", 1);
    EXPECT_EQ(730486.75, at(noon(year(2000) / 1 / 1))) << "local time";
}

TEST_F(Calendar, DaysOfYearsAreCountedFromYear0)
{
    EXPECT_EQ(60, getDaysSinceYearZero(-5, 60));
    const int lastYear = getDaysSinceYearZero(3000, 1);
    EXPECT_EQ("Maximum value for year is 3000.\n",
              standardOutputOf([&] { EXPECT_EQ(lastYear, getDaysSinceYearZero(2'000'000'000, 1)); }));
}

TEST_F(Calendar, AnUnknownMonthLeavesTheYearOnly)
{
    EXPECT_EQ("ERROR: can't resolve month 'Quin'\n", standardOutputOf([] {
                  EXPECT_EQ(730485.0, qm::time::serialDayNumber("Sat Quin  1 12:00:00 2000\n"));
              }));
}

TEST_F(Calendar, RecordsArePrintedForDiagnosis)
{
    DateTime_T date{};
    date.year = 2024, date.month = 3, date.dom = 1, date.hour = 7, date.min = 8, date.sec = 9;
    struct
    {
        DateStr_T fields = {"Fri", "Mar", "1", "07:08:09", "", {'2', '0', '2', '4'}};
        char behind = '5';
    } const text;
    EXPECT_EQ(
        "DateTime: 2024-03-01 07:08:09\n"
        "DateStr: wd = Fri, month = Mar, dom = 1, hhmmss = 07:08:09, year = 2024\n",
        standardOutputOf([&] { EXPECT_EQ(0, print_dt(&date) + print_ds(&text.fields)); }));
}

}  // namespace

extern "C" std::time_t time(std::time_t* result) noexcept
{
    if (result != nullptr) *result = now;
    return now;
}
