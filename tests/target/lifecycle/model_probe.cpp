// model_probe ACT...: a model that does these things and exits. Prints their results, then what it logs,
// until its end, of first loads and tags, from debug level on.

#include "log_capture.hpp"
#include <qm.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <string>

namespace {

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

const std::map<std::string, void (*)()> kActs{
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
