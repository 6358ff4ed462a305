#include <qm.h>
#include <slrealtime/Standalone.hpp>

#include <iostream>

// A driver block in C++, and the platform that runs its model, built outside this project.
int main()
{
    qm::IoModule module(qm::kNx402, 5);
    qm::IoModuleRegistry::add(&module);
    if (qm::IoModuleRegistry::find(qm::kNx402, 5) != &module) return 1;
    qm::IoModuleRegistry::remove(qm::kNx402, 5);
    std::cout << qm_getTargetMarketingName() << "\n";

    slrealtime::ModelInfo model;
    model.tasks_.emplace_back().period_ = 0.001;
    model.tasks_.front().entry_ = [] {};
    slrealtime::standalone::RunOptions options;
    options.steps_ = 3;
    const auto result = slrealtime::standalone::runModel(model, options);
    std::cout << result.report_ << "\n";
    return result.exitStatus_ == 0 && slrealtime::standalone::workerNames().size() == 3 ? 0 : 1;
}
