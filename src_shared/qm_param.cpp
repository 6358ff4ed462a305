#include <qm/param.h>
#include <simstruct.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

namespace {

// A parameter: rows, columns, values.
constexpr std::size_t kRows = 0;
constexpr std::size_t kColumns = 1;
constexpr std::size_t kValues = 2;

const double* parameterOf(const SimStruct* block, int32_t id)
{
    return block->sfcnParams.dlgParams[id];
}

/// What the processor's own conversion gives, also where the language leaves it open.
int32_t toInt(double value)
{
    const bool fits = value > INT32_MIN - 1.0 && value < INT32_MAX + 1.0;
    return fits ? static_cast<int32_t>(value) : INT32_MIN;
}

bool toBool(double value)
{
    return toInt(value) != 0;
}

double asItStands(double value)
{
    return value;
}

char toChar(double value)
{
    return static_cast<char>(toInt(value));
}

int32_t elementCount(const double* parameter)
{
    const uint64_t count =
        static_cast<uint64_t>(parameter[kRows]) * static_cast<uint64_t>(parameter[kColumns]);
    return static_cast<int32_t>(static_cast<uint32_t>(count));
}

template <typename Vector, typename Value>
Vector* newVector(const SimStruct* block, int32_t id, Value (*convert)(double))
{
    const double* const parameter = parameterOf(block, id);
    const int32_t length = elementCount(parameter);
    if (length < 0) throw std::bad_array_new_length();
    const auto size = static_cast<std::size_t>(length);
    auto vector = std::make_unique<Vector>();
    auto values = std::make_unique_for_overwrite<Value[]>(size);
    std::ranges::transform(std::span(parameter + kValues, size), values.get(), convert);
    vector->val = values.release();
    vector->len = length;
    return vector.release();
}

template <typename Vector>
void deleteVector(Vector* vector)
{
    if (vector == nullptr) return;
    delete[] vector->val;
    delete vector;
}

}  // namespace

int32_t qmParam_getInt(const SimStruct* S, int32_t id)
{
    return toInt(parameterOf(S, id)[kValues]);
}

bool qmParam_getBool(const SimStruct* S, int32_t id)
{
    return toBool(parameterOf(S, id)[kValues]);
}

double qmParam_getDouble(const SimStruct* S, int32_t id)
{
    return parameterOf(S, id)[kValues];
}

char qmParam_getChar(const SimStruct* S, int32_t id)
{
    return toChar(parameterOf(S, id)[kValues]);
}

QmParam_IntVec* qmParam_newIntVec(const SimStruct* S, int32_t id)
{
    return newVector<QmParam_IntVec>(S, id, toInt);
}

QmParam_BoolVec* qmParam_newBoolVec(const SimStruct* S, int32_t id)
{
    return newVector<QmParam_BoolVec>(S, id, toBool);
}

QmParam_DoubleVec* qmParam_newDoubleVec(const SimStruct* S, int32_t id)
{
    return newVector<QmParam_DoubleVec>(S, id, asItStands);
}

QmParam_CharVec* qmParam_newCharVec(const SimStruct* S, int32_t id)
{
    return newVector<QmParam_CharVec>(S, id, toChar);
}

void qmParam_deleteIntVec(QmParam_IntVec* vec)
{
    deleteVector(vec);
}

void qmParam_deleteBoolVec(QmParam_BoolVec* vec)
{
    deleteVector(vec);
}

void qmParam_deleteDoubleVec(QmParam_DoubleVec* vec)
{
    deleteVector(vec);
}

void qmParam_deleteCharVec(QmParam_CharVec* vec)
{
    deleteVector(vec);
}
