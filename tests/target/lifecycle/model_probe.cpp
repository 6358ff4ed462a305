// model_probe ACT...: a model that does these things and exits. Prints their results, then what it logs,
// until its end, of first loads and tags, from debug level on.

#include "test.hpp"
#include <slrealtime/Standalone.hpp>

namespace {

using namespace qm::test;

auto& logged = *new qm::test::LogCapture;

void printLog()
{
    for (const std::string& line : logged.lines())
        if (!line.starts_with("trace ") &&
            (line.find("checksum") != line.npos || line.find("Tag model run") != line.npos))
            (void)std::puts(line.c_str());
}

void printState()
{
    (void)std::puts(qm_isModelInit() != qm_isFirstModelLoad() ? "contradiction"
                    : qm_isModelInit()                        ? "first load"
                                                              : "no first load");
}

void sayWhetherTagged(void* name)
{
    (void)std::printf("exit handler %s, %s\n", static_cast<char*>(name),
                      access("/tmp/quillmark/model_uuid", F_OK) == 0 ? "tagged" : "not tagged");
}

/// Runs as a model whose tenth step does this.
void runUntil(void (*end)())
{
    static char names[] = "A\0B";
    slrealtime::ModelInfo model;
    model.initialize_ = [] {
        qm_initModelRun();
        printState();
        qm_add_exit_handler(sayWhetherTagged, names);
        qm_add_exit_handler(sayWhetherTagged, names + 2);
    };
    model.terminate_ = [] { (void)std::puts("terminated"); };
    slrealtime::TaskInfo task;
    task.period_ = 0.001;
    task.entry_ = [end, steps = 0]() mutable {
        if (++steps == 10) end();
    };
    model.tasks_.push_back(task);
    slrealtime::standalone::RunOptions options;
    options.logLevel_ = slrealtime::standalone::LogLevel::error;
    (void)slrealtime::standalone::runModel(model, options);
}

const std::map<std::string, void (*)()> kActs{
    {"run-to-SIGTERM", [] { runUntil([] { (void)kill(getpid(), SIGTERM); }); }},
    {"run-to-SIGINT", [] { runUntil([] { (void)kill(getpid(), SIGINT); }); }},
    {"run-to-exit", [] { runUntil([] { std::exit(0); }); }},
    {"run-to-exit-elsewhere", [] { runUntil([] { std::thread([] { std::exit(0); }).detach(); }); }},
    {"check", qm_checkModelInit},
    {"init", qm_initModelRun},
    {"set", qm_setModelInit},
    {"clear", qm_clearModelInit},
    {"state", printState},
    {"tag", [] { (void)std::puts(qm_tagModelRun() ? "not tagged" : "tagged"); }},
    {"remember", [] { *static_cast<int*>(qm_allocPersistentMemory("note", 8)) = 1; }},
};

}  // namespace

int main(int argc, char** argv)
{
    (void)std::atexit(printLog);  // the first to be registered is the last to run
    for (int i = 1; i < argc; ++i)
        kActs.at(argv[i])();
    return 0;
}
