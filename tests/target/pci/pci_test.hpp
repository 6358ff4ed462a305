#pragma once

#include "fake_kernel.hpp"
#include "test.hpp"
#include "world.hpp"

namespace qm::test {

/** A world of boards, and a record. */
struct PciTest : TargetTest
{
    World world_;
    qm_PCIDevice device_{};
};

}  // namespace qm::test
