// How far busy waits overshoot, beside a bare loop on the processor's counter.

#include "table.hpp"
#include <qm.h>

#include <array>
#include <x86intrin.h>

namespace {

constexpr int kWarmUp = 100;
constexpr int kSamples = 5000;
constexpr uint32_t kShort = 10'000;  // ns; what interrupts do not disturb
constexpr double kMost = 1.5;

uint64_t counter()
{
    _mm_lfence();
    const uint64_t ticks = __rdtsc();
    _mm_lfence();
    return ticks;
}

void bareWait(uint64_t ticks)
{
    const uint64_t begin = counter();
    while (counter() - begin < ticks) {
    }
}

struct Overshoot
{
    double median;
    double p99;
};

Overshoot overshoot(std::vector<double>& samples)
{
    return {percentile(samples, 0.5), percentile(samples, 0.99)};
}

template <typename Wait>
double overshootOf(uint64_t ticks, Wait wait)
{
    const uint64_t begin = counter();
    wait();
    return static_cast<double>(counter() - begin) - static_cast<double>(ticks);
}

}  // namespace

int main()
{
    std::vector<Row> rows;
    for (const uint32_t ns : std::array<uint32_t, 4>{100, 1000, 10'000, 100'000}) {
        const auto ticks = static_cast<uint64_t>(static_cast<double>(qm_getTSCFrequency()) * ns / 1e9);
        std::vector<double> ours;
        std::vector<double> bare;
        for (int i = -kWarmUp; i < kSamples; ++i) {
            const double library = overshootOf(ticks, [&] { qm_wait_ns(ns); });
            const double loop = overshootOf(ticks, [&] { bareWait(ticks); });
            if (i < 0) continue;
            ours.push_back(library);
            bare.push_back(loop);
        }
        const auto [ourMedian, ourP99] = overshoot(ours);
        const auto [bareMedian, bareP99] = overshoot(bare);
        const std::string name = "overshoot of `qm_wait_ns(" + std::to_string(ns) + ")`";
        if (ns <= kShort)
            rows.push_back(
                ratioRow(name + ", median", "bare counter loop", ourMedian, bareMedian, "ticks", kMost));
        else
            rows.push_back(
                {name + ", median", "bare counter loop", ourMedian, bareMedian, "ticks", "", true});
        rows.push_back({name + ", p99", "bare counter loop", ourP99, bareP99, "ticks", "", true});
    }
    return printRows(rows);
}
