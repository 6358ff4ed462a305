#include "command_line.hpp"

#include "help.hpp"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <memory>

namespace qmctl {

namespace {

constexpr char kVersion[] = QMCTL_VERSION;

std::string numberProblem(const Option& option, const std::string& text)
{
    double value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    const bool isNumber = error == std::errc() && end == text.data() + text.size();
    const bool fits = option.kind == Kind::number || value == std::trunc(value);
    if (isNumber && fits && value >= option.least && value <= option.most) return "";
    return fmt::format("'{}' is wrong; right is a {}number from {} to {}", text,
                       option.kind == Kind::whole ? "whole " : "", option.least, option.most);
}

std::string problemOf(const Option& option, const std::string& text)
{
    if (option.kind == Kind::number || option.kind == Kind::whole) return numberProblem(option, text);
    if (text.empty()) return "an empty text is wrong";
    if (option.choices.empty() || std::ranges::count(option.choices, text) > 0) return "";
    return fmt::format("'{}' is wrong; right is one of: {}", text, fmt::join(option.choices, ", "));
}

/// The parser for one command: its options, and where their values go.
void addOptions(CLI::App& app, const std::vector<Option>& options, Arguments& into)
{
    for (const Option& option : options) {
        const auto take = [&into, &option](const std::string& value) {
            const std::string problem = problemOf(option, value);
            if (!problem.empty()) throw usage(fmt::format("{}: {}", option.name, problem));
            into.set(option.name, value);
        };
        if (option.kind == Kind::flag)
            app.add_flag_callback(option.name, [take] { take("yes"); });
        else
            app.add_option_function<std::string>(option.name, take)
                ->required(option.isRequired())
                ->type_name(option.meta);
    }
}

void addDefaults(const Command& command, Arguments& arguments)
{
    for (const Option& option : command.options)
        if (!option.fallback.empty() && !arguments.has(option.name))
            arguments.set(option.name, option.fallback);
}

/// Number of single-character changes from one word to the other.
std::size_t distance(const std::string& from, const std::string& to)
{
    std::vector<std::size_t> row(to.size() + 1);
    for (std::size_t j = 0; j < row.size(); ++j)
        row[j] = j;
    for (std::size_t i = 1; i <= from.size(); ++i) {
        std::size_t diagonal = row[0];
        row[0] = i;
        for (std::size_t j = 1; j <= to.size(); ++j) {
            const std::size_t above = row[j];
            const std::size_t change = diagonal + (from[i - 1] == to[j - 1] ? 0 : 1);
            row[j] = std::min({above + 1, row[j - 1] + 1, change});
            diagonal = above;
        }
    }
    return row.back();
}

std::string missing(const std::string& what, const std::string& word, const std::vector<std::string>& right)
{
    for (const std::string& candidate : right)
        if (distance(word, candidate) <= 2)
            return fmt::format("there is no {} '{}'; did you mean '{}'?", what, word, candidate);
    return fmt::format("there is no {} '{}'; right is one of: {}", what, word, fmt::join(right, ", "));
}

/// The line for what CLI11 did not like.
std::string complaint(const CLI::App& app, const CLI::ParseError& error)
{
    const CLI::App* at = &app;
    std::string name;
    while (!at->get_subcommands().empty()) {
        at = at->get_subcommands().front();
        name += ' ' + at->get_name();
    }
    std::vector<std::string> right;
    for (const CLI::App* below : at->get_subcommands([](const CLI::App*) { return true; }))
        right.push_back(below->get_name());
    const std::string what = at == &app ? "noun" : "verb";
    const std::vector<std::string> left = app.remaining(true);
    const std::string help = fmt::format("see 'qmctl{} --help'", name);
    if (dynamic_cast<const CLI::ArgumentMismatch*>(&error) != nullptr)
        return fmt::format("{}; {}", error.what(), help);
    if (!left.empty() && left.front().starts_with('-')) {
        for (const CLI::App* part : {at, &app})
            for (const CLI::Option* option : part->get_options())
                if (distance(left.front(), option->get_name()) <= 2)
                    return fmt::format("there is no option '{}'; did you mean '{}'?", left.front(),
                                       option->get_name());
        return fmt::format("there is no option '{}'; {}", left.front(), help);
    }
    if (!right.empty()) {
        if (!left.empty()) return missing(what, left.front(), right);
        return fmt::format("a {} is missing after 'qmctl{}'; right is one of: {}", what, name,
                           fmt::join(right, ", "));
    }
    if (!left.empty()) return fmt::format("'{}' is one word too many; {}", left.front(), help);
    return fmt::format("{}; {}", error.what(), help);
}

}  // namespace

Request parse(int argc, const char* const* argv)
{
    Request request;
    CLI::App app("", "qmctl");
    const auto prepare = [&](CLI::App& part, std::string help) {
        part.set_help_flag("--help,-h");
        part.formatter_fn([help = std::move(help)](const CLI::App*, const std::string&, CLI::AppFormatMode) {
            return help;
        });
        part.fallthrough();
    };
    prepare(app, helpOfAll());
    app.set_version_flag("--version", std::string("qmctl ") + kVersion);
    addOptions(app, commonOptions(), request.arguments);
    app.require_subcommand(1);
    std::map<std::string, CLI::App*> nouns;
    for (const Command& command : commands()) {
        CLI::App*& noun = nouns[command.noun];
        if (noun == nullptr) {
            noun = app.add_subcommand(command.noun);
            prepare(*noun, command.verb.empty() ? helpOf(command) : helpOfNoun(command.noun));
            if (!command.verb.empty()) noun->require_subcommand(1);
        }
        CLI::App* const place = command.verb.empty() ? noun : noun->add_subcommand(command.verb);
        if (place != noun) prepare(*place, helpOf(command));
        addOptions(*place, command.options, request.arguments);
        place->callback([&request, &command] { request.command = &command; });
    }
    try {
        app.parse(argc, argv);
    } catch (const CLI::CallForHelp&) {
        const CLI::App* at = &app;
        while (!at->get_subcommands().empty())
            at = at->get_subcommands().front();
        return {nullptr, {}, at->help()};
    } catch (const CLI::CallForVersion&) {
        return {nullptr, {}, std::string("qmctl ") + kVersion + '\n'};
    } catch (const CLI::ParseError& error) {
        throw usage(complaint(app, error));
    }
    addDefaults(*request.command, request.arguments);
    return request;
}

}  // namespace qmctl
