#include "test.hpp"

namespace {

using namespace qm::test;

void add(char word)
{
    static char words[] = "A\0B\0C";
    qm_add_exit_handler([](void* text) { (void)std::fputs(static_cast<char*>(text), stderr); },
                        words + 2 * (word - 'A'));
}

void addC(void* /*argument*/)
{
    add('C');
}

/// What the process that does this says from its log and its exit handlers when it exits.
void exitAfter(void (*act)())
{
    static auto& logged = *new qm::test::LogCapture;
    (void)std::atexit([] {
        for (const std::string& line : logged.lines())
            if (line == "debug QM: Running Quillmark exit handlers") (void)std::fputs(" run", stderr);
    });
    (void)std::fputs("exit:", stderr);
    act();
    std::exit(0);
}

struct Exit
{
    const char* name;
    void (*act)();
    const char* said;
};

using ExitHandlers = testing::TestWithParam<Exit>;

TEST_P(ExitHandlers, RunOnceInOrderOfRegistration)
{
    EXPECT_EXIT(exitAfter(GetParam().act), ExitedWithCode(0), GetParam().said);
}

INSTANTIATE_TEST_SUITE_P(
    , ExitHandlers,
    testing::Values(
        Exit{"None", [] {}, "exit:$"}, Exit{"Two", [] { add('A'), add('B'); }, "exit:AB run$"},
        Exit{"AddedByTheFirst", [] { qm_add_exit_handler(addC, nullptr), add('B'); }, "exit:BC run$"},
        Exit{"AddedByTheLast", [] { add('A'), qm_add_exit_handler(addC, nullptr); }, "exit:AC run$"},
        Exit{"RunByHand", [] { add('A'), qm_exit_handler(); }, "exit:A run run$"},
        Exit{"AddedAfterARunByHand", [] { add('A'), qm_exit_handler(), add('B'); }, "exit:AB run run run$"}),
    byName);

}  // namespace
