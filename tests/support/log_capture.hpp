#ifndef QM_TEST_LOG_CAPTURE_HPP
#define QM_TEST_LOG_CAPTURE_HPP

#include <memory>
#include <string>
#include <vector>

namespace qm::test {

/**
 * Everything that the process logs during this object's life, in order, as a sink of the logging core sees
 * it.
 *
 * The sink is a careless one on purpose: it leaves errno changed (ELIBBAD) behind each record, so that a
 * caller which relies on errno across a log line is found out.
 */
class LogCapture
{
public:
    struct Record
    {
        int severity;
        int channel;
        std::string text;
    };

    LogCapture();
    ~LogCapture();
    LogCapture(const LogCapture&) = delete;
    LogCapture& operator=(const LogCapture&) = delete;

    [[nodiscard]] std::vector<Record> records() const;

    /** "error QM: the text", one per record. */
    [[nodiscard]] std::vector<std::string> lines() const;

    /** The lines that begin with this severity word or one above it: "warning" gives warnings and errors. */
    [[nodiscard]] std::vector<std::string> linesFrom(const std::string& lowestSeverity) const;

    void clear();

private:
    class Sink;
    std::unique_ptr<Sink> sink_;
};

}  // namespace qm::test

#endif
