#include "faults.hpp"

#include "machine.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <utility>

namespace qm::test {

WithoutModule::WithoutModule(std::string name) : name_(std::move(name))
{
    linesOf("rmmod " + name_);
}

WithoutModule::~WithoutModule()
{
    linesOf("insmod /run/modules/" + name_ + ".ko");
}

void runAndKill(const std::function<bool()>& part)
{
    const pid_t child = ::fork();
    ASSERT_NE(-1, child);
    if (child == 0) {
        if (part()) (void)::raise(SIGKILL);
        ::_exit(1);
    }
    int status = 0;
    ASSERT_EQ(child, ::waitpid(child, &status, 0));
    EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) << "the child failed: " << pQmErrorStr;
}

}  // namespace qm::test
