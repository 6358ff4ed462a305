// The modules themselves. A complaint of the kernel's fails the whole run.

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

TEST(Modules, CanBeUnloadedAndLoadedAgain)
{
    EXPECT_EQ(0, std::system("rmmod uio_quillmark qm_rt_control qm_intx_recheck qm_dma_buf"));
    EXPECT_EQ(0, std::system("for module in /run/modules/*.ko; do insmod $module || exit; done"));
}

}  // namespace
