#ifndef QMCTL_COMMAND_HPP
#define QMCTL_COMMAND_HPP

#include <nlohmann/json.hpp>

#include <functional>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

namespace qmctl {

using Json = nlohmann::ordered_json;

/// As JSON; bytes that are no UTF-8, as an argument or a file may hold, become U+FFFD.
inline std::string jsonText(const Json& value, int indent = -1)
{
    return value.dump(indent, ' ', false, Json::error_handler_t::replace);
}

/// Exit statuses.
constexpr int kDone = 0;
constexpr int kFailed = 1;
constexpr int kUsage = 2;
constexpr int kProblems = 3;

/// Ends a command with one line of text: what is wrong, and what would be right.
class Failure : public std::runtime_error
{
public:
    explicit Failure(const std::string& text, int exitStatus = kFailed)
        : std::runtime_error(text), status(exitStatus)
    {}
    int status;
};

/// Wrong input.
inline Failure usage(const std::string& text)
{
    return Failure(text, kUsage);
}

enum class Kind
{
    flag,
    text,
    file,
    driver,
    number,
    whole  ///< a number without a fraction
};

/// An option ("--name") or, without the dashes, an argument by its place.
struct Option
{
    std::string name;
    Kind kind;
    std::string meta;  ///< what stands for the value; empty for a flag
    std::string text;
    std::string fallback = {};
    double least = 0, most = 0;             ///< of a number
    std::vector<std::string> choices = {};  ///< of a text, where only these are right

    [[nodiscard]] bool isPositional() const { return !name.starts_with("--"); }
    [[nodiscard]] bool isRequired() const { return isPositional() && fallback.empty(); }
};

/// The values of a command's options, checked already.
class Arguments
{
public:
    void set(const std::string& name, const std::string& value) { values_[name] = value; }
    [[nodiscard]] bool has(const std::string& name) const { return values_.contains(name); }
    [[nodiscard]] std::string text(const std::string& name) const
    {
        const auto found = values_.find(name);
        return found == values_.end() ? "" : found->second;
    }
    [[nodiscard]] double number(const std::string& name) const { return std::stod(text(name)); }
    [[nodiscard]] int whole(const std::string& name) const { return static_cast<int>(number(name)); }

private:
    std::map<std::string, std::string> values_;
};

/// What a command found or did.
struct Outcome
{
    Json value;
    int status = kDone;
};

/// Where text goes.
struct Look
{
    bool colour = false;
    std::size_t width = 100;
};

/// A row of the table that the parser, the help, the manual page and the completion are made from.
struct Command
{
    std::string noun, verb;  ///< no verb: the noun alone
    std::string text;
    std::vector<Option> options;
    std::function<Outcome(const Arguments&)> run;
    std::function<std::string(const Json&, const Look&)> show;  ///< the same value as text
    std::string details = {};
    bool readsOnly = true;  ///< works on a report, too

    [[nodiscard]] std::string name() const { return verb.empty() ? noun : noun + ' ' + verb; }
};

/// All commands, in the order of the help.
const std::vector<Command>& commands();

/// Options that every command has.
const std::vector<Option>& commonOptions();

}  // namespace qmctl

#endif
