// What is made to fail: for each scenario a world, and calls of the library that end with the clean-up of
// what they have made.

#include "faults.hpp"
#include "sandbox.hpp"
#include "world.hpp"
#include <qm.h>
#include <simstruct.h>
#include <slrealtime/Standalone.hpp>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

namespace qm::test {

namespace {

namespace fs = std::filesystem;

const fs::path kBoard = World::directory("0000:1a:1f.0");
const fs::path kInformation = "/usr/quillmark/sysinfo";

constexpr long failed(bool it)
{
    return it ? 1 : 0;
}

// What the calls of a scenario hand to one another.
qm_PCIDevice device;
qm_InterruptContext* context = nullptr;
uintptr_t physical = 0;
void* memory = nullptr;
char text[1000];
qm_mod_info* module = nullptr;
QmError* blockError = nullptr;
std::vector<std::unique_ptr<slrealtime::Worker>> workers;

void emptyFiles(const std::vector<fs::path>& paths)
{
    for (const fs::path& path : paths)
        sandbox::writeFile(path, "");
}

void furnishBoard()
{
    World world;
    fs::create_directory("/sys/host_proc");
    if (mount("/proc", "/sys/host_proc", nullptr, MS_BIND | MS_REC, nullptr) != 0) std::abort();
    sandbox::freshDirectory("/proc");
    fs::create_symlink("/sys/host_proc/self", "/proc/self");
    sandbox::freshDirectory("/dev");
    world.add(board(0x1234, 0x11E8).at(0x1a, 0x1f).word(4, 0x0300).bar(0, 0xF0000000, 4096));
    world.add(board(0x8086, 0x1234).at(0, 1));
    sandbox::writeFile(kBoard / "enable", "0\n");
    sandbox::writeFile("/sys/class/uio/uio7/name", "edu\n");
    sandbox::writeFile("/sys/class/uio/uio7/device/irq", "16\n");
    sandbox::writeFile("/proc/irq/16/smp_affinity_list", "0-2\n");
    sandbox::writeFile("/proc/4711/comm", "irq/16-edu\n");
    sandbox::writeFile("/dev/uio7", std::string(8, '\1'));
    emptyFiles({"/sys/bus/pci/drivers/uio_quillmark/new_id", "/sys/bus/pci/drivers/uio_quillmark/bind",
                "/sys/bus/pci/drivers_probe"});
    device = {};
}

int findBoard(int slot)
{
    return qm_findPciDevice(&device, "edu", 0x1234, 0x11E8, QM_PCI_ANY_ID, QM_PCI_ANY_ID, 1, 0x1a, slot);
}

/** For calls that do nothing useful without the record of the one before. */
void knowBoard()
{
    device.bus = 0x1a, device.slot = 0x1f, device.VendorId = 0x1234, device.DeviceId = 0x11E8;
    device.BaseAddress[0] = 0xF0000000, device.Length[0] = 4096;
}

uint32_t saved[QM_PCI_CONFIG_SAVE_WORDS];

const Scenario kLifeOfABoard = {
    "Board",
    furnishBoard,
    {{"find", kNone, [] { return long{findBoard(-1)}; }},
     {"find at slot", kNone, [] { return long{findBoard(0x1f)}; }},
     {"find any",
      kNone,
      [] {
          uint16_t ids[] = {0x1234, 0x11E8, QM_PCI_ANY_ID};
          return long{qm_findPciDeviceMultiIDs(&device, "edu", 1, ids, ids + 1, ids + 2, ids + 2, 1, 0, -1)};
      }},
     {"backup", kNone, [] { return knowBoard(), qmPCI_backupPCIConfig(&device, saved), failed(saved[0] != 0xF0000000); }},
     {"restore", kNone, [] { return saved[0] = 0xF0000000, qmPCI_restorePCIConfig(&device, saved), 0L; }},
     {"map", kErrno | kLog, [] { return failed((memory = qm_mapMemory(&device, 0)) == nullptr); }},
     {"map ports", kLogged | kLog, [] { return failed(qm_mapIo(&device, 0) == nullptr); }},
     {"create context", kNegative | kText, [] { return long{qm_uio_createInterruptContext(&context, &device)}; }},
     {"attach", kNegative | kText, [] { return long{qm_uio_interruptAttach(context)}; }},
     {"set properties", kNone, [] { return long{qm_uio_setIrqProps(context)}; }},
     {"wait", kNegative | kText, [] { return long{qm_uio_interruptWait(context)}; }},
     {"enable", kNegative, [] { return long{qm_uio_enableInterrupt(context)}; }},
     {"enable fix", kNegative | kText, [] { return long{qm_uio_interruptEnableFix(context)}; }},
     {"detach", kNone, [] { return qm_uio_interruptDetach(context), 0L; }},
     {"rebind", kNone, [] { return long{qm_pci_unbindDriver(&device) | qm_pci_bindDriver(&device, "uio_quillmark")}; }},
     {"probe", kNone, [] { return long{qm_pci_probeDriver(&device)}; }},
     {"unmap", kNone, [] { return memory == nullptr ? 0L : munmap(memory, 4096); }}}};

const Scenario kDma = {
    "Dma",
    [] {
        sandbox::freshDirectory("/dev");
        sandbox::freshDirectory("/sys");
        emptyFiles({"/dev/u-dma-buf-mgr", "/dev/qm-udma-buf9"});
    },
    {{"allocate", kNone, [] { return failed((memory = qm_allocPhysicalMemory_v2(9000, &physical)) == nullptr || physical != 0x123456000); }},
     {"free", kLogged, [] { return qm_freePhysicalMemory(memory), 0L; }},
     {"page address", kNone, [] { return failed(qm_getPhysicalBufferAddr(text) == 0); }},
     {"allocate again", kNone, [] { return failed((memory = qm_udmabuf_allocBuffer(8192)) == nullptr); }},
     {"free again", kErrno, [] { return memory == nullptr ? 0L : long{qm_udmabuf_freeBuffer(static_cast<qm_udmabuf_Handle*>(memory))}; }},
     {"delete all", kErrno, [] { return long{qm_udmabuf_deleteAllBuffers()}; }}}};

long allocate(const char* name, uint32_t size)
{
    void* const block = qm_allocPersistentMemory(name, size);
    if (block == nullptr) return 1;
    std::memset(block, 1, size == 70000 ? 1 : size);  // of a block that is not the caller's, nothing
    return 0;
}

const Scenario kPersistentMemory = {
    "PersistentMemory",
    [] { sandbox::freshDirectory("/dev/shm"); },
    {{"allocate", kLog, [] { return allocate("a", 100); }},
     {"grow", kLog, [] { return allocate("a", 70000); }},
     {"get", kNone, [] { return failed(qm_getPersistentMemory("a") == nullptr); }},
     {"allocate another", kLog, [] { return allocate("b", 10); }},
     {"free", kLog, [] { return qm_freePersistentMemory(), failed(access("/dev/shm/a", F_OK) == 0 || access("/dev/shm/b", F_OK) == 0 || access("/dev/shm/qm_persMem_main", F_OK) == 0); }}}};

const Scenario kLoadedMemory = {
    "LoadedMemory",
    [] {
        sandbox::freshDirectory("/dev/shm");
        if (fork() == 0) _exit(static_cast<int>(allocate("a", 100) | allocate("a", 70000) | allocate("b", 10)));
        int status = 1;
        if (wait(&status) < 0 || status != 0) std::abort();
    },
    {{"load", kLog, [] { return failed(qm_getPersistentMemory("a") == nullptr); }},
     {"get", kNone, [] { return failed(qm_getPersistentMemory("b") == nullptr); }},
     {"grow", kLog, [] { return allocate("b", 70000); }}}};

void furnishModel(const char* tag)
{
    for (const char* const folder : {"/opt/models", "/tmp/quillmark", "/dev/shm"})
        sandbox::freshDirectory(folder);
    sandbox::writeFile("/opt/models/a/misc/UUID", "model a\n");
    sandbox::writeFile("/tmp/quillmark/model_uuid", tag);
}

const Scenario kModelInit = {"ModelInit",
                             [] { furnishModel("model a\n"); },
                             {{"check", kNone, [] { return qm_checkModelInit(), failed(qm_isModelInit()); }},
                              {"tag", kNone, [] { return failed(qm_tagModelRun()); }}}};

const Scenario kTagging = {"Tagging",
                           [] { furnishModel("model b\n"); },
                           {{"tag", kLog, [] { return failed(qm_tagModelRun()); }}}};

/** A Zenith or a Cube: a card behind a root port. */
World machine(unsigned slot, unsigned function, uint16_t port, uint16_t vendor, uint16_t card)
{
    World world;
    world.add(board(0x8086, port).at(0, slot, function).multiFunction().bridgeTo(9, 9));
    world.add(board(vendor, card).at(9, 0));
    return world;
}

void furnishServices()
{
    (void)machine(19, 1, 0x5AD9, 0x8086, 0x157B);
    sandbox::writeFile("/sys/devices/system/cpu/isolated", "2-3\n");
    emptyFiles({"/sys/kernel/qm/rt_cpus", "/sys/kernel/qm/disable_hrtimer", "/sys/firmware/acpi/interrupts/gpe0F",
                "/sys/devices/platform/kite/mcu/led_pulse_period"});
    slrealtime::ModelInfo model;
    model.tasks_.resize(1);
    slrealtime::standalone::setModelInfo(model);
    for (const auto& name : slrealtime::standalone::workerNames())
        workers.push_back(slrealtime::standalone::createWorker(name));
}

template <typename Act>
long ofAll(Act act)
{
    for (const auto& worker : workers)
        act(*worker);
    return 0;
}

const Scenario kServices = {"Services",
                            furnishServices,
                            {{"initialize", kLogged | kThrows, [] { return ofAll([](auto& worker) { worker.initialize(); }); }},
                             {"start", kLogged | kThrows, [] { return ofAll([](auto& worker) { worker.start(); }); }},
                             {"step", kLogged, [] { return ofAll([](auto& worker) { worker.preStep(nullptr); }); }},
                             {"stop", kLogged | kThrows, [] { return ofAll([](auto& worker) { worker.stop(); }); }},
                             {"destroy", kLogged, [] { return workers.clear(), 0L; }}}};

void* sleepForEver(void* /*argument*/)
{
    for (;;)
        pause();
}

template <typename Act>
long with(void* object, Act act)
{
    return object == nullptr ? 1 : act(object);
}

const Scenario kThreads = {
    "Threads",
    [] {},
    {{"create thread", kNone, [] { return failed((memory = qm_createThread(sleepForEver, nullptr)) == nullptr); }},
     {"pin alone", kNone, [] { return long{qm_pinThreadExclusiveCpu(1)}; }},
     {"destroy thread", kNone, [] { return memory == nullptr ? 0L : qm_destroyThread(memory); }},
     {"create semaphore", kErrno, [] { return failed((memory = qm_createSemaphore(1)) == nullptr); }},
     {"release", kErrno, [] { return with(memory, [](void* it) { return qm_releaseSemaphore(it); }); }},
     {"wait", kErrno, [] { return with(memory, [](void* it) { return qm_waitForSemaphore(it); }); }},
     {"destroy semaphore", kErrno, [] { return with(memory, [](void* it) { return qm_destroySemaphore(it); }); }},
     {"mutex", kNone, [] { return with(qm_createMutex(false), [](void* it) { return qm_lockMutex(it), qm_unlockMutex(it), qm_destroyMutex(it), 0L; }); }},
     {"set priority", kErrno, [] { return long{qm_setPidPriority(101, 60)}; }},
     {"get priority", kErrno, [] { return failed(qm_getPidPriority(101) != 50); }},
     {"pin", kErrno, [] { return long{qm_pinThisThreadToCpu(1)}; }},
     {"pick", kNone, [] { return failed(qm_pickNextAsyncCpu() < 2); }}}};

void furnishEthernet()
{
    World world = machine(28, 4, 0x1E18, 0x197B, 0x2368);  // a KR410
    for (const char* const folder : {"/usr/quillmark", "/run/udev/data"})
        sandbox::freshDirectory(folder);
    world.add(board(0x8086, 0x15B7).at(0, 31).classCode(0x020000));
    const fs::path interface = World::directory("0000:00:1f.0") / "net/eno1";
    sandbox::writeFile(interface / "uevent", "INTERFACE=eno1\nIFINDEX=2\n");
    fs::create_symlink("/sys/class/net", interface / "subsystem");
    sandbox::writeFile("/run/udev/data/n2", "I:1\n");
    const fs::path driver = "/sys/bus/pci/drivers/atemsys_pci";
    emptyFiles({driver / "bind", driver / "unbind", "/sys/bus/pci/drivers_probe"});
    fs::create_symlink(driver, World::directory("0000:00:1f.0") / "driver");
}

const Scenario kEthernet = {"Ethernet",
                            furnishEthernet,
                            {{"translate", kNone, [] { return long{qm_translateEthernetInterfaces()}; }}}};

const Scenario kEthercat = {"Ethercat",
                            furnishEthernet,
                            {{"hand over", kNone, [] { return long{qm_configureEthercat(0)}; }},
                             {"take back", kNone, [] { return long{qm_teardownEthercat(0)}; }}}};

const Scenario kIdentity = {
    "Identity",
    [] {
        (void)machine(28, 3, 0xA33B, 0x1B21, 0x1080);  // a Zenith
        sandbox::freshDirectory(kInformation);
        sandbox::writeFile(kInformation / "quillmark_version.txt", "1.2\n");
        sandbox::writeFile(kInformation / "quillmark_marketingName.txt", "Zenith\n");
        sandbox::writeFile(kInformation / "ethTranslateFile.txt", "lo:0:Hostlink;");
    },
    {{"host link", kNone, [] { return long{qm_target_getHostLinkMac(reinterpret_cast<uint8_t*>(text))}; }},
     {"version", kNone, [] { return long{qm_getLibVersion(text)}; }},
     {"first line", kThrows, [] { return failed(qm_getTargetScreenLine1() != "<white>Quillmark Zenith </white>"); }},
     {"second line", kThrows, [] { return failed(qm_getTargetScreenLine2() != "<white>1.2</white>"); }},
     {"model's folder", kErrno, [] { return long{qm_getModelBaseDir(text, sizeof text)}; }},
     {"folder", kErrno, [] { return long{qm_fs_checkDir(kInformation.c_str())}; }},
     {"new folder", kErrno, [] { return rmdir("/usr/quillmark/sysinfo/new"), long{qm_fs_ensureDirExists("/usr/quillmark/sysinfo/new")}; }},
     {"type", kNone, [] { return failed(qm_getTargetType() != Zenith); }},
     {"name", kNone, [] { return failed(std::strstr(qm_getTargetMarketingName(), "Summit") == nullptr); }}}};

void addTty(const fs::path& path, const std::string& node)
{
    sandbox::writeFile(path / "uevent", "DEVNAME=" + node + "\n");
    sandbox::writeFile(path / "port", "0x3F8\n");
    fs::create_symlink("/sys/class/tty", path / "subsystem");
    sandbox::writeFile("/dev/" + node, "");
}

const Scenario kSerial = {
    "Serial",
    [] {
        World world = machine(28, 3, 0xA33B, 0x1B21, 0x1080);
        sandbox::freshDirectory("/dev");
        addTty("/sys/class/tty/1", "ttyS0");
        world.add(board(0x1B36, 0x0004).at(3, 0x1c));
        addTty("/sys/bus/pci/devices/0000:03:1c.0/child/S4", "ttyS4");
        addTty("/sys/bus/pci/devices/0000:03:1c.0/child/S5", "ttyS5");
        device.bus = 3, device.slot = 0x1c;
    },
    {{"find", kNone, [] { return long{qm_findSerialDeviceByPort(0x3F8, text, sizeof text)}; }},
     {"find on card", kNone, [] { return long{qm_findSerialDeviceByPci(&device, 1, text, sizeof text)}; }},
     {"open", kNone, [] { return failed(qm_serial_device_open(1) < 0); }},
     {"drain", kNone, [] { return long{qm_serial_device_flush(1, DrainOnly)}; }},
     {"flush and close", kNone, [] { return long{qm_serial_device_flush(1, FlushAndClose)}; }},
     {"configure", kNone, [] { return long{qm_serial_device_config(1, 13, 4, Even, 2, 0)}; }},
     {"open without waiting", kNone, [] { return failed(qm_serial_port_open(1, O_RDWR) < 0); }},
     {"close", kNone, [] { return long{qm_serial_device_close(1)}; }}}};

qm_mod_list modules = nullptr;
IoModule ioModule(nx230, 1);

const Scenario kRegistry = {
    "Registry",
    [] {},
    {{"module", kText, [] { return failed((module = qm_module_register(3, 2)) == nullptr); }},
     {"same module twice", kNone, [] { return failed(module != nullptr && qm_module_register(3, 2) == module); }},
     {"data", kErrno, [] { return with(module, [](void* it) { return failed(qm_module_alloc_custom_data(static_cast<qm_mod_info*>(it), 8) == nullptr); }); }},
     {"block", kText, [] { return with(module, [](void* it) { return failed(qm_block_register(static_cast<qm_mod_info*>(it), 2, 1) == nullptr); }); }},
     {"block by key", kText, [] { return with(module, [](void* it) { return failed(qm_block_register_with_uid(static_cast<qm_mod_info*>(it), 1, 77) == nullptr); }); }},
     {"one", kErrno, [] { return failed(qm_module_get(&modules, 3, 2) != 1); }},
     {"all", kErrno, [] { return std::free(modules), modules = nullptr, failed(qm_module_get(&modules, 3, -1) != 1); }},
     {"unregister block", kNone, [] { return with(module, [](void* it) { return qm_block_unregister(static_cast<qm_mod_info*>(it), 2, 1), 0L; }); }},
     {"unregister", kNone, [] { return std::free(modules), qm_module_unregister(3, 2), 0L; }},
     {"object", kLogged, [] { return IoModuleRegistry::add(&ioModule), failed(IoModuleRegistry::find(nx230, 1) == nullptr); }},
     {"no object", kNone, [] { return IoModuleRegistry::remove(nx230, 1), 0L; }}}};

double parameter[] = {1, 2, 7, 8};
const double* parameters[] = {parameter};
SimStruct block{};

template <typename Make, typename Delete>
long made(Make make, Delete del)
{
    block.sfcnParams.dlgParams = const_cast<decltype(block.sfcnParams.dlgParams)>(parameters);
    return del(make(&block, 0)), 0;
}

void nothing(void* /*argument*/) {}

const Scenario kBlocks = {
    "Blocks",
    [] {},
    {{"error", kThrows, [] { return blockError = qmError_new(), 0L; }},
     {"error's text", kNone, [] { return with(blockError, [](void* it) {
          auto* const error = static_cast<QmError*>(it);
          qmError_setPreamble(error, "edu", "Setup", 1);
          qmError_setMsg(error, "%s", "no board");
          return failed(std::strcmp(qmError_getMsg(error), "In edu, Setup block, ID 1: no board") != 0);
      }); }},
     {"no error", kNone, [] { return qmError_delete(blockError), 0L; }},
     {"integers", kThrows, [] { return made(qmParam_newIntVec, qmParam_deleteIntVec); }},
     {"booleans", kThrows, [] { return made(qmParam_newBoolVec, qmParam_deleteBoolVec); }},
     {"doubles", kThrows, [] { return made(qmParam_newDoubleVec, qmParam_deleteDoubleVec); }},
     {"characters", kThrows, [] { return made(qmParam_newCharVec, qmParam_deleteCharVec); }},
     {"start callback", kThrows, [] { return qm_add_start_callback(nothing, nullptr, 1), 0L; }},
     {"exit handler", kNone, [] { return qm_add_exit_handler(nothing, nullptr), 0L; }},
     {"exit", kNone, [] { return qm_exit_handler(), 0L; }}}};

const Scenario kLogging = {
    "Logging",
    [] { sandbox::freshDirectory("/var/log/slrt"); },
    {{"line", kNone, [] { return qm_printf(qm_warning, "two\nlines %d\n", 2), 0L; }},
     {"file", kNone, [] { return qm_log(qm_error, "a line"), 0L; }}}};

const Scenario kSpawning = {"Spawning",
                            [] {},
                            {{"spawn", kLog, [] {
                                  const int child = qm_spawnExecutable("/bin", "true", "a b");
                                  return failed(child < 0 || waitpid(child, nullptr, 0) != child);
                              }}}};

qm_AxiDevice axi;

const Scenario kAxi = {
    "Axi",
    [] {
        sandbox::freshDirectory("/sys/class");
        sandbox::freshDirectory("/proc/irq");
        sandbox::freshDirectory("/dev");
        sandbox::writeFile("/proc/irq/12/fabric/x", "");
        sandbox::writeFile("/proc/irq/12/smp_affinity_list", "0-3\n");
        sandbox::writeFile("/sys/class/uio/uio0/name", "other\n");
        sandbox::writeFile("/sys/class/uio/uio1/name", "fabric\n");
        for (const auto& [name, value] : {std::pair{"addr", "0xa0000"}, {"offset", "0x0"}, {"size", "0x1000"}})
            sandbox::writeFile(fs::path("/sys/class/uio/uio1/maps/map0") / name, value);
        sandbox::sparseFile("/dev/uio1", 4096);
        axi = {1, "/dev/uio1"};
    },
    {{"find", kNone, [] { return long{qm_findAxiDevice(&axi, "fabric")}; }},
     {"map", kNone, [] { return failed((memory = qm_mapAxiBar(&axi, 0)) == nullptr); }},
     {"place", kErrno, [] { return long{qm_setAxiIrqAffinity("fabric", 2)}; }},
     {"unmap", kNone, [] { return memory == nullptr ? 0L : munmap(memory, 4096); }}}};

}  // namespace

const std::vector<Scenario>& scenarios()
{
    static const std::vector<Scenario> all = {
        kLifeOfABoard, kDma,      kPersistentMemory, kLoadedMemory, kModelInit, kTagging, kServices, kThreads,
        kEthernet, kEthercat,    kIdentity, kSerial,           kRegistry,     kBlocks,    kLogging, kSpawning, kAxi};
    return all;
}

}  // namespace qm::test
