#include "table.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <utility>

int printRows(const std::vector<Row>& rows)
{
    bool allHold = true;
    for (const auto& row : rows) {
        std::printf("| %s | %s | %.1f %s | %.1f %s | %.2f | %s | %s |\n", row.name.c_str(),
                    row.baseline.c_str(), row.ours, row.unit, row.theirs, row.unit, row.ours / row.theirs,
                    row.limit.c_str(),
                    row.limit.empty() ? ""
                    : row.holds       ? "yes"
                                      : "NO");
        allHold = allHold && row.holds;
    }
    return allHold ? 0 : 1;
}

Row ratioRow(std::string name, std::string baseline, double ours, double theirs, const char* unit,
             double most)
{
    char limit[64];
    if (most >= 1.0)
        (void)std::snprintf(limit, sizeof limit, "at most %.2f times", most);
    else
        (void)std::snprintf(limit, sizeof limit, "at least %.0f times faster", 1.0 / most);
    return {std::move(name), std::move(baseline), ours, theirs, unit, limit, ours <= theirs * most};
}

double percentile(std::vector<double>& values, double share)
{
    std::sort(values.begin(), values.end());
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(values.size())));
    return values.at(std::max<std::size_t>(rank, 1) - 1);
}
