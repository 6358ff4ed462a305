#ifndef QMCTL_TEXT_HPP
#define QMCTL_TEXT_HPP

#include "command.hpp"

#include <cstdint>
#include <optional>
#include <string_view>

/// Values as text: aligned, wrapped, and coloured where that is wanted.
namespace qmctl {

struct Column
{
    std::string title;
    std::string key;      ///< of the row's value
    bool wraps = false;   ///< gives way when the table is too wide
    bool number = false;  ///< aligned to the right
    bool spare = false;   ///< left out when the table is too wide even so
};

/// The number that the whole text is, without a sign; nothing for any other text.
std::optional<uint64_t> wholeNumber(std::string_view text, int base = 10);

/// The same for a line that may be missing, as JSON: null for what is no number.
Json numberOrNull(const std::optional<std::string>& line);

/// A text without what would drive a terminal: it may come from somebody else's report.
std::string printable(std::string text);

/// A value as people read it: no quotes, "yes" and "no", "-" for nothing.
std::string plain(const Json& value);

/// One line a row, or more where a column wraps; `none` when there is no row.
std::string table(const Json& rows, const std::vector<Column>& columns, const Look& look,
                  const std::string& none);

/// "label   value" lines for what the object has of these; Column::title is the label.
std::string facts(const Json& object, const std::vector<Column>& labels, const Look& look);

/// What a command has done, in the words that it gave as "done".
std::string showDone(const Json& value, const Look& look);

/// Lines of at most `width` characters, broken at blanks; a longer word stands alone.
std::vector<std::string> wrapped(const std::string& text, std::size_t width);

enum class Colour
{
    none,
    bold,
    red,
    green,
    yellow
};

std::string coloured(const std::string& text, Colour colour, const Look& look);

/// The colour of a word that tells a state: ok, note, problem.
Colour colourOf(const std::string& state);

/// How standard output looks: colours and its width on a terminal.
Look lookOfOutput();

}  // namespace qmctl

#endif
