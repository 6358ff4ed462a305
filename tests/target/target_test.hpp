#ifndef QM_TEST_TARGET_TEST_HPP
#define QM_TEST_TARGET_TEST_HPP

#include "log_capture.hpp"
#include "process.hpp"
#include "sandbox.hpp"
#include <qm.h>

#include <gmock/gmock.h>
#include <unistd.h>

#include <cerrno>

namespace qm::test {

/** A test on a faked target: the log, and at its end no descriptor more is open than at its beginning. */
class TargetTest : public testing::Test
{
public:
    void TearDown() override { EXPECT_EQ(descriptors_, openDescriptors()); }

protected:
    LogCapture log_;
    std::vector<std::string> descriptors_ = openDescriptors();
};

}  // namespace qm::test

#endif
