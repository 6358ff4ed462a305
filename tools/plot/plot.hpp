#ifndef QM_PLOT_HPP
#define QM_PLOT_HPP

#include <nlohmann/json.hpp>

#include <cstdint>
#include <string>
#include <vector>

/// Figures of measured times and their pictures.
namespace qm::plot {

using Json = nlohmann::ordered_json;

constexpr int kBinsPerDecade = 10;  ///< of a histogram

/**
 * Figures of sorted times in nanoseconds, in microseconds: "count", "min", "mean", "p50", "p90", "p99",
 * "p99_9", "max", and "histogram", bins of "from", "to", "count", ten a power of ten. Without times only
 * "count".
 */
Json statisticsOf(const std::vector<int64_t>& sortedTimes);

/// A time in microseconds with three figures.
std::string shortTime(double time);

/**
 * Histograms one below the other, for a browser or a document. Each has its figures and a "title"; with a
 * "name", and a "baseline" of figures and a "name", the baseline is drawn over it as a line.
 */
std::string svgPlot(const Json& measurements, const std::string& caption);

}  // namespace qm::plot

#endif
