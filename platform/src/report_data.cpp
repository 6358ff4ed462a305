#include "report_data.hpp"

#include <cstddef>

namespace slrealtime {

namespace {

constexpr double kNsPerUs = 1000.0;

double us(std::int64_t nanoseconds)
{
    return static_cast<double>(nanoseconds) / kNsPerUs;
}

// 1, 2, 5, 10, 20, 50, ...
double edgeAfter(double edge)
{
    double decade = 1.0;
    while (decade * 10.0 <= edge)
        decade *= 10.0;
    if (edge < 1.0) return 1.0;
    return decade * (edge < decade * 2.0 ? 2.0 : edge < decade * 5.0 ? 5.0 : 10.0);
}

std::vector<standalone::TimeStatistics::Bin> bins(const Histogram& histogram)
{
    std::vector<standalone::TimeStatistics::Bin> result;
    double from = 0.0;
    double to = edgeAfter(0.0);
    std::uint64_t pending = 0;
    std::uint64_t left = histogram.count();
    const auto close = [&] {
        if (pending > 0 || !result.empty()) result.push_back({from, to, pending});
        left -= pending;
        pending = 0;
        from = to;
        to = edgeAfter(to);
    };
    for (std::size_t bucket = 0; bucket < Histogram::kBuckets && pending < left; ++bucket) {
        while (us(Histogram::bucketBegin(bucket)) >= to)
            close();
        pending += histogram.bucketCount(bucket);
    }
    if (pending > 0) close();
    return result;
}

}  // namespace

standalone::TimeStatistics summarize(const Histogram& histogram)
{
    standalone::TimeStatistics times;
    times.count_ = histogram.count();
    times.min_ = us(histogram.min());
    times.mean_ = histogram.mean() / kNsPerUs;
    times.p50_ = us(histogram.percentile(0.5));
    times.p99_ = us(histogram.percentile(0.99));
    times.p999_ = us(histogram.percentile(0.999));
    times.max_ = us(histogram.max());
    times.histogram_ = bins(histogram);
    return times;
}

const char* triggerName(const TaskInfo& task)
{
    return task.trigmode_ == TIMER ? "timer" : task.trigmode_ == INTERRUPT ? "interrupt" : "polling";
}

standalone::TimeRecorder::TimeRecorder() : histogram_(std::make_unique<Histogram>()) {}

standalone::TimeRecorder::~TimeRecorder() = default;

void standalone::TimeRecorder::record(std::int64_t nanoseconds)
{
    histogram_->record(nanoseconds);
}

standalone::TimeStatistics standalone::TimeRecorder::statistics() const
{
    return summarize(*histogram_);
}

}  // namespace slrealtime
