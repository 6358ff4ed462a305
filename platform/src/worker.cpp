#include <slrealtime/Standalone.hpp>
#include <slrealtime/Worker.hpp>

#include <algorithm>
#include <mutex>
#include <utility>

namespace slrealtime {

namespace {

struct Registration
{
    std::string name;
    std::function<std::unique_ptr<Worker>()> factory;
};

struct Registry
{
    std::mutex mutex;
    std::vector<Registration> services;

    auto find(const std::string& name)
    {
        return std::find_if(services.begin(), services.end(),
                            [&](const Registration& service) { return service.name == name; });
    }
};

// Built on first use, because other libraries' static initialisers register, and never destroyed, because
// their exit handlers may still ask.
Registry& registry()
{
    static auto& instance = *new Registry;
    return instance;
}

}  // namespace

Worker::~Worker() = default;
void Worker::initialize() {}
void Worker::start() {}
void Worker::preStep(const TaskInfo* /*task*/) {}
void Worker::postStep(const TaskInfo* /*task*/) {}
void Worker::stop() {}
void Worker::terminate() {}
void Worker::heartbeatWork(bool /*active*/) {}

void Worker::doRegister(const std::string& name, std::function<std::unique_ptr<Worker>()> factory)
{
    auto& all = registry();
    const std::lock_guard lock(all.mutex);
    if (const auto known = all.find(name); known != all.services.end())
        known->factory = std::move(factory);
    else
        all.services.push_back({name, std::move(factory)});
}

namespace standalone {

std::vector<std::string> workerNames()
{
    auto& all = registry();
    const std::lock_guard lock(all.mutex);
    std::vector<std::string> names;
    names.reserve(all.services.size());
    for (const auto& service : all.services)
        names.push_back(service.name);
    return names;
}

std::unique_ptr<Worker> createWorker(const std::string& name)
{
    std::function<std::unique_ptr<Worker>()> factory;
    {
        auto& all = registry();
        const std::lock_guard lock(all.mutex);
        if (const auto known = all.find(name); known != all.services.end()) factory = known->factory;
    }
    return factory ? factory() : nullptr;  // outside the lock: a factory may look at the registry
}

}  // namespace standalone
}  // namespace slrealtime
