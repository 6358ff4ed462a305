/** The record through which a block and its host talk about sizes, ports, sample times and parameters. C11
 * and C++. */
#ifndef SIMSTRUCT_H
#define SIMSTRUCT_H

#include <stdint.h>

/** One input port. */
typedef struct SimStructInputPort /* NOLINT(modernize-use-using): also C */
{
    int32_t width;             /**< number of elements */
    int32_t directFeedThrough; /**< 1: the outputs depend on this input in the same step */
    struct SimStructInputAttributes
    {
        int32_t contiguity; /**< 1: the elements must lie side by side */
    } attributes;
} SimStructInputPort;

/** One output port. */
typedef struct SimStructOutputPort /* NOLINT(modernize-use-using): also C */
{
    int32_t width; /**< number of elements */
} SimStructOutputPort;

/** The host owns the record and every array it points to; a block reads and fills them. */
typedef struct SimStruct /* NOLINT(modernize-use-using): also C */
{
    struct SimStructSizes
    {
        int32_t numContStates;
        int32_t numDiscStates;
        int32_t numSampleTimes;
        int32_t numSFcnParams; /**< dialog parameters the block expects */
        int32_t numIWork;
        int32_t numRWork;
        int32_t numPWork;
        int32_t numModes;
        int32_t numNonsampledZCs;
        uint32_t options; /**< option bits */
        struct SimStructInputs
        {
            int32_t numInputPorts;
        } in;
        struct SimStructOutputs
        {
            int32_t numOutputPorts;
        } out;
    } sizes;

    struct SimStructPortInfo
    {
        SimStructInputPort* inputs;   /**< `sizes.in.numInputPorts` elements */
        SimStructOutputPort* outputs; /**< `sizes.out.numOutputPorts` elements */
    } portInfo;

    struct SimStructTimes
    {
        double* sampleTimes; /**< seconds, `sizes.numSampleTimes` elements */
        double* offsetTimes; /**< seconds, as many */
    } stInfo;

    struct SimStructParams
    {
        int32_t dlgNum;     /**< dialog parameters the host passed */
        double** dlgParams; /**< each: rows, columns, then the values column by column */
    } sfcnParams;
} SimStruct;

#endif
