#include "plot.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <utility>

namespace qm::plot {

namespace {

constexpr char kOurs[] = "#4477aa";
constexpr char kTheirs[] = "#d9660c";

double highest(const Json& bins)
{
    double most = 1;
    for (const Json& bin : bins)
        most = std::max(most, bin.at("count").get<double>());
    return most;
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

/// One histogram of an SVG, a baseline's over it; counts on a logarithmic scale, so that a single late one is
/// seen.
class Chart
{
public:
    static constexpr double kWidth = 720;

    Chart(const Json& measurement, double top) : top_(top), measurement_(measurement)
    {
        extend(measurement.at("histogram"));
        if (hasBaseline()) {
            extend(baseline().at("histogram"));
            plotTop_ += kLegend;
        }
        decades_ = std::max(1.0, std::ceil(std::log10(most_ + 1)));
        text(kLeft, top_ + 22, "start", 15, measurement.at("title").get<std::string>());
        bars();
        if (hasBaseline()) {
            outline();
            legend();
        } else {
            percentiles();
        }
        countAxis();
        timeAxis();
    }

    [[nodiscard]] const std::string& svg() const { return svg_; }
    [[nodiscard]] double height() const { return plotTop_ + kPlotHeight + 50; }

private:
    static constexpr double kLeft = 60;
    static constexpr double kPlotHeight = 180;
    static constexpr double kPlotWidth = kWidth - kLeft - 20;
    static constexpr double kLegend = 24;

    [[nodiscard]] bool hasBaseline() const { return measurement_.contains("baseline"); }
    [[nodiscard]] const Json& baseline() const { return measurement_.at("baseline"); }
    [[nodiscard]] double bottom() const { return top_ + plotTop_ + kPlotHeight; }
    [[nodiscard]] double heightOf(double count) const
    {
        return count > 0 ? kPlotHeight * std::log10(count + 1) / decades_ : 0;
    }
    [[nodiscard]] double placeOf(double time) const
    {
        return kLeft + kPlotWidth * std::log(std::clamp(time, from_, to_) / from_) / std::log(to_ / from_);
    }

    void extend(const Json& bins)
    {
        from_ = std::min(from_, bins.front().at("from").get<double>());
        to_ = std::max(to_, bins.back().at("to").get<double>());
        most_ = std::max(most_, highest(bins));
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
        for (const Json& bin : measurement_.at("histogram")) {
            const double left = placeOf(bin.at("from"));
            const double height = heightOf(bin.at("count"));
            svg_ += fmt::format(
                "<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"{:.1f}\" height=\"{:.1f}\" fill=\"{}\"/>\n",
                left + 0.5, bottom() - height, std::max(placeOf(bin.at("to")) - left - 1, 0.5), height,
                kOurs);
        }
    }

    void outline()
    {
        const Json& bins = baseline().at("histogram");
        std::string path = fmt::format("M{:.1f} {:.1f}", placeOf(bins.front().at("from")), bottom());
        for (const Json& bin : bins)
            path +=
                fmt::format("V{:.1f}H{:.1f}", bottom() - heightOf(bin.at("count")), placeOf(bin.at("to")));
        svg_ += fmt::format("<path d=\"{}V{:.1f}\" fill=\"none\" stroke=\"{}\" stroke-width=\"2\"/>\n", path,
                            bottom(), kTheirs);
    }

    void legendEntry(double y, const Json& series, const char* colour)
    {
        svg_ += fmt::format("<rect x=\"{:.1f}\" y=\"{:.1f}\" width=\"11\" height=\"11\" fill=\"{}\"/>\n",
                            kLeft, y - 10, colour);
        text(kLeft + 17, y, "start", 12,
             fmt::format("{}: 50 % within {} us, 99 % {} us, all {} us", series.at("name").get<std::string>(),
                         shortTime(series.at("p50")), shortTime(series.at("p99")),
                         shortTime(series.at("max"))));
    }

    void legend()
    {
        legendEntry(top_ + 42, measurement_, kOurs);
        legendEntry(top_ + 58, baseline(), kTheirs);
    }

    void countAxis()
    {
        line(kLeft, top_ + plotTop_, kLeft, bottom(), "stroke=\"#333\"");
        text(kLeft - 7, top_ + plotTop_ - 12, "end", 12, "samples");
        for (int decade = 0; decade <= static_cast<int>(decades_); ++decade) {
            const double count = std::pow(10.0, decade);
            const double y = bottom() - std::min(heightOf(count), kPlotHeight);
            line(kLeft - 4, y, kLeft, y, "stroke=\"#333\"");
            text(kLeft - 7, y + 4, "end", 11, fmt::format("{:.0f}", count));
        }
    }

    void timeAxis()
    {
        constexpr double kExact = 1 + 1e-9;  // a bin's border may be 99.99... for 100
        line(kLeft, bottom(), kLeft + kPlotWidth, bottom(), "stroke=\"#333\"");
        text(kLeft + kPlotWidth, bottom() + 34, "end", 12, "microseconds");
        if (to_ < 2.5 * from_) {  // no round time may lie between
            timeMark(from_, shortTime(from_));
            timeMark(to_, shortTime(to_));
            return;
        }
        const bool few = to_ < 11 * from_;
        for (double decade = std::pow(10.0, std::floor(std::log10(from_ * kExact))); decade <= to_;
             decade *= 10)
            for (const double digit : {1.0, 2.0, 3.0, 4.0, 5.0, 6.0, 8.0}) {
                const double time = decade * digit;
                const bool labelled = few || digit == 1 || digit == 2 || digit == 5;
                if (labelled && time >= from_ / kExact && time <= to_ * kExact)
                    timeMark(time, fmt::format("{:g}", time));
            }
    }

    void timeMark(double time, const std::string& label)
    {
        const double x = placeOf(time);
        line(x, bottom(), x, bottom() + 4, "stroke=\"#333\"");
        text(x, bottom() + 17, "middle", 11, label);
    }

    void percentiles()
    {
        static constexpr std::array<std::pair<const char*, const char*>, 3> kMarks{
            {{"p50", "50 %"}, {"p99", "99 %"}, {"max", "max"}}};
        double y = top_ + plotTop_ - 14;
        for (const auto& [key, label] : kMarks) {
            const double x = placeOf(measurement_.at(key));
            line(x, y + 3, x, bottom(), "stroke=\"#cc3311\" stroke-dasharray=\"4 3\"");
            const bool right = x > kLeft + kPlotWidth * 0.8;
            text(right ? x - 3 : x + 3, y + 8, right ? "end" : "start", 11,
                 fmt::format("{} {}", label, shortTime(measurement_.at(key))));
            y += 13;
        }
    }

    double top_;
    double plotTop_ = 50;
    const Json& measurement_;
    double from_ = HUGE_VAL;
    double to_ = 0;
    double most_ = 1;
    double decades_ = 1;
    std::string svg_;
};

}  // namespace

std::string shortTime(double time)
{
    return time < 10    ? fmt::format("{:.2f}", time)
           : time < 100 ? fmt::format("{:.1f}", time)
                        : fmt::format("{:.0f}", time);
}

std::string svgPlot(const Json& measurements, const std::string& caption)
{
    std::string charts;
    double height = 40;
    for (const Json& measurement : measurements) {
        if (!measurement.contains("histogram")) continue;
        const Chart chart(measurement, height);
        charts += chart.svg();
        height += chart.height();
    }
    return fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"{0}\" height=\"{1}\" viewBox=\"0 0 {0} {1}\" "
        "font-family=\"sans-serif\">\n<rect width=\"100%\" height=\"100%\" fill=\"white\"/>\n"
        "<text x=\"60\" y=\"26\" font-size=\"13\" fill=\"#555\">{2}</text>\n{3}</svg>\n",
        Chart::kWidth, height, escaped(caption), charts);
}

}  // namespace qm::plot
