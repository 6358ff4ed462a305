// Look-ups with keys in an order that no branch predictor knows.

#include <qm.h>

#include <benchmark/benchmark.h>

#include <array>
#include <random>
#include <unordered_map>
#include <vector>

namespace {

constexpr uint32_t kTypes = 8;
constexpr uint32_t kIds = 16;

struct Key
{
    uint32_t type;
    uint32_t id;
    [[nodiscard]] uint64_t packed() const { return uint64_t{type} << 32 | id; }
};

/// All keys, many times over, in one random order for every case.
const std::vector<Key>& keys()
{
    static const auto order = [] {
        std::vector<Key> all;
        std::minstd_rand random;  // NOLINT(cert-msc51-cpp): the same order in each run
        for (int i = 0; i < 4096; ++i)
            all.push_back({static_cast<uint32_t>(random() % kTypes), static_cast<uint32_t>(random() % kIds)});
        return all;
    }();
    return order;
}

template <typename Find>
void lookUp(benchmark::State& state, Find find)
{
    std::size_t next = 0;
    for (auto _ : state) {
        const Key key = keys()[next++ % keys().size()];
        benchmark::DoNotOptimize(find(key));
    }
}

/// Registers a module for each key, or blocks of one module, and hands them out in the three ways.
template <typename Entry, Entry* (*add)(Key)>
struct Entries
{
    std::unordered_map<uint64_t, Entry*> map;
    std::array<std::vector<Entry*>, kTypes> array;

    Entries()
    {
        for (uint32_t type = 0; type < kTypes; ++type)
            for (uint32_t id = 0; id < kIds; ++id) {
                Entry* const entry = add({type, id});
                map[Key{type, id}.packed()] = entry;
                array.at(type).push_back(entry);
            }
    }
    static const Entries& get()
    {
        static const Entries entries;
        return entries;
    }
};

qm_mod_info* blocksModule()
{
    static qm_mod_info* const module = qm_module_register(kTypes, 0);
    return module;
}
qm_mod_info* addModule(Key key)
{
    return qm_module_register(key.type, key.id);
}
qm_block_info* addBlock(Key key)
{
    return qm_block_register(blocksModule(), key.type, key.id);
}
using Modules = Entries<qm_mod_info, addModule>;
using Blocks = Entries<qm_block_info, addBlock>;

template <typename Entries>
void inMap(benchmark::State& state)
{
    const auto& map = Entries::get().map;
    lookUp(state, [&](Key key) { return map.find(key.packed())->second; });
}

template <typename Entries>
void inArray(benchmark::State& state)
{
    const auto& array = Entries::get().array;
    lookUp(state, [&](Key key) { return array[key.type][key.id]; });
}

void moduleLookUp(benchmark::State& state)
{
    (void)Modules::get();
    lookUp(state, [](Key key) { return qm_module_get_single(key.type, key.id); });
}
void moduleInMap(benchmark::State& state)
{
    inMap<Modules>(state);
}
void moduleInArray(benchmark::State& state)
{
    inArray<Modules>(state);
}

void blockLookUp(benchmark::State& state)
{
    (void)Blocks::get();
    lookUp(state, [module = blocksModule()](Key key) { return qm_block_get(module, key.type, key.id); });
}
void blockInMap(benchmark::State& state)
{
    inMap<Blocks>(state);
}
void blockInArray(benchmark::State& state)
{
    inArray<Blocks>(state);
}

BENCHMARK(moduleLookUp);
BENCHMARK(moduleInMap);
BENCHMARK(moduleInArray);
BENCHMARK(blockLookUp);
BENCHMARK(blockInMap);
BENCHMARK(blockInArray);

}  // namespace
