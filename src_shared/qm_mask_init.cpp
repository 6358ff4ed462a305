#include <qm/mask_init.h>
#include <simstruct.h>

namespace {

constexpr uint32_t kSetupBlockOptions = 1U << 1 | 1U << 3;
constexpr uint32_t kGeneralBlockOptions = 1U << 1;
constexpr double kInherited = -1.0;
constexpr double kFixedInMinorStep = 1.0;

/// What the sizes of all blocks have in common; -1 when the number of parameters is not the expected one.
int32_t initCommonSizes(SimStruct* S, const QmMaskInit_SetupSettingsArgs& args)
{
    if (qmMaskInit_setNumberOfSFunctionParams(S, args.numberOfParams) != 0) return -1;
    qmMaskInit_setZeroNumberOfStates(S);
    qmMaskInit_setToSingleRate(S);
    qmMaskInit_setVectorSizes(S, args.integerWorkVecLength, args.realWorkVecLength,
                              args.pointerWorkVecLength);
    return 0;
}

}  // namespace

int32_t qmMaskInit_setNumberOfSFunctionParams(SimStruct* S, int32_t numberOfParams)
{
    S->sizes.numSFcnParams = numberOfParams;
    return S->sfcnParams.dlgNum == numberOfParams ? 0 : -1;
}

void qmMaskInit_setZeroNumberOfStates(SimStruct* S)
{
    S->sizes.numContStates = 0;
    S->sizes.numDiscStates = 0;
}

void qmMaskInit_setToSingleRate(SimStruct* S)
{
    S->sizes.numSampleTimes = 1;
}

void qmMaskInit_setVectorSizes(SimStruct* S, int32_t integerWorkVecLength, int32_t realWorkVecLength,
                               int32_t pointerWorkVecLength)
{
    S->sizes.numIWork = integerWorkVecLength;
    S->sizes.numRWork = realWorkVecLength;
    S->sizes.numPWork = pointerWorkVecLength;
    S->sizes.numModes = 0;
    S->sizes.numNonsampledZCs = 0;
}

void qmMaskInit_setNoInputPorts(SimStruct* S)
{
    S->sizes.in.numInputPorts = 0;
}

void qmMaskInit_setInputPorts(SimStruct* S, int32_t numberOfPorts, int32_t portWidth)
{
    S->sizes.in.numInputPorts = numberOfPorts;
    for (int32_t i = 0; i < numberOfPorts; ++i) {
        auto& port = S->portInfo.inputs[i];
        port.width = portWidth;
        port.directFeedThrough = 1;
        port.attributes.contiguity = 1;
    }
}

void qmMaskInit_setNoOutputPorts(SimStruct* S)
{
    S->sizes.out.numOutputPorts = 0;
}

void qmMaskInit_setOutputPorts(SimStruct* S, int32_t numberOfPorts, int32_t portWidth)
{
    S->sizes.out.numOutputPorts = numberOfPorts;
    for (int32_t i = 0; i < numberOfPorts; ++i)
        S->portInfo.outputs[i].width = portWidth;
}

void qmMaskInit_setOptionsForSetupBlock(SimStruct* S)
{
    S->sizes.options = kSetupBlockOptions;
}

void qmMaskInit_setOptionsForGeneralBlock(SimStruct* S)
{
    S->sizes.options = kGeneralBlockOptions;
}

void qmMaskInit_initSampleTimesForRegularBlock(SimStruct* S, double sampleTime)
{
    S->stInfo.sampleTimes[0] = sampleTime;
    S->stInfo.offsetTimes[0] = sampleTime == kInherited ? kFixedInMinorStep : 0.0;
}

void qmMaskInit_initSampleTimesForSetupBlock(SimStruct* S)
{
    qmMaskInit_initSampleTimesForRegularBlock(S, kInherited);
}

int32_t qmMaskInit_initSizesForSetupBlock(SimStruct* S, QmMaskInit_SetupSettingsArgs args)
{
    if (initCommonSizes(S, args) != 0) return -1;
    qmMaskInit_setNoInputPorts(S);
    qmMaskInit_setNoOutputPorts(S);
    qmMaskInit_setOptionsForSetupBlock(S);
    return 0;
}

int32_t qmMaskInit_initSizesForRegularBlock(SimStruct* S, QmMaskInit_SetupSettingsArgs args)
{
    if (initCommonSizes(S, args) != 0) return -1;
    qmMaskInit_setOptionsForGeneralBlock(S);
    return 0;
}
