// A report, opened again: the same answers, and nothing in it that is nobody else's business.

#include "child.hpp"
#include "opened_report.hpp"
#include "qmctl_command.hpp"
#include "world.hpp"

namespace {

using namespace qm::test;

constexpr char kReport[] = "/tmp/quillmark/report.tar.gz";
constexpr char kMac[] = "52:54:00:12:34:56";

/// The board that makes this computer an Otter, and a network card below it.
void buildTarget()
{
    World world;
    world.add(board(0x8086, 0x5AD8).at(0, 0x13).bridgeTo(1, 1).express(2, 4))
        .add(board(0x8086, 0x1533).at(1, 0).classCode(0x020000));
    const std::string devices = "/sys/devices/pci0000:00/";
    for (const std::string address : {"0000:00:13.0", "0000:01:00.0"}) {  // as the kernel has it: links
        fs::create_directories(devices);
        fs::rename(World::directory(address), devices + address);
        fs::create_symlink("../../../devices/pci0000:00/" + address, World::directory(address));
        sandbox::writeFile(devices + address + "/uevent", "PCI_SLOT_NAME=" + address + "\n");
    }
    fs::create_symlink("../../../bus/pci/drivers/igb", devices + "0000:01:00.0/driver");
    const std::string card = devices + "0000:01:00.0/net/enx525400123456/";
    sandbox::writeFiles({{card + "address", std::string(kMac) + "\n"},
                         {card + "uevent", "INTERFACE=enx525400123456\n"},
                         {"/sys/bus/pci/drivers/igb/bind", ""}});
    fs::create_directories("/sys/class/net");
    fs::create_symlink("../../devices/pci0000:00/0000:01:00.0/net/enx525400123456",
                       "/sys/class/net/enx525400123456");
    sandbox::freshDirectory("/usr/quillmark");
    sandbox::writeFile("/usr/quillmark/sysinfo/ethTranslateFile.txt", "enx525400123456:0:Hostlink;");
    sandbox::freshDirectory("/dev/shm");
    (void)qm_allocPersistentMemory("state", 100);
    sandbox::freshDirectory("/tmp/quillmark");
}

std::string answers()
{
    std::string all;
    for (const char* const line : {"pci list", "pci tree", "eth list", "serial list", "target",
                                   "persist list", "irq list", "dma list"})
        all += textOf(line);
    return all;
}

std::string contentOfReport()
{
    return outputOf(std::string("tar -xzOf ") + kReport + "; tar -tf " + kReport);
}

TEST(Report, AnswersAsTheMachineDid)
{
    buildTarget();
    const std::string before = answers();
    EXPECT_THAT(before, AllOf(HasSubstr("Otter"), HasSubstr("igb [enx525400123456] = Hostlink")));
    ASSERT_EQ("0", endOf(std::string("report --full --output ") + kReport));
    for (const char* const path : {"/sys", "/dev/shm", "/usr/quillmark"})
        sandbox::freshDirectory(path);
    ASSERT_NE(before, answers());

    const auto after = qmctl::inChild([] {  // there is no way back
        qmctl::openReport(kReport);
        return qmctl::Json{{"answers", answers()}, {"doctor", runQmctl("doctor").status}};
    });
    EXPECT_EQ(before, after.value.at("answers"));
    EXPECT_EQ(3, after.value.at("doctor"));
}

TEST(Report, ThatIsMadeToDoHarmReachesNoFileOutsideAndIsToldWhy)
{
    sandbox::freshDirectory("/usr/quillmark");
    sandbox::writeFile("/usr/quillmark/victim", "untouched");
    // in the folder that becomes the archive; the reason
    const std::pair<const char*, const char*> rows[] = {
        {"ln -s /usr/quillmark/victim trap; printf '# binary file, bytes: 1\\n0 58\\n' >trap.hex",
         "/tmp/quillmark/report.tar.gz is damaged: /trap is there beside /trap.hex"},
        {"printf '# binary file, bytes: 1\\n0 123\\n' >a.hex",
         "line 2 of /a.hex is no offset and bytes of 1"},
        {"printf '# binary file, bytes: 1\\n1 58\\n' >a.hex", "line 2 of /a.hex is no offset and bytes of 1"},
        {"echo '# binary file, bytes: many' >a.hex", "/a.hex does not stand for at most"},
        {"mkfifo proc", "/proc is no file, directory or link"},
        {"truncate -s 1T proc", "/proc has more than 268435456 bytes"},
        {"echo '{\"counter_hz\": \"fast\"}' >qmctl/measurements.json", "gives 'counter_hz' as string"},
        {"rm qmctl/measurements.json; echo changed >victim; "
         "export TAR_OPTIONS='-P --transform=s,r/victim,r//usr/quillmark/victim,'",
         "is no report; 'qmctl report' writes one"}};
    for (const auto& [command, reason] : rows) {
        sandbox::freshDirectory("/tmp/quillmark");
        sandbox::writeFile("/tmp/quillmark/r/qmctl/measurements.json", "{}");
        const std::string archive = std::string("; tar -C .. -Sczf ") + kReport + " r";
        ASSERT_EQ(0, std::system(("cd /tmp/quillmark/r; " + (command + archive)).c_str()));
        const auto open = [] {
            qmctl::openReport(kReport);
            return qmctl::Json(runQmctl("doctor").status);
        };
        EXPECT_THAT([&] { (void)qmctl::inChild(open); },
                    testing::ThrowsMessage<qmctl::Failure>(HasSubstr(reason)));
    }
    EXPECT_EQ("untouched", sandbox::readFile("/usr/quillmark/victim"));
}

TEST(Report, HoldsNoAddressAndNoBinaryUnlessAskedFor)
{
    buildTarget();
    ASSERT_EQ("0", endOf(std::string("report --output ") + kReport));
    const std::string report = contentOfReport();
    EXPECT_EQ(std::string::npos, report.find(kMac));
    EXPECT_EQ(std::string::npos, report.find("525400123456"));
    EXPECT_NE(std::string::npos, report.find("enx000000000001"));
    EXPECT_EQ(std::string::npos, report.find('\0'));
    ASSERT_EQ("0", endOf(std::string("report --full --output ") + kReport));
    EXPECT_NE(std::string::npos, contentOfReport().find(kMac));
}

}  // namespace
