#ifndef QMCTL_COMMAND_LINE_HPP
#define QMCTL_COMMAND_LINE_HPP

#include "command.hpp"

namespace qmctl {

/// What was asked for; no command: print the text (help, version) and end well.
struct Request
{
    const Command* command = nullptr;
    Arguments arguments;
    std::string text;
};

/// Throws a Failure with one line for wrong input.
Request parse(int argc, const char* const* argv);

}  // namespace qmctl

#endif
