#pragma once

namespace slrealtime {

/** Forgets callbacks that were registered but never ran, so that a failed run leaves none to the next. */
void forgetStartCallbacks();

}  // namespace slrealtime
