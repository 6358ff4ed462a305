#ifndef QM_TEST_PCI_TEST_HPP
#define QM_TEST_PCI_TEST_HPP

#include "log_capture.hpp"
#include "process.hpp"
#include "world.hpp"
#include <qm.h>

#include <gmock/gmock.h>

namespace qm::test {

/** A world of boards, the log, a record; at its end no descriptor more is open than at its beginning. */
class PciTest : public testing::Test
{
public:
    void TearDown() override { EXPECT_EQ(descriptors_, openDescriptors()); }

protected:
    World world_;
    LogCapture log_;
    qm_PCIDevice device_{};

private:
    std::vector<std::string> descriptors_ = openDescriptors();
};

}  // namespace qm::test

#endif
