// Histograms for the terminal and for documents.

#include "statistics.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace qmctl {

namespace {

std::size_t highest(const Json& bins)
{
    std::size_t most = 1;
    for (const Json& bin : bins)
        most = std::max(most, bin.at("count").get<std::size_t>());
    return most;
}

/// A time in microseconds with three figures.
std::string shortTime(double time)
{
    return time < 10    ? fmt::format("{:.2f}", time)
           : time < 100 ? fmt::format("{:.1f}", time)
                        : fmt::format("{:.0f}", time);
}

std::string escaped(const std::string& text)
{
    std::string safe;
    for (const char character : text) {
        if (character == '<')
            safe += "&lt;";
        else if (character == '&')
            safe += "&amp;";
        else
            safe += character;
    }
    return safe;
}

/// One histogram of an SVG; counts on a logarithmic scale, so that a single late one is seen.
class Chart
{
public:
    static constexpr double kWidth = 720;
    static constexpr double kHeight = 280;

    Chart(const Json& measurement, double top) : bins_(measurement.at("histogram")), top_(top)
    {
        decades_ = std::max(1.0, std::ceil(std::log10(static_cast<double>(highest(bins_)) + 1)));
        text(kLeft, top_ + 22, "start", 15, measurement.at("title").get<std::string>());
        bars();
        countAxis();
        timeAxis();
        percentiles(measurement);
    }

    [[nodiscard]] const std::string& svg() const { return svg_; }

private:
    static constexpr double kLeft = 60;
    static constexpr double kPlotTop = 50;
    static constexpr double kPlotHeight = 180;
    static constexpr double kPlotWidth = kWidth - kLeft - 20;

    [[nodiscard]] double bottom() const { return top_ + kPlotTop + kPlotHeight; }
    [[nodiscard]] double step() const { return kPlotWidth / static_cast<double>(bins_.size()); }
    [[nodiscard]] double heightOf(double count) const
    {
        return count > 0 ? kPlotHeight * std::log10(count + 1) / decades_ : 0;
    }
    [[nodiscard]] double placeOf(double time) const
    {
        const double from = bins_.front().at("from");
        const double to = bins_.back().at("to");
        return kLeft + kPlotWidth * std::log(std::clamp(time, from, to) / from) / std::log(to / from);
    }

    void text(double x, double y, const char* anchor, int size, const std::string& words)
    {
        svg_ += fmt::format("<text x=\"{:.1f}\" y=\"{:.1f}\" text-anchor=\"{}\" font-size=\"{}\">{}</text>\n",
                            x, y, anchor, size, escaped(words));
    }

    void line(double x1, double y1, double x2, double y2, const char* style)
    {
        svg_ += fmt::format("<line x1=\"{:.1f}\" y1=\"{:.1f}\" x2=\"{:.1f}\" y2=\"{:.1f}\" {}/>\n", x1, y1,
                            x2, y2, style);
    }

    void bars()
    {
        for (std::size_t i = 0; i < bins_.size(); ++i) {
            const double height = heightOf(bins_[i].at("count"));
            svg_ += fmt::format(
                "<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" fill=\"#4477aa\"/>\n",
                kLeft + step() * static_cast<double>(i) + 0.5, bottom() - height, std::max(step() - 1, 0.5),
                height);
        }
    }

    void countAxis()
    {
        line(kLeft, top_ + kPlotTop, kLeft, bottom(), "stroke=\"#333\"");
        text(kLeft - 7, top_ + kPlotTop - 12, "end", 12, "samples");
        for (int decade = 0; decade <= static_cast<int>(decades_); ++decade) {
            const double count = std::pow(10.0, decade);
            const double y = bottom() - std::min(heightOf(count), kPlotHeight);
            line(kLeft - 4, y, kLeft, y, "stroke=\"#333\"");
            text(kLeft - 7, y + 4, "end", 11, fmt::format("{:.0f}", count));
        }
    }

    void timeAxis()
    {
        line(kLeft, bottom(), kLeft + kPlotWidth, bottom(), "stroke=\"#333\"");
        const long every = bins_.size() <= 10 ? 1 : bins_.size() <= 20 ? 2 : bins_.size() <= 50 ? 5 : 10;
        for (std::size_t i = 0; i < bins_.size(); ++i) {
            const double from = bins_[i].at("from");
            if (std::lround(std::log10(from) * kBinsPerDecade) % every != 0)
                continue;  // so 10, 100, ... are there
            text(kLeft + step() * static_cast<double>(i), bottom() + 16, "middle", 11, shortTime(from));
        }
        text(kLeft + kPlotWidth, bottom() + 34, "end", 12, "microseconds");
    }

    void percentiles(const Json& measurement)
    {
        static constexpr std::array<std::pair<const char*, const char*>, 3> kMarks{
            {{"p50", "50 %"}, {"p99", "99 %"}, {"max", "max"}}};
        double y = top_ + kPlotTop - 14;
        for (const auto& [key, label] : kMarks) {
            const double x = placeOf(measurement.at(key));
            line(x, y + 3, x, bottom(), "stroke=\"#cc3311\" stroke-dasharray=\"4 3\"");
            const bool right = x > kLeft + kPlotWidth * 0.8;
            text(right ? x - 3 : x + 3, y + 8, right ? "end" : "start", 11,
                 fmt::format("{} {}", label, shortTime(measurement.at(key))));
            y += 13;
        }
    }

    const Json& bins_;
    double top_;
    double decades_ = 1;
    std::string svg_;
};

}  // namespace

std::string textPlot(const std::string& title, const Json& statistics, const Look& look)
{
    const Json& bins = statistics.at("histogram");
    const double most = static_cast<double>(highest(bins));
    const double room = static_cast<double>(std::clamp<std::size_t>(look.width, 50, 100)) - 34;
    std::string text = fmt::format("\n{}, us\n", title);
    for (const Json& bin : bins) {
        const double count = bin.at("count");
        const auto length = static_cast<std::size_t>(std::ceil(count / most * room));  // a single one shows
        text += fmt::format("{:>9} - {:<9}{:>10}", shortTime(bin.at("from")), shortTime(bin.at("to")), count);
        text += length > 0 ? "  " + std::string(length, '#') + '\n' : "\n";
    }
    return text;
}

std::string svgPlot(const Json& measurements, const std::string& caption)
{
    std::string charts;
    double height = 40;
    for (const Json& measurement : measurements) {
        if (!measurement.contains("histogram")) continue;
        charts += Chart(measurement, height).svg();
        height += Chart::kHeight;
    }
    return fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
        "font-family=\"sans-serif\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        "<text x=\"60\" y=\"26\" font-size=\"13\" fill=\"#555\">{2}</text>\n{3}</svg>\n",
        Chart::kWidth, height, escaped(caption), charts);
}

}  // namespace qmctl
