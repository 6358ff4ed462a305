#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace qm::test {

/**
 * Everything that the process logs during this object's life, in order, as "error QM: the text". A channel
 * other than the platform's 0 would stand before the text.
 *
 * The sink is a careless one on purpose: it leaves errno changed (ELIBBAD) behind each record, so that a
 * caller which relies on errno across a log line is found out.
 */
class LogCapture
{
public:
    explicit LogCapture(std::function<void()> afterEachLine = [] {});
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    [[nodiscard]] const std::vector<std::string>& lines() const { return lines_; }

    /** The lines without those for developers: traces and debug lines. */
    [[nodiscard]] std::vector<std::string> notes() const;

    void clear() { lines_.clear(); }

private:
    std::vector<std::string> lines_;
    std::shared_ptr<void> sink_;  // removes it at the end
};

}  // namespace qm::test
