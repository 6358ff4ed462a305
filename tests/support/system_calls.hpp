#ifndef QM_TEST_SYSTEM_CALLS_HPP
#define QM_TEST_SYSTEM_CALLS_HPP

#include <functional>
#include <vector>

namespace qm::test {

/** Numbers of the system calls that `act` makes, in order; made by a traced copy of this process. */
std::vector<long> systemCallsOf(const std::function<void()>& act);

}  // namespace qm::test

#endif
