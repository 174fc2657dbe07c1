#include "ops/loading/parallel_load.h"

#include <gtest/gtest.h>

#include <vector>

namespace miravex::importops {

TEST(Noise, JoinsTwoDrawsTheFirstAsTheLowPart)
{
    // The first four words of MT19937 with seed 5489, as published.
    constexpr double words[] = { 3499211612.0, 581869302.0, 3890346734.0, 3586334585.0 };
    constexpr double word = 4294967296.0;
    const float mean[] = { 0.0F, 2.0F };
    const SlotFormat format { .height = 2, .width = 1, .channels = 1, .mean = mean };
    std::vector<float> slot(3, 9.0F);
    std::mt19937 engine(5489);
    fillWithNoise(slot.data(), format, engine);
    EXPECT_EQ(slot[0], static_cast<float>((words[0] + words[1] * word) / (word * word)));
    EXPECT_EQ(slot[1], static_cast<float>((words[2] + words[3] * word) / (word * word)) - 2.0F);
    EXPECT_EQ(slot[2], 9.0F);
}

TEST(Noise, StaysBelowOne)
{
    const SlotFormat format { .height = 1000, .width = 1000, .channels = 3 };
    std::vector<float> slot(format.samples());
    std::mt19937 engine(1);
    for (int round = 0; round < 30; ++round) { // rounding alone would reach 1 in every tenth round
        fillWithNoise(slot.data(), format, engine);
        for (const float value : slot) ASSERT_TRUE(value >= 0 && value < 1) << value;
    }
}

} // namespace miravex::importops
