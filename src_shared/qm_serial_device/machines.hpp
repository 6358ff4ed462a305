#pragma once

#include <qm/target.h>

#include <optional>

namespace qm::serial {

/// I/O port address of an onboard serial port (from 1) of a target model; nothing when the model has none.
std::optional<uint32_t> portAddress(qm_TargetType type, int port);

}  // namespace qm::serial
