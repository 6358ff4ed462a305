#ifndef QMCTL_ASK_HPP
#define QMCTL_ASK_HPP

#include "command.hpp"

namespace qmctl {

/// The options of a command that deletes: --yes and --dry-run.
std::vector<Option> deletingOptions();

/// Asks on the terminal before something is deleted, unless --yes was given; a no ends in a Failure.
void askBefore(const std::string& deed, const Arguments& arguments);

}  // namespace qmctl

#endif
