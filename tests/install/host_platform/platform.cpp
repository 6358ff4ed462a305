#include <slrealtime/IamRoot.hpp>
#include <slrealtime/Logger.hpp>
#include <slrealtime/Worker.hpp>

// As little of a host platform as the library can do with.

namespace slrealtime {

Worker::~Worker() = default;
void Worker::initialize() {}
void Worker::start() {}
void Worker::preStep(const TaskInfo*) {}
void Worker::postStep(const TaskInfo*) {}
void Worker::stop() {}
void Worker::terminate() {}
void Worker::heartbeatWork(bool) {}

void Worker::doRegister(std::string name, Factory factory)
{
    registered()[std::move(name)] = factory;
}

std::map<std::string, Worker::Factory>& Worker::registered()
{
    static std::map<std::string, Factory> workers;
    return workers;
}

Logger::Type& Logger::getLogger()
{
    static Type logger;
    return logger;
}

int IamRoot::scopes = 0;
IamRoot::IamRoot()
{
    ++scopes;
}
IamRoot::~IamRoot() = default;

}  // namespace slrealtime
