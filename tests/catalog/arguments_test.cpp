#include "host/arguments.h"

#include "catalog/catalog.h"
#include "tests/support/host_check.h"

namespace miravex::test {

namespace {

using namespace records;

using ::testing::ElementsAre;
using ::testing::IsEmpty;

constexpr std::string_view methods[] = { "Linear", "Cubic" };

constexpr Argument testArguments[] = {
    image("image", "a picture").channels({ 1, 3 }).pixels({ PixelTypeByte }).colors({ 0, 1 }).sides(2, 3),
    integer("radius", "an odd number").from(1).to(9).odd().byDefault(3),
    real("scale", "a factor").above(0).below(2).byDefault(0.5),
    text("method", "a word").oneOf(methods).byDefault("Linear"),
    integer("width", "columns")
        .from(1)
        .byDefault("the image's columns",
                   [](const CallView& call) { return static_cast<double>(call.columns("image")); }),
    boolean("use_mask", "whether there is a mask").setBy("mask"),
    image("mask", "a mask").channels({ 1 }).sizeOf("image").when("use_mask", "true"),
    reals("weights", "one for each row")
        .shaped({ rowsOf("image"), exactly(2) })
        .orEmpty()
        .elementsFrom(0)
        .elementsTo(1),
};
constexpr Constraint testConstraints[] = {
    { "width", "no more than twice the image's columns",
      [](const CallView& call) { return call.integer("width") <= 2 * call.columns("image"); } },
};
constexpr Result testResults[] = { { ResultKind::Image, "a picture" } };
const Operation operation { { .summary = "For tests",
                              .arguments = testArguments,
                              .results = testResults,
                              .source = "",
                              .constraints = testConstraints },
                            "TestOperation" };

ImagePointer picture(int rows = 4, int columns = 5, int type = CV_8UC3)
{
    return imageOf(noise(rows, columns, type));
}

TensorPointer weights(double element = 0.5)
{
    TensorPointer tensor = makeRealTensor({ 4, 2 });
    std::ranges::fill(tensor->reals(), element);
    return tensor;
}

std::vector<std::string> messagesOf(const std::vector<Refusal>& refusals)
{
    std::vector<std::string> texts;
    for (const Refusal& refusal : refusals) texts.push_back(refusal.message());
    return texts;
}

/// What check() says of a good call with one argument replaced.
std::vector<std::string> complaints(std::string_view name, Value value)
{
    Completed good = complete(
        operation, { { "image", picture() }, { "weights", weights() }, { "mask", picture(4, 5, CV_8U) } });
    EXPECT_THAT(good.refusals, IsEmpty());
    good.values.at(static_cast<std::size_t>(argumentIndex(operation, name))) = std::move(value);
    return messagesOf(check(operation, good.values));
}

} // namespace

TEST(Complete, FillsDefaultsFlagsAndPlaceholders)
{
    const Completed plain = complete(operation, { { "image", picture() }, { "weights", emptyList() } });
    EXPECT_THAT(plain.refusals, IsEmpty());
    const CallView call = viewOf(operation, plain.values);
    EXPECT_EQ(call.integer("radius"), 3);
    EXPECT_EQ(call.real("scale"), 0.5);
    EXPECT_EQ(call.text("method"), "Linear");
    EXPECT_EQ(call.integer("width"), 5); // follows from the picture
    EXPECT_FALSE(call.boolean("use_mask"));
    EXPECT_EQ(inWords(call.value("mask")), "1 x 1 bit image with 1 channel (unspecified)");
    EXPECT_THAT(check(operation, plain.values), IsEmpty());

    const Completed masked = complete(
        operation, { { "image", picture() }, { "weights", emptyList() }, { "mask", picture(4, 5, CV_8U) } });
    EXPECT_TRUE(viewOf(operation, masked.values).boolean("use_mask"));
}

TEST(Complete, ReportsWhatIsMissingOrUnknown)
{
    const Completed none = complete(operation, { { "weights", emptyList() } });
    ASSERT_EQ(none.refusals.size(), 1U);
    EXPECT_EQ(none.refusals[0].argument, "image");
    EXPECT_THAT(none.refusals[0].message(),
                ::testing::StartsWith("image is missing, expected image (a 2D image"));

    const Completed misspelt = complete(
        operation, { { "image", picture() }, { "weights", emptyList() }, { "radios", int64_t { 3 } } });
    EXPECT_THAT(
        messagesOf(misspelt.refusals),
        ElementsAre(
            "test-operation has no argument \"radios\", expected one of image, radius, scale, method, "
            "width, use_mask, mask, weights (try radius)"));

    // A mask that the flag asks for must be there.
    const Completed unmasked =
        complete(operation, { { "image", picture() }, { "weights", emptyList() }, { "use_mask", true } });
    ASSERT_EQ(unmasked.refusals.size(), 1U);
    EXPECT_EQ(unmasked.refusals[0].argument, "mask");
}

TEST(Check, NeedsNoHostButItsView)
{
    const std::array<int64_t, 2> sizes { 4, 2 };
    const std::array<double, 8> elements {};
    const auto call = [&](int64_t radius, PixelType type) {
        return CallView(operation,
                        { ImageFacts { 4, 5, 3, 0, type, ColorSpaceRGB }, radius, 0.5,
                          std::string_view("Linear"), int64_t { 5 }, false, NullHandle { "image" },
                          TensorFacts { sizes, TensorTypeReal, elements, {} } });
    };
    EXPECT_THAT(check(call(3, PixelTypeByte)), IsEmpty());
    EXPECT_THAT(messagesOf(check(call(4, PixelTypeByte))),
                ElementsAre("radius is 4, expected an odd number (try 5)"));
    EXPECT_THAT(
        messagesOf(check(call(3, PixelTypeReal))),
        ElementsAre(::testing::StartsWith("image is 5 x 4 real image with 3 channels (RGB), expected")));
    EXPECT_EQ(call(3, PixelTypeReal).pixelType("image"), PixelTypeReal);
    EXPECT_EQ(call(3, PixelTypeReal).rows("mask"), 0); // a null handle has no sizes
}

TEST(Check, NamesArgumentValueAndWhatIsAccepted)
{
    EXPECT_THAT(complaints("radius", int64_t { 5 }), IsEmpty());
    EXPECT_THAT(complaints("radius", int64_t { 0 }),
                ElementsAre("radius is 0, expected at least 1 and at most 9, odd (try 1)"));
    EXPECT_THAT(complaints("radius", int64_t { 11 }),
                ElementsAre("radius is 11, expected at least 1 and at most 9, odd (try 9)"));
    EXPECT_THAT(complaints("radius", int64_t { 4 }),
                ElementsAre("radius is 4, expected an odd number (try 5)"));
    EXPECT_THAT(complaints("scale", 2.0),
                ElementsAre("scale is 2, expected more than 0 and less than 2 (try 0.5)"));
    EXPECT_THAT(complaints("scale", 1e-300), IsEmpty());
    EXPECT_THAT(complaints("scale", int64_t { 1 }), IsEmpty()); // whole numbers are reals, too
    EXPECT_THAT(complaints("method", std::string("linear")),
                ElementsAre("method is \"linear\", expected one of Linear, Cubic (try Linear)"));
    EXPECT_THAT(complaints("method", std::string("Quadratic")),
                ElementsAre("method is \"Quadratic\", expected one of Linear, Cubic"));
    EXPECT_THAT(complaints("method", int64_t { 3 }),
                ElementsAre("method is 3, expected text (one of Linear, Cubic)"));
    EXPECT_THAT(complaints("width", int64_t { 11 }),
                ElementsAre("width is 11, expected no more than twice the image's columns"));
}

TEST(Check, LooksAtImages)
{
    const std::string accepted =
        "expected a 2D image of 1 or 3 channels, pixel type byte, colour space gray or RGB, "
        "at least 2 rows and 3 columns";
    EXPECT_THAT(complaints("image", picture(4, 5, CV_8UC4)),
                ElementsAre("image is 5 x 4 byte image with 4 channels (unspecified), " + accepted));
    EXPECT_THAT(complaints("image", picture(4, 5, CV_32FC3)),
                ElementsAre("image is 5 x 4 real32 image with 3 channels (RGB), " + accepted));
    EXPECT_THAT(complaints("image", imageOf(noise(4, 5, CV_8UC3), 6)),
                ElementsAre("image is 5 x 4 byte image with 3 channels (colour space 6), " + accepted));
    EXPECT_THAT(complaints("image", sequenceOf({ noise(4, 5, CV_8U), noise(4, 5, CV_8U) })),
                ElementsAre("image is 5 x 4 byte sequence of 2 frames with 1 channel (gray), " + accepted));
    // What depends on the missing picture is complained about as well.
    EXPECT_EQ(complaints("image", ImagePointer()).front(),
              "image is no image, expected image (" + accepted.substr(9) + ")");
    EXPECT_THAT(
        complaints("mask", picture(4, 6, CV_8U)),
        ElementsAre(
            "mask is 6 x 4 byte image with 1 channel (gray), expected a 2D image of 1 channel, of the "
            "same size as image"));
}

TEST(Check, LooksAtTensors)
{
    EXPECT_THAT(complaints("weights", weights(1)), IsEmpty());
    EXPECT_THAT(complaints("weights", emptyList()), IsEmpty());
    const std::string accepted =
        "expected rows of image x 2 reals or the empty list, each at least 0 and at most 1";
    EXPECT_THAT(complaints("weights", makeRealTensor({ 3, 2 })),
                ElementsAre("weights is 3 x 2 reals, " + accepted));
    EXPECT_THAT(complaints("weights", makeRealTensor({ 8 })), ElementsAre("weights is 8 reals, " + accepted));
    EXPECT_THAT(complaints("weights", weights(1.5)), ElementsAre("weights is a list with 1.5, " + accepted));
    EXPECT_THAT(complaints("weights", makeIntegerTensor({ 4, 2 })),
                ElementsAre("weights is 4 x 2 integers, expected reals (" + accepted.substr(9) + ")"));
}

TEST(Words, ForListsAsLongAsSomethingElse)
{
    EXPECT_EQ(accepted(findOperation("MergeDebevec")->arguments[1]),
              "as many reals as there are frames in frames, each more than 0");
    EXPECT_EQ(accepted(findOperation("Orb")->arguments[0]), "a 2D image of 1 channel, pixel type byte");
}

TEST(Check, IgnoresArgumentsThatAreNotUsed)
{
    Completed call = complete(operation, { { "image", picture() }, { "weights", emptyList() } });
    EXPECT_THAT(check(operation, call.values), IsEmpty()); // the mask is a placeholder of another size
    call.values.pop_back();
    EXPECT_THAT(messagesOf(check(operation, call.values)), ElementsAre("7 arguments given, expected 8"));
}

TEST(Words, ForValues)
{
    EXPECT_EQ(describe({}), "missing");
    EXPECT_EQ(describe(int64_t { -3 }), "-3");
    EXPECT_EQ(describe(0.1), "0.1");
    EXPECT_EQ(describe(3.0), "3");
    EXPECT_EQ(describe(true), "true");
    EXPECT_EQ(describe(std::string("a b")), "\"a b\"");
    EXPECT_EQ(describe(makeRealTensor({ 2, 3 })), "2 x 3 reals");
    EXPECT_EQ(describe(makeIntegerTensor({ 4 })), "4 integers");
    EXPECT_EQ(describe(emptyList()), "the empty list");
    EXPECT_EQ(describe(TensorPointer()), "no tensor");
    EXPECT_EQ(describe(ArrayPointer()), "no array");
    EXPECT_EQ(describe(makeFloatArray({ 2, 3, 4 })), "2 x 3 x 4 array");
}

TEST(Words, ForNumbersReadBackAsTheSame)
{
    for (const double value :
         { 0.0, 1.0, -2.0, 0.1, 1e-300, 1.7976931348623157e308, 4194305.0, 1e22, 1 / 3.0 })
        EXPECT_EQ(std::stod(numberText(value)), value) << numberText(value);
    EXPECT_EQ(numberText(1000000), "1000000");
    EXPECT_EQ(numberText(0.25), "0.25");
}

TEST(Words, ForWhatIsAccepted)
{
    EXPECT_EQ(accepted(integer("a", "")), "");
    EXPECT_EQ(accepted(integer("a", "").from(1)), "at least 1");
    EXPECT_EQ(accepted(real("a", "").above(0.5)), "more than 0.5");
    EXPECT_EQ(accepted(integer("a", "").odd()), "an odd number");
    EXPECT_EQ(accepted(text("a", "").path()), "the path of a file");
    EXPECT_EQ(accepted(boolean("a", "")), "true or false");
    EXPECT_EQ(accepted(sequence("a", "").slices(3)), "a sequence, at least 3 frames");
    EXPECT_EQ(accepted(image("a", "").rank(0)), "an image or a sequence");
    EXPECT_EQ(accepted(reals("a", "").shaped({ atLeast(0), exactly(7) })), "n x 7 reals");
    EXPECT_EQ(accepted(reals("a", "").shaped({ atLeast(2) })), "(2 or more) reals");
}

} // namespace miravex::test
