#include "memory_world.hpp"

namespace qm::test {

namespace {

using testing::IsSupersetOf;

char* alloc(const std::string& name, uint32_t size)
{
    return static_cast<char*>(qm_allocPersistentMemory(name.c_str(), size));
}

char* get(const std::string& name)
{
    return static_cast<char*>(qm_getPersistentMemory(name.c_str()));
}

uint64_t asNumber(const void* address)
{
    return reinterpret_cast<uint64_t>(address);
}

}  // namespace

using PersistentMemory = MemoryWorld;

TEST_F(PersistentMemory, IsTheSameInTheNextRun)
{
    run([](LogCapture&) {
        char* const block = alloc("gains", 100);
        ASSERT_NE(nullptr, block);
        EXPECT_EQ(block + 100, alloc("gains", 200)) << "not aligned, not the first one";
        EXPECT_EQ(block, get("gains"));
        std::strcpy(block, "text");
    });
    EXPECT_THAT(sharedObjects(), ElementsAre("gains", kMain));
    EXPECT_EQ(1U, peek(kMain, 0, 4));
    EXPECT_EQ(kUnit, peek("gains", kTotalSize, 4));
    EXPECT_EQ(kUnit, peek("gains", kSize));
    const uint64_t address = peek("gains", kAddress);
    EXPECT_EQ(address, peek(kMain, kMainEntries + kEntryDesc));
    EXPECT_EQ(address + 48, peek("gains", kRoot));
    EXPECT_EQ(address + 348, peek("gains", kFirstFree));
    char* const first = reinterpret_cast<char*>(address + 48);
    run([first](LogCapture& log) {
        EXPECT_EQ(first, get("gains"));
        EXPECT_STREQ("text", first);
        EXPECT_EQ(first + 300, alloc("gains", 1));
        EXPECT_EQ(nullptr, get("Gains"));
        EXPECT_EQ(nullptr, get("gain"));
        EXPECT_EQ(nullptr, qm_getPersistentMemory(nullptr));
        EXPECT_THAT(log.lines(),
                    ElementsAre("debug QM: Loaded descriptor list. 1 entries", "debug QM: Open shMem gains",
                                "debug QM: Persistent memory not available Gains",
                                "debug QM: Persistent memory not available gain",
                                "debug QM: Persistent memory not available (null)"));
    });
}

TEST_F(PersistentMemory, GrowsByFragmentsUpTo4GiB)
{
    run([](LogCapture& log) {
        char* const root = alloc("a", 0);
        EXPECT_EQ(root, alloc("a", 65488)) << "no byte is lost";
        char* const second = alloc("a", 65488);
        EXPECT_EQ(2 * kUnit, peek("a", kUnit + kSize)) << "always more than asked for";
        EXPECT_EQ(asNumber(second), peek("a", kUnit + kRoot));
        EXPECT_EQ(second - 48, reinterpret_cast<char*>(peek("a", kNextDesc)));
        EXPECT_EQ(root + 65488, alloc("a", 0)) << "the first that fits, be it full";
        EXPECT_EQ(second + 65488, alloc("a", 10)) << "it has room yet";
        char* const giant = alloc("a", 0x7FFFFFFF);
        EXPECT_EQ(asNumber(giant), peek("a", 3 * kUnit + kRoot));
        giant[0x7FFFFFFE] = 'l';
        EXPECT_EQ(root, get("a"));
        EXPECT_THAT(log.notes(), IsEmpty());

        log.clear();
        const uint64_t total = peek("a", kTotalSize, 4);
        char* const end = giant + 0x7FFFFFFF;
        for (const uint32_t size : {0x7FFFFFFFU, 0xFFFFFFF0U, 0xFFFFFFFFU}) {
            EXPECT_EQ(end, alloc("a", size)) << "not the caller's, but not null";
            EXPECT_THAT(log.lines(), ElementsAre("debug QM: ftruncate failed: File too large",
                                                 "debug QM: Could not enlarge persistent memory"));
            log.clear();
        }
        EXPECT_EQ(total, peek("a", kTotalSize, 4));
        EXPECT_EQ(total, fs::file_size(pathOf("a")));
    });
}

TEST_F(PersistentMemory, GrowsItsOwnFileInALaterRun)
{
    run([](LogCapture&) {
        for (int i = 0; i < 200; ++i)
            EXPECT_NE(nullptr, alloc("object" + std::to_string(i), 65000));
    });
    run([](LogCapture&) {
        rlimit limit{};
        (void)getrlimit(RLIMIT_NOFILE, &limit);
        for (const rlim_t most : {rlim_t{256}, limit.rlim_cur}) {  // of which not every object keeps one
            limit.rlim_cur = most;
            EXPECT_EQ(0, setrlimit(RLIMIT_NOFILE, &limit));
            EXPECT_NE(nullptr, get("object0"));
        }
        std::vector<int> others;
        for (int i = 0; i < 300; ++i)
            others.push_back(memfd_create("other", MFD_CLOEXEC));
        for (const char* name : {"object0", "object199"}) {
            char* const block = alloc(name, 1000);
            EXPECT_EQ(asNumber(block), peek(name, kUnit + kRoot));
            std::strcpy(block, "later");
            EXPECT_EQ(2 * kUnit, fs::file_size(pathOf(name)));
        }
        for (const int other : others)
            EXPECT_EQ(0, lseek(other, 0, SEEK_END));
        fs::rename(pathOf("object1"), pathOf("object198"));
        char* const block = get("object198");
        EXPECT_EQ(block + 65000, alloc("object198", 1000)) << "another object's file is not enlarged";
    });
}

TEST_F(PersistentMemory, RefusesNamesThatItCouldNotFindAgain)
{
    run([](LogCapture& log) {
        EXPECT_NE(nullptr, alloc("kept", 10));
        EXPECT_NE(nullptr, alloc(std::string(49, 'n'), 10));
        const auto before = sharedObjects();
        for (const std::string& name : {std::string(50, 'n'), std::string(255, 'n'), std::string(),
                                        std::string("a/b"), std::string("/kept"), std::string(kMain)}) {
            log.clear();
            EXPECT_EQ(nullptr, alloc(name, 10));
            EXPECT_THAT(log.notes(), ElementsAre("error QM: Persistent memory not available: " + name +
                                                 " - creating failed"));
        }
        EXPECT_EQ(nullptr, qm_allocPersistentMemory(nullptr, 10));
        EXPECT_EQ(before, sharedObjects());
    });
    run([](LogCapture&) { EXPECT_NE(nullptr, get(std::string(49, 'n'))); });
}

TEST_F(PersistentMemory, Has1023Names)
{
    const auto name = [](int i) { return "object " + std::to_string(i); };
    const rlimit usual{1024, 1024};
    ASSERT_EQ(0, setrlimit(RLIMIT_NOFILE, &usual));
    run([&](LogCapture& log) {
        for (int i = 1; i <= 1023; ++i)
            ASSERT_NE(nullptr, alloc(name(i), 10)) << i;
        log.clear();
        for (uint64_t count = 1024; count <= 1025; ++count) {
            EXPECT_EQ(nullptr, alloc(name(1024), 10));
            EXPECT_EQ(count, peek(kMain, 0, 4));
        }
        EXPECT_THAT(log.lines(), IsSupersetOf({"debug QM: PersMem list - running out of slots",
                                               "debug QM: Could not add PersMem to list: object 1024",
                                               "error QM: Persistent memory not available: object 1024 - "
                                               "creating failed"}));
    });
    EXPECT_EQ(1024U, sharedObjects().size());
    for (const uint64_t count : {1025ULL, 0xFFFFFFFFULL}) {
        poke(kMain, 0, count, 4);
        run([&](LogCapture&) {
            EXPECT_EQ(asNumber(get(name(1023))), peek(name(1023), kRoot));
            EXPECT_EQ(nullptr, alloc("one more", 10));
        });
        EXPECT_EQ(std::min(count + 1, uint64_t{0xFFFFFFFF}), peek(kMain, 0, 4));
    }
    run([](LogCapture&) { qm_freePersistentMemory(); });
    EXPECT_THAT(sharedObjects(), IsEmpty());
}

TEST_F(PersistentMemory, StartsFromNothingWhenItIsFreed)
{
    run([](LogCapture& log) {
        char* const old = alloc("a", 10);
        EXPECT_NE(nullptr, alloc("b", 10));
        *old = 'x';
        fs::remove(pathOf("b"));
        log.clear();
        qm_freePersistentMemory();
        EXPECT_THAT(log.lines(), ElementsAre("debug QM: Unlinked persistent memory: a",
                                             "debug QM: shm_unlink b failed: No such file or directory",
                                             "debug QM: Unlinked persistent memory: qm_persMem_main"));
        EXPECT_EQ('x', *old) << "it stays mapped";
        EXPECT_THAT(sharedObjects(), IsEmpty());
        EXPECT_EQ(nullptr, get("a"));
        char* const fresh = alloc("a", 10);
        ASSERT_NE(nullptr, fresh);
        EXPECT_NE(old, fresh);
        EXPECT_EQ('\0', *fresh);
        EXPECT_EQ(1U, peek(kMain, 0, 4));
    });
}

TEST_F(PersistentMemory, NeverTakesAnAddressThatIsInUse)
{
    run([](LogCapture&) { EXPECT_NE(nullptr, alloc("a", 10)); });
    run([](LogCapture& log) {
        void* const address = reinterpret_cast<void*>(peek("a", kAddress));
        char* const mine = static_cast<char*>(mmap(address, 4096, PROT_READ | PROT_WRITE,
                                                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED_NOREPLACE, -1, 0));
        ASSERT_EQ(address, mine);
        *mine = 'm';
        EXPECT_EQ(nullptr, alloc("a", 10));
        EXPECT_EQ('m', *mine);
        EXPECT_THAT(log.lines(), Contains("debug QM: mmap 2 failed: File exists"));
        EXPECT_EQ(0, munmap(mine, 4096));
        EXPECT_EQ(mine + 48, get("a"));
    });
}

TEST_F(PersistentMemory, TakesDescriptor0ForAFailure)
{
    run([](LogCapture& log) {
        (void)close(0);
        EXPECT_EQ(nullptr, alloc("a", 10));
        EXPECT_THAT(log.lines(), Contains("debug QM: PersMem main file creation failed"));
        EXPECT_EQ(0U, sharedMappings());
        EXPECT_EQ(0, open("/dev/null", O_RDONLY | O_CLOEXEC)) << "and closes it";
        EXPECT_NE(nullptr, alloc("a", 10));
    });
}

TEST_F(PersistentMemory, OfAnEarlierSizeIsEnlarged)
{
    run([](LogCapture&) { EXPECT_NE(nullptr, alloc("a", 10)); });
    fs::resize_file(pathOf(kMain), kUnit);
    run([](LogCapture&) { EXPECT_NE(nullptr, get("a")); });
    EXPECT_LE(512U + 1023U * 64U, fs::file_size(pathOf(kMain)));
}

TEST_F(PersistentMemory, GetsItsAddressesInEveryProgram)
{
    const std::string probe = QM_PROBE;
    int run = 0;
    std::vector<std::string> commands{probe, "setarch -R " + probe, probe + " 100",
                                      "setarch -R " + probe + " 100"};
#ifndef __SANITIZE_THREAD__  // which refuses this layout
    commands.push_back("setarch -L " + probe + " 100");
#endif
    commands.push_back(probe);
    for (const std::string& command : commands) {
        const auto shown = standardOutputOf([&] { EXPECT_EQ(0, std::system(command.c_str())) << command; });
        EXPECT_EQ(std::to_string(++run * 200) + "\n", shown) << command;
    }
}

}  // namespace qm::test
