#pragma once

#include <cstdint>

namespace slrealtime {

/**
 * The grid of a task's deadlines, in integer nanoseconds of one clock that is never read here.
 *
 * Deadline n lies at first + n * period, for ever: a late step never shifts the grid.
 */
class Deadlines
{
public:
    constexpr Deadlines(std::int64_t first, std::int64_t period) : first_(first), period_(period) {}

    /** Number of the step to come: its place on the grid. */
    constexpr std::uint64_t index() const { return index_; }

    /** Time on the grid between the first deadline and that of the step to come. */
    constexpr std::int64_t elapsed() const { return static_cast<std::int64_t>(index_) * period_; }

    /** When the step to come is due. */
    constexpr std::int64_t next() const { return first_ + elapsed(); }

    /** Moves the grid so that the step to come is due at `now`: something other than the clock releases it.
     */
    constexpr void releasedAt(std::int64_t now) { first_ = now - elapsed(); }

    /**
     * Takes the end of the step that was due at next() and goes on to the first deadline not yet passed.
     * @return the deadlines passed meanwhile, which are skipped; more than 0 is an overload
     */
    constexpr std::uint64_t stepEnded(std::int64_t now)
    {
        ++index_;
        const std::int64_t late = now - next();
        const std::uint64_t missed = late > 0 ? static_cast<std::uint64_t>((late - 1) / period_ + 1) : 0;
        index_ += missed;
        return missed;
    }

private:
    std::int64_t first_;
    std::int64_t period_;
    std::uint64_t index_ = 0;
};

}  // namespace slrealtime
