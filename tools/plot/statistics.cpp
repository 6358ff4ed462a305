#include "plot.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

namespace qm::plot {

namespace {

constexpr double kLeastTime = 0.1;  // us; what is less counts in the first bin

double microseconds(int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / 1e3;
}

/// The least time that `share` of all do not exceed.
double percentile(const std::vector<int64_t>& sorted, double share)
{
    const auto rank = static_cast<std::size_t>(std::ceil(share * static_cast<double>(sorted.size())));
    return microseconds(sorted[std::clamp<std::size_t>(rank, 1, sorted.size()) - 1]);
}

int binOf(double time)
{
    return static_cast<int>(std::floor(std::log10(std::max(time, kLeastTime)) * kBinsPerDecade + 1e-9));
}

double beginOf(int bin)
{
    return std::pow(10.0, static_cast<double>(bin) / kBinsPerDecade);
}

Json histogramOf(const std::vector<int64_t>& sorted)
{
    const int first = binOf(microseconds(sorted.front()));
    const int last = binOf(microseconds(sorted.back()));
    std::vector<std::size_t> counts(static_cast<std::size_t>(last - first) + 1);
    for (const int64_t time : sorted)
        ++counts[static_cast<std::size_t>(binOf(microseconds(time)) - first)];
    Json bins = Json::array();
    for (int bin = first; bin <= last; ++bin)
        bins.push_back({{"from", beginOf(bin)},
                        {"to", beginOf(bin + 1)},
                        {"count", counts[static_cast<std::size_t>(bin - first)]}});
    return bins;
}

}  // namespace

Json statisticsOf(const std::vector<int64_t>& sortedTimes)
{
    Json figures{{"count", sortedTimes.size()}};
    if (sortedTimes.empty()) return figures;
    const double sum = std::accumulate(sortedTimes.begin(), sortedTimes.end(), 0.0);
    figures["min"] = microseconds(sortedTimes.front());
    figures["mean"] = std::round(sum / static_cast<double>(sortedTimes.size())) / 1e3;
    figures["p50"] = percentile(sortedTimes, 0.5);
    figures["p90"] = percentile(sortedTimes, 0.9);
    figures["p99"] = percentile(sortedTimes, 0.99);
    figures["p99_9"] = percentile(sortedTimes, 0.999);
    figures["max"] = microseconds(sortedTimes.back());
    figures["histogram"] = histogramOf(sortedTimes);
    return figures;
}

}  // namespace qm::plot
