#pragma once

/// The text of ctime() split into its fields.
using DateStr_T = struct DateStr_tag
{
    char wd[4];      ///< weekday
    char month[4];   ///< month name
    char dom[4];     ///< day of month
    char hhmmss[9];  ///< time
    char tz[4];      ///< time zone; left empty
    char year[4];    ///< digits without a terminator
};
static_assert(sizeof(DateStr_T) == 29);

using DateTime_T = struct DateTime_tag
{
    int year;
    int month;  ///< 1 to 12; 0 when its name is none
    int dom;    ///< day of month
    int doy;    ///< day of year, 1 for 1 January
    int hour;
    int min;
    int sec;
    double subsec;  ///< fraction of a second; stays 0, as ns and inSync do
    int ns;
    int inSync;
};
static_assert(sizeof(DateTime_T) == 48);

/// For diagnosis: both print a record on standard output and return 0.
int print_dt(const DateTime_T* pdt);
int print_ds(const DateStr_T* pds);

/// Days since the start of year 0 in the proleptic Gregorian calendar; years below 1 count as year 0. Years
/// above 3000 count as 3000, with a message on standard output.
int getDaysSinceYearZero(int year, int doy);

namespace qm::time {

/// The serial day number of a text in ctime()'s form: 1.0 is midnight of 1 January of year 0. A month name
/// that is none leaves day and time at 0, with a message on standard output.
double serialDayNumber(const char* text);

}  // namespace qm::time
