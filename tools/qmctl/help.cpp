#include "help.hpp"

#include "text.hpp"

#include <fmt/format.h>

#include <algorithm>

namespace qmctl {

namespace {

constexpr std::size_t kWidth = 80;
constexpr std::size_t kLabel = 26;

constexpr char kPurpose[] =
    "Shows and looks after a Quillmark target: is it ready for models, what boards, interrupts and memory "
    "does it have, how fast does it react.";

constexpr char kStatuses[] = "Exit status: 0 done, 1 failed, 2 wrong usage, 3 the doctor found problems.";

std::string paragraph(const std::string& text)
{
    std::string lines;
    for (const std::string& line : wrapped(text, kWidth))
        lines += line + '\n';
    return lines;
}

std::string entry(const std::string& label, const std::string& text)
{
    std::string before = fmt::format("  {:<{}}", label, kLabel - 2);
    std::string lines;
    if (label.size() + 2 >= kLabel) {
        lines = before + '\n';
        before.assign(kLabel, ' ');
    }
    for (const std::string& line : wrapped(text, kWidth - kLabel)) {
        lines += before + line + '\n';
        before.assign(kLabel, ' ');
    }
    return lines;
}

std::string spelled(const Option& option)
{
    return option.kind == Kind::flag || option.isPositional() ? option.name : option.name + ' ' + option.meta;
}

std::string described(const Option& option)
{
    return option.fallback.empty() ? option.text : fmt::format("{} ({})", option.text, option.fallback);
}

std::string optionEntries(const std::vector<Option>& options)
{
    std::string text;
    for (const Option& option : options)
        text += entry(spelled(option), described(option));
    return text;
}

std::string commonPart()
{
    return "\nOptions of every command:\n" + optionEntries(commonOptions()) + entry("--help", "This text") +
           entry("--version", "The tool's version");
}

/// Usage of one command, continued lines under the first argument.
std::string usageLine(const Command& command)
{
    const std::string head = "Usage: qmctl " + command.name() + ' ';
    std::string text = head;
    std::size_t column = head.size();
    std::string words = synopsis(command);
    for (const std::string& line : wrapped(words, kWidth - column)) {
        text += (column == 0 ? std::string(head.size(), ' ') : "") + line + '\n';
        column = 0;
    }
    return words.empty() ? "Usage: qmctl " + command.name() + '\n' : text;
}

}  // namespace

std::string synopsis(const Command& command)
{
    std::string text;
    for (const bool positional : {true, false})
        for (const Option& option : command.options) {
            if (option.isPositional() != positional) continue;
            const std::string words = spelled(option);
            text += (text.empty() ? "" : " ") + (option.isRequired() ? words : '[' + words + ']');
        }
    return text;
}

std::string helpOfAll()
{
    std::string text = "Usage: qmctl [--from REPORT] NOUN [VERB] [OPTIONS] [--json]\n\n";
    text += paragraph(kPurpose) + "\nCommands (each has --help):\n";
    for (const Command& command : commands())
        text += entry(command.name(), command.text);
    return text + commonPart() + '\n' + kStatuses + '\n';
}

std::string helpOfNoun(const std::string& noun)
{
    std::string text =
        fmt::format("Usage: qmctl {} VERB [OPTIONS] [--json]\n\nCommands (each has --help):\n", noun);
    for (const Command& command : commands())
        if (command.noun == noun) text += entry(command.name(), command.text);
    return text + commonPart();
}

std::string helpOf(const Command& command)
{
    std::string text = usageLine(command) + '\n' + paragraph(command.text + '.');
    if (!command.details.empty()) text += '\n' + paragraph(command.details);
    if (!command.options.empty()) text += "\nArguments and options:\n" + optionEntries(command.options);
    return text + commonPart();
}

}  // namespace qmctl
