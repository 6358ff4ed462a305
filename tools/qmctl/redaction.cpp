#include "redaction.hpp"

#include <fmt/format.h>

#include <algorithm>
#include <regex>

namespace qmctl {

namespace {

constexpr std::size_t kLongestLine = 4096;  // std::regex calls itself for every character

}  // namespace

std::string Redaction::operator()(const std::string& text)
{
    if (full_) return text;
    std::string safe;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = std::min(text.find('\n', begin), text.size());
        safe += end - begin > kLongestLine ? fmt::format("({} bytes in one line, left out)", end - begin)
                                           : redactLine(text.substr(begin, end - begin));
        if (end < text.size()) safe += '\n';
        begin = end + 1;
    }
    return safe;
}

std::string Redaction::redactLine(const std::string& line)
{
    static const std::regex kMac("\\b[0-9a-fA-F]{2}([:-][0-9a-fA-F]{2}){5,7}\\b");
    static const std::regex kSecret("((pass|secret|token|key|machine_id|machine-id)\\w*)=\\S+",
                                    std::regex::icase);
    static const std::regex kSerial("(\\bserial( ?number)?|\\bID_SERIAL\\w*)([ \\t]*[:=][ \\t]*)(?!-)\\S+",
                                    std::regex::icase);
    static const std::regex kInterface("\\b(en|wl)x([0-9a-f]{12})\\b");
    std::string safe = std::regex_replace(line, kMac, "00:00:00:00:00:00");
    safe = std::regex_replace(safe, kSecret, "$1=***");
    safe = std::regex_replace(safe, kSerial, "$1$3***");
    std::string result;
    auto rest = safe.cbegin();
    for (std::sregex_iterator name(safe.begin(), safe.end(), kInterface), end; name != end; ++name) {
        const auto [known, isNew] =
            names_.try_emplace(name->str(2), fmt::format("{:012}", names_.size() + 1));
        result.append(rest, (*name)[2].first).append(known->second);
        rest = (*name)[2].second;
    }
    return result.append(rest, safe.cend());
}

}  // namespace qmctl
