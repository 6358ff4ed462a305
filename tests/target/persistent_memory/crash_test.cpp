// A model may be killed at any moment; what it was given before is there in the next run. QM_KILLS in the
// environment is the number of kills, 300 if there is none.

#include "memory_world.hpp"

#include <new>
#include <random>

namespace qm::test {

namespace {

constexpr uint32_t kMaxRecords = 3000;
constexpr int kNames = 600;

/** What the runs have been given, in memory that no run's end takes away. */
struct Journal
{
    struct Record
    {
        int name;
        unsigned char fill;
        uint32_t size;
        char* block;
    };

    std::array<Record, kMaxRecords> records;
    std::atomic<uint32_t> count;
    std::atomic<bool> verified;

    static Journal& make()
    {
        void* const memory =
            mmap(nullptr, sizeof(Journal), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        return *new (memory) Journal;
    }
};

std::array<char, 8> nameOf(int number)
{
    std::array<char, 8> name{};
    (void)std::snprintf(name.data(), name.size(), "o%d", number);
    return name;
}

bool isIntact(const Journal::Record& record)
{
    const auto* const first = static_cast<char*>(qm_getPersistentMemory(nameOf(record.name).data()));
    if (first == nullptr) return false;
    return record.size == 0 || (static_cast<unsigned char>(*record.block) == record.fill &&
                                std::memcmp(record.block, record.block + 1, record.size - 1) == 0);
}

/** Looks for everything, and goes on allocating and writing until it is killed. Returns only when something
 * is wrong or the journal is full. */
int live(Journal& journal, unsigned seed)
{
    for (uint32_t i = 0; i < journal.count; ++i)
        if (!isIntact(journal.records.at(i))) return 1;
    journal.verified = true;
    std::minstd_rand random(seed);
    while (journal.count < kMaxRecords) {
        auto& record = journal.records.at(journal.count);
        record.name = static_cast<int>(random() % kNames);
        record.size = random() % 16 == 0 ? 50'000 + static_cast<uint32_t>(random() % 50'000)
                                         : static_cast<uint32_t>(random() % 500);
        record.fill = static_cast<unsigned char>(random());
        record.block = static_cast<char*>(qm_allocPersistentMemory(nameOf(record.name).data(), record.size));
        if (record.block == nullptr) return 2;
        std::memset(record.block, record.fill, record.size);
        ++journal.count;
    }
    return 0;
}

int kills()
{
    const char* const wanted = std::getenv("QM_KILLS");
    return wanted == nullptr ? 300 : std::atoi(wanted);
}

}  // namespace

using KilledModel = MemoryWorld;

TEST_F(KilledModel, LosesNothingThatItWasGiven)
{
    (void)alarm(0);  // as many kills as are wanted
    Journal& journal = Journal::make();
    std::minstd_rand random(std::random_device{}());
    uint32_t found = 0;
    for (int killed = 0; killed < kills();) {
        journal.verified = false;
        const auto seed = static_cast<unsigned>(random());
        const pid_t child = fork();
        if (child == 0) _exit(live(journal, seed));
        // Some die while they open the memory, most while they work.
        int status = 0;
        pid_t ended = 0;
        if (random() % 8 != 0)
            while (!journal.verified && (ended = waitpid(child, &status, WNOHANG)) == 0)
                (void)usleep(50);
        if (ended == 0) {
            (void)usleep(static_cast<useconds_t>(random() % 2000));
            (void)kill(child, SIGKILL);
            ASSERT_EQ(child, waitpid(child, &status, 0));
        }
        if (WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL) {
            ++killed;
            found += journal.count;
            continue;
        }
        ASSERT_EQ(0, status) << "after " << killed << " kills, " << journal.count
                             << " blocks; status 256: lost, 512: no more";
        run([](LogCapture&) { qm_freePersistentMemory(); });
        for (const auto& stale : sharedObjects())  // made, but killed before it was on the list
            fs::remove(pathOf(stale));
        journal.count = 0;
    }
    RecordProperty("blocks", static_cast<int>(found));
    EXPECT_LT(0U, found);
}

}  // namespace qm::test
