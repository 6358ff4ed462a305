#include "qm_time/calendar.hpp"

#include <qm/time.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace {

constexpr int kLastYear = 3000;
constexpr double kSecondsPerDay = 86400.0;
constexpr std::size_t kNameLength = 3;
constexpr std::array<const char*, 12> kMonths = {"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                                 "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};
/// Days of a common year before each month; months count from 1.
constexpr std::array<int, 13> cumdays = {0, 0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};

using TimeText = std::array<char, QM_TARGET_TIME_SIZE>;

bool isLeapYear(int year)
{
    return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
}

int dayOfYear(const DateTime_T& date)
{
    const int leapDay = isLeapYear(date.year) && date.month > 2 ? 1 : 0;
    return date.dom + cumdays[static_cast<std::size_t>(date.month)] + leapDay;
}

/// Fills a field; a token as long as the field leaves no room for a terminator.
template <std::size_t Size>
void copyToken(char (&field)[Size], const char* token)
{
    if (token != nullptr) std::memcpy(field, token, std::min(Size, std::strlen(token)));
}

DateStr_T split(const char* text)
{
    TimeText tokens{};
    std::snprintf(tokens.data(), tokens.size(), "%s", text);
    DateStr_T fields{};
    char* rest = nullptr;
    copyToken(fields.wd, ::strtok_r(tokens.data(), " ", &rest));
    copyToken(fields.month, ::strtok_r(nullptr, " ", &rest));
    copyToken(fields.dom, ::strtok_r(nullptr, " ", &rest));
    copyToken(fields.hhmmss, ::strtok_r(nullptr, " ", &rest));
    copyToken(fields.year, ::strtok_r(nullptr, " ", &rest));
    return fields;
}

template <std::size_t Size>
std::array<char, Size + 1> terminated(const char (&field)[Size])
{
    std::array<char, Size + 1> text{};
    std::copy_n(field, Size, text.begin());
    return text;
}

/// 1 to 12, or 0 for a name that is none.
int monthNumber(const DateStr_T& fields)
{
    const auto isTheirs = [&](const char* name) {
        return std::strncmp(fields.month, name, kNameLength) == 0;
    };
    const auto* const found = std::find_if(kMonths.begin(), kMonths.end(), isTheirs);
    return found == kMonths.end() ? 0 : static_cast<int>(found - kMonths.begin()) + 1;
}

DateTime_T parse(const DateStr_T& fields)
{
    DateTime_T date{};
    (void)std::sscanf(terminated(fields.year).data(), "%i", &date.year);
    date.month = monthNumber(fields);
    if (date.month == 0) {
        std::printf("ERROR: can't resolve month '%s'\n", terminated(fields.month).data());
        return date;
    }
    (void)std::sscanf(terminated(fields.dom).data(), "%02d", &date.dom);
    date.doy = dayOfYear(date);
    (void)std::sscanf(terminated(fields.hhmmss).data(), "%02d:%02d:%02d", &date.hour, &date.min, &date.sec);
    return date;
}

using DaysUntilYear = std::array<int, kLastYear + 1>;

void fill(DaysUntilYear& days)
{
    days[0] = 0;
    days[1] = 366;
    for (int year = 1; year < kLastYear; ++year) {
        const auto i = static_cast<std::size_t>(year);
        days[i + 1] = days[i] + (isLeapYear(year) ? 366 : 365);
    }
}

}  // namespace

int print_dt(const DateTime_T* pdt)
{
    std::printf("DateTime: %i-", pdt->year);
    std::printf("%02i", pdt->month);
    std::printf("-%02i ", pdt->dom);
    std::printf("%02i:%02i:%02i\n", pdt->hour, pdt->min, pdt->sec);
    return 0;
}

int print_ds(const DateStr_T* pds)
{
    std::printf("DateStr: wd = %s, ", terminated(pds->wd).data());
    std::printf("month = %s, ", terminated(pds->month).data());
    std::printf("dom = %s, ", terminated(pds->dom).data());
    std::printf("hhmmss = %s, ", terminated(pds->hhmmss).data());
    std::printf("year = %s\n", terminated(pds->year).data());
    return 0;
}

int getDaysSinceYearZero(int year, int doy)
{
    static DaysUntilYear daysUntilYear;
    static bool isFirstUse = true;
    if (year > kLastYear) std::printf("Maximum value for year is %i.\n", kLastYear);
    if (isFirstUse) {
        fill(daysUntilYear);
        isFirstUse = false;
    }
    if (year < 1) return doy;
    return doy + daysUntilYear[static_cast<std::size_t>(std::min(year, kLastYear))];
}

double qm::time::serialDayNumber(const char* text)
{
    DateTime_T date = parse(split(text));
    if (date.doy == 0) date.doy = dayOfYear(date);
    const int days = getDaysSinceYearZero(date.year, date.doy);
    const int seconds = date.hour * 3600 + date.min * 60 + date.sec;
    return seconds / kSecondsPerDay + days + date.subsec / kSecondsPerDay;
}

int qm_getTargetTime(char* targetTime)
{
    const std::time_t now = std::time(nullptr);
    std::memcpy(targetTime, std::ctime(&now), QM_TARGET_TIME_SIZE);
    return 0;
}

double qm_getTargetTimeNum(void)
{
    TimeText text{};
    qm_getTargetTime(text.data());
    return qm::time::serialDayNumber(text.data());
}
