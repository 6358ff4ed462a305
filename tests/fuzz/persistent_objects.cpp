// The objects of persistent memory as another process may have left them: sound ones, then damaged by the
// input, eight bytes a damage: object and place, then a number that is added to what is there.

// What the library keeps for the life of a process is reset here after each input.
#include "input.hpp"
#include "qm_memory_persistent/directory.cpp"
#include "qm_memory_persistent/placement.cpp"

namespace {

namespace fs = std::filesystem;

constexpr const char* kFolder = "/dev/shm";

/// As at the start of a process.
void forgetAll()
{
    qm::persistent::forgetObjects();
    for (auto& region : qm::persistent::regions)
        region.used = qm::persistent::kObjects;
    std::ifstream maps("/proc/self/maps");
    for (std::string line; std::getline(maps, line);) {
        if (line.find(" /dev/shm/") == std::string::npos) continue;
        std::size_t dash = 0;
        const uint64_t begin = std::stoull(line, &dash, 16);
        const uint64_t end = std::stoull(line.substr(dash + 1), nullptr, 16);
        (void)munmap(reinterpret_cast<void*>(begin), end - begin);
    }
}

/// Three objects, one of them of two fragments, by name.
std::map<std::string, std::string> soundObjects()
{
    qm::test::sandbox::freshDirectory(kFolder);
    (void)qm_allocPersistentMemory("first", 100);
    (void)qm_allocPersistentMemory("second", 100);
    (void)qm_allocPersistentMemory("second", 70000);
    (void)qm_allocPersistentMemory("third", 65488);
    forgetAll();
    std::map<std::string, std::string> objects;
    for (const auto& entry : fs::directory_iterator(kFolder))
        objects[entry.path().filename()] = qm::test::sandbox::readFile(entry.path());
    return objects;
}

struct Damage
{
    uint8_t object;
    uint8_t place;
    uint16_t amount;
    int32_t more;
};

/// The fields of the directory and of its entries lie within 512 and 4 times 64 bytes, those of a fragment at
/// its beginning.
void inflict(const Damage& damage, std::map<std::string, std::string>& objects)
{
    const auto chosen = std::next(objects.begin(), damage.object % 4);
    std::string& bytes = chosen->second;
    if ((damage.object & 0x80) != 0) return bytes.resize(damage.amount * std::size_t{4});
    const bool directory = chosen->first == "qm_persMem_main";
    const std::size_t offset =
        directory ? (damage.place < 4 ? damage.place : 508 + damage.place)
                  : damage.place % 64 + damage.place / 64 * std::size_t{qm::persistent::kUnit};
    const uint64_t added = static_cast<uint64_t>(int64_t{damage.more} * 65536 + damage.amount);
    uint64_t value = 0;
    if (offset + sizeof value > bytes.size()) return;
    std::memcpy(&value, &bytes[offset], sizeof value);
    value += added;
    std::memcpy(&bytes[offset], &value, sizeof value);
}

}  // namespace

int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size)
{
    static const auto sound = soundObjects();
    const qm::fuzz::Log log;
    auto objects = sound;
    for (Damage damage{}; size >= sizeof damage; data += sizeof damage, size -= sizeof damage) {
        std::memcpy(&damage, data, sizeof damage);
        inflict(damage, objects);
    }
    for (const auto& [name, bytes] : objects)
        qm::test::sandbox::writeFile(fs::path(kFolder) / name, bytes);

    const auto* const kept = static_cast<const volatile char*>(qm_getPersistentMemory("first"));
    if (kept != nullptr) (void)*kept;
    for (const char* const name : {"first", "second", "third", "fourth"})
        (void)qm_allocPersistentMemory(name, 70);
    qm_freePersistentMemory();
    forgetAll();
    for (const auto& entry : fs::directory_iterator(kFolder))
        fs::remove(entry.path());
    return 0;
}
