#include "test.hpp"

namespace {

using namespace qm::test;

const testing::KilledBySignal kAborts(SIGABRT);

using Error = std::unique_ptr<QmError, decltype(&qmError_delete)>;

Error newError()
{
    return {qmError_new(), &qmError_delete};
}

std::string text(size_t length)
{
    return std::string(length, 'x');
}

TEST(ErrorObject, GivesPreambleAndLastMessage)
{
    qmError_delete(nullptr);
    const Error error = newError();
    EXPECT_STREQ("", qmError_getMsg(error.get()));

    qmError_setPreamble(error.get(), "ADC", "Setup", -3);
    qmError_setMsg(error.get(), "a rather long %s", "first message");
    EXPECT_STREQ("In ADC, Setup block, ID -3: a rather long first message", qmError_getMsg(error.get()));

    constexpr wchar_t kNoCharacter[] = {0x110000, 0};
    qmError_setMsg(error.get(), "%ls", kNoCharacter);
    EXPECT_STREQ("In ADC, Setup block, ID -3: ", qmError_getMsg(error.get()));
    qmError_setMsg(error.get(), "timeout");
    for (int i = 0; i < 2; ++i)
        EXPECT_STREQ("In ADC, Setup block, ID -3: timeout", qmError_getMsg(error.get()));
}

TEST(ErrorObject, ExtractsWhatFollowsTheFirstColonAndItsBlanks)
{
    const Error error = newError();
    for (const auto& [msg, reason] : {std::pair{"name: reason", "reason"},
                                      {"name:   reason", "reason"},
                                      {"no colon", "no colon"},
                                      {"ends in a colon:", ""},
                                      {"a: b: c", "b: c"},
                                      {"a:\t b", "\t b"},
                                      {"", ""}}) {
        qmError_extractMsg(error.get(), msg);
        EXPECT_STREQ(reason, qmError_getMsg(error.get())) << "from \"" << msg << '"';
    }
    qmError_setMsg(error.get(), "x: abcdefghijklmnopqrstuvwxyz");
    qmError_extractMsg(error.get(), error->errorMsg);
    EXPECT_STREQ("abcdefghijklmnopqrstuvwxyz", qmError_getMsg(error.get())) << "from its own message";
}

TEST(ErrorObjectDeathTest, TextsOf199CharactersFitAndLongerOnesEndTheProcess)
{
    const Error error = newError();
    qmError_setMsg(error.get(), "%s", text(199).c_str());
    EXPECT_EQ(text(199), qmError_getMsg(error.get()));
    EXPECT_EXIT(qmError_setMsg(error.get(), "%s", text(200).c_str()), kAborts, "");
    qmError_extractMsg(error.get(), ("name: " + text(199)).c_str());
    EXPECT_EQ(text(199), qmError_getMsg(error.get()));
    EXPECT_EXIT(qmError_extractMsg(error.get(), ("name: " + text(200)).c_str()), kAborts, "");

    const std::string preamble = "In " + text(100) + ", b block, ID 1: ";
    EXPECT_EXIT(qmError_setPreamble(error.get(), text(300 - preamble.size()).c_str(), "b", 1), kAborts, "");
    qmError_setPreamble(error.get(), text(100).c_str(), "b", 1);
    const std::string rest = text(199 - preamble.size());
    qmError_setMsg(error.get(), "%s", rest.c_str());
    EXPECT_EQ(preamble + rest, qmError_getMsg(error.get()));
    qmError_setMsg(error.get(), "%sx", rest.c_str());
    EXPECT_EXIT((void)qmError_getMsg(error.get()), kAborts, "");
}

}  // namespace
