#pragma once

/// Counts the allocations that this thread makes with malloc, realloc or new while the object lives.
class AllocationCount
{
public:
    AllocationCount();
    AllocationCount(const AllocationCount&) = delete;
    AllocationCount& operator=(const AllocationCount&) = delete;
    ~AllocationCount() = default;

    [[nodiscard]] long count() const;

private:
    long before_;
};
