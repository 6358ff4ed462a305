#ifndef QM_TEST_PROCESS_HPP
#define QM_TEST_PROCESS_HPP

#include <string>
#include <vector>

namespace qm::test {

/** Numbers and targets of the open descriptors: compare before and after. */
std::vector<std::string> openDescriptors();

/** Collects what is written to a standard stream (descriptor 1 or 2), buffered text included, until it is
 * read. */
class StreamCapture
{
public:
    explicit StreamCapture(int stream);
    ~StreamCapture();
    StreamCapture(const StreamCapture&) = delete;
    StreamCapture& operator=(const StreamCapture&) = delete;

    /** Ends the capture. */
    std::string text();

private:
    void restore();

    int stream_;
    int saved_;
    int file_;
};

}  // namespace qm::test

#endif
