// What is made to fail around boards, target machines and their files: for each scenario a world, and calls
// of the library that end with the clean-up of what they have made.

#include "faults.hpp"
#include "test.hpp"
#include "world.hpp"
#include <slrealtime/Standalone.hpp>

namespace qm::test {

namespace {

const fs::path kBoard = World::directory("0000:1a:1f.0");
const fs::path kInformation = "/usr/quillmark/sysinfo";

// What the calls of a scenario hand to one another. A call whose object is missing is not made.
qm_PCIDevice device;
qm_InterruptContext* context = nullptr;
uint32_t saved[QM_PCI_CONFIG_SAVE_WORDS];
void* memory = nullptr;
uintptr_t physical = 0;
char text[1000];
qm_AxiDevice axi;
std::vector<std::unique_ptr<slrealtime::Worker>> workers;

void furnishBoard()
{
    World world;
    addUioBoard(world);
    world.add(board(0x8086, 0x1234).at(0, 1));
    sandbox::writeFiles({{kBoard / "enable", "0\n"}, {"/sys/bus/pci/drivers_probe", ""}});
    device = {};
}

int findBoard(int slot)
{
    return qm_findPciDevice(&device, "edu", 0x1234, 0x11E8, QM_PCI_ANY_ID, QM_PCI_ANY_ID, 1, 0x1a, slot);
}

int findAnyBoard()
{
    uint16_t ids[] = {0x1234, 0x11E8, QM_PCI_ANY_ID};
    return qm_findPciDeviceMultiIDs(&device, "edu", 1, ids, ids + 1, ids + 2, ids + 2, 1, 0, -1);
}

/** For the calls that follow a search. */
void knowBoard()
{
    device.bus = 0x1a, device.slot = 0x1f, device.VendorId = 0x1234, device.DeviceId = 0x11E8;
    device.BaseAddress[0] = 0xF0000000, device.Length[0] = 4096;
}

void furnishDma()
{
    sandbox::freshDirectory("/dev");
    sandbox::freshDirectory("/sys");
    sandbox::writeFiles({{"/dev/u-dma-buf-mgr", ""}, {"/dev/qm-udma-buf9", ""}});
}

/** A target model: a card behind a root port. */
World machine(unsigned slot, unsigned function, uint16_t port, uint16_t vendor, uint16_t card)
{
    World world;
    world.add(board(0x8086, port).at(0, slot, function).multiFunction().bridgeTo(9, 9));
    world.add(board(vendor, card).at(9, 0));
    return world;
}

void furnishServices()
{
    (void)machine(19, 1, 0x5AD9, 0x8086, 0x157B);  // a Cube
    sandbox::writeFiles({{"/sys/devices/system/cpu/isolated", "2-3\n"},
                         {"/sys/kernel/qm/rt_cpus", ""},
                         {"/sys/kernel/qm/disable_hrtimer", ""},
                         {"/sys/firmware/acpi/interrupts/gpe0F", ""},
                         {"/sys/devices/platform/kite/mcu/led_pulse_period", ""}});
    slrealtime::ModelInfo model;
    model.tasks_.resize(1);
    slrealtime::standalone::setModelInfo(model);
    for (const auto& name : slrealtime::standalone::workerNames())
        workers.push_back(slrealtime::standalone::createWorker(name));
}

template <typename Act>
bool all(Act act)
{
    for (const auto& worker : workers)
        act(*worker);
    return true;
}

void furnishEthernet()
{
    World world = machine(28, 4, 0x1E18, 0x197B, 0x2368);  // a KR410
    for (const char* const folder : {"/usr/quillmark", "/run/udev/data"})
        sandbox::freshDirectory(folder);
    world.add(board(0x8086, 0x15B7).at(0, 31).classCode(0x020000));
    const fs::path port = World::directory("0000:00:1f.0"), driver = "/sys/bus/pci/drivers/atemsys_pci";
    addInterface(port, "eno1", "2");
    sandbox::writeFiles({{driver / "bind", ""}, {driver / "unbind", ""}, {"/sys/bus/pci/drivers_probe", ""}});
    fs::create_symlink(driver, port / "driver");
}

void furnishIdentity()
{
    (void)machine(28, 3, 0xA33B, 0x1B21, 0x1080);  // a Zenith
    sandbox::freshDirectory(kInformation);
    sandbox::freshDirectory("/var/log/slrt");
    sandbox::writeFiles({{kInformation / "quillmark_version.txt", "1.2\n"},
                         {kInformation / "quillmark_marketingName.txt", "Zenith\n"},
                         {kInformation / "ethTranslateFile.txt", "lo:0:Hostlink;"}});
}

bool makesFolder()
{
    constexpr char path[] = "/usr/quillmark/sysinfo/new";  // nothing that allocates: that would fail, too
    (void)rmdir(path);
    return qm_fs_ensureDirExists(path) == 0;
}

bool logs()
{
    constexpr char file[] = "/var/log/slrt/qmlog.log";
    (void)truncate(file, 0);
    qm_log(qm_info, "message");
    struct stat now = {};
    return stat(file, &now) == 0 && now.st_size > 0;
}

void printTopology()
{
    qm_topo_node* nodes = nullptr;
    const int count = qm_getPciTopology(&nodes);
    qm_printPciTopology(nodes, static_cast<uint32_t>(count));
}

bool opens(int descriptor)
{
    return descriptor >= 0 && close(descriptor) == 0;
}

void furnishSerial()
{
    World world = machine(28, 3, 0xA33B, 0x1B21, 0x1080);  // a Zenith
    sandbox::freshDirectory("/dev");
    world.add(board(0x1B36, 0x0004).at(3, 0x1c));
    const fs::path card = World::directory("0000:03:1c.0");
    addTty("/sys/class/tty/1", "DEVNAME=ttyS0", "0x3F8");
    for (const std::string node : {"S4", "S5"})
        addTty(card / "child" / node, "DEVNAME=tty" + node);
    sandbox::writeFiles({{"/dev/ttyS0", ""}, {"/dev/ttyS4", ""}, {"/dev/ttyS5", ""}});
    device.bus = 3, device.slot = 0x1c;
}

void furnishAxi()
{
    for (const char* const folder : {"/sys/class", "/proc/irq", "/dev"})
        sandbox::freshDirectory(folder);
    const fs::path uio = "/sys/class/uio/uio1", irq = "/proc/irq/12";
    sandbox::writeFiles({{"/sys/class/uio/uio0/name", "other\n"},
                         {uio / "name", "fabric\n"},
                         {uio / "maps/map0/addr", "0xa0000"},
                         {uio / "maps/map0/offset", "0x0"},
                         {uio / "maps/map0/size", "0x1000"},
                         {irq / "fabric/x", ""},
                         {irq / "smp_affinity_list", "0-3\n"}});
    sandbox::sparseFile("/dev/uio1", 4096);
    axi = {1, "/dev/uio1"};
}

}  // namespace

// clang-format off
std::vector<Scenario> deviceScenarios()
{
    return {
    {"Board", furnishBoard, {
        RESULT("find", kNone, findBoard(-1)),
        RESULT("find at slot", kNone, findBoard(0x1f)),
        RESULT("find any", kNone, findAnyBoard()),
        SUCCESS("open configuration", kErrno, knowBoard(), opens(qm_pci_openPciConfig(&device, O_RDONLY))),
        SUCCESS("backup", kNone, knowBoard(), qmPCI_backupPCIConfig(&device, saved), saved[0] == 0xF0000000),
        RESULT("restore", kNone, saved[0] = 0xF0000000, qmPCI_restorePCIConfig(&device, saved), 0),
        SUCCESS("map", kErrno | kLog, MADE(memory, qm_mapMemory(&device, 0))),
        SUCCESS("map ports", kLogged | kLog, qm_mapIo(&device, 0) != nullptr),
        RESULT("create context", kNegative | kText, qm_uio_createInterruptContext(&context, &device)),
        RESULT("attach", kNegative | kText, qm_uio_interruptAttach(context)),
        RESULT("set properties", kNone, qm_uio_setIrqProps(context)),
        RESULT("reset properties", kNone, context == nullptr ? 1 : (context->defaultPriority = 40, qm_uio_resetIrqProps(context))),
        RESULT("wait", kNegative | kText, qm_uio_interruptWait(context)),
        RESULT("enable", kNegative, qm_uio_enableInterrupt(context)),
        RESULT("enable fix", kNegative | kText, qm_uio_interruptEnableFix(context)),
        RESULT("detach", kNone, qm_uio_interruptDetach(context), 0),
        RESULT("rebind", kNone, qm_pci_unbindDriver(&device) | qm_pci_bindDriver(&device, "uio_quillmark")),
        RESULT("probe", kNone, qm_pci_probeDriver(&device)),
        RESULT("unmap", kNone, memory == nullptr ? 0 : munmap(memory, 4096))}},
    {"Dma", furnishDma, {
        SUCCESS("allocate", kSays, MADE(memory, qm_allocPhysicalMemory_v2(9000, &physical))),
        SUCCESS("bus address", kNone, physical == 0x123456000),
        RESULT("free", kLogged, qm_freePhysicalMemory(memory), 0),
        SUCCESS("page address", kNone, qm_getPhysicalBufferAddr(text) != 0),
        SUCCESS("allocate again", kNone, MADE(memory, qm_udmabuf_allocBuffer(8192))),
        RESULT("free again", kErrno, memory == nullptr ? 0 : qm_udmabuf_freeBuffer(static_cast<qm_udmabuf_Handle*>(memory))),
        RESULT("delete all", kLog, qm_udmabuf_deleteAllBuffers())}},
    {"Services", furnishServices, {
        SUCCESS("initialize", kLogged | kThrows, all([](auto& worker) { worker.initialize(); })),
        SUCCESS("start", kLogged | kThrows, all([](auto& worker) { worker.start(); })),
        SUCCESS("step", kLogged, all([](auto& worker) { worker.preStep(nullptr); })),
        SUCCESS("stop", kLogged | kThrows, all([](auto& worker) { worker.stop(); })),
        RESULT("destroy", kLogged, workers.clear(), 0)}},
    {"Ethernet", furnishEthernet, {
        RESULT("translate", kNone, qm_translateEthernetInterfaces())}},
    {"Ethercat", furnishEthernet, {
        RESULT("hand over", kNone, qm_configureEthercat(0)),
        RESULT("take back", kNone, qm_teardownEthercat(0))}},
    {"Identity", furnishIdentity, {
        RESULT("host link", kNone, qm_target_getHostLinkMac(reinterpret_cast<uint8_t*>(text))),
        RESULT("version", kNone, qm_getLibVersion(text)),
        SUCCESS("first line", kThrows, qm_getTargetScreenLine1() == "<white>Quillmark Zenith </white>"),
        SUCCESS("second line", kThrows, qm_getTargetScreenLine2() == "<white>1.2</white>"),
        RESULT("model's folder", kErrno, qm_getModelBaseDir(text, sizeof text)),
        RESULT("folder", kErrno, qm_fs_checkDir(kInformation.c_str())),
        SUCCESS("new folder", kErrno, makesFolder()),
        SUCCESS("log", kNone, logs()),
        RESULT("topology", kNone, printTopology(), 0),
        SUCCESS("type", kNone, qm_getTargetType() == Zenith),
        SUCCESS("name", kNone, std::strstr(qm_getTargetMarketingName(), "Summit") != nullptr)}},
    {"Serial", furnishSerial, {
        RESULT("find", kNone, qm_findSerialDeviceByPort(0x3F8, text, sizeof text)),
        RESULT("find on card", kNone, qm_findSerialDeviceByPci(&device, 1, text, sizeof text)),
        SUCCESS("open", kSays, qm_serial_device_open(1) >= 0),
        RESULT("drain", kErrno, qm_serial_device_flush(1, DrainOnly)),
        RESULT("flush and close", kErrno, qm_serial_device_flush(1, FlushAndClose)),
        RESULT("configure", kSays, qm_serial_device_config(1, 13, 4, Even, 2, 0)),
        SUCCESS("open without waiting", kSays, qm_serial_port_open(1, O_RDWR) >= 0),
        RESULT("close", kNone, qm_serial_device_close(1))}},
    {"Axi", furnishAxi, {
        RESULT("find", kNone, qm_findAxiDevice(&axi, "fabric")),
        SUCCESS("map", kNone, MADE(memory, qm_mapAxiBar(&axi, 0))),
        RESULT("place", kErrno, qm_setAxiIrqAffinity("fabric", 2)),
        RESULT("unmap", kNone, memory == nullptr ? 0 : munmap(memory, 4096))}}};
}
// clang-format on

}  // namespace qm::test
