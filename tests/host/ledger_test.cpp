#include "host/ledger.h"
#include "host/services.h"
#include "tests/support/host_check.h"

#include <thread>

namespace miravex::test {

namespace {

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

const LibraryDataTable& table() { return hostServices(); }
const ImageServices& images() { return *hostServices().imageServices; }

KImage newImage()
{
    KImage image = nullptr;
    EXPECT_EQ(images().imageNew2D(3, 2, 1, PixelTypeByte, ColorSpaceGray, 0, &image), 0);
    return image;
}

KTensor newTensor(int64_t type = TensorTypeReal)
{
    const int64_t dimensions[] = { 2, 2 };
    KTensor tensor = nullptr;
    EXPECT_EQ(table().tensorNew(type, 2, dimensions, &tensor), 0);
    return tensor;
}

} // namespace

TEST(Ledger, AcceptsACleanCall)
{
    Ledger ledger;
    const KImage image = newImage();
    const KTensor tensor = newTensor();
    images().imageFree(newImage());
    table().tensorFree(newTensor());
    const std::string word = "word";
    ledger.lend(word.c_str(), 1);
    table().stringDisown(word.c_str());
    EXPECT_TRUE(ledger.takeImage(image));
    EXPECT_TRUE(ledger.takeTensor(tensor));
    const Accounting accounting = ledger.close();
    EXPECT_THAT(accounting.violations, IsEmpty());
    EXPECT_EQ(accounting.allocations, 4);
    EXPECT_EQ(accounting.stringsGivenBack, 1);
}

TEST(Ledger, ReportsLeaks)
{
    Ledger ledger;
    newImage();
    newTensor();
    newTensor();
    EXPECT_THAT(ledger.close().violations, ElementsAre("1 images leaked", "2 tensors leaked"));
}

TEST(Ledger, ReportsDoubleAndForeignFrees)
{
    Ledger ledger;
    const KImage image = newImage();
    images().imageFree(image);
    images().imageFree(image);
    const ImagePointer hosts = imageOf(noise(2, 2, CV_8U));
    images().imageFree(hosts.get());
    const TensorPointer list = realList({ 1 });
    table().tensorFree(list.get());
    images().imageFree(nullptr);
    EXPECT_THAT(ledger.close().violations,
                ElementsAre(HasSubstr("image was freed"), HasSubstr("image was freed"),
                            HasSubstr("tensor was freed"), HasSubstr("image was freed")));
    EXPECT_EQ(hosts->shape.rows, 2); // the host's own object lives on
}

TEST(Ledger, ReportsStringsAndArraysThatComeBackWrongly)
{
    const std::string word = "word", other = "other";
    {
        Ledger ledger;
        ledger.lend(word.c_str(), 1);
        EXPECT_THAT(ledger.close().violations, ElementsAre(HasSubstr("given back 0 times instead of 1")));
    }
    {
        Ledger ledger;
        ledger.lend(word.c_str(), 1);
        table().stringDisown(word.c_str());
        table().stringDisown(word.c_str());
        table().stringDisown(other.c_str());
        EXPECT_EQ(ledger.timesGivenBack(word.c_str()), 2);
        EXPECT_THAT(ledger.close().violations,
                    ElementsAre(HasSubstr("not lent"), HasSubstr("given back 2 times instead of 1")));
    }
    {
        Ledger ledger;
        const ArrayPointer array = makeFloatArray({ 2 });
        table().numericArrayServices->numericArrayDisown(array.get());
        EXPECT_THAT(ledger.close().violations,
                    ElementsAre(HasSubstr("array was given back that was not lent")));
    }
}

TEST(Ledger, ReportsResultsThatNobodyMade)
{
    Ledger ledger;
    const ImagePointer hosts = imageOf(noise(2, 2, CV_8U));
    EXPECT_FALSE(ledger.takeImage(hosts.get()));
    EXPECT_FALSE(ledger.takeTensor(nullptr));
    EXPECT_EQ(ledger.close().violations.size(), 2U);
}

TEST(Ledger, ReportsWritesOutsideOfObjects)
{
    Ledger ledger;
    const KImage freed = newImage();
    const KImage returned = newImage();
    const KTensor tensor = newTensor();
    images().imageGetByteData(freed)[6] = 1;
    images().imageGetByteData(returned)[-1] = 1;
    table().tensorGetRealData(tensor)[4] = 1;
    images().imageFree(freed);
    ledger.takeImage(returned);
    ledger.takeTensor(tensor);
    EXPECT_THAT(ledger.close().violations,
                ElementsAre(HasSubstr("outside an image"), HasSubstr("outside the resulting image"),
                            HasSubstr("outside the resulting tensor")));
}

TEST(Ledger, RefusesTheChosenAllocation)
{
    for (int64_t failing = 0; failing < 4; ++failing) {
        Ledger ledger({ .failingAllocation = failing });
        const ImagePointer source = imageOf(noise(2, 2, CV_8U));
        const int64_t dimensions[] = { 1 };
        KImage one = nullptr, two = nullptr;
        KTensor tensor = nullptr;
        EXPECT_EQ(images().imageNew2D(1, 1, 1, 1, 0, 0, &one) != 0, failing == 0);
        EXPECT_EQ(images().imageNew3D(1, 1, 1, 1, 1, 0, 0, &two) != 0, failing == 1);
        EXPECT_EQ(table().tensorNew(TensorTypeReal, 1, dimensions, &tensor) != 0, failing == 2);
        const KImage converted = images().imageConvertType(source.get(), PixelTypeReal, 0);
        EXPECT_EQ(converted == nullptr, failing == 3);
        EXPECT_EQ(one == nullptr, failing == 0);
        EXPECT_EQ(ledger.close().allocations, 4);
    }
}

TEST(Ledger, WithholdsDataOfNewObjectsAlone)
{
    Ledger ledger({ .withholdData = true });
    const ImagePointer hosts = imageOf(noise(2, 2, CV_8U));
    const KImage made = newImage();
    const KTensor tensor = newTensor(TensorTypeInteger);
    EXPECT_EQ(images().imageGetByteData(made), nullptr);
    EXPECT_EQ(table().tensorGetIntegerData(tensor), nullptr);
    EXPECT_NE(images().imageGetByteData(hosts.get()), nullptr);
    images().imageFree(made);
    table().tensorFree(tensor);
}

TEST(Ledger, BelongsToItsThread)
{
    Ledger ledger;
    const KImage image = newImage();
    std::thread([] {
        EXPECT_EQ(Ledger::current(), nullptr);
        KImage other = nullptr;
        EXPECT_NE(images().imageNew2D(1, 1, 1, 1, 0, 0, &other), 0); // nobody would own it
        const Ledger own;
        EXPECT_EQ(Ledger::current(), &own);
    }).join();
    EXPECT_EQ(Ledger::current(), &ledger);
    {
        const Ledger inner;
        EXPECT_EQ(Ledger::current(), &inner);
    }
    EXPECT_EQ(Ledger::current(), &ledger);
    EXPECT_TRUE(ledger.takeImage(image));
}

TEST(Services, AnswerForNullHandles)
{
    EXPECT_EQ(images().imageGetRank(nullptr), 0);
    EXPECT_EQ(images().imageGetChannels(nullptr), 0);
    EXPECT_EQ(images().imageGetByteData(nullptr), nullptr);
    EXPECT_EQ(images().imageConvertType(nullptr, PixelTypeByte, 0), nullptr);
    EXPECT_EQ(table().tensorGetRank(nullptr), 0);
    EXPECT_EQ(table().tensorGetDimensions(nullptr), nullptr);
    EXPECT_EQ(table().tensorGetFlattenedLength(nullptr), 0);
    EXPECT_EQ(table().tensorGetRealData(nullptr), nullptr);
    EXPECT_EQ(table().numericArrayServices->numericArrayGetData(nullptr), nullptr);
}

TEST(Services, GiveSamplesInTheImagesOwnTypeAlone)
{
    const ImagePointer image = imageOf(noise(2, 2, CV_16U));
    EXPECT_EQ(images().imageGetByteData(image.get()), nullptr);
    EXPECT_EQ(images().imageGetBitData(image.get()), nullptr);
    EXPECT_EQ(images().imageGetReal32Data(image.get()), nullptr);
    EXPECT_EQ(images().imageGetRealData(image.get()), nullptr);
    EXPECT_EQ(images().imageGetBit16Data(image.get()), image->as<uint16_t>());
    const TensorPointer reals = realList({ 1 });
    EXPECT_EQ(table().tensorGetIntegerData(reals.get()), nullptr);
}

TEST(Services, RefuseImpossibleObjects)
{
    Ledger ledger;
    const int64_t negative[] = { -1 };
    const int64_t huge[] = { INT64_MAX, INT64_MAX };
    KTensor tensor = nullptr;
    KImage image = nullptr;
    EXPECT_NE(table().tensorNew(TensorTypeReal, 1, negative, &tensor), 0);
    EXPECT_NE(table().tensorNew(TensorTypeReal, 2, huge, &tensor), 0);
    EXPECT_NE(table().tensorNew(7, 1, huge, &tensor), 0);
    EXPECT_NE(images().imageNew2D(-1, 1, 1, 1, 0, 0, &image), 0);
    EXPECT_NE(images().imageNew2D(1, 1, 0, 1, 0, 0, &image), 0);
    EXPECT_NE(images().imageNew2D(1, 1, 1, 9, 0, 0, &image), 0);
    EXPECT_NE(images().imageNew3D(INT64_MAX, INT64_MAX, 2, 2, 1, 0, 0, &image), 0);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(tensor, nullptr);
    EXPECT_THAT(ledger.close().violations, IsEmpty());
}

TEST(Services, CompareReals)
{
    const auto compare = table().compileSupport->hostCompareReals;
    const double larger[] = { 2, 1 }, equal[] = { 1, 1 }, nan[] = { std::nan(""), 1 };
    EXPECT_NE(compare(7, 0, 2, larger), 0);
    EXPECT_EQ(compare(7, 0, 2, equal), 0);
    EXPECT_EQ(compare(7, 0, 2, nan), 0);
    EXPECT_EQ(compare(6, 0, 2, larger), 0);
    EXPECT_EQ(compare(7, 0.6, 2, larger), 0); // within the tolerance they count as equal
}

} // namespace miravex::test
