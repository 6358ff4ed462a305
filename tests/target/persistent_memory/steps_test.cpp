// Every state of shared memory that a kill can leave behind, found by stepping through one call, instruction
// by instruction; later runs open each of them.

#include "memory_world.hpp"

#include <sys/ptrace.h>

namespace qm::test {

namespace {

void restore(const State& state)
{
    for (const auto& object : sharedObjects())
        fs::remove(pathOf(object));
    for (const auto& [object, bytes] : state)
        sandbox::writeFile(pathOf(object), bytes);
}

/** The distinct states before, during and after `call`, in a process that has done `before`. */
std::vector<State> statesDuring(void (*before)(), void (*call)())
{
    const pid_t child = fork();
    if (child == 0) {
        (void)ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
        before();
        (void)raise(SIGSTOP);
        call();
        (void)raise(SIGSTOP);
        _exit(0);
    }
    int status = 0;
    EXPECT_EQ(child, waitpid(child, &status, 0));
    std::vector<State> states{currentState()};
    do {
        (void)ptrace(PTRACE_SINGLESTEP, child, nullptr, nullptr);
        EXPECT_EQ(child, waitpid(child, &status, 0));
        if (auto state = currentState(); state != states.back()) states.push_back(std::move(state));
    } while (WIFSTOPPED(status) && WSTOPSIG(status) == SIGTRAP);
    EXPECT_TRUE(WIFSTOPPED(status) && WSTOPSIG(status) == SIGSTOP) << status;
    (void)kill(child, SIGKILL);
    EXPECT_EQ(child, waitpid(child, &status, 0));
    return states;
}

char* put(const char* name, uint32_t size, const char* text)
{
    return std::strcpy(static_cast<char*>(qm_allocPersistentMemory(name, size)), text);
}

void expectWhatWasGiven()
{
    EXPECT_STREQ("one", static_cast<char*>(qm_getPersistentMemory("gains")));
    EXPECT_STREQ("two", static_cast<char*>(qm_getPersistentMemory("offsets")));
}

class KilledWhileItAllocates : public MemoryWorld, public testing::WithParamInterface<void (*)()>
{};

}  // namespace

TEST_P(KilledWhileItAllocates, LosesNothingAndCanAllocateAgain)
{
    const auto states = statesDuring(
        [] {
            put("gains", 60'000, "one");
            put("offsets", 10, "two");
        },
        GetParam());
    EXPECT_LT(5U, states.size());
    for (size_t i = 0; i < states.size(); ++i) {
        SCOPED_TRACE(i);
        restore(states[i]);
        run([](LogCapture&) {
            expectWhatWasGiven();
            const char* const grown = put("gains", 70'000, "three");
            EXPECT_EQ(0, grown[69'999]);
            put("new", 10, "four");
        });
        run([](LogCapture&) {
            expectWhatWasGiven();
            EXPECT_NE(nullptr, qm_getPersistentMemory("new"));
        });
    }
}

INSTANTIATE_TEST_SUITE_P(AName, KilledWhileItAllocates,
                         testing::Values([] { (void)qm_allocPersistentMemory("gains2", 10); }));
INSTANTIATE_TEST_SUITE_P(AFragment, KilledWhileItAllocates,
                         testing::Values([] { (void)qm_allocPersistentMemory("gains", 90'000); }));

TEST_F(MemoryWorld, AModelKilledInItsFirstAllocationLeavesRoomForTheNext)
{
    const auto states = statesDuring([] {}, [] { put("gains", 10, "one"); });
    EXPECT_LT(3U, states.size());
    for (const State& state : states) {
        restore(state);
        run([](LogCapture&) { EXPECT_NE(nullptr, qm_allocPersistentMemory("gains", 10)); });
    }
}

}  // namespace qm::test
