#ifndef QMCTL_HELP_HPP
#define QMCTL_HELP_HPP

#include <string>

/// What the table of commands says about itself, within 80 columns.
namespace qmctl {

/// "[--yes] BOARD": a command's arguments on one line.
struct Command;
std::string synopsis(const Command& command);

std::string helpOfAll();
std::string helpOfNoun(const std::string& noun);
std::string helpOf(const Command& command);

std::string manualPage();
std::string bashCompletion();

}  // namespace qmctl

#endif
