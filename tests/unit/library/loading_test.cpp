#include "test.hpp"
#include <slrealtime/Standalone.hpp>

// Hosts that load the libraries themselves: this program is linked with neither.

namespace {

using namespace qm::test;

/// As the compiler calls workerNames() and createWorker() of slrealtime::standalone.
constexpr char kWorkerNames[] = "_ZN10slrealtime10standalone11workerNamesB5cxx11Ev";
constexpr char kCreateWorker[] =
    "_ZN10slrealtime10standalone12createWorkerERKNSt7__cxx1112basic_stringIcSt11char_traitsIcESaIcEEE";

struct Host
{
    const char* name;
    std::vector<const char*> libraries;  // in the order of loading; unloaded in the same order
    int flags;
};

struct Loading : testing::TestWithParam<Host>
{
    void load()
    {
        handles_.clear();
        for (const char* library : GetParam().libraries) {
            handles_.push_back(dlopen(library, GetParam().flags));
            ASSERT_NE(nullptr, handles_.back()) << dlerror();
        }
    }

    void unload()
    {
        for (void* handle : handles_)
            EXPECT_EQ(0, dlclose(handle));
    }

    template <typename Function>
    Function* symbol(const char* name)
    {
        for (void* handle : handles_)
            if (void* const found = dlsym(handle, name)) return reinterpret_cast<Function*>(found);
        ADD_FAILURE() << name << " is in no library";
        return nullptr;
    }

    std::vector<void*> handles_ = {};
};

TEST_P(Loading, RegistersEachServiceOnceAndUnloadingLeavesItUsable)
{
    for (int round = 0; round < 2; ++round) {
        ASSERT_NO_FATAL_FAILURE(load());
        EXPECT_THAT(symbol<decltype(slrealtime::standalone::workerNames)>(kWorkerNames)(),
                    UnorderedElementsAre("QuillmarkRTService", "QuillmarkSyncService", "QuillmarkService"));
        const auto service =
            symbol<decltype(slrealtime::standalone::createWorker)>(kCreateWorker)("QuillmarkSyncService");
        const auto wait = symbol<decltype(qm_waitForBaseRateSync)>("qm_waitForBaseRateSync");
        unload();
        service->preStep(nullptr);
        EXPECT_EQ(0, wait());
    }
}

TEST_P(Loading, RunsExitHandlersAfterUnloading)
{
    const auto exitUnloaded = [this] {
        load();
        symbol<decltype(qm_add_exit_handler)>("qm_add_exit_handler")(
            [](void*) { std::fputs("handled\n", stderr); }, nullptr);
        unload();
        std::exit(HasFailure() ? 1 : 0);
    };
    EXPECT_EXIT(exitUnloaded(), ExitedWithCode(0), "handled");
}

INSTANTIATE_TEST_SUITE_P(
    By, Loading,
    testing::Values(Host{"LibraryAlone", {QM_LIBRARY}, RTLD_NOW | RTLD_LOCAL},
                    Host{"LibraryFirst", {QM_LIBRARY, QM_PLATFORM_LIBRARY}, RTLD_LAZY | RTLD_LOCAL},
                    Host{"PlatformFirst", {QM_PLATFORM_LIBRARY, QM_LIBRARY}, RTLD_NOW | RTLD_GLOBAL}),
    byName);

}  // namespace
