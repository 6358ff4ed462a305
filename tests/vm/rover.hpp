#pragma once

#include "machine.hpp"

namespace qm::test {

/// Makes the machine take itself for a RoverV3, whose socket labels and serial ports are then in force: by a
/// root port and the Ethernet card behind it, which becomes one of that target's own.
inline void becomeRover()
{
    disguise("00:1d.1", 0x8086, 0xA331);
    disguise("0a:00.0", 0x8086, 0x1533);
}

}  // namespace qm::test
