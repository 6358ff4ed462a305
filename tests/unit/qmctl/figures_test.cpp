// Texts and figures: tables, statistics, and what a report leaves out.

#include "redaction.hpp"
#include "statistics.hpp"
#include "test.hpp"
#include "text.hpp"

namespace {

using namespace qm::test;

using namespace qmctl;

TEST(Table, AlignsColumnsAndWrapsWhereItMay)
{
    const Json rows{{{"a", "one"}, {"n", 5}, {"t", "some words to wrap"}}, {{"a", "longer"}, {"n", 1234}}};
    EXPECT_EQ(
        "A          N  Text\n"
        "one        5  some words\n"
        "              to wrap\n"
        "longer  1234  -\n",
        table(rows, {{"A", "a"}, {"N", "n", false, true}, {"Text", "t", true}}, {false, 24}, "nothing"));
    EXPECT_EQ("nothing\n", table(Json::array(), {{"A", "a"}}, {}, "nothing"));
}

TEST(Table, ColoursStatesOnATerminalOnly)
{
    const Json rows{{{"s", "problem"}}};
    EXPECT_EQ("S\nproblem\n", table(rows, {{"S", "s"}}, {false, 80}, ""));
    EXPECT_THAT(table(rows, {{"S", "s"}}, {true, 80}, ""), HasSubstr("\033[31mproblem\033[0m"));
}

TEST(Statistics, CountEveryTimeOnce)
{
    Recorder recorder(1000);
    for (int i = 1000; i > -10; --i)
        recorder.record(i * 1000);  // more than there is room for: the last ones are left out
    const Json figures = statisticsOf(recorder.sorted());
    EXPECT_EQ(1000, figures.at("count"));
    EXPECT_EQ(1.0, figures.at("min"));
    EXPECT_EQ(500.0, figures.at("p50"));
    EXPECT_EQ(990.0, figures.at("p99"));
    EXPECT_EQ(999.0, figures.at("p99_9"));
    EXPECT_EQ(1000.0, figures.at("max"));
    EXPECT_EQ(500.5, figures.at("mean"));
    const Json& bins = figures.at("histogram");
    EXPECT_EQ(1000, std::accumulate(bins.begin(), bins.end(), 0, [](int sum, const Json& bin) {
                  return sum + bin.at("count").get<int>();
              }));
    EXPECT_EQ(1.0, bins.front().at("from"));
    EXPECT_EQ(Json({{"count", 0}}), statisticsOf({}));
}

TEST(Plot, DrawsABarForEveryBinAndEscapesWords)
{
    Json measurement = statisticsOf({1000, 1000, 5000});
    measurement["title"] = "a < b";
    const std::string svg = svgPlot(Json::array({measurement}), "R&D");
    std::size_t bars = 0;
    for (std::size_t at = svg.find("fill=\"#4477aa\""); at != std::string::npos;
         at = svg.find("fill=\"#4477aa\"", at + 1))
        ++bars;
    EXPECT_EQ(measurement.at("histogram").size(), bars);
    EXPECT_THAT(svg, AllOf(HasSubstr("a &lt; b"), HasSubstr("R&amp;D")));
    EXPECT_THAT(textPlot("t", measurement, {false, 80}), HasSubstr("1.00 - 1.26              2  ####"));
}

TEST(Plot, ABaselineIsALineOnTheSameScales)
{
    Json ours = statisticsOf({20'000, 20'000, 50'000});
    ours["title"] = "t";
    ours["name"] = "ours";
    ours["baseline"] = statisticsOf({200, 3'000'000});
    ours["baseline"]["name"] = "theirs";
    const std::string svg = svgPlot(Json::array({ours}), "");
    EXPECT_THAT(svg, testing::ContainsRegex("<path d=\"M60.0 .*V.*H700.0V"));
    EXPECT_THAT(svg, AllOf(HasSubstr(">ours: 50 % within 20.0 us, 99 % 50.0 us, all 50.0 us<"),
                           HasSubstr(">theirs: 50 % within 0.20 us"), HasSubstr(">1000<")));
}

TEST(Redaction, TakesOutWhatIsNobodyElsesBusiness)
{
    const std::pair<const char*, const char*> rows[] = {
        {"address 52:54:00:12:34:56\n", "address 00:00:00:00:00:00\n"},
        {"BOOTIF=01-52-54-00-12-34-56 ro", "BOOTIF=00:00:00:00:00:00 ro"},
        {"enx525400123456 enx525400123457 enx525400123456",
         "enx000000000001 enx000000000002 enx000000000001"},
        {"quiet luks.password=hunter2 systemd.machine_id=abc",
         "quiet luks.password=*** systemd.machine_id=***"},
        {"Serial\t\t: 00000000abcdef01\n", "Serial\t\t: ***\n"},
        {"ID_SERIAL_SHORT=WD-123\n", "ID_SERIAL_SHORT=***\n"},
        {"console=ttyS0 0000:00:03.0 8086:10d3", "console=ttyS0 0000:00:03.0 8086:10d3"},
    };
    Redaction redact(false);
    Redaction keep(true);
    for (const auto& [before, after] : rows) {
        EXPECT_EQ(after, redact(before));
        EXPECT_EQ(before, keep(before));
    }
    const std::string tooLong = "key=" + std::string(200'000, 'x') + "\n";
    EXPECT_EQ("(200004 bytes in one line, left out)\nquiet", redact(tooLong + "quiet"));
    EXPECT_EQ(tooLong, keep(tooLong));
}

}  // namespace
