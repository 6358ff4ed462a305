#ifndef QM_TEST_PCI_TEST_HPP
#define QM_TEST_PCI_TEST_HPP

#include "fake_kernel.hpp"
#include "target_test.hpp"
#include "world.hpp"

namespace qm::test {

/** A world of boards, and a record. */
class PciTest : public TargetTest
{
protected:
    World world_;
    qm_PCIDevice device_{};
};

}  // namespace qm::test

#endif
