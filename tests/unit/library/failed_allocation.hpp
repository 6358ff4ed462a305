#pragma once

/// Fails the n-th allocation (from 1) that libqm's own code makes with malloc or realloc on this thread while
/// the object lives.
class FailedAllocation
{
public:
    explicit FailedAllocation(int nth);
    ~FailedAllocation();
    FailedAllocation(const FailedAllocation&) = delete;
    FailedAllocation& operator=(const FailedAllocation&) = delete;

    /// Whether libqm came as far as that allocation.
    [[nodiscard]] bool happened() const;
};
