// Three serial devices' names: their order must be one, or std::sort may leave the array.

#include "input.hpp"
#include "qm_serial_device/natural_order.hpp"

#include <stdexcept>

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
try {
    const auto [a, b, c] = qm::fuzz::texts<3>(data, size);
    const auto less = qm::serial::doNaturalCompare;
    const auto same = [&](const auto& left, const auto& right) {
        return !less(left, right) && !less(right, left);
    };
    qm::fuzz::require(!less(a, a));
    qm::fuzz::require(!(less(a, b) && less(b, a)));
    qm::fuzz::require(!(less(a, b) && less(b, c)) || less(a, c));
    qm::fuzz::require(!(same(a, b) && same(b, c)) || same(a, c));
    return 0;
} catch (const std::out_of_range&) {
    return 0;  // a number beyond int: the caller's scan ends there
}
