#include "ops/filters/option_names.h"

#include <gtest/gtest.h>

namespace miravex::test {

TEST(NamedMethods, KnowInterpolations)
{
    EXPECT_EQ(interpolationFlagFromName("Nearest"), 0);
    EXPECT_EQ(interpolationFlagFromName("Linear"), 1);
    EXPECT_EQ(interpolationFlagFromName("Cubic"), 2);
    EXPECT_EQ(interpolationFlagFromName("Area"), 3);
    EXPECT_EQ(interpolationFlagFromName("Lanczos4"), 4);
    for (const char* name :
         { "linear", "Linear ", " Linear", "Line", "LINEAR", "Lanczos", "Lanczos44", "", "Constant" })
        EXPECT_EQ(interpolationFlagFromName(name), 5) << name;
    EXPECT_EQ(interpolationFlagFromName(std::string("Linear\0", 7)), 5);
}

TEST(NamedMethods, KnowPaddings)
{
    EXPECT_EQ(borderTypeFromName("Constant"), 0);
    EXPECT_EQ(borderTypeFromName("Fixed"), 1);
    EXPECT_EQ(borderTypeFromName("Reversed"), 2);
    EXPECT_EQ(borderTypeFromName("Periodic"), 3);
    EXPECT_EQ(borderTypeFromName("Reflected"), 4);
    EXPECT_EQ(borderTypeFromName("None"), 16);
    for (const char* name : { "constant", "Reflecte", "Reflected ", "none", "", "Reflect", "Linear" })
        EXPECT_EQ(borderTypeFromName(name), 17) << name;
}

TEST(NamedMethods, NameWhatTheyKnow)
{
    for (const std::string_view name : interpolationNames)
        EXPECT_NE(interpolationFlagFromName(std::string(name)), unknownInterpolation);
    for (const std::string_view name : paddingNames)
        EXPECT_NE(borderTypeFromName(std::string(name)), unknownPadding);
    EXPECT_EQ(interpolationNames.size(), 5U);
    EXPECT_EQ(paddingNames.size(), 6U);
}

} // namespace miravex::test
