// Draws the histograms of two series of times, one over the other. Each file holds a time in microseconds a
// line.

#include "plot.hpp"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <fstream>
#include <stdexcept>

namespace {

using qm::plot::Json;

Json seriesOf(const std::string& name, const std::string& path)
{
    std::ifstream file(path);
    std::vector<int64_t> times;
    for (double time = 0; file >> time;)
        times.push_back(std::llround(time * 1000));
    if (times.empty() || !file.eof()) throw std::runtime_error(path + " has no times, or other words");
    std::ranges::sort(times);
    Json series = qm::plot::statisticsOf(times);
    series["name"] = name;
    return series;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 8) {
        (void)std::fputs("usage: qm_bench_plot OUTPUT CAPTION TITLE NAME TIMES BASELINE TIMES\n", stderr);
        return 2;
    }
    try {
        Json chart = seriesOf(argv[4], argv[5]);
        chart["title"] = argv[3];
        chart["baseline"] = seriesOf(argv[6], argv[7]);
        std::ofstream output(argv[1]);
        if (!(output << qm::plot::svgPlot(Json::array({chart}), argv[2]) << std::flush))
            throw std::runtime_error(std::string("cannot write ") + argv[1]);
    } catch (const std::runtime_error& error) {
        (void)std::fprintf(stderr, "qm_bench_plot: %s\n", error.what());
        return 1;
    }
    return 0;
}
