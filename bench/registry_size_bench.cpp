// The registry over the number of blocks of a type, beside std::unordered_map. Every figure is of a new
// process.

#include "child.hpp"
#include "size_table.hpp"
#include <qm.h>

#include <boost/log/core.hpp>

#include <algorithm>
#include <array>
#include <random>
#include <unordered_map>

namespace {

constexpr int kRuns = 9;
constexpr int kLookUps = 200'000;
constexpr std::array<uint32_t, 5> kSizes = {1, 10, 100, 1000, 10'000};

using Map = std::unordered_map<uint64_t, qm_block_info*>;

qm_mod_info* newModule()
{
    qm_mod_info* const module = qm_module_register(0, 0);
    require(module != nullptr, "qm_module_register");
    return module;
}

void registerBlocks(qm_mod_info* module, uint32_t count)
{
    for (uint32_t id = 0; id < count; ++id)
        require(qm_block_register(module, 0, id) != nullptr, "qm_block_register");
}

void registerLastFirst(qm_mod_info* module, uint32_t count)
{
    for (uint32_t id = count; id > 0; --id)
        require(qm_block_register(module, 0, id - 1) != nullptr, "qm_block_register");
}

/// As qm_block_register() does: a record for each key.
void fill(Map& map, uint32_t count)
{
    for (uint32_t id = 0; id < count; ++id)
        map.emplace(id, static_cast<qm_block_info*>(std::calloc(1, sizeof(qm_block_info))));
}

/// Identifiers in an order that no branch predictor knows.
std::vector<uint32_t> anyIds(uint32_t count)
{
    std::minstd_rand random;  // NOLINT(cert-msc51-cpp): the same order in each run
    std::vector<uint32_t> ids(8192);
    for (uint32_t& id : ids)
        id = static_cast<uint32_t>(random()) % count;
    return ids;
}

/// Each look-up waits for the one before, as the next statement of a step waits for what it has looked up.
template <typename Find>
double lookUps(uint32_t count, Find find)
{
    const std::vector<uint32_t> ids = anyIds(count);
    std::size_t none = 0;
    const double ns = nsPer(kLookUps, [&](int i) {
        none += find(ids[(static_cast<std::size_t>(i) + none) % ids.size()]) == nullptr ? 1 : 0;
    });
    require(none == 0, "look-up");
    return ns;
}

double lookUpById(uint32_t count)
{
    qm_mod_info* const module = newModule();
    registerBlocks(module, count);
    return lookUps(count, [&](uint32_t id) { return qm_block_get(module, 0, id); });
}

double lookUpInMap(uint32_t count)
{
    Map map;
    fill(map, count);
    return lookUps(count, [&](uint32_t id) { return map.find(id)->second; });
}

/// The unique key of the last block: the furthest one.
double lookUpByUid(uint32_t count)
{
    qm_mod_info* const module = newModule();
    for (uint32_t id = 0; id < count; ++id)
        require(qm_block_register_with_uid(module, 0, id + 1) != nullptr, "qm_block_register_with_uid");
    return nsPer(100, [&](int) { require(qm_block_get_by_uid(module, 0, count) != nullptr, "uid"); });
}

/// The same keys in a row, looked through from the first one.
double lookUpLinearly(uint32_t count)
{
    std::vector<qm_block_info> blocks(count);
    for (uint32_t id = 0; id < count; ++id)
        blocks[id].uid = id + 1;
    std::vector<const qm_block_info*> table;
    for (const qm_block_info& block : blocks)
        table.push_back(&block);
    return nsPer(100, [&](int) {
        const auto found =
            std::ranges::find_if(table, [&](const qm_block_info* block) { return block->uid == count; });
        require(found != table.end(), "find_if");
    });
}

double timeToRegister(void (*registerAll)(qm_mod_info*, uint32_t), uint32_t count)
{
    qm_mod_info* const module = newModule();
    return processorNsOf([&] { registerAll(module, count); }) / count;
}

double registration(uint32_t count)
{
    return timeToRegister(registerBlocks, count);
}

double registrationLastFirst(uint32_t count)
{
    return timeToRegister(registerLastFirst, count);
}

double fillingOfMap(uint32_t count)
{
    Map map;
    return processorNsOf([&] { fill(map, count); }) / count;
}

/// Each in a new process.
std::vector<double> figuresOf(const std::vector<double (*)(uint32_t)>& measures, uint32_t count)
{
    std::vector<std::function<double()>> inProcesses;
    for (const auto measure : measures)
        inProcesses.emplace_back([=] { return inNewProcess([=] { return measure(count); }); });
    return mediansByTurns(kRuns, inProcesses);
}

}  // namespace

int main()
{
    boost::log::core::get()->set_logging_enabled(false);
    SizeTable lookUp("Looking a block up", "Blocks",
                     {{"`qm_block_get`, ns"}, {"`std::unordered_map::find`, ns", 1.0, 1, false, 0}});
    SizeTable byUid(
        "Looking the last of the blocks up by its unique key", "Blocks",
        {{"`qm_block_get_by_uid`, ns"}, {"`std::find_if` over as many records, ns", 1.0, 1, false, 0}});
    SizeTable registering("Registering blocks, for each", "Blocks",
                          {{"`qm_block_register`, identifiers ascending, ns", 1.0, 0, false},
                           {"the highest identifier first, ns", 1.0, 0, false},
                           {"`std::unordered_map::emplace`, ns", 1.0, 0, false, 0}});
    for (const uint32_t count : kSizes) {
        lookUp.add(count, figuresOf({lookUpById, lookUpInMap}, count));
        byUid.add(count, figuresOf({lookUpByUid, lookUpLinearly}, count));
        registering.add(count, figuresOf({registration, registrationLastFirst, fillingOfMap}, count));
    }
    for (const SizeTable* table : {&lookUp, &byUid, &registering})
        table->print();
    return printLimits({
        {"a look-up among 10,000 blocks, of one among 10", lookUp.at(0, 10'000) / lookUp.at(0, 10), 4.0},
        {"a look-up among 10,000 blocks, of `std::unordered_map`'s", lookUp.ratio(0, 1, 10'000), 1.0},
        {"a look-up by unique key among 10,000 blocks, of `std::find_if`", byUid.ratio(0, 1, 10'000), 2.0},
        {"registering 10,000 blocks, highest identifier first, for each, of 100",
         registering.at(1, 10'000) / registering.at(1, 100), 2.0},
        {"registering 10,000 blocks, highest identifier first, of `std::unordered_map`'s",
         registering.ratio(1, 2, 10'000), 4.0},
        {"growth of registering 1000 to 10,000 blocks, for each", registering.growth(0, 1000, 10'000), 1.2},
    });
}
