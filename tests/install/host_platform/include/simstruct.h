#pragma once

#include <cstdint>

// The same fields as elsewhere, in places of its own.
struct SimStruct
{
    struct
    {
        int32_t dlgNum;
        double** dlgParams;
    } sfcnParams;
    struct
    {
        double *sampleTimes, *offsetTimes;
    } stInfo;
    struct
    {
        struct
        {
            int32_t width, directFeedThrough;
            struct
            {
                int32_t contiguity;
            } attributes;
        } * inputs;
        struct
        {
            int32_t width;
        } * outputs;
    } portInfo;
    struct
    {
        struct
        {
            int32_t numOutputPorts;
        } out;
        struct
        {
            int32_t numInputPorts;
        } in;
        uint32_t options;
        int32_t numContStates, numDiscStates, numSampleTimes, numSFcnParams;
        int32_t numIWork, numRWork, numPWork, numModes, numNonsampledZCs;
    } sizes;
};
