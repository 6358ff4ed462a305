/* The headers that C code includes, compiled as C. */
#include <simstruct.h>
#include <slrealtime/StartCallback.h>

int32_t qm_platformHeadersInC(SimStruct* S, startFun_t callback);

int32_t qm_platformHeadersInC(SimStruct* S, startFun_t callback)
{
    registerCB_C(callback, S, 0);
    S->portInfo.inputs[0].attributes.contiguity = 1;
    S->sizes.options = 10U;
    return S->sizes.in.numInputPorts + S->sizes.out.numOutputPorts + S->sfcnParams.dlgNum +
           (int32_t)S->sfcnParams.dlgParams[0][0];
}
