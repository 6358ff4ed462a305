#ifndef QMCTL_REDACTION_HPP
#define QMCTL_REDACTION_HPP

#include <map>
#include <string>

namespace qmctl {

/// Takes out of texts and names what is nobody else's business: MAC addresses (also those that are part of an
/// interface's name), serial numbers, passwords and keys on the kernel's command line, lines too long to look
/// through.
class Redaction
{
public:
    explicit Redaction(bool full) : full_(full) {}

    std::string operator()(const std::string& text);

private:
    std::string redactLine(const std::string& line);

    bool full_;  ///< everything stays
    std::map<std::string, std::string> names_;
};

}  // namespace qmctl

#endif
