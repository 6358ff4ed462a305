#pragma once

#include "command_line.hpp"
#include "test.hpp"

namespace qm::test {

inline qmctl::Request parseLine(const std::string& line)
{
    std::istringstream words("qmctl " + line);
    std::vector<std::string> arguments;
    for (std::string word; words >> word;)
        arguments.push_back(word);
    std::vector<const char*> raw;
    for (const std::string& argument : arguments)
        raw.push_back(argument.c_str());
    return qmctl::parse(static_cast<int>(raw.size()), raw.data());
}

/// Runs a line as the program does.
inline qmctl::Outcome runQmctl(const std::string& line)
{
    const qmctl::Request request = parseLine(line);
    return request.command->run(request.arguments);
}

/// The line that the program ends with: its status and its words; "0" when it ends well.
inline std::string endOf(const std::string& line)
{
    try {
        return std::to_string(runQmctl(line).status);
    } catch (const qmctl::Failure& failure) {
        return std::to_string(failure.status) + ' ' + failure.what();
    }
}

/// What the program prints.
inline std::string textOf(const std::string& line)
{
    for (const qmctl::Command& command : qmctl::commands())
        if (line == command.name() || line.starts_with(command.name() + ' '))
            return command.show(runQmctl(line).value, {});
    return "";
}

}  // namespace qm::test
