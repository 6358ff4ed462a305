#include "statistics.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace qmctl {

std::vector<int64_t> Recorder::sorted() const
{
    std::vector<int64_t> times(times_.begin(), times_.begin() + static_cast<std::ptrdiff_t>(count()));
    std::ranges::sort(times);
    return times;
}

std::string textPlot(const std::string& title, const Json& statistics, const Look& look)
{
    const Json& bins = statistics.at("histogram");
    double most = 1;
    for (const Json& bin : bins)
        most = std::max(most, bin.at("count").get<double>());
    const double room = static_cast<double>(std::clamp<std::size_t>(look.width, 50, 100)) - 34;
    std::string text = fmt::format("\n{}, us\n", title);
    for (const Json& bin : bins) {
        const double count = bin.at("count");
        const auto length = static_cast<std::size_t>(std::ceil(count / most * room));  // a single one shows
        text += fmt::format("{:>9} - {:<9}{:>10}", qm::plot::shortTime(bin.at("from")),
                            qm::plot::shortTime(bin.at("to")), count);
        text += length > 0 ? "  " + std::string(length, '#') + '\n' : "\n";
    }
    return text;
}

}  // namespace qmctl
