#include "help.hpp"
#include "qmctl_command.hpp"

#include <regex>

namespace {

using namespace qm::test;

using namespace qmctl;

TEST(CommandLine, TakesOptionsOfEveryCommandBeforeAndBehindIt)
{
    for (const char* const line : {"--from R --json pci find 00:03", "pci find 00:03 --json --from R"}) {
        const Request request = parseLine(line);
        ASSERT_NE(nullptr, request.command) << line;
        EXPECT_EQ("pci find", request.command->name());
        EXPECT_EQ("R", request.arguments.text("--from"));
        EXPECT_TRUE(request.arguments.has("--json"));
        EXPECT_EQ("00:03", request.arguments.text("BOARD"));
        EXPECT_EQ(1, request.arguments.whole("--position"));  // by default
    }
    for (const int bound : {1, 99})
        EXPECT_EQ(bound,
                  parseLine(fmt::format("latency --priority {}", bound)).arguments.whole("--priority"));
}

using WrongInput = testing::TestWithParam<std::pair<const char*, const char*>>;

TEST_P(WrongInput, GetsOneLineThatSaysWhatWouldBeRight)
{
    const auto& [line, complaint] = GetParam();
    try {
        (void)parseLine(line);
        ADD_FAILURE() << "accepted";
    } catch (const Failure& failure) {
        EXPECT_EQ(kUsage, failure.status);
        EXPECT_THAT(failure.what(), HasSubstr(complaint));
        EXPECT_THAT(failure.what(), Not(HasSubstr("\n")));
    }
}

INSTANTIATE_TEST_SUITE_P(
    Lines, WrongInput,
    testing::Values(std::pair{"", "a noun is missing after 'qmctl'; right is one of: doctor, target, pci"},
                    std::pair{"pci", "a verb is missing after 'qmctl pci'; right is one of: list, tree"},
                    std::pair{"pic list", "there is no noun 'pic'; did you mean 'pci'?"},
                    std::pair{"pci frobnicate", "there is no verb 'frobnicate'; right is one of: list, tree"},
                    std::pair{"pci list --jsn", "there is no option '--jsn'; did you mean '--json'?"},
                    std::pair{"pci list more", "'more' is one word too many; see 'qmctl pci list --help'"},
                    std::pair{"pci find", "BOARD is required; see 'qmctl pci find --help'"},
                    std::pair{"latency --cpu one",
                              "--cpu: 'one' is wrong; right is a whole number from 0 to 4095"},
                    std::pair{"latency --priority 100", "right is a whole number from 1 to 99"},
                    std::pair{"pci find 00:03 --position 1.5", "right is a whole number from 1 to 255"},
                    std::pair{"latency --only some", "right is one of: all, wake-up, busy-wait, interrupt"},
                    std::pair{"target --from", "--from"}));

TEST(Help, FitsEightyColumnsAndNamesEveryOption)
{
    std::vector<std::string> texts{helpOfAll()};
    const std::string manual = std::regex_replace(manualPage(), std::regex(R"(\\-)"), "-");
    for (const Command& command : commands()) {
        texts.push_back(helpOfNoun(command.noun));
        texts.push_back(helpOf(command));
        EXPECT_THAT(helpOfAll(), HasSubstr(command.name()));
        EXPECT_EQ(texts.back(), parseLine(command.name() + " --help").text);
        for (const Option& option : command.options) {
            const std::string value = option.isPositional() || option.meta.empty() ? "" : ' ' + option.meta;
            EXPECT_THAT(texts.back(), HasSubstr(option.name + (option.isPositional() ? "" : value)));
            EXPECT_NE(std::string::npos, manual.find(option.name + value + "\n" + option.text))
                << option.name;
        }
    }
    for (const std::string& text : texts) {
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), 80U) << line;
    }
}

/// What bash offers behind these words, the last of which is begun.
std::string offersBehind(const std::string& words)
{
    return outputOf("bash -c 'source <(" QMCTL_PROGRAM " document completion); COMP_WORDS=(" + words +
                    "); COMP_CWORD=$((${#COMP_WORDS[@]} - 1)); _qmctl; echo ${COMPREPLY[*]}'");
}

TEST(Completion, OffersNounsVerbsOptionsAndTheirValues)
{
    EXPECT_EQ("doctor document\n", offersBehind("qmctl do"));
    EXPECT_EQ("list\n", offersBehind("qmctl pci li"));
    EXPECT_EQ("list\n", offersBehind("qmctl --from report pci li"));
    EXPECT_EQ("--priority --period --position\n", offersBehind("qmctl latency --p"));
    EXPECT_EQ("wake-up\n", offersBehind("qmctl latency --only w"));
}

TEST(Program, GivesItsStatusAndItsWordsToTheRightStream)
{
    EXPECT_EQ("2\n", outputOf(QMCTL_PROGRAM " pic 2>/dev/null; echo $?"));
    EXPECT_EQ("qmctl: 'dma clear' needs the machine itself; a report answers what only looks\n",
              outputOf(QMCTL_PROGRAM " --from x dma clear 2>&1 >/dev/null; true"));
    EXPECT_THAT(outputOf(QMCTL_PROGRAM " --from /dev/null target 2>&1; true"),
                HasSubstr("/dev/null is no report"));
    EXPECT_EQ(helpOfAll(), outputOf(QMCTL_PROGRAM " --help"));
}

}  // namespace
