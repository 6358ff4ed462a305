#include "histogram.hpp"

#include <algorithm>
#include <bit>
#include <cmath>

namespace slrealtime {

// Values below 64 have a bucket each; every power of two from there on is cut in 64.
std::size_t Histogram::bucketOf(std::uint64_t value)
{
    const auto top = static_cast<unsigned>(std::bit_width(value | 1U)) - 1;
    if (top < kFineBits) return value;
    if (top > kTopBit) return kBuckets - 1;
    const unsigned shift = top - kFineBits;
    return (static_cast<std::size_t>(shift) << kFineBits) + (value >> shift);
}

std::int64_t Histogram::bucketBegin(std::size_t bucket)
{
    constexpr std::size_t fine = 1U << kFineBits;
    if (bucket < 2 * fine) return static_cast<std::int64_t>(bucket);
    const std::size_t shift = bucket / fine - 1;
    return static_cast<std::int64_t>((bucket - shift * fine) << shift);
}

void Histogram::record(std::int64_t nanoseconds)
{
    const std::int64_t value = std::max<std::int64_t>(nanoseconds, 0);
    ++counts_[bucketOf(static_cast<std::uint64_t>(value))];
    ++count_;
    min_ = std::min(min_, value);
    max_ = std::max(max_, value);
    sum_ += static_cast<double>(value);
}

double Histogram::mean() const
{
    return count_ > 0 ? sum_ / static_cast<double>(count_) : 0.0;
}

std::int64_t Histogram::percentile(double share) const
{
    const auto rank = static_cast<std::uint64_t>(std::ceil(share * static_cast<double>(count_)));
    std::uint64_t seen = 0;
    for (std::size_t bucket = 0; bucket + 1 < kBuckets; ++bucket) {
        seen += counts_[bucket];
        if (seen >= rank) return std::clamp(bucketBegin(bucket + 1) - 1, min(), max_);
    }
    return max_;
}

}  // namespace slrealtime
