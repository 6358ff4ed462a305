#pragma once

#include <slrealtime/ModelInfo.hpp>

#include <string>

namespace slrealtime {

/** Why the executive cannot run the model, with what to change; empty when it can. */
std::string whyNotRunnable(const ModelInfo& model);

/** The model with everything filled in that may be left open: its name, the tasks' indices and priorities,
 * counts 0. */
ModelInfo completed(ModelInfo model);

}  // namespace slrealtime
