#pragma once

#include <map>
#include <memory>
#include <string>

namespace slrealtime {

struct TaskInfo;

class Worker
{
public:
    using Factory = std::unique_ptr<Worker> (*)();

    virtual ~Worker();
    virtual void initialize();
    virtual void start();
    virtual void preStep(const TaskInfo*);
    virtual void postStep(const TaskInfo*);
    virtual void stop();
    virtual void terminate();
    virtual void heartbeatWork(bool);

    static void doRegister(std::string name, Factory factory);
    static std::map<std::string, Factory>& registered();
};

}  // namespace slrealtime
