// The manual page and the completion of bash, made from the table of commands, and the commands that print
// them.

#include "help.hpp"
#include "nouns.hpp"

#include <fmt/format.h>

#include <set>

namespace qmctl {

namespace {

/// Text for roff: dashes that can be copied, and no line that looks like a request.
std::string roff(const std::string& text)
{
    std::string safe;
    for (const char character : text) {
        if (character == '\\')
            safe += "\\e";
        else if (character == '-')
            safe += "\\-";
        else
            safe += character;
    }
    return safe.starts_with('.') || safe.starts_with('\'') ? "\\&" + safe : safe;
}

std::string tagged(const std::string& tag, const std::string& text)
{
    return fmt::format(".TP\n.B {}\n{}\n", roff(tag), roff(text));
}

std::string optionTags(const std::vector<Option>& options)
{
    std::string text;
    for (const Option& option : options) {
        const std::string value = option.isPositional() || option.meta.empty() ? "" : ' ' + option.meta;
        const std::string otherwise = option.fallback.empty() ? "" : fmt::format(" ({})", option.fallback);
        text += tagged(option.name + value, option.text + otherwise);
    }
    return text;
}

/// What bash offers for a value.
std::string offersFor(const Option& option)
{
    if (option.kind == Kind::file) return "$(compgen -f -- \"$word\")";
    if (option.kind == Kind::driver) return "$(ls /sys/bus/pci/drivers 2>/dev/null)";
    return fmt::format("{}", fmt::join(option.choices, " "));
}

/// One line of the shell's case statement: what may follow "NOUN VERB", and the values of its options.
std::string completionCase(const Command& command)
{
    std::string words;
    std::string values;
    for (const auto* const options : {&command.options, &commonOptions()})
        for (const Option& option : *options) {
            const std::string offers = offersFor(option);
            if (option.isPositional())
                words += offers.empty() ? "" : ' ' + offers;
            else
                words += ' ' + option.name;
            if (!option.isPositional() && option.kind != Kind::flag)
                values += fmt::format("                {}) offers=\"{}\" ;;\n", option.name, offers);
        }
    return fmt::format(
        "        '{}')\n            offers=\"{} --help\"\n            case $before in\n{}            esac "
        ";;\n",
        command.name(), words.substr(words.empty() ? 0 : 1), values);
}

Outcome text(const std::string& made)
{
    return {made};
}

std::string showText(const Json& value, const Look& /*look*/)
{
    return value.get<std::string>();
}

}  // namespace

std::string manualPage()
{
    std::string text =
        ".TH QMCTL 1\n.SH NAME\nqmctl \\- show and look after a Quillmark target\n.SH SYNOPSIS\n"
        ".B qmctl\n[\\fB\\-\\-from\\fR REPORT] NOUN [VERB] [OPTIONS] [\\fB\\-\\-json\\fR]\n"
        ".SH DESCRIPTION\nTells whether a target is ready to run models, what boards, interrupts and memory "
        "it "
        "has, and how fast it reacts. Every command prints text for people or, with \\-\\-json, JSON.\n"
        ".SH COMMANDS\n";
    for (const Command& command : commands()) {
        text += fmt::format(".SS qmctl {} {}\n{}.\n", roff(command.name()), roff(synopsis(command)),
                            roff(command.text));
        if (!command.details.empty()) text += ".PP\n" + roff(command.details) + '\n';
        text += optionTags(command.options);
    }
    text += ".SH OPTIONS\n" + optionTags(commonOptions());
    text += tagged("--help", "Help for what stands before it") + tagged("--version", "The tool's version");
    text += ".SH EXIT STATUS\n";
    text += tagged("0", "Done.") + tagged("1", "Failed.") + tagged("2", "Wrong usage.") +
            tagged("3", "The doctor found problems.");
    return text + ".SH ENVIRONMENT\n" + tagged("NO_COLOR", "No colours on a terminal, either.");
}

std::string bashCompletion()
{
    std::string cases;
    std::set<std::string> nouns;
    std::map<std::string, std::string> verbs;
    for (const Command& command : commands()) {
        nouns.insert(command.noun);
        cases += completionCase(command);
        if (!command.verb.empty()) verbs[command.noun] += command.verb + ' ';
    }
    for (const auto& [noun, words] : verbs)
        cases += fmt::format("        '{}') offers=\"{}--help\" ;;\n", noun, words);
    return fmt::format(R"(# Completion of qmctl for bash; made by 'qmctl document completion'.
_qmctl() {{
    local word=${{COMP_WORDS[COMP_CWORD]}} before=${{COMP_WORDS[COMP_CWORD-1]}} offers='' noun='' verb='' i
    for ((i = 1; i < COMP_CWORD; i++)); do
        case ${{COMP_WORDS[i]}} in
            --from) ((++i)) ;;
            -*) ;;
            *) if [[ ! $noun ]]; then noun=${{COMP_WORDS[i]}}
               elif [[ ! $verb && ' {2} ' == *" $noun "* ]]; then verb=${{COMP_WORDS[i]}}; fi ;;
        esac
    done
    case "$noun${{verb:+ $verb}}" in
        '') offers="{0} --from --json --help --version"
            [[ $before == --from ]] && offers=$(compgen -f -- "$word") ;;
{1}    esac
    mapfile -t COMPREPLY < <(compgen -W "$offers" -- "$word")
}}
complete -o filenames -F _qmctl qmctl
)",
                       fmt::join(nouns, " "), cases, [&] {
                           std::string names;
                           for (const auto& [noun, words] : verbs)
                               names += (names.empty() ? "" : " ") + noun;
                           return names;
                       }());
}

std::vector<Command> documentCommands()
{
    return {{"document",
             "man",
             "Print the manual page, for man(1)",
             {},
             [](const Arguments&) { return text(manualPage()); },
             showText},
            {"document",
             "completion",
             "Print the completion of bash",
             {},
             [](const Arguments&) { return text(bashCompletion()); },
             showText}};
}

}  // namespace qmctl
