#include "miravex/host_interface.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <type_traits>

extern "C" std::size_t sizeInC(int which);

namespace miravex::test {

// Members are appended, never inserted or reordered: libraries and hosts are built apart from each other.
// Offsets of 64-bit systems.

#define EXPECT_MEMBER(table, member, index)                                                                  \
    EXPECT_EQ(offsetof(table, member), std::size_t { 8 } * (index)) << #member

TEST(Header, FreezesTheTable)
{
    EXPECT_MEMBER(LibraryDataTable, stringDisown, 0);
    EXPECT_MEMBER(LibraryDataTable, tensorNew, 1);
    EXPECT_MEMBER(LibraryDataTable, tensorFree, 2);
    EXPECT_MEMBER(LibraryDataTable, tensorGetRank, 3);
    EXPECT_MEMBER(LibraryDataTable, tensorGetDimensions, 4);
    EXPECT_MEMBER(LibraryDataTable, tensorGetFlattenedLength, 5);
    EXPECT_MEMBER(LibraryDataTable, tensorGetIntegerData, 6);
    EXPECT_MEMBER(LibraryDataTable, tensorGetRealData, 7);
    EXPECT_MEMBER(LibraryDataTable, compileSupport, 8);
    EXPECT_MEMBER(LibraryDataTable, imageServices, 9);
    EXPECT_MEMBER(LibraryDataTable, numericArrayServices, 10);
    EXPECT_EQ(sizeof(LibraryDataTable), 11U * 8);
}

TEST(Header, FreezesTheImageServices)
{
    EXPECT_MEMBER(ImageServices, imageNew2D, 0);
    EXPECT_MEMBER(ImageServices, imageNew3D, 1);
    EXPECT_MEMBER(ImageServices, imageFree, 2);
    EXPECT_MEMBER(ImageServices, imageGetPixelType, 3);
    EXPECT_MEMBER(ImageServices, imageGetRowCount, 4);
    EXPECT_MEMBER(ImageServices, imageGetColumnCount, 5);
    EXPECT_MEMBER(ImageServices, imageGetSliceCount, 6);
    EXPECT_MEMBER(ImageServices, imageGetRank, 7);
    EXPECT_MEMBER(ImageServices, imageGetChannels, 8);
    EXPECT_MEMBER(ImageServices, imageIsInterleaved, 9);
    EXPECT_MEMBER(ImageServices, imageGetColorSpace, 10);
    EXPECT_MEMBER(ImageServices, imageGetBitData, 11);
    EXPECT_MEMBER(ImageServices, imageGetByteData, 12);
    EXPECT_MEMBER(ImageServices, imageGetBit16Data, 13);
    EXPECT_MEMBER(ImageServices, imageGetReal32Data, 14);
    EXPECT_MEMBER(ImageServices, imageGetRealData, 15);
    EXPECT_MEMBER(ImageServices, imageConvertType, 16);
    EXPECT_EQ(sizeof(ImageServices), 17U * 8);
}

TEST(Header, FreezesTheOtherServices)
{
    EXPECT_MEMBER(NumericArrayServices, numericArrayGetType, 0);
    EXPECT_MEMBER(NumericArrayServices, numericArrayGetRank, 1);
    EXPECT_MEMBER(NumericArrayServices, numericArrayGetDimensions, 2);
    EXPECT_MEMBER(NumericArrayServices, numericArrayGetData, 3);
    EXPECT_MEMBER(NumericArrayServices, numericArrayDisown, 4);
    EXPECT_EQ(sizeof(NumericArrayServices), 5U * 8);
    EXPECT_MEMBER(CompileSupport, hostCompareReals, 0);
    EXPECT_EQ(sizeof(CompileSupport), 8U);
}

TEST(Header, FreezesTheCell)
{
    EXPECT_EQ(sizeof(ValueCell), 8U);
    EXPECT_EQ(offsetof(ValueCell, integer), 0U);
    EXPECT_EQ(offsetof(ValueCell, real), 0U);
    EXPECT_EQ(offsetof(ValueCell, boolean), 0U);
    EXPECT_EQ(offsetof(ValueCell, string), 0U);
    EXPECT_EQ(offsetof(ValueCell, tensor), 0U);
    EXPECT_EQ(offsetof(ValueCell, image), 0U);
    EXPECT_EQ(offsetof(ValueCell, numericArray), 0U);
    EXPECT_TRUE((std::is_same_v<ArgumentSlot, ValueCell*>));
    EXPECT_TRUE((std::is_same_v<LibraryData, const LibraryDataTable*>));
    EXPECT_FALSE((std::is_same_v<KImage, KTensor>));
    EXPECT_FALSE((std::is_same_v<KTensor, NumericArray>));
}

TEST(Header, FixesTheCodes)
{
    EXPECT_EQ(MIRAVEX_INTERFACE_VERSION, 5);
    EXPECT_EQ(StatusOk, 0);
    EXPECT_EQ(StatusFunctionError, 6);
    EXPECT_EQ(PixelTypeBit, 0);
    EXPECT_EQ(PixelTypeByte, 1);
    EXPECT_EQ(PixelTypeBit16, 2);
    EXPECT_EQ(PixelTypeReal32, 3);
    EXPECT_EQ(PixelTypeReal, 4);
    EXPECT_EQ(ColorSpaceGray, 0);
    EXPECT_EQ(ColorSpaceRGB, 1);
    EXPECT_EQ(ColorSpaceUnspecified, 8);
    EXPECT_EQ(TensorTypeInteger, 2);
    EXPECT_EQ(TensorTypeReal, 3);
    EXPECT_EQ(NumericArrayTypeReal32, 9);
    EXPECT_EQ(sizeof(HostErrorCode), sizeof(int));
    EXPECT_EQ(sizeof(HostBoolean), 4U);
}

TEST(Header, ReadsTheSameInC)
{
    EXPECT_EQ(sizeInC(0), sizeof(LibraryDataTable));
    EXPECT_EQ(sizeInC(1), sizeof(ImageServices));
    EXPECT_EQ(sizeInC(2), sizeof(NumericArrayServices));
    EXPECT_EQ(sizeInC(3), sizeof(CompileSupport));
    EXPECT_EQ(sizeInC(4), sizeof(ValueCell));
    EXPECT_EQ(sizeInC(5), offsetof(LibraryDataTable, numericArrayServices));
    EXPECT_EQ(sizeInC(6), offsetof(ImageServices, imageConvertType));
}

} // namespace miravex::test
