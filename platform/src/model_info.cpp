#include "running_model.hpp"
#include <slrealtime/Standalone.hpp>

namespace slrealtime {

ModelInfo& runningModel()
{
    static auto& model = *new ModelInfo;  // never destroyed: exit handlers may still ask
    return model;
}

const ModelInfo& getModelInstanceModelInfo()
{
    return runningModel();
}

void standalone::setModelInfo(const ModelInfo& model)
{
    runningModel() = model;
}

}  // namespace slrealtime
