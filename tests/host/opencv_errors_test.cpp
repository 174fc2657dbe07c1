#include "host/opencv_errors.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <opencv2/core.hpp>
#include <opencv2/core/utility.hpp>

#include <thread>

namespace miravex::test {

namespace {

using ::testing::HasSubstr;

void fail(const char* text)
{
    try {
        CV_Error(cv::Error::StsBadArg, text);
    } catch (const cv::Exception&) {
    }
}

int outerCalls = 0;
int outerHandler(int, const char*, const char*, const char*, int, void*)
{
    ++outerCalls;
    return 0;
}

} // namespace

TEST(OpenCvErrors, RemembersTheLastOne)
{
    const OpenCvErrors errors;
    EXPECT_EQ(errors.text(), "");
    fail("the first");
    fail("the second");
    EXPECT_THAT(errors.text(), HasSubstr("the second"));
    EXPECT_THAT(errors.text(), HasSubstr("(in fail)"));
}

TEST(OpenCvErrors, StartsAfresh)
{
    {
        const OpenCvErrors errors;
        fail("of an earlier call");
    }
    const OpenCvErrors errors;
    EXPECT_EQ(errors.text(), "");
}

TEST(OpenCvErrors, RestoresTheHandlerBeforeIt)
{
    cv::redirectError(outerHandler);
    outerCalls = 0;
    {
        const OpenCvErrors outer;
        {
            const OpenCvErrors inner;
            fail("inside");
            EXPECT_THAT(inner.text(), HasSubstr("inside"));
        }
        fail("still caught");
        EXPECT_EQ(outerCalls, 0);
        EXPECT_THAT(outer.text(), HasSubstr("still caught"));
    }
    fail("no longer caught");
    EXPECT_EQ(outerCalls, 1);
    cv::redirectError(nullptr);
}

TEST(OpenCvErrors, KeepsThreadsApart)
{
    constexpr int rounds = 50;
    const auto work = [](const std::string& name) {
        for (int i = 0; i < rounds; ++i) {
            const OpenCvErrors errors;
            EXPECT_EQ(errors.text(), "");
            const std::string text = name + " " + std::to_string(i);
            fail(text.c_str());
            EXPECT_THAT(errors.text(), HasSubstr(text));
        }
    };
    std::thread one(work, "one"), two(work, "two"), three(work, "three");
    one.join();
    two.join();
    three.join();
}

TEST(OpenCvErrors, ShowsErrorsOfWorkersToAll)
{
    const OpenCvErrors errors;
    std::thread([] { fail("on a worker"); }).join();
    EXPECT_THAT(errors.text(), HasSubstr("on a worker"));
}

} // namespace miravex::test
