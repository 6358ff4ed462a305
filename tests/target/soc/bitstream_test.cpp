#include "qm_soc.hpp"
#include "target_test.hpp"

#include <cstdlib>

namespace qm::test {

namespace {

using testing::ElementsAre;

constexpr char kRefused[] = "error QM: SoC: Target machine does not have a System-on-Chip!";
constexpr char kFailed[] = "error QM: SoC: Program to load bitstream failed!";
const std::string kBin = "/usr/quillmark/bin";

/** A target whose `sudo` writes down its arguments and ends with the status that it finds in a file. */
class Bitstream : public TargetTest
{
public:
    Bitstream()
    {
        sandbox::freshDirectory("/sys");
        sandbox::freshDirectory("/usr/quillmark");
        sandbox::writeFile(kBin + "/sudo", "#!/bin/sh\nprintf '[%s]' \"$@\" >" + kBin + "/ran\nread s <" +
                                               kBin + "/status\nexit $s");
        std::filesystem::permissions(kBin + "/sudo", std::filesystem::perms::owner_all);
        (void)setenv("PATH", kBin.c_str(), 1);
    }
};

TEST_F(Bitstream, IsLoadedByAShellWithItsPathBetweenQuotesAsItIs)
{
    for (const auto& [file, status, arguments] : {std::tuple{"/a b", "0", "[qm_load-bitstream][/a b]"},
                                                  {"a' 'b", "0", "[qm_load-bitstream][a][b]"},
                                                  {"/c", "3", "[qm_load-bitstream][/c]"}}) {
        log_.clear();
        sandbox::writeFile(kBin + "/status", std::string(status) + "\n");
        const bool works = *status == '0';
        EXPECT_EQ(works ? 0 : -1, loadBitstream(file, Talus));
        EXPECT_EQ(arguments, sandbox::readFile(kBin + "/ran"));
        EXPECT_EQ("debug QM: SoC: Loading bitstream \"" + std::string(file) + '"', log_.lines().at(0));
        EXPECT_EQ(works ? std::vector<std::string>{} : std::vector<std::string>{kFailed}, log_.notes());
    }
}

TEST_F(Bitstream, IsNotLoadedOnAnyOtherTarget)
{
    for (int type = KR410; type <= NonQuillmark + 1; ++type) {
        if (type == Talus) continue;
        log_.clear();
        EXPECT_EQ(-1, loadBitstream("/c", static_cast<qm_TargetType>(type))) << type;
        EXPECT_THAT(log_.lines(), ElementsAre(kRefused));
    }
    EXPECT_EQ(-1, qm_loadOnChipBitstream("/c"));
    EXPECT_FALSE(std::filesystem::exists(kBin + "/ran"));
}

}  // namespace

}  // namespace qm::test
