#ifndef QM_TEST_LOG_CAPTURE_HPP
#define QM_TEST_LOG_CAPTURE_HPP

#include <boost/log/sinks/sink.hpp>
#include <boost/smart_ptr/shared_ptr.hpp>

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
    LogCapture();
    ~LogCapture();

    [[nodiscard]] const std::vector<std::string>& lines() const { return lines_; }

    /** The lines without those for developers: traces and debug lines. */
    [[nodiscard]] std::vector<std::string> notes() const;

    void clear() { lines_.clear(); }

private:
    std::vector<std::string> lines_;
    boost::shared_ptr<boost::log::sinks::sink> sink_;
};

}  // namespace qm::test

#endif
