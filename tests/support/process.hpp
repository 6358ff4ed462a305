#ifndef QM_TEST_PROCESS_HPP
#define QM_TEST_PROCESS_HPP

#include <functional>
#include <string>
#include <vector>

namespace qm::test {

/** Numbers and targets of the open descriptors: compare before and after. */
std::vector<std::string> openDescriptors();

/** What `act` writes to a standard stream, buffered text included. */
std::string standardOutputOf(const std::function<void()>& act);
std::string standardErrorOf(const std::function<void()>& act);

}  // namespace qm::test

#endif
