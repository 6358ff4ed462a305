// What is made to fail within a process: for each scenario a world, and calls of the library that end with
// the clean-up of what they have made.

#include "faults.hpp"
#include "test.hpp"
#include <simstruct.h>

#include <pthread.h>

namespace qm::test {

namespace {

// What the calls of a scenario hand to one another. A call whose object is missing is not made.
void* memory = nullptr;
qm_mod_info* module = nullptr;
qm_mod_list modules = nullptr;
IoModule ioModule(nx230, 1);

/** Its bytes are used, but for those of a large block, which may not be the caller's. */
bool allocates(const char* name, uint32_t size)
{
    void* const block = qm_allocPersistentMemory(name, size);
    if (block != nullptr) std::memset(block, 1, std::min(size, 100U));
    return block != nullptr;
}

bool isFreed()
{
    qm_freePersistentMemory();
    return access("/dev/shm/a", F_OK) != 0 && access("/dev/shm/b", F_OK) != 0 &&
           access("/dev/shm/qm_persMem_main", F_OK) != 0;
}

void furnishMemory()
{
    sandbox::freshDirectory("/dev/shm");
    if (fork() == 0) _exit(allocates("a", 100) && allocates("a", 70000) && allocates("b", 10) ? 0 : 1);
    int status = 1;
    if (wait(&status) < 0 || status != 0) std::abort();
}

void furnishModel(const char* tag)
{
    for (const char* const folder : {"/opt/models", "/tmp/quillmark", "/dev/shm"})
        sandbox::freshDirectory(folder);
    sandbox::writeFiles({{"/opt/models/a/misc/UUID", "model a\n"}, {"/tmp/quillmark/model_uuid", tag}});
}

std::atomic<bool> hasBegun = false;

void* runForEver(void* /*argument*/)
{
    for (hasBegun = true;;)
        pthread_testcancel();  // the thread sanitizer does not get over a cancelled sleep
}

bool startsThread()
{
    hasBegun = false;
    memory = qm_createThread(runForEver, nullptr);
    while (memory != nullptr && !hasBegun) {
    }
    return memory != nullptr;
}

bool copiesParameter()
{
    static double parameter[] = {1, 1, 65}, *parameters[] = {parameter};
    SimStruct block{};
    block.sfcnParams = {1, parameters};
    qmParam_deleteIntVec(qmParam_newIntVec(&block, 0));
    qmParam_deleteBoolVec(qmParam_newBoolVec(&block, 0));
    qmParam_deleteDoubleVec(qmParam_newDoubleVec(&block, 0));
    QmParam_CharVec* const copy = qmParam_newCharVec(&block, 0);
    const bool same = copy->len == 1 && copy->val[0] == 'A';
    qmParam_deleteCharVec(copy);
    return same;
}

bool sleepsToItsEnd()
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(2);
    qm_wait_s(0.002);
    return std::chrono::steady_clock::now() >= end;
}

bool runsExitHandler()
{
    static bool hasRun;
    hasRun = false;
    qm_add_exit_handler([](void* flag) { *static_cast<bool*>(flag) = true; }, &hasRun);
    qm_exit_handler();
    return hasRun;
}

}  // namespace

// clang-format off
std::vector<Scenario> processScenarios()
{
    return {
    {"PersistentMemory", [] { sandbox::freshDirectory("/dev/shm"); }, {
        SUCCESS("allocate", kLog, allocates("a", 100)),
        SUCCESS("grow", kLog, allocates("a", 70000)),
        SUCCESS("get", kNone, qm_getPersistentMemory("a") != nullptr),
        SUCCESS("allocate another", kLog, allocates("b", 10)),
        SUCCESS("free", kLog, isFreed())}},
    {"LoadedMemory", furnishMemory, {
        SUCCESS("load", kLog, qm_getPersistentMemory("a") != nullptr),
        SUCCESS("get", kNone, qm_getPersistentMemory("b") != nullptr),
        SUCCESS("grow", kLog, allocates("b", 70000))}},
    {"ModelInit", [] { furnishModel("model a\n"); }, {
        SUCCESS("check", kNone, qm_checkModelInit(), !qm_isModelInit()),
        RESULT("tag", kNone, qm_tagModelRun())}},
    {"Tagging", [] { furnishModel("model b\n"); }, {
        RESULT("tag", kLog, qm_tagModelRun())}},
    {"Threads", [] {}, {
        SUCCESS("create thread", kNone, startsThread()),
        RESULT("pin alone", kNone, qm_pinThreadExclusiveCpu(1)),
        RESULT("destroy thread", kNone, memory == nullptr ? 0 : qm_destroyThread(memory)),
        SUCCESS("create semaphore", kErrno, MADE(memory, qm_createSemaphore(1))),
        RESULT("release", kErrno, memory == nullptr ? 1 : qm_releaseSemaphore(memory)),
        RESULT("wait", kErrno, memory == nullptr ? 1 : qm_waitForSemaphore(memory)),
        RESULT("destroy semaphore", kErrno, memory == nullptr ? 1 : qm_destroySemaphore(memory)),
        SUCCESS("create mutex", kNone, MADE(memory, qm_createMutex(false)) && qm_tryLockMutex(memory)),
        RESULT("destroy mutex", kNone, memory == nullptr ? 1 : (qm_unlockMutex(memory), qm_destroyMutex(memory), 0)),
        RESULT("set priority", kErrno, qm_setPidPriority(101, 60)),
        SUCCESS("get priority", kErrno, qm_getPidPriority(101) == 50),
        RESULT("pin", kErrno, qm_pinThisThreadToCpu(1)),
        SUCCESS("pick", kNone, qm_pickNextAsyncCpu() >= 2),
        SUCCESS("sleep", kNone, sleepsToItsEnd()),
        SUCCESS("spawn", kLog, qm_spawnExecutable("/opt", "tool", "one two") == 4711),
        SUCCESS("exit handler", kNone, runsExitHandler()),
        SUCCESS("start callback", kThrows, qm_add_start_callback([](void*) {}, nullptr, 0), true)}},
    {"Registry", [] {}, {
        SUCCESS("module", kText, MADE(module, qm_module_register(3, 2))),
        SUCCESS("data", kErrno, module != nullptr && qm_module_alloc_custom_data(module, 8) != nullptr),
        SUCCESS("block", kText, module != nullptr && qm_block_register(module, 4, 0) != nullptr),
        SUCCESS("block of UID", kText, module != nullptr && qm_block_register_with_uid(module, 5, 77) != nullptr),
        RESULT("unregister block", kNone, module == nullptr ? 1 : (qm_block_unregister(module, 4, 0), qm_block_unregister(module, 5, 0), 0)),
        SUCCESS("one", kErrno, qm_module_get(&modules, 3, 2) == 1),
        SUCCESS("all", kErrno, std::free(std::exchange(modules, nullptr)), qm_module_get(&modules, 3, -1) == 1),
        RESULT("unregister", kNone, std::free(modules), qm_module_unregister(3, 2), 0),
        SUCCESS("object", kLogged, IoModuleRegistry::add(&ioModule), IoModuleRegistry::find(nx230, 1) != nullptr),
        RESULT("no object", kNone, IoModuleRegistry::remove(nx230, 1), 0),
        SUCCESS("error", kThrows, qmError_delete(qmError_new()), true),
        SUCCESS("parameter", kThrows, copiesParameter())}}};
}
// clang-format on

}  // namespace qm::test
