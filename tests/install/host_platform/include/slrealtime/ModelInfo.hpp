#pragma once

#include <vector>

namespace slrealtime {

enum class TimingMode
{
    ASYNCHRONOUS,
    PERIODIC
};
enum class TriggerMode
{
    POLLING,
    INTERRUPT,
    TIMER
};

struct TaskInfo
{
    TimingMode mode_;
    TriggerMode trigmode_;
};

struct ModelInfo
{
    std::vector<TaskInfo> tasks_;
};

ModelInfo getModelInstanceModelInfo();

}  // namespace slrealtime
