/**
 * @file
 * The size, port, option and sample-time fields of a block's record, in the two usual shapes: a setup block
 * has no ports and runs once, a regular block has ports that it sets itself.
 *
 * The platform's "simstruct.h" defines the record. Nothing is allocated: the port arrays are the platform's
 * and are there when a block initialises its sizes.
 */
#ifndef QM_MASK_INIT_H
#define QM_MASK_INIT_H

#include <qm/api.h>

QM_BEGIN_C

/** A block's record, defined in the platform's "simstruct.h". */
typedef struct SimStruct SimStruct;

/** What a block declares about itself. */
typedef struct QmMaskInit_SetupSettingsArgs
{
    int32_t numberOfParams;       /**< dialog parameters */
    int32_t integerWorkVecLength; /**< elements of the integer work vector */
    int32_t realWorkVecLength;    /**< elements of the real work vector */
    int32_t pointerWorkVecLength; /**< elements of the pointer work vector */
} QmMaskInit_SetupSettingsArgs;

QM_RECORD_SIZE(QmMaskInit_SetupSettingsArgs, 16);
QM_FIELD_OFFSET(QmMaskInit_SetupSettingsArgs, integerWorkVecLength, 4);
QM_FIELD_OFFSET(QmMaskInit_SetupSettingsArgs, realWorkVecLength, 8);
QM_FIELD_OFFSET(QmMaskInit_SetupSettingsArgs, pointerWorkVecLength, 12);

/**
 * Declares how many dialog parameters the block expects.
 *
 * @param S              The block's record.
 * @param numberOfParams The number.
 * @return 0 when the platform passed as many, else -1; the number is set in either case.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API int32_t qmMaskInit_setNumberOfSFunctionParams(SimStruct* S, int32_t numberOfParams);

/**
 * Declares that the block has no continuous and no discrete states.
 *
 * @param S The block's record.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_setZeroNumberOfStates(SimStruct* S);

/**
 * Declares one sample time.
 *
 * @param S The block's record.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_setToSingleRate(SimStruct* S);

/**
 * Declares the work vectors; no modes and no non-sampled zero crossings.
 *
 * @param S                    The block's record.
 * @param integerWorkVecLength Number of integers.
 * @param realWorkVecLength    Number of reals.
 * @param pointerWorkVecLength Number of pointers.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_setVectorSizes(SimStruct* S, int32_t integerWorkVecLength, int32_t realWorkVecLength,
                                      int32_t pointerWorkVecLength);

/**
 * Declares that the block has no input ports.
 *
 * @param S The block's record.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_setNoInputPorts(SimStruct* S);

/**
 * Declares input ports of one width, contiguous and with direct feedthrough.
 *
 * @param S             The block's record.
 * @param numberOfPorts The number; 0 or less sets the number only.
 * @param portWidth     Elements of each.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_setInputPorts(SimStruct* S, int32_t numberOfPorts, int32_t portWidth);

/**
 * Declares that the block has no output ports.
 *
 * @param S The block's record.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_setNoOutputPorts(SimStruct* S);

/**
 * Declares output ports of one width.
 *
 * @param S             The block's record.
 * @param numberOfPorts The number; 0 or less sets the number only.
 * @param portWidth     Elements of each.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_setOutputPorts(SimStruct* S, int32_t numberOfPorts, int32_t portWidth);

/**
 * Replaces the options by those of a setup block, bits 1 and 3.
 *
 * @param S The block's record.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_setOptionsForSetupBlock(SimStruct* S);

/**
 * Replaces the options by those of a regular block, bit 1.
 *
 * @param S The block's record.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_setOptionsForGeneralBlock(SimStruct* S);

/**
 * Sets the sample time, and its offset to 0, or to 1 (fixed in minor steps) for an inherited one.
 *
 * @param S          The block's record.
 * @param sampleTime Seconds; -1 for inherited.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_initSampleTimesForRegularBlock(SimStruct* S, double sampleTime);

/**
 * Sets an inherited sample time.
 *
 * @param S The block's record.
 * @return Nothing.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API void qmMaskInit_initSampleTimesForSetupBlock(SimStruct* S);

/**
 * Declares a setup block: no states, no ports, one rate.
 *
 * @param S    The block's record.
 * @param args Its parameters and work vectors.
 * @return 0; -1 when the platform passed another number of parameters: only the expected number is set then.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API int32_t qmMaskInit_initSizesForSetupBlock(SimStruct* S, QmMaskInit_SetupSettingsArgs args);

/**
 * Declares a regular block: no states, one rate. Its ports stay as they are.
 *
 * @param S    The block's record.
 * @param args Its parameters and work vectors.
 * @return 0; -1 when the platform passed another number of parameters: only the expected number is set then.
 *
 * Errors: none. Real-time safe: yes. Thread-safe: yes, for different records.
 */
QM_API int32_t qmMaskInit_initSizesForRegularBlock(SimStruct* S, QmMaskInit_SetupSettingsArgs args);

QM_END_C

#endif
