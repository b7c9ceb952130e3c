// What the encoder's control flow has to see to beyond the calls themselves.
#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "gtest/gtest.h"
#include "mp3decoder.h"
#include "mp3encoder.h"
#include "mp3header.h"
#include "support/random.h"

namespace {

using qorac::test::Random;

// Noise through a low-pass, with a second channel that has something of its own.
std::vector<std::int16_t> noise(std::size_t samples, int channels, double level) {
    Random random(1);
    std::vector<std::int16_t> pcm(samples * static_cast<std::size_t>(channels));
    double common = 0;
    for (std::size_t i = 0; i < samples; ++i) {
        common = 0.9 * common + random.real(-1, 1);
        for (int c = 0; c < channels; ++c)
            pcm[i * static_cast<std::size_t>(channels) + static_cast<std::size_t>(c)] =
                static_cast<std::int16_t>(level * (common + c * random.real(-0.3, 0.3)));
    }
    return pcm;
}

// The model with one granule to the call leaves the ratios of each granule in its states: what it
// gives for two granules has to end in the records of the granules that they belong to.
TEST(Mp3Encoder, RatiosStandAtTheGranulesThatTheyBelongTo) {
    constexpr std::size_t kFrames = 6;
    for (const std::size_t channels : {std::size_t{1}, std::size_t{2}}) {
        const auto pcm = noise(kFrames * 1152 + 1024, int(channels), 5000);
        QorMP3FrameHeader header{};
        header.id = 1;
        header.bitrate_index = 9;
        header.mode = channels == 1 ? 3 : 1;
        std::vector<Qor64s> scratch(25152 / 8);
        auto* work = reinterpret_cast<Qor8u*>(scratch.data());
        std::array<Qor32s, 6> bound{};

        std::array<QorMP3PsychoState, 4> single{};
        std::vector<std::array<QorMP3PsychoState, 4>> after;  // of each granule
        for (std::size_t g = 0; g < 2 * kFrames; ++g) {
            QorMP3FrameHeader one = header;
            one.id = 0;
            std::array<QorMP3SideInfo, 2> side{};
            std::array<QorMP3PsychoInfo, 2> psy{};
            ASSERT_EQ(qorsPsychoacousticModelTwo_MP3_16s(pcm.data() + 576 * g * channels,
                                                         psy.data(), bound.data(), side.data(),
                                                         &one, single.data(), nullptr, work),
                      qorStsNoErr);
            after.push_back(single);
        }

        std::array<QorMP3PsychoState, 4> state{};
        int compared = 0;
        for (std::size_t f = 0; f < kFrames; ++f) {
            const auto before = state;
            std::array<QorMP3SideInfo, 4> side{};
            std::array<QorMP3PsychoInfo, 4> psy{};
            ASSERT_EQ(qorsPsychoacousticModelTwo_MP3_16s(pcm.data() + 1152 * f * channels,
                                                         psy.data(), bound.data(), side.data(),
                                                         &header, state.data(), nullptr, work),
                      qorStsNoErr);
            const auto firstState = static_cast<std::size_t>(header.mode_extension & 2);
            Mp3Encoder::placeRatios(before, state, firstState, side, channels, psy);
            for (std::size_t c = 0; c < channels && f > 0; ++c) {
                const auto& first = after[2 * f - 1][c + firstState];
                const auto& second = after[2 * f][c + firstState];
                ASSERT_TRUE(std::equal(first.ratioLong, first.ratioLong + 21, psy[c].ratio));
                if (side[channels + c].block_type == 2) continue;
                ASSERT_TRUE(
                    std::equal(second.ratioLong, second.ratioLong + 21, psy[channels + c].ratio));
                ++compared;
            }
        }
        EXPECT_GT(compared, 4);
    }
}

TEST(Mp3Encoder, AGranuleThatTheModelSeesAsShortGetsTheStricterOfItsNeighboursRatios) {
    std::array<QorMP3PsychoState, 4> before{}, after{};
    std::array<QorMP3SideInfo, 4> side{};
    std::array<QorMP3PsychoInfo, 4> psy{};
    before[1].ratioLong[3] = 100;
    after[1].ratioLong[3] = 70;
    before[1].ratioLong[4] = 10;
    after[1].ratioLong[4] = 70;
    side[3].block_type = 2;
    psy[1].ratio[3] = 55;
    Mp3Encoder::placeRatios(before, after, 0, side, 2, psy);
    EXPECT_EQ(psy[1].ratio[3], 100);
    EXPECT_EQ(psy[3].ratio[3], 70);
    EXPECT_EQ(psy[3].ratio[4], 10);
}

// One channel at 320 kbit/s brings in more than two granules can take: fields stay in their ranges,
// the rest is ancillary data, and the decoder gets every frame.
TEST(Mp3Encoder, WhatGranulesCannotTakeBecomesAncillaryData) {
    for (const int rate : {32000, 44100, 48000}) {
        Mp3Encoder encoder({.sampleRate = rate, .channels = 1, .bitRate = 320});
        const auto pcm = noise(1152 * 30, 1, 8000);
        std::vector<std::uint8_t> stream;
        for (std::size_t f = 0; f < 30; ++f)
            encoder.encode(std::span(pcm).subspan(1152 * f, 1152), stream);
        encoder.flush(stream);
        EXPECT_EQ(encoder.statistics().frames, 30u);
        if (rate == 32000) {
            EXPECT_GT(encoder.statistics().ancillaryBytes, 30u * 300);
        }

        Mp3Decoder decoder;
        std::array<std::int16_t, Mp3Decoder::kMaxSamples> out;
        std::size_t position = 0;
        double power = 0;
        for (int f = 0; f < 30; ++f) {
            const auto rest = std::span(stream).subspan(position);
            const std::size_t size = mp3FrameSize(mp3ReadHeader(rest));
            ASSERT_EQ(decoder.decodeFrame(rest.first(size), true, out.data()),
                      Mp3Decoder::Result::decoded);
            position += size;
            power += std::abs(out[500]);
        }
        EXPECT_EQ(position, stream.size());
        EXPECT_GT(power, 30 * 500);
    }
}

// The decoder's output is the input, late by the delay that the header names and the decoder's own.
TEST(Mp3Encoder, TheDelayIsWhatItSays) {
    Mp3Encoder encoder({.channels = 1, .bitRate = 192});
    std::vector<std::int16_t> pcm(1152 * 8), decoded;
    constexpr int kClick = 3000;
    for (int i = -8; i <= 8; ++i)
        pcm[std::size_t(kClick + i)] = std::int16_t(20000 * (9 - std::abs(i)) / 9);
    std::vector<std::uint8_t> stream;
    for (std::size_t f = 0; f < 8; ++f)
        encoder.encode(std::span(pcm).subspan(1152 * f, 1152), stream);
    encoder.flush(stream);
    Mp3Decoder decoder;
    std::array<std::int16_t, Mp3Decoder::kMaxSamples> out;
    for (std::size_t position = 0; position < stream.size();) {
        const auto rest = std::span(stream).subspan(position);
        const std::size_t size = mp3FrameSize(mp3ReadHeader(rest));
        decoder.decodeFrame(rest.first(size), true, out.data());
        decoded.insert(decoded.end(), out.begin(), out.begin() + 1152);
        position += size;
    }
    const auto peak = std::max_element(decoded.begin(), decoded.end()) - decoded.begin();
    EXPECT_EQ(peak, kClick + Mp3Encoder::kDelay + 529);
}

TEST(Mp3Encoder, SettingsThatTheStandardDoesNotHave) {
    EXPECT_THROW(Mp3Encoder({.sampleRate = 22050}), std::invalid_argument);
    EXPECT_THROW(Mp3Encoder({.sampleRate = 0}), std::invalid_argument);
    EXPECT_THROW(Mp3Encoder({.channels = 3}), std::invalid_argument);
    EXPECT_THROW(Mp3Encoder({.bitRate = 144}), std::invalid_argument);
    EXPECT_THROW(Mp3Encoder({.bitRate = 0}), std::invalid_argument);

    Mp3Encoder encoder({.channels = 2});
    std::vector<std::uint8_t> stream;
    for (const std::size_t samples : {0, 1152, 2303, 2305})
        EXPECT_THROW(encoder.encode(std::vector<std::int16_t>(samples), stream),
                     std::invalid_argument);
}

}  // namespace
