#include "text.hpp"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <charconv>
#include <cstdlib>
#include <numeric>

namespace qmctl {

namespace {

constexpr std::size_t kGap = 2;
constexpr std::size_t kNarrowest = 10;      // of a value behind its label
constexpr std::size_t kUnlimited = 10'000;  // what reads a pipe wants one row a line

using Cells = std::vector<std::vector<std::string>>;

std::size_t sum(const std::vector<std::size_t>& widths)
{
    return std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
}

std::size_t longestWord(const std::string& text)
{
    std::size_t longest = 0;
    for (const std::string& word : wrapped(text, 1))
        longest = std::max(longest, word.size());
    return longest;
}

/// Widths of the columns: as wide as what they hold. Where that is too wide, the widest that wraps gives way,
/// one character at a time, down to its longest word.
std::vector<std::size_t> widthsOf(const Cells& cells, const std::vector<Column>& columns, std::size_t room)
{
    std::vector<std::size_t> widths(columns.size());
    std::vector<std::size_t> least(columns.size());
    for (const auto& row : cells)
        for (std::size_t i = 0; i < row.size(); ++i) {
            widths[i] = std::max(widths[i], row[i].size());
            least[i] = std::max(least[i], columns[i].wraps ? longestWord(row[i]) : row[i].size());
        }
    while (sum(widths) > room) {
        std::size_t* widest = nullptr;
        for (std::size_t i = 0; i < widths.size(); ++i)
            if (widths[i] > least[i] && (widest == nullptr || widths[i] > *widest)) widest = &widths[i];
        if (widest == nullptr) break;
        --*widest;
    }
    return widths;
}

Cells cellsOf(const Json& rows, const std::vector<Column>& columns)
{
    Cells cells(1);
    for (const Column& column : columns)
        cells[0].push_back(column.title);
    for (const Json& row : rows) {
        cells.emplace_back();
        for (const Column& column : columns) {
            cells.back().push_back(plain(row.value(column.key, Json())));
            std::ranges::replace(cells.back().back(), '\n', ' ');  // one row is no two
        }
    }
    return cells;
}

std::string padded(const std::string& cell, std::size_t width, bool number)
{
    return number ? fmt::format("{:>{}}", cell, width) : fmt::format("{:<{}}", cell, width);
}

/// One row, as many lines as its highest cell has.
std::string tableRow(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths,
                     const std::vector<Column>& columns, const Look& look)
{
    std::vector<std::vector<std::string>> lines;
    std::size_t height = 1;
    for (std::size_t i = 0; i < cells.size(); ++i) {
        lines.push_back(columns[i].wraps ? wrapped(cells[i], widths[i]) : std::vector{cells[i]});
        height = std::max(height, lines.back().size());
    }
    std::string text;
    for (std::size_t line = 0; line < height; ++line) {
        std::string row;
        for (std::size_t i = 0; i < cells.size(); ++i) {
            const std::string cell = line < lines[i].size() ? lines[i][line] : "";
            row += coloured(padded(cell, widths[i], columns[i].number), colourOf(cell), look);
            row += std::string(kGap, ' ');
        }
        text += row.erase(row.find_last_not_of(' ') + 1) + '\n';
    }
    return text;
}

}  // namespace

std::optional<uint64_t> wholeNumber(std::string_view text, int base)
{
    uint64_t number = 0;
    const char* const end = text.data() + text.size();
    const auto parsed = std::from_chars(text.data(), end, number, base);
    return parsed.ec == std::errc{} && parsed.ptr == end ? std::optional(number) : std::nullopt;
}

Json numberOrNull(const std::optional<std::string>& line)
{
    const auto number = wholeNumber(line.value_or(""));
    return number ? Json(*number) : Json();
}

std::string printable(std::string text)
{
    std::ranges::replace_if(
        text, [](unsigned char letter) { return (letter < ' ' && letter != '\n') || letter == 0x7F; }, '?');
    // The second set of control characters, U+0080 to U+009F, is two bytes each.
    for (std::size_t i = 0; i + 1 < text.size(); ++i)
        if (text[i] == '\xC2' && static_cast<unsigned char>(text[i + 1]) < 0xA0) text[i] = text[i + 1] = '?';
    return text;
}

std::string plain(const Json& value)
{
    if (value.is_string())
        return value.get<std::string>().empty() ? "-" : printable(value.get<std::string>());
    if (value.is_null()) return "-";
    if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
    if (!value.is_array()) return jsonText(value);
    std::string list;
    for (const Json& entry : value)
        list += (list.empty() ? "" : ", ") + plain(entry);
    return list.empty() ? "-" : list;
}

std::string showDone(const Json& value, const Look& /*look*/)
{
    return plain(value.at("done")) + '\n';
}

std::vector<std::string> wrapped(const std::string& text, std::size_t width)
{
    std::vector<std::string> lines;
    std::string rest = text;
    while (rest.size() > width) {
        std::size_t cut = rest.rfind(' ', width);
        if (cut == std::string::npos || cut == 0) cut = std::min(rest.find(' ', 1), rest.size());
        lines.push_back(rest.substr(0, cut));
        rest.erase(0, std::min(cut + 1, rest.size()));
    }
    if (!rest.empty() || lines.empty()) lines.push_back(rest);
    return lines;
}

std::string table(const Json& rows, const std::vector<Column>& columns, const Look& look,
                  const std::string& none)
{
    if (rows.empty()) return none + '\n';
    Cells cells = cellsOf(rows, columns);
    std::vector<std::size_t> widths = widthsOf(cells, columns, look.width);
    const bool hasSpare = std::ranges::any_of(columns, [](const Column& column) { return column.spare; });
    if (sum(widths) > look.width && hasSpare) {
        std::vector<Column> fewer = columns;
        std::erase_if(fewer, [](const Column& column) { return column.spare; });
        return table(rows, fewer, look, none);
    }
    std::string text;
    for (const auto& line : cells)
        text += tableRow(line, widths, columns, look);
    return text;
}

std::string facts(const Json& object, const std::vector<Column>& labels, const Look& look)
{
    std::size_t width = 0;
    for (const Column& label : labels)
        if (object.contains(label.key)) width = std::max(width, label.title.size());
    std::string text;
    for (const Column& label : labels) {
        if (!object.contains(label.key)) continue;
        std::string before = fmt::format("{:<{}}", label.title, width + kGap);
        const std::size_t room = std::max(look.width, width + kGap + kNarrowest) - width - kGap;
        for (const std::string& line : wrapped(plain(object.at(label.key)), room)) {
            text += before + line + '\n';
            before.assign(width + kGap, ' ');
        }
    }
    return text;
}

std::string coloured(const std::string& text, Colour colour, const Look& look)
{
    if (!look.colour || colour == Colour::none) return text;
    static constexpr std::array codes{"0", "1", "31", "32", "33"};
    return fmt::format("\033[{}m{}\033[0m", codes.at(static_cast<std::size_t>(colour)), text);
}

Colour colourOf(const std::string& state)
{
    if (state == "problem") return Colour::red;
    if (state == "note") return Colour::yellow;
    return state == "ok" ? Colour::green : Colour::none;
}

Look lookOfOutput()
{
    Look look;
    if (isatty(STDOUT_FILENO) == 0) return {false, kUnlimited};
    const char* const noColour = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    look.colour =
        (noColour == nullptr || *noColour == '\0') && terminal != nullptr && std::string(terminal) != "dumb";
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col >= 40) look.width = size.ws_col;
    return look;
}

}  // namespace qmctl
