#ifndef QMCTL_CHILD_HPP
#define QMCTL_CHILD_HPP

#include "command.hpp"

namespace qmctl {

/// What a child process found, and what it said meanwhile on its standard streams, line by line.
struct Told
{
    Json value;
    std::vector<std::string> said;
};

/**
 * Runs a part in a child process, because libpci ends the process on an error of its own, and the library's
 * scan is kept for the life of one. A Failure of the part is thrown here again; a part that ends its process
 * becomes a Failure that tells its last words.
 */
Told inChild(const std::function<Json()>& part);

/// The library's own words for what went wrong: its log lines without their frame; `otherwise` without any.
std::string reasonOf(const std::vector<std::string>& said, const std::string& otherwise);

/// Runs a program, its standard input from a descriptor (and silent then) or as ours (-1); true when it has
/// ended well.
bool runProgram(const std::vector<std::string>& command, int input = -1);

}  // namespace qmctl

#endif
