#include <slrealtime/IamRoot.hpp>

#include <gmock/gmock.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>
#include <optional>
#include <thread>

using slrealtime::IamRoot;
using testing::ExitedWithCode;

namespace {

constexpr uid_t kUser = 1000;

/** Ends the process, with 0 when `body` is true in a set-user-ID root program that user 1000 started. */
[[noreturn]] void asUser(bool (*body)())
{
    if (::setresuid(kUser, kUser, 0) != 0) std::exit(2);
    const bool passed = body();
    // A process with rights to take back could not be checked for leaks.
    if (::setresuid(kUser, kUser, kUser) != 0 || ::prctl(PR_SET_DUMPABLE, 1) != 0) std::exit(2);
    std::exit(passed ? 0 : 1);
}

/** The main thread's scope ends inside another thread's; a further one begins and ends in both. */
bool scopesOverlap()
{
    std::atomic<int> stage{0};
    const auto reach = [&](int next) {
        stage = next;
        stage.notify_all();
    };
    uid_t late = 1;
    std::optional<IamRoot> early(std::in_place);
    std::thread other([&] {
        const IamRoot root;
        reach(1);
        stage.wait(1);
        late = ::geteuid();
    });
    stage.wait(0);
    errno = 77;
    (void)IamRoot();
    const bool isRootStill = ::geteuid() == 0;
    early.reset();
    reach(2);
    other.join();
    return isRootStill && errno == 77 && late == 0 && ::geteuid() == kUser;
}

/** In a scope, from whose begin on the kernel refuses this process every change of its user. */
bool cannotDrop()
{
    const IamRoot root;
    std::array<sock_filter, 4> rules = {{BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
                                         BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_setresuid, 0, 1),
                                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EPERM),
                                         BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW)}};
    const sock_fprog program = {rules.size(), rules.data()};
    return ::syscall(SYS_seccomp, SECCOMP_SET_MODE_FILTER, SECCOMP_FILTER_FLAG_TSYNC, &program) == 0;
}

}  // namespace

TEST(IamRootTest, GivesRightsFromTheFirstScopesBeginToTheLastOnesEnd)
{
    ASSERT_EQ(0U, ::geteuid()) << "run the tests as root, or under unshare --map-auto -r";
    EXPECT_EXIT(asUser(scopesOverlap), ExitedWithCode(0), "");
    EXPECT_EXIT(asUser(cannotDrop), testing::KilledBySignal(SIGABRT), "cannot give up root rights");
    (void)IamRoot();
    EXPECT_EQ(0U, ::geteuid()) << "a process that is root stays root";
}
