#ifndef QMCTL_BINDING_HPP
#define QMCTL_BINDING_HPP

#include "board.hpp"

namespace qmctl {

/// Refuses a network card that a route uses and a storage controller with a disk in use, unless --force was
/// given.
void refuseInUse(const std::string& address, const Arguments& arguments);

/// Asks the kernel to bind; what counts is whose the board is then.
bool handOver(qm_PCIDevice& board, const std::string& driver);

/// Gives a board back to the driver it had before, and says so.
std::string giveBack(qm_PCIDevice& board, const std::string& before);

/// A Failure when the kernel has no such driver.
void requireDriver(const std::string& driver);

inline std::string orNone(const std::string& driver)
{
    return driver.empty() ? "none" : driver;
}

}  // namespace qmctl

#endif
