#include "test.hpp"
#include <simstruct.h>

#include <cmath>
#include <new>

namespace {

using namespace qm::test;

/// A block with one dialog parameter: rows, columns, values.
class Parameter
{
public:
    explicit Parameter(std::vector<double> content) : content_(std::move(content))
    {
        block_.sfcnParams = {1, &data_};
    }
    operator const SimStruct*() const { return &block_; }

private:
    std::vector<double> content_;
    double* data_ = content_.data();
    SimStruct block_{};
};

TEST(BlockParameter, IsTruncatedToWhatIsAsked)
{
    for (const auto& [value, asInt, asChar] : {std::tuple<double, int32_t, char>{-2.9, -2, -2},
                                               {0.7, 0, 0},
                                               {321.0, 321, 65},
                                               {2147483647.9, INT32_MAX, -1},
                                               {-2147483648.9, INT32_MIN, 0},
                                               {2147483648.0, INT32_MIN, 0},
                                               {std::nan(""), INT32_MIN, 0}}) {
        const Parameter parameter({1, 1, value});
        EXPECT_EQ(asInt, qmParam_getInt(parameter, 0)) << value;
        EXPECT_EQ(asInt != 0, qmParam_getBool(parameter, 0)) << value;
        EXPECT_EQ(asChar, qmParam_getChar(parameter, 0)) << value;
        const double same = qmParam_getDouble(parameter, 0);
        EXPECT_EQ(0, std::memcmp(&value, &same, sizeof same)) << value;
    }
}

template <typename Vector>
auto taken(Vector* vector, void (*destroy)(Vector*))
{
    std::vector values(vector->val, vector->val + vector->len);
    destroy(vector);
    return values;
}

TEST(BlockParameter, GivesAVectorAsLongAsTheLow32BitsOfItsSize)
{
    const Parameter p({2, 2147483651, -2.9, 0.7, 321, -1, 2.5, 0});
    EXPECT_EQ((std::vector{-2, 0, 321, -1, 2, 0}), taken(qmParam_newIntVec(p, 0), qmParam_deleteIntVec));
    EXPECT_EQ((std::vector{true, false, true, true, true, false}),
              taken(qmParam_newBoolVec(p, 0), qmParam_deleteBoolVec));
    EXPECT_EQ((std::vector{-2.9, 0.7, 321., -1., 2.5, 0.}),
              taken(qmParam_newDoubleVec(p, 0), qmParam_deleteDoubleVec));
    EXPECT_EQ((std::vector<char>{-2, 0, 65, -1, 2, 0}),
              taken(qmParam_newCharVec(p, 0), qmParam_deleteCharVec));
    EXPECT_TRUE(taken(qmParam_newIntVec(Parameter({0, 5}), 0), qmParam_deleteIntVec).empty());
    EXPECT_THROW(qmParam_newBoolVec(Parameter({32768, 65536}), 0), std::bad_alloc);
}

/// A block with three parameters whose every other field has a value that nobody sets, and room for two
/// ports.
struct Block
{
    SimStructInputPort in[2]{{7, 7, {7}}, {7, 7, {7}}};
    SimStructOutputPort out[2]{{7}, {7}};
    double time = 7, offset = 7;
    SimStruct s{{7, 7, 7, 7, 7, 7, 7, 7, 7, 7, {7}, {7}}, {in, out}, {&time, &offset}, {3, nullptr}};
};

template <typename Record>
void expectSame(const Record& expected, const Record& is)
{
    EXPECT_EQ(0, std::memcmp(&expected, &is, sizeof is)) << testing::PrintToString(is);
}

TEST(BlockMask, OfASetupBlockHasNoPortsAndThatOfARegularOneKeepsThem)
{
    Block setup, regular, mismatch;
    EXPECT_EQ(0, qmMaskInit_initSizesForSetupBlock(&setup.s, {3, 4, 5, 6}));
    expectSame({0, 0, 1, 3, 4, 5, 6, 0, 0, 10, {0}, {0}}, setup.s.sizes);
    EXPECT_EQ(0, qmMaskInit_initSizesForRegularBlock(&regular.s, {3, 4, 5, 6}));
    expectSame({0, 0, 1, 3, 4, 5, 6, 0, 0, 2, {7}, {7}}, regular.s.sizes);
    EXPECT_EQ(-1, qmMaskInit_initSizesForSetupBlock(&mismatch.s, {4, 4, 5, 6}));
    EXPECT_EQ(-1, qmMaskInit_initSizesForRegularBlock(&mismatch.s, {4, 4, 5, 6}));
    expectSame({7, 7, 7, 4, 7, 7, 7, 7, 7, 7, {7}, {7}}, mismatch.s.sizes);
}

TEST(BlockMask, SetsAsManyPortsAsAsked)
{
    Block block;
    qmMaskInit_setInputPorts(&block.s, 1, 5);
    qmMaskInit_setOutputPorts(&block.s, 1, 6);
    expectSame({{5, 1, {1}}, {7, 7, {7}}}, block.in);
    expectSame({{6}, {7}}, block.out);
    qmMaskInit_setInputPorts(&block.s, -1, 5);
    expectSame({7, 7, 7, 7, 7, 7, 7, 7, 7, 7, {-1}, {1}}, block.s.sizes);
}

TEST(BlockMask, OffsetsOnlyAnInheritedSampleTime)
{
    Block block;
    qmMaskInit_initSampleTimesForRegularBlock(&block.s, 0.001);
    EXPECT_EQ(std::pair(0.001, 0.), std::pair(block.time, block.offset));
    qmMaskInit_initSampleTimesForSetupBlock(&block.s);
    EXPECT_EQ(std::pair(-1., 1.), std::pair(block.time, block.offset));
}

}  // namespace
