#pragma once

#include <slrealtime/ModelInfo.hpp>

namespace slrealtime {

/** The record behind getModelInstanceModelInfo(), for the executive and its task threads, which fill it. */
ModelInfo& runningModel();

}  // namespace slrealtime
