#pragma once

#include <string>
#include <vector>

/// One case beside its baseline, measured in the same run.
struct Row
{
    std::string name;
    std::string baseline;
    double ours;  ///< in `unit`
    double theirs;
    const char* unit;
    std::string limit;  ///< as a sentence; empty: none
    bool holds;
};

/// Prints the rows as lines of a Markdown table.
/// @return the exit status: 1 when a limit does not hold
int printRows(const std::vector<Row>& rows);

/// A row whose limit is on ours / theirs.
Row ratioRow(std::string name, std::string baseline, double ours, double theirs, const char* unit,
             double most);

/// The value that `share` (0 to 1) of the values do not exceed; sorts them.
double percentile(std::vector<double>& values, double share);
