#ifndef QMCTL_STATISTICS_HPP
#define QMCTL_STATISTICS_HPP

#include "command.hpp"
#include "plot.hpp"

#include <atomic>
#include <cstdint>

namespace qmctl {

using qm::plot::statisticsOf;
using qm::plot::svgPlot;

/// Times of one kind, in nanoseconds. Recording allocates nothing; one thread records, others may look.
class Recorder
{
public:
    explicit Recorder(std::size_t most) : times_(most) {}

    void record(int64_t nanoseconds)
    {
        const std::size_t at = count_.load(std::memory_order_relaxed);
        if (at == times_.size()) return;
        times_[at] = nanoseconds;
        if (nanoseconds > most_.load(std::memory_order_relaxed)) most_ = nanoseconds;
        count_.store(at + 1, std::memory_order_release);
    }

    [[nodiscard]] std::size_t count() const { return count_.load(std::memory_order_acquire); }
    [[nodiscard]] std::size_t room() const { return times_.size(); }
    [[nodiscard]] int64_t most() const { return most_.load(std::memory_order_relaxed); }
    [[nodiscard]] std::vector<int64_t> sorted() const;

private:
    std::vector<int64_t> times_;
    std::atomic<std::size_t> count_ = 0;
    std::atomic<int64_t> most_ = INT64_MIN;
};

/// The histogram as lines with bars; rows without times between others are kept.
std::string textPlot(const std::string& title, const Json& statistics, const Look& look);

}  // namespace qmctl

#endif
