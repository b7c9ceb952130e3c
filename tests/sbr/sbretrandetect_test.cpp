#include <algorithm>
#include <cmath>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;
using testing::ElementsAreArray;

using Envelope = std::vector<float>;

struct Detection {
    float threshold;
    Envelope steps;
};

float deviation(const Envelope& x) {
    double sum = 0, squares = 0;
    for (int i = 16; i < 64; ++i) sum += x[i], squares += double(x[i]) * x[i];
    return float(std::sqrt(std::max(48 * squares - sum * sum, 0.0) / (48.0 * 47.0)));
}

Detection expected(const Envelope& x, float threshold, Envelope steps) {
    const float t = std::max(128000.0f, 0.34f * deviation(x) + 0.66f * threshold);
    const float inverse = 1 / t;
    const auto mean = [&](int e) { return (x[e] + x[e + 1]) * 0.5f; };
    for (int e = 16; e <= 60; ++e) {
        float a, b, c;
        if (e % 2 == 0) {
            a = mean(e) - mean(e - 2);
            b = a + mean(e + 2) - mean(e - 2);
            c = b + mean(e + 2) - mean(e - 4);
        } else {
            a = mean(e + 1) - mean(e - 1);
            b = a + mean(e + 1) - mean(e - 3);
            c = b + mean(e + 3) - mean(e - 3);
        }
        for (float v : {a, b, c})
            if (v > t) steps[e] += v * inverse - 1;
    }
    return {t, steps};
}

Detection detect(const Envelope& x, float threshold, const Envelope& before) {
    Guarded<Qor32f> source(x), steps(before), pThr(1);
    pThr[0] = threshold;
    EXPECT_EQ(qorsDetectTransient_SBR_32f(source.data(), pThr.data(), steps.data()), qorStsNoErr);
    return {pThr[0], steps.copy()};
}

TEST(SbrTransient, EqualsTheStepsToTheBit) {
    Random random(1);
    int found = 0;
    for (int round = 0; round < 400; ++round) {
        const double level = std::pow(10, random.real(4, 12));
        Envelope x(64), before = random.reals<float>(64, -3, 3);
        for (float& v : x) v = float(level * std::pow(random.real(0, 1), 4));
        const float threshold = float(random.real(0, 2) * level * random.real(0, 1));
        const Detection right = expected(x, threshold, before), got = detect(x, threshold, before);
        ASSERT_EQ(got.threshold, right.threshold) << round;
        ASSERT_THAT(got.steps, ElementsAreArray(right.steps)) << round;
        for (int i = 0; i < 64; ++i) found += got.steps[i] != before[i];
        for (int i = 0; i < 16; ++i) ASSERT_EQ(got.steps[i], before[i]);
        for (int i = 61; i < 64; ++i) ASSERT_EQ(got.steps[i], before[i]);
    }
    EXPECT_GT(found, 1000);
}

TEST(SbrTransient, SilenceKeepsTheLeastThreshold) {
    float threshold = 0;
    for (int frame = 0; frame < 5; ++frame) {
        const Detection got = detect(Envelope(64), threshold, Envelope(64));
        EXPECT_EQ(got.threshold, 128000.0f);
        EXPECT_THAT(got.steps, testing::Each(0));
        threshold = got.threshold;
    }
    Envelope small(64);
    for (int i = 30; i < 64; ++i) small[i] = 30000;
    const Detection got = detect(small, threshold, Envelope(64));
    EXPECT_EQ(got.threshold, 128000.0f);
    EXPECT_THAT(got.steps, testing::Each(0));
}

TEST(SbrTransient, TheThresholdForgets) {
    const Detection got = detect(Envelope(64), 1e6f, Envelope(64));
    EXPECT_EQ(got.threshold, 0.66f * 1e6f);
}

// The samples before 16 count in the steps but not in the deviation.
TEST(SbrTransient, TheDeviationStartsAtSixteen) {
    Envelope x(64);
    for (int i = 0; i < 16; ++i) x[i] = 1e9f;
    EXPECT_EQ(detect(x, 0, Envelope(64)).threshold, 128000.0f);
    x[16] = 1e9f;
    EXPECT_GT(detect(x, 0, Envelope(64)).threshold, 128000.0f);
}

// A pulse at 30 gives element 30 three steps of its own height.
TEST(SbrTransient, AStepAtTheThresholdAddsNothing) {
    for (float height : {128000.0f, 128010.0f}) {
        Envelope x(64);
        x[30] = x[31] = height;
        const Detection got = detect(x, 0, Envelope(64, 5));
        ASSERT_EQ(got.threshold, 128000.0f);
        if (height == 128000.0f)
            EXPECT_EQ(got.steps[30], 5);
        else
            EXPECT_GT(got.steps[30], 5);
        EXPECT_GT(got.steps[29], 5.9f);  // twice the height in its second step
    }
}

// An attack: several candidates of one element add.
TEST(SbrTransient, StepsAddUp) {
    Envelope x(64);
    for (int i = 40; i < 64; ++i) x[i] = 256000;
    const Detection got = detect(x, 0, Envelope(64, 1));
    // element 40: steps of 1, 2 and 3 times 256000; element 38: of 0, 1 and 2 times
    EXPECT_NEAR(got.steps[40], 1 + 1 + 3 + 5, 1e-4);
    EXPECT_NEAR(got.steps[39], 1 + 1 + 3 + 5, 1e-4);
    EXPECT_NEAR(got.steps[38], 1 + 1 + 3, 1e-4);
    EXPECT_EQ(got.steps[35], 1);
}

TEST(SbrTransient, Checks) {
    Envelope x(64, 1e9f), steps(64, 7);
    float threshold = 3;
    EXPECT_EQ(qorsDetectTransient_SBR_32f(nullptr, &threshold, steps.data()), qorStsNullPtrErr);
    EXPECT_EQ(qorsDetectTransient_SBR_32f(x.data(), nullptr, steps.data()), qorStsNullPtrErr);
    EXPECT_EQ(qorsDetectTransient_SBR_32f(x.data(), &threshold, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(threshold, 3);
    EXPECT_THAT(steps, testing::Each(7));
}

}  // namespace
}  // namespace qorac
