#include <qm.h>
#include <simstruct.h>
#include <slrealtime/IamRoot.hpp>
#include <slrealtime/Worker.hpp>

#include <cstdlib>
#include <iostream>

namespace {

void expect(bool holds, const char* what)
{
    std::cout << (holds ? "yes: " : "NO:  ") << what << "\n";
    if (!holds) std::exit(1);
}

}  // namespace

// A model on a platform that is not ours: it gets what the library hands on.
int main()
{
    const auto& services = slrealtime::Worker::registered();
    expect(services.size() == 3 && services.count("QuillmarkRTService") &&
               services.count("QuillmarkService") && services.count("QuillmarkSyncService"),
           "the three services are registered, and nothing else");
    for (const auto& [name, create] : services) {
        const auto service = create();
        service->initialize();
        service->start();
        service->preStep(nullptr);
        service->stop();
    }
    expect(slrealtime::IamRoot::scopes > 0, "root rights are this platform's");
    expect(qm_waitForBaseRateSync() == 0, "the base rate has begun");

    bool called = false;
    qm_add_start_callback([](void* flag) { *static_cast<bool*>(flag) = true; }, &called, 0);
    expect(called, "start callbacks are this platform's");

    SimStruct block{};
    block.sfcnParams.dlgNum = 4;
    expect(qmMaskInit_setNumberOfSFunctionParams(&block, 4) == 0 && block.sizes.numSFcnParams == 4,
           "the block's record is this platform's");
    qm_printf(qm_info, "a line of the library\n");
}
