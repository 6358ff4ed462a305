#pragma once

#include <string_view>
#include <vector>

namespace slrealtime {

/** The CPUs of a kernel CPU list such as "1,3-5"; reading stops at the first thing that is not one. */
std::vector<int> parseCpuList(std::string_view text);

}  // namespace slrealtime
