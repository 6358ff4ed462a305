#include "qm_serial_device/natural_order.hpp"

#include <algorithm>
#include <compare>

namespace qm::serial {

namespace {

bool isDigit(char character)
{
    return character >= '0' && character <= '9';
}

std::strong_ordering compareRuns(const std::string& a, const std::string& b)
{
    if (isDigit(a.front()) && isDigit(b.front())) return std::stoi(a) <=> std::stoi(b);
    return a <=> b;
}

}  // namespace

std::vector<std::string> splitAlphaNum(const std::string& text)
{
    std::vector<std::string> runs;
    for (auto begin = text.begin(); begin != text.end();) {
        const auto end = std::find_if(begin, text.end(), [isNumber = isDigit(*begin)](char character) {
            return isDigit(character) != isNumber;
        });
        runs.emplace_back(begin, end);
        begin = end;
    }
    return runs;
}

bool doNaturalCompare(const std::string& a, const std::string& b)
{
    const auto aRuns = splitAlphaNum(a);
    const auto bRuns = splitAlphaNum(b);
    for (std::size_t i = 0; i < std::min(aRuns.size(), bRuns.size()); ++i) {
        const auto order = compareRuns(aRuns[i], bRuns[i]);
        if (std::is_neq(order)) return std::is_lt(order);
    }
    return aRuns.size() < bRuns.size();
}

}  // namespace qm::serial
