// The commands on a faked target, through the library.

#include "qmctl_command.hpp"
#include "world.hpp"

#include <termios.h>

namespace {

using namespace qm::test;

constexpr char kConfig[] = "/tmp/quillmark/config";  // a place of the sandbox's

struct Boards : testing::Test
{
    Boards()
    {
        world_.add(board(0x8086, 0xA116).at(0, 0x1C).bridgeTo(1, 1).express(2, 4))
            .add(board(0x1234, 0x11E8).at(1, 2).bar(0, 0xFE200000, 4096))
            .add(board(0x1234, 0x11E8).at(0, 3).bar(2, 0xE000, 64, kPorts));
        sandbox::freshDirectory("/tmp/quillmark");
    }

    World world_;
};

TEST_F(Boards, AreListedWithThePositionsThatModelsCount)
{
    EXPECT_EQ(
        "Address  IDs        Pos.  Subsystem  Kind         Link      Driver  Devices  Label\n"
        "00:03.0  1234:11e8     1  -          acquisition  PCI       -       -        -\n"
        "00:1c.0  8086:a116     1  -          PCI bridge   PCIe2 x4  -       -        -\n"
        "01:02.0  1234:11e8     2  -          acquisition  PCI       -       -        -\n",
        textOf("pci list"));
}

TEST_F(Boards, StandBehindTheirBridgesInTheTree)
{
    EXPECT_EQ(
        "00:03.0  1234:11e8  acquisition, PCI\n"
        "00:1c.0  8086:a116  PCI bridge, PCIe2 x4 to bus 01\n"
        " `-01:02.0  1234:11e8  acquisition, PCI\n",
        textOf("pci tree"));
}

TEST_F(Boards, ThatAreEthernetPortsHaveTheLibrarysLabels)
{
    world_.add(board(0x8086, 0x1533).at(1, 4).classCode(0x020000))
        .add(board(0x8086, 0x1533).at(1, 3).classCode(0x020000));
    sandbox::freshDirectory("/usr/quillmark");
    sandbox::writeFile("/usr/quillmark/sysinfo/ethTranslateFile.txt", "eth9:1:NX90_1A;:0:Hostlink;rubbish;");
    EXPECT_THAT(textOf("pci tree"), HasSubstr("|-01:03.0  8086:1533  Ethernet, PCI = Hostlink\n"));
    EXPECT_THAT(textOf("eth list"), HasSubstr("   1  NX90_1A   -          -      01:04.0"));
    EXPECT_EQ("0", endOf("eth write"));
    EXPECT_THAT(textOf("pci list"), HasSubstr("NX40-10_2\n"));
    EXPECT_THAT(endOf("eth ethercat on 2"), StartsWith("1 there is no Ethernet port '2'"));
    EXPECT_THAT(endOf("eth ethercat on 1"), StartsWith("1 there is no driver 'atemsys_pci'"));
    sandbox::writeFile("/sys/bus/pci/drivers/atemsys_pci/bind", "");
    EXPECT_THAT(endOf("eth ethercat on 1"), HasSubstr("did not give port 1 (01:04.0) to atemsys_pci"));
    EXPECT_EQ("0000:01:04.0", sandbox::readFile("/sys/bus/pci/drivers/atemsys_pci/bind").substr(0, 12));
}

TEST_F(Boards, AreFoundByPositionAndByPlace)
{
    EXPECT_EQ("01:02.0", runQmctl("pci find 1234:11e8 --position 2").value.at("address"));
    EXPECT_EQ("00:03.0", runQmctl("pci find 0000:00:03.0").value.at("address"));
    EXPECT_THAT(textOf("pci find 00:03"), HasSubstr("  2  ports   0xe000     64\n"));
    EXPECT_THAT(textOf("pci find 01:02"), HasSubstr("  0  memory  0xfe200000   4096\n"));
}

TEST_F(Boards, ThatAreNotThereEndInAReason)
{
    const std::pair<const char*, const char*> rows[] = {
        {"pci find 1234:11e8 --position 3", "1 1234:11e8 ID3: Module not found; 'qmctl pci list' shows"},
        {"pci find 00:04", "1 there is no board at 00:04; 'qmctl pci list' shows"},
        {"pci find 12:34:56", "2 BOARD: '12:34:56' is wrong; right is VENDOR:DEVICE"},
        {"pci bind 00:03 none", "1 there is no driver 'none' below /sys/bus/pci/drivers; load its module"},
        {"irq latency 00:1c", "2 how 8086:a116 interrupts is not known; say --raise"},
        {"serial config 1", "1 [port 1] not found device; 'qmctl serial list' shows"},
        {"pci config 00:03 --restore /nowhere", "1 cannot read /nowhere"}};
    for (const auto& [line, end] : rows)
        EXPECT_THAT(endOf(line), StartsWith(end)) << line;
}

TEST_F(Boards, GetTheirSavedConfigurationBackButNoOtherBoards)
{
    const std::string file = kConfig;
    ASSERT_EQ("0", endOf("pci config 01:02 --save " + file));
    std::string config = sandbox::readFile(World::directory("0000:01:02.0") / "config");
    const std::string wiped = config.replace(0x10, 4, 4, '\0');
    sandbox::writeFile(World::directory("0000:01:02.0") / "config", wiped);

    EXPECT_EQ("0", endOf("pci config 01:02 --dry-run --restore " + file));
    EXPECT_EQ(0U, World::config("0000:01:02.0", 0x10));
    EXPECT_EQ("0", endOf("pci config 01:02 --restore " + file));
    EXPECT_EQ(0xFE200000U, World::config("0000:01:02.0", 0x10));
    EXPECT_THAT(endOf("pci config 00:03 --restore " + file),
                HasSubstr("was saved from 1234:11e8 01:02.0, not from"));
    const std::string sound = sandbox::readFile(file);
    for (const auto& [right, wrong] : {std::pair(sound, "{}"), std::pair(std::string("\"0x00000000\""), "7"),
                                       std::pair(std::string("\"0x00000000\""), "\"0x000000000\""),
                                       std::pair(std::string("0x0"), "zero")}) {
        const std::size_t at = sound.find(right);
        ASSERT_NE(std::string::npos, at);
        sandbox::writeFile(file, std::string(sound).replace(at, right.size(), wrong));
        EXPECT_THAT(endOf("pci config 01:02 --restore " + file), HasSubstr("holds no configuration"));
    }
}

TEST_F(Boards, ThatTheKernelDoesNotGiveAwayAreAFailure)
{
    sandbox::writeFile("/sys/bus/pci/drivers/edu/bind", "");
    EXPECT_THAT(endOf("pci bind 00:03 edu"), HasSubstr("did not give 00:03.0 (1234:11e8) to edu"));
    EXPECT_EQ("0000:00:03.0",
              sandbox::readFile("/sys/bus/pci/drivers/edu/bind").substr(0, 12));  // but was asked
    EXPECT_EQ("0", endOf("pci bind 01:02 edu --dry-run"));
    EXPECT_EQ("0000:00:03.0", sandbox::readFile("/sys/bus/pci/drivers/edu/bind").substr(0, 12));
}

TEST_F(Boards, WhoseDisksAreInUseAreNotTakenAway)
{
    std::istringstream mount(sandbox::readFile("/proc/self/mountinfo"));
    std::string number;
    mount >> number >> number >> number;  // of a file system that is mounted
    const fs::path disk = World::directory("0000:00:03.0") / "block/sda";
    sandbox::writeFile(disk / "dev", number + '\n');
    fs::create_directories("/sys/class/block");
    fs::create_symlink(disk, "/sys/class/block/sda");
    fs::create_symlink("/sys/bus/pci/drivers/ahci", World::directory("0000:00:03.0") / "driver");
    EXPECT_THAT(endOf("pci unbind 00:03 --dry-run"),
                StartsWith("1 00:03.0 is the controller of the disk sda, which is in use"));
    EXPECT_EQ("0", endOf("pci unbind 00:03 --dry-run --force"));
    sandbox::writeFile(disk / "dev", "259:9999\n");
    EXPECT_EQ("0", endOf("pci unbind 00:03 --dry-run"));
}

TEST(SerialPort, TakesTheSettingsThatWereAskedFor)
{
    setenv("SYSTEMD_DEVICE_VERIFY_SYSFS", "0", 1);
    World world;  // a Zenith
    world.add(board(0x8086, 0xA33B).at(0, 28, 3).bridgeTo(9, 9)).add(board(0x1B21, 0x1080).at(9, 0));
    const int controller = posix_openpt(O_RDWR | O_NOCTTY);
    ASSERT_EQ(0, unlockpt(controller));
    const int terminal = open(ptsname(controller), O_RDWR | O_NOCTTY);
    ASSERT_LE(0, terminal);
    sandbox::freshDirectory("/dev/shm");
    fs::create_symlink("/proc/self/fd/" + std::to_string(terminal), "/dev/shm/ttyS0");
    addTty("/sys/class/tty/1", "DEVNAME=shm/ttyS0", "0x3F8");

    EXPECT_EQ("port 1: 19200 baud, 8 data bits, parity none, 2 stop bits, RTS/CTS\n",
              textOf("serial config 1 --speed 19200 --stop-bits 2 --flow-control"));
    termios settings{};
    ASSERT_EQ(0, tcgetattr(terminal, &settings));
    EXPECT_EQ(B19200, cfgetospeed(&settings));
    EXPECT_EQ(tcflag_t{CS8 | CSTOPB | CRTSCTS}, settings.c_cflag & (CSIZE | CSTOPB | CRTSCTS | CLOCAL));
    (void)close(terminal);
    (void)close(controller);
}

struct Persistent : testing::Test
{
    Persistent()
    {
        sandbox::freshDirectory("/dev/shm");
        std::strcpy(static_cast<char*>(qm_allocPersistentMemory("first", 6)), "hello");
        (void)qm_allocPersistentMemory("second", 100'000);
        (void)qm_allocPersistentMemory("second", 100'000);
    }
};

TEST_F(Persistent, MemoryIsListedAndDumpedWithoutAChange)
{
    const qmctl::Json objects = runQmctl("persist list").value;
    ASSERT_EQ(2U, objects.size());
    EXPECT_EQ("first", objects[0].at("name"));
    EXPECT_EQ(6, objects[0].at("used"));
    EXPECT_EQ("second", objects[1].at("name"));
    EXPECT_LE(200'000, objects[1].at("used").get<int>());
    EXPECT_EQ("00000000  68 65 6c 6c 6f 00                                |hello.|\n",
              textOf("persist dump first"));
    EXPECT_THAT(endOf("persist dump third"), StartsWith("1 there is no object 'third'"));
}

TEST_F(Persistent, MemoryIsClearedWhenThatIsConfirmed)
{
    EXPECT_EQ("0", endOf("persist clear --dry-run"));
    EXPECT_EQ(2U, runQmctl("persist list").value.size());
    EXPECT_EQ("0", endOf("persist clear --yes"));
    EXPECT_EQ("no persistent memory\n", textOf("persist list"));
}

TEST_F(Persistent, MemoryThatIsDamagedIsNamed)
{
    std::string object = sandbox::readFile("/dev/shm/first");
    sandbox::writeFile("/dev/shm/first", object.replace(16, 8, 8, '\xFF'));
    EXPECT_THAT(textOf("persist list"), HasSubstr("/dev/shm/first is damaged"));
    sandbox::writeFile("/dev/shm/qm_persMem_main", std::string("\xFF\0\0\0", 4));
    EXPECT_THAT(endOf("persist list"), HasSubstr("qm_persMem_main is damaged"));
}

TEST(Buffers, AreListedAndToldApart)
{
    sandbox::freshDirectory("/sys");
    for (const std::string name : {"qm-udma-buf0", "other"}) {
        sandbox::writeFile("/sys/class/u-dma-buf/" + name + "/size", "8192\n");
        sandbox::writeFile("/sys/class/u-dma-buf/" + name + "/phys_addr", "0x64c0000\n");
    }
    EXPECT_EQ(
        "Name          Bytes  Physical address  Sync mode  libqm's\n"
        "other          8192         0x64c0000          -  no\n"
        "qm-udma-buf0   8192         0x64c0000          -  yes\n",
        textOf("dma list"));
    EXPECT_THAT(endOf("dma clear --yes"), StartsWith("1 1 of 1 buffer left: Failed to open u-dma-buf-mgr"));
}

}  // namespace
