#include "qm_common/clean_up_scope.hpp"
#include "qm_string_utils.hpp"
#include <qm/log.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <ctime>
#include <exception>

namespace {

constexpr char kLogFile[] = "/var/log/slrt/qmlog.log";
constexpr int kChannel = 42;
constexpr std::array<const char*, 5> kLevelWords = {"trace", "debug", "info", "warning", "error"};

const char* levelWord(Severity severity)
{
    return kLevelWords[std::min(static_cast<std::size_t>(static_cast<uint32_t>(severity)),
                                kLevelWords.size() - 1)];
}

/// The line imitates the platform log's layout; fraction and channel are constants.
std::string logLine(Severity severity, const char* message)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    ::localtime_r(&now, &local);
    std::array<char, 30> time{};
    std::strftime(time.data(), time.size(), "%F %T", &local);
    return qm::utils::formatString("%s%s.000042 [%-2d] [%-7s] %s\n", " ", time.data(), kChannel,
                                   levelWord(severity), message);
}

}  // namespace

void qm_log(Severity severity, const char* message)
try {
    const qm::CleanUpScope cleanUp;  // the file is closed whatever comes
    const std::string line = logLine(severity, message);
    std::FILE* file = std::fopen(kLogFile, "ae");
    if (file == nullptr) file = std::fopen(kLogFile, "we");
    if (file == nullptr) return;
    std::fputs(line.c_str(), file);
    std::fclose(file);
} catch (const std::exception&) {
    // A line that cannot be built is lost, as one that cannot be written.
    return;
}
