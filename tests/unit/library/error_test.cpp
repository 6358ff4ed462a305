#include <qm.h>

#include <gtest/gtest.h>

#include <csignal>
#include <memory>
#include <string>
#include <utility>

namespace {

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

    qmError_setMsg(error.get(), "no %s", "preamble");
    EXPECT_STREQ("no preamble", qmError_getMsg(error.get()));

    qmError_setPreamble(error.get(), "ADC", "Setup", -3);
    qmError_setMsg(error.get(), "a rather long %s", "first message");
    EXPECT_STREQ("In ADC, Setup block, ID -3: a rather long first message", qmError_getMsg(error.get()));

    qmError_setMsg(error.get(), "timeout");
    EXPECT_STREQ("In ADC, Setup block, ID -3: timeout", qmError_getMsg(error.get()));
    EXPECT_STREQ("In ADC, Setup block, ID -3: timeout", qmError_getMsg(error.get())) << "asked twice";
}

TEST(ErrorObject, ExtractsWhatFollowsTheFirstColonAndItsBlanks)
{
    const Error error = newError();
    for (const auto& [msg, reason] : {std::pair{"name: reason", "reason"},
                                      {"name:   reason", "reason"},
                                      {"name:reason", "reason"},
                                      {"no colon", "no colon"},
                                      {"  no colon", "  no colon"},
                                      {"ends in a colon:", ""},
                                      {"a: b: c", "b: c"},
                                      {"a:\t b", "\t b"},
                                      {"a: \n b", "\n b"},
                                      {"", ""}}) {
        qmError_extractMsg(error.get(), msg);
        EXPECT_STREQ(reason, qmError_getMsg(error.get())) << "from \"" << msg << '"';
    }
    qmError_setMsg(error.get(), "x: abcdefghijklmnopqrstuvwxyz");
    qmError_extractMsg(error.get(), error->errorMsg);
    EXPECT_STREQ("abcdefghijklmnopqrstuvwxyz", qmError_getMsg(error.get())) << "from its own message";
}

TEST(ErrorObject, TextsOf199CharactersFit)
{
    const Error error = newError();
    qmError_setMsg(error.get(), "%s", text(199).c_str());
    EXPECT_EQ(text(199), qmError_getMsg(error.get()));
    qmError_extractMsg(error.get(), ("name: " + text(199)).c_str());
    EXPECT_EQ(text(199), qmError_getMsg(error.get()));

    const std::string preamble = "In " + text(100) + ", b block, ID 1: ";
    qmError_setPreamble(error.get(), text(100).c_str(), "b", 1);
    qmError_setMsg(error.get(), "%s", text(199 - preamble.size()).c_str());
    EXPECT_EQ(preamble + text(199 - preamble.size()), qmError_getMsg(error.get()));
}

TEST(ErrorObjectDeathTest, LongerTextsEndTheProcess)
{
    const Error error = newError();
    EXPECT_EXIT(qmError_setMsg(error.get(), "%s", text(200).c_str()), kAborts, "");
    EXPECT_EXIT(qmError_extractMsg(error.get(), ("name: " + text(200)).c_str()), kAborts, "");
    EXPECT_EXIT(qmError_extractMsg(error.get(), text(200).c_str()), kAborts, "");
    const size_t frame = std::string("In , b block, ID 1: ").size();
    EXPECT_EXIT(qmError_setPreamble(error.get(), text(200 - frame).c_str(), "b", 1), kAborts, "");

    qmError_setPreamble(error.get(), text(100).c_str(), "b", 1);
    qmError_setMsg(error.get(), "%s", text(200 - static_cast<size_t>(error->writeIndex)).c_str());
    EXPECT_EXIT((void)qmError_getMsg(error.get()), kAborts, "");
}

}  // namespace
