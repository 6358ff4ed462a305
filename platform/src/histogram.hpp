#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace slrealtime {

/**
 * Counts of times in nanoseconds, in buckets that are 1/64 of their power of two wide: any percentile is at
 * most 1.6 % above the true one. Minimum, mean and maximum are exact. Recording allocates nothing and takes
 * constant time.
 */
class Histogram
{
    static constexpr unsigned kFineBits = 6;
    static constexpr unsigned kTopBit = 42;  // 2 hours; longer times count in the last bucket

public:
    static constexpr std::size_t kBuckets = (kTopBit - kFineBits + 2) << kFineBits;

    void record(std::int64_t nanoseconds);

    std::uint64_t count() const { return count_; }
    std::int64_t min() const { return count_ > 0 ? min_ : 0; }
    std::int64_t max() const { return max_; }
    double mean() const;

    /** The least recorded time that `share` (above 0, up to 1) of all times do not exceed; 0 when empty. */
    std::int64_t percentile(double share) const;

    std::uint64_t bucketCount(std::size_t bucket) const { return counts_[bucket]; }
    static std::int64_t bucketBegin(std::size_t bucket);

private:
    static std::size_t bucketOf(std::uint64_t value);

    std::array<std::uint64_t, kBuckets> counts_{};
    std::uint64_t count_ = 0;
    std::int64_t min_ = INT64_MAX;
    std::int64_t max_ = 0;
    double sum_ = 0.0;
};

}  // namespace slrealtime
