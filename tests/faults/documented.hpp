#ifndef QM_TEST_DOCUMENTED_HPP
#define QM_TEST_DOCUMENTED_HPP

#include <fnmatch.h>

#include <string>

// What the library is meant to do otherwise than report a failure with its reason, and to leave open.

namespace qm::test {

enum Outcome
{
    kReports,   // the step fails and tells the reason
    kFails,     // without the reason
    kSucceeds,  // harmless
    kEither,
    kEnds,  // the process
};

struct Exception
{
    const char* step;  // patterns: "scenario/step"
    const char* call;  // "module:function"
    Outcome outcome;
    const char* why;
};

struct Leftover
{
    const char* scenario;
    const char* call;
    const char* file;
    const char* why;
};

inline const Exception kExceptions[] = {
    {"*", "libpci*", kEnds, "libpci ends the process on what it takes for an error"},
};

inline const Leftover kLeftovers[] = {
    {"*", "*", "*/sys/bus/pci/devices/*/config", "libpci keeps the file that it read last"},
};

inline bool matches(const char* pattern, const std::string& text)
{
    return fnmatch(pattern, text.c_str(), 0) == 0;
}

inline Outcome expectedOutcome(const std::string& step, const std::string& call)
{
    for (const Exception& row : kExceptions)
        if (matches(row.step, step) && matches(row.call, call)) return row.outcome;
    return kReports;
}

inline bool mayStayOpen(const std::string& scenario, const std::string& call, const std::string& file)
{
    for (const Leftover& row : kLeftovers)
        if (matches(row.scenario, scenario) && matches(row.call, call) && matches(row.file, file)) return true;
    return false;
}

}  // namespace qm::test

#endif
