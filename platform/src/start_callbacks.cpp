#include "start_callbacks.hpp"

#include <slrealtime/Standalone.hpp>
#include <slrealtime/StartCallback.h>

#include <algorithm>
#include <mutex>
#include <utility>
#include <vector>

namespace {

struct Callback
{
    startFun_t function;
    void* argument;
    int order;
};

struct Callbacks
{
    std::mutex mutex;
    std::vector<Callback> list;
};

Callbacks& registered()
{
    static auto& instance = *new Callbacks;  // blocks may register from static initialisers
    return instance;
}

std::vector<Callback> takeAll()
{
    auto& all = registered();
    const std::lock_guard lock(all.mutex);
    return std::exchange(all.list, {});
}

}  // namespace

extern "C" void registerCB_C(startFun_t callback, void* argument, int order)
{
    if (callback == nullptr) return;
    auto& all = registered();
    const std::lock_guard lock(all.mutex);
    all.list.push_back({callback, argument, order});
}

namespace slrealtime {

void forgetStartCallbacks()
{
    takeAll();
}

void standalone::runStartCallbacks()
{
    // Until none is left: a callback may register another one.
    for (auto batch = takeAll(); !batch.empty(); batch = takeAll()) {
        std::stable_sort(batch.begin(), batch.end(),
                         [](const Callback& a, const Callback& b) { return a.order < b.order; });
        for (const auto& callback : batch)
            callback.function(callback.argument);
    }
}

}  // namespace slrealtime
