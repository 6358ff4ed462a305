// What a process finds in shared memory may be anything. It is used whole or not at all.

#include "memory_world.hpp"

namespace qm::test {

namespace {

struct Damage
{
    const char* what;
    std::function<void()> inflict;
    const char* reason;
    const char* place = "Open main fragment failed";
};

constexpr const char* kNotThere = "mmap 1 failed: No such device or address";
constexpr const char* kUnsound = "mmap 2 failed: Invalid argument";
constexpr const char* kElsewhere = "mmap 2 failed: got 0x";
constexpr const char* kSecond = "Open fragment at offset 0x10000 failed";
constexpr const char* kThird = "Open fragment at offset 0x20000 failed";
constexpr const char* kList = "Open shMem ";

/** Pokes a field of the object "a", whose three fragments are of one unit each. */
auto field(off_t fragment, off_t offset, uint64_t value, size_t size = 8)
{
    return [=] { poke("a", fragment * static_cast<off_t>(kUnit) + offset, value, size); };
}
/** The same, relative to what the field holds. */
auto shifted(off_t fragment, off_t offset, int64_t by)
{
    return [=] {
        const off_t at = fragment * static_cast<off_t>(kUnit) + offset;
        poke("a", at, peek("a", at) + static_cast<uint64_t>(by));
    };
}
auto link(off_t from, off_t to)
{
    return [=] {
        poke("a", from * static_cast<off_t>(kUnit) + kNextDesc,
             peek("a", to * static_cast<off_t>(kUnit) + kAddress));
    };
}
auto cutTo(uint64_t size)
{
    return [=] { fs::resize_file(pathOf("a"), size); };
}
auto name(const std::string& bytes)
{
    return [=] {
        for (size_t i = 0; i < bytes.size(); ++i)
            poke(kMain, kMainEntries + kEntry + static_cast<off_t>(i), static_cast<unsigned char>(bytes[i]),
                 1);
    };
}
auto mainField(off_t offset, uint64_t value, size_t size)
{
    return [=] { poke(kMain, offset, value, size); };
}

const Damage kDamages[] = {
    {"an object is gone", [] { fs::remove(pathOf("a")); }, "shm_open failed: No such file or directory",
     kList},
    {"an empty file", cutTo(0), kNotThere},
    {"half a descriptor", cutTo(24), kNotThere},
    {"a descriptor without a fragment", cutTo(48), kUnsound},
    {"half a fragment", cutTo(kUnit / 2), kUnsound},
    {"the second fragment cut off", cutTo(kUnit), kNotThere, kSecond},
    {"half the third fragment", cutTo(2 * kUnit + kUnit / 2), kUnsound, kThird},
    {"nothing in it", [] { cutTo(0)(), cutTo(3 * kUnit)(); }, kElsewhere},
    {"no size", field(0, kSize, 0), kUnsound},
    {"an odd size", field(0, kSize, kUnit + 1), kUnsound},
    {"a size beyond the file", field(0, kSize, 4 * kUnit), kUnsound},
    {"a giant size", field(1, kSize, 0xFFFFFFFFFFFF0000), kUnsound, kSecond},
    {"a fragment over the next one", field(0, kSize, 2 * kUnit), kElsewhere, kThird},
    {"a wild address", field(0, kAddress, 0xDEADBEEF000), kElsewhere},
    {"another address", shifted(1, kAddress, 4096), kElsewhere, kSecond},
    {"a wild link", field(0, kNextDesc, 0xFFFFFFFFFFFFFFF0), kElsewhere, kSecond},
    {"a link to itself", link(0, 0), kElsewhere, kSecond},
    {"a ring", link(2, 0), kNotThere, "Open fragment at offset 0x30000 failed"},
    {"a link over a fragment", link(0, 2), kElsewhere, kSecond},
    {"blocks before the fragment", shifted(0, kFirstFree, -0x10000), kUnsound},
    {"blocks behind the fragment", shifted(1, kFirstFree, 0x10000), kUnsound, kSecond},
    {"a wild root", field(0, kRoot, 0x1000), kUnsound},
    {"a total of nothing", field(0, kTotalSize, 0, 4), "Open main fragment failed"},
    {"a total beyond the file", field(0, kTotalSize, 0xFFFF0000, 4), "Open main fragment failed"},
    {"a null pointer", mainField(kMainEntries + kEntry + kEntryDesc, 0, 8), kElsewhere},
    {"a wild pointer", mainField(kMainEntries + kEntry + kEntryDesc, 0x7FFFFFFFF000, 8), kElsewhere},
    {"another object's pointer",
     [] { poke(kMain, kMainEntries + kEntry + kEntryDesc, peek(kMain, kMainEntries + kEntryDesc)); },
     kElsewhere},
    {"a name without an end", name(std::string(50, 'x')), kList, kList},
    {"no name", name(std::string(1, '\0')), "shm_open failed: Invalid argument", kList},
    {"another folder's name", name(std::string("../etc/passwd\0", 14)), "shm_open failed: Invalid argument",
     kList},
    {"the list's own name", name(std::string(kMain) + '\0'), kElsewhere},
    {"the same name twice", name(std::string("first\0", 6)), kElsewhere},
    {"entries that are not there", mainField(0, 0xFFFFFFFF, 4), "shm_open failed: Invalid argument", kList},
};

class Damaged : public MemoryWorld, public testing::WithParamInterface<Damage>
{};

}  // namespace

TEST_P(Damaged, MemoryIsNotLoadedAndLeftAlone)
{
    run([](LogCapture&) {
        EXPECT_NE(nullptr, qm_allocPersistentMemory("first", 100));
        for (int fragment = 0; fragment < 3; ++fragment)
            EXPECT_NE(nullptr, qm_allocPersistentMemory("a", 65487));
    });
    GetParam().inflict();
    const State before = currentState();
    run([](LogCapture& log) {
        for (int i = 0; i < 2; ++i) {
            log.clear();
            EXPECT_EQ(nullptr, qm_allocPersistentMemory("first", 10));
            EXPECT_THAT(log.lines(), Contains(HasSubstr(GetParam().reason)));
            EXPECT_THAT(log.lines(), Contains(HasSubstr(GetParam().place)));
            EXPECT_THAT(log.notes(),
                        ElementsAre(MatchesRegex("info QM: Open shared memory .* failed"),
                                    "error QM: Persistent memory not available: first - creating failed"));
            EXPECT_THAT(log.lines(), Contains("debug QM: PersMem list initialization failed"));
        }
        EXPECT_EQ(nullptr, qm_getPersistentMemory("a"));
        qm_freePersistentMemory();
        EXPECT_EQ(0U, sharedMappings());
    });
    EXPECT_TRUE(before == currentState()) << "something has been written or unlinked";
}

INSTANTIATE_TEST_SUITE_P(By, Damaged, testing::ValuesIn(kDamages), [](const auto& damage) {
    std::string id = damage.param.what;
    std::replace_if(
        id.begin(), id.end(), [](char c) { return c == ' ' || c == '\''; }, '_');
    return id;
});

TEST_F(MemoryWorld, AFragmentThatWasLinkedButNotCountedIsCounted)
{
    run([](LogCapture&) {
        for (int fragment = 0; fragment < 2; ++fragment)
            EXPECT_NE(nullptr, qm_allocPersistentMemory("a", 65487));
    });
    EXPECT_EQ(2 * kUnit, peek("a", kTotalSize, 4));
    poke("a", kTotalSize, kUnit, 4);
    run([](LogCapture&) { EXPECT_NE(nullptr, qm_allocPersistentMemory("a", 65487)); });
    EXPECT_EQ(3 * kUnit, peek("a", kTotalSize, 4));
    EXPECT_EQ(3 * kUnit, fs::file_size(pathOf("a")));
}

}  // namespace qm::test
