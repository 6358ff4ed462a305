#include "child.hpp"

#include "test.hpp"

namespace {

using namespace qm::test;

using namespace qmctl;

std::string failureOf(const std::function<Json()>& part)
{
    try {
        return inChild(part).value.dump();
    } catch (const Failure& failure) {
        return failure.what();
    }
}

TEST(Child, GivesBackItsValueAndWhatItSaid)
{
    const Told told = inChild([] {
        (void)std::fputs("[error] QM: first.\nsecond\n", stderr);
        return Json{{"long", std::string(200'000, 'x')}};
    });
    EXPECT_EQ(200'000U, told.value.at("long").get<std::string>().size());
    EXPECT_EQ("first; second", reasonOf(told.said, "nothing"));
}

TEST(Child, ThatEndsIsAFailureWithItsLastWords)
{
    EXPECT_EQ("no \xEF\xBF\xBD", failureOf([]() -> Json { throw Failure("no \xFF"); }));  // no UTF-8
    EXPECT_EQ("no board", failureOf([]() -> Json { throw Failure("no board"); }));
    EXPECT_EQ("the library's process ended (exit status 1): pcilib: no access", failureOf([]() -> Json {
                  (void)std::fputs("pcilib: no access\n", stderr);
                  _exit(1);
              }));
    EXPECT_THAT(failureOf([]() -> Json {
                    (void)raise(SIGKILL);
                    return {};
                }),
                HasSubstr("signal Killed"));
}

}  // namespace
