#ifndef QMCTL_NOUNS_HPP
#define QMCTL_NOUNS_HPP

#include "command.hpp"

/// The commands of each noun.
namespace qmctl {

std::vector<Command> doctorCommands();
std::vector<Command> targetCommands();
std::vector<Command> pciCommands();
std::vector<Command> pciConfigCommands();
std::vector<Command> pciDriverCommands();
std::vector<Command> ethCommands();
std::vector<Command> serialCommands();
std::vector<Command> dmaCommands();
std::vector<Command> persistCommands();
std::vector<Command> irqCommands();
std::vector<Command> latencyCommands();
std::vector<Command> reportCommands();
std::vector<Command> documentCommands();

}  // namespace qmctl

#endif
