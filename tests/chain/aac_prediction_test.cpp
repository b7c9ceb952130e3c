// The predictors of the AAC decoder, against the standard's formulas and on streams that a plain
// writer makes.
#include <algorithm>
#include <cmath>
#include <memory>

#include "aac/aachelp.h"
#include "aacdecoder.h"
#include "aacprediction.h"
#include "gmock/gmock.h"
#include "reference/aacstream.h"
#include "reference/bitwriter.h"
#include "reference/fdp.h"
#include "support/random.h"

namespace qorac::test {
namespace {

using reference::BitWriter;
using reference::Channel;
using reference::NoiseChain;
using testing::ElementsAreArray;

constexpr Qor32s kPredictedBands[12] = {33, 33, 38, 40, 40, 40, 41, 41, 37, 37, 37, 34};

reference::Bands longBands(int rate) {
    return {_pAACSwbOffsetTableLong[std::size_t(rate)],
            std::size_t(_pAACNumSwbTableLong[std::size_t(rate)] + 1)};
}
reference::Bands shortBands(int rate) {
    return {_pAACSwbOffsetTableShort[std::size_t(rate)],
            std::size_t(_pAACNumSwbTableShort[std::size_t(rate)] + 1)};
}

TEST(AacPrediction, BandsOfTheMainProfile) {
    for (int rate = 0; rate < 12; ++rate) {
        const auto bands = aacPredictedBands(rate);
        ASSERT_EQ(bands.size(), std::size_t(kPredictedBands[rate] + 1));
        EXPECT_THAT(bands, ElementsAreArray(longBands(rate).first(bands.size())));
        EXPECT_LE(bands.back(), AacChannel::kPredictedLines);
    }
}

// --- lines ---------------------------------------------------------------------------------------

// A long or short block that sounds, with a section of noise now and then.
Channel soundingChannel(Random& random, int rate, int windowSequence, bool withNoise) {
    Channel channel;
    channel.windowSequence = windowSequence;
    channel.globalGain = int(random.integer(120, 160));
    const auto bands = channel.isShort() ? shortBands(rate) : longBands(rate);
    channel.maxSfb =
        int(random.integer(channel.isShort() ? 8 : 30, std::int64_t(bands.size()) - 1));
    if (channel.isShort()) channel.groups = {8};
    channel.sections = {{{7, 4}, {withNoise ? 13 : 7, 2}, {7, channel.maxSfb - 6}}};
    channel.spectrum.assign(1024, 0);
    int begin = 0;
    for (int sfb = 0; sfb < channel.maxSfb; ++sfb) {
        const bool noise = withNoise && (sfb == 4 || sfb == 5);
        channel.gains.push_back(noise ? 0 : channel.globalGain);
        const int end = bands[std::size_t(sfb + 1)] * channel.groups[0];
        for (; begin < end; ++begin)
            if (!noise) channel.spectrum[std::size_t(begin)] = int(random.integer(2, 7));
    }
    return channel;
}

float dequantized(int value, int gain) {
    const float power = float(std::cbrt(static_cast<long double>(value)) * value);
    return power * float(std::exp2((gain - 100) / 4.0L));
}

TEST(AacPrediction, LinesFollowTheStandard) {
    Random random(1);
    for (const int rate : {0, 2, 4, 7, 9, 11}) {
        const int bandCount = kPredictedBands[rate];
        const auto offsets = longBands(rate);
        AacLinePredictor predictor;
        std::vector<reference::PredictorLine> lines(AacChannel::kPredictedLines);
        int changed = 0;
        for (int block = 0; block < 60; ++block) {
            const int sequence = block % 20 == 15 ? 2 : block % 4 == 1 ? 1 : block % 3 == 0 ? 3 : 0;
            Channel source = soundingChannel(random, rate, sequence, block % 7 == 6);
            const bool present = sequence != 2 && random.chance(0.8);
            if (present) {
                const int group = random.chance(0.3) ? int(random.integer(1, 30)) : 0;
                source.linePrediction = {group, random.integers<int>(std::size_t(bandCount), 0, 1)};
            }
            BitWriter writer;
            reference::putChannel(writer, source, source.isShort() ? shortBands(rate) : offsets,
                                  false, false, NoiseChain::own);
            AacCursor cursor;
            cursor.load(writer.bytes());
            AacChannel channel;
            QorAACMainHeader header{};
            ASSERT_TRUE(channel.decode(cursor, AacSetup{kAacMain, rate}, header, false));
            ASSERT_EQ(cursor.position(), writer.bits());
            ASSERT_TRUE(channel.dequantize());
            auto expected = channel.spectrum;
            predictor.run(channel);

            if (source.isShort()) {
                lines.assign(lines.size(), {});
                ASSERT_EQ(channel.spectrum, expected);
                continue;
            }
            for (int b = 0; b < bandCount; ++b) {
                const bool used = present && b < source.maxSfb &&
                                  source.linePrediction->used[std::size_t(b)] != 0;
                for (int i = offsets[std::size_t(b)]; i < offsets[std::size_t(b + 1)]; ++i) {
                    const auto k = std::size_t(i);
                    const float x = dequantized(source.spectrum[k], source.globalGain);
                    const float line = lines[k].inverse(x, used);
                    if (!used) continue;
                    expected[k] = Qor32s(std::nearbyint(line * 8.0));
                    changed += std::abs(line - x) > 1 ? 1 : 0;
                }
            }
            if (present && source.linePrediction->resetGroup != 0)
                for (std::size_t k = std::size_t(source.linePrediction->resetGroup - 1);
                     k < lines.size(); k += 30)
                    lines[k] = {};
            if (block % 7 == 6)
                for (int k = offsets[4]; k < offsets[6]; ++k) lines[std::size_t(k)] = {};
            ASSERT_THAT(channel.spectrum, ElementsAreArray(expected)) << rate << " block " << block;
        }
        EXPECT_GT(changed, 2000);
    }
}

// --- long term -----------------------------------------------------------------------------------

// A sound of the period kPeriod, in Q3, and its blocks: block b has the 2048 samples from 1024 b
// on.
class PeriodicSound {
  public:
    static constexpr int kPeriod = 500;

    // 1024 coefficients in window order.
    std::vector<Qor32s> spectrum(int block, int sequence, int shape, int previousShape) const {
        std::vector<Qor32s> x(2048), out(1024), work(2048);
        const auto transform = [&](int start, std::size_t at, int riseShape) {
            for (int i = 0; i < 2048; ++i)
                x[std::size_t(i)] = sound_[std::size_t((start + i) % kPeriod)];
            qorsMDCTFwd_AAC_32s(x.data(), &out[at], x.data(), sequence, shape, riseShape,
                                work.data());
        };
        if (sequence != 2) {
            transform(1024 * block, 0, previousShape);
        } else {
            for (int w = 0; w < 8; ++w)
                transform(1024 * block + 448 + 128 * w, std::size_t(128 * w),
                          w == 0 ? previousShape : shape);
        }
        return out;
    }

  private:
    std::vector<Qor32s> sound_ = [] {
        std::vector<Qor32s> sound;
        for (int i = 0; i < kPeriod; ++i) {
            double x = 0;
            for (const int harmonic : {3, 10, 31, 60})
                x += 4000 * std::sin(2 * 3.14159265358979 * harmonic * i / kPeriod + harmonic);
            sound.push_back(Qor32s(8 * x));
        }
        return sound;
    }();
};

// A channel without values, which predicts the sound of the period before from all bands that can.
AacChannel predictingChannel(int rate, int sequence, int shape) {
    AacChannel channel;
    channel.ics = {};
    channel.info = {};
    channel.ltp = {};
    channel.spectrum.fill(0);
    channel.ics.window_sequence = sequence;
    channel.ics.window_shape = shape;
    channel.ics.max_sfb = channel.isShort() ? 8 : 40;
    channel.info.samplingRateIndex = rate;
    channel.info.winLen = channel.isShort() ? 128 : 1024;
    channel.ltp.ltp_data_present = 1;
    channel.ltp.ltp_coef = 16137;
    channel.ltp.ltp_lag = 4 * PeriodicSound::kPeriod;
    std::fill_n(channel.ltp.ltp_long_used, 41, 1);
    for (int w = 0; w < 8; ++w) {
        // The estimate of any window begins at the lag before sample 768 of the block.
        int lag = 448 + 128 * w;
        while (lag > 768 - 1100) lag -= PeriodicSound::kPeriod;
        channel.ltp.ltp_short_lag[w] = 768 - lag;
        channel.ltp.ltp_short_used[w] = 1;
    }
    return channel;
}

// A filter in each window.
void setTns(AacChannel& channel) {
    channel.info.tns_data_present = 1;
    constexpr Qor8s coefs[4] = {3, -2, 1, 2};
    for (int w = 0; w < (channel.isShort() ? 8 : 1); ++w) {
        channel.info.n_filt[w] = 1;
        channel.info.coef_res[w] = 4;
        channel.info.length[w] = channel.isShort() ? 14 : 49;
        channel.info.order[w] = 4;
        channel.info.direction[w] = w % 2;
        std::copy_n(coefs, 4, &channel.tnsCoef[std::size_t(4 * w)]);
    }
}

// The lines that `covered` names have the energies of the sound; all others are 0.
template <typename Covered>
void expectPrediction(const AacChannel& channel, const std::vector<Qor32s>& sound,
                      Covered covered) {
    double error = 0, energy = 0;
    for (int k = 0; k < 1024; ++k) {
        const Qor32s line = channel.spectrum[std::size_t(k)];
        if (!covered(k / channel.info.winLen, k % channel.info.winLen)) {
            ASSERT_EQ(line, 0);
            continue;
        }
        const double expected = sound[std::size_t(k)] * (16137 / 16384.0);
        error += (line - expected) * (line - expected);
        energy += expected * expected;
    }
    EXPECT_LT(error, 1e-4 * energy);
}

TEST(AacPrediction, LongTermContinuesAPeriodicSound) {
    constexpr int kRate = 4;
    const int sequences[] = {0, 0, 0, 1, 2, 2, 2, 3, 0, 1, 3, 0, 1, 2, 3};
    const int shapes[] = {0, 0, 1, 1, 0, 1, 1, 1, 0, 0, 1, 1, 0, 1, 0};
    const PeriodicSound sound;
    AacLongTermPredictor predictor;
    int previousShape = 0;
    for (int block = 0; block < 15; ++block) {
        SCOPED_TRACE(block);
        const int sequence = sequences[block], shape = shapes[block];
        const auto truth = sound.spectrum(block, sequence, shape, previousShape);
        const AacChannel plain = predictingChannel(kRate, sequence, shape);
        const auto offsets = plain.isShort() ? shortBands(kRate) : longBands(kRate);
        const int end = offsets[std::size_t(plain.ics.max_sfb)];
        if (block >= 3) {  // the history is full
            AacChannel channel = plain;
            channel.ltp.ltp_long_used[1 + 2] = channel.ltp.ltp_short_used[5] = 0;
            predictor.run(channel, previousShape);
            expectPrediction(channel, truth, [&](int window, int line) {
                return line < end &&
                       (channel.isShort() ? window != 5 : line < offsets[2] || line >= offsets[3]);
            });

            // TNS shapes the sum: the prediction must come out of it unchanged.
            channel = plain;
            setTns(channel);
            predictor.run(channel, previousShape);
            ASSERT_TRUE(channel.shapeNoise());
            expectPrediction(channel, truth, [&](int, int line) { return line < end; });

            channel = plain;
            channel.ltp.ltp_data_present = 0;
            predictor.run(channel, previousShape);
            EXPECT_THAT(channel.spectrum, testing::Each(0));
        }
        predictor.update(truth.data(), sequence, shape, previousShape);
        previousShape = shape;
    }
}

// --- streams -------------------------------------------------------------------------------------

// An element of one or two channels, with the end behind it.
std::vector<Qor8u> rawBlock(const std::vector<Channel>& channels, int rate, bool commonWindow) {
    BitWriter bits;
    const bool isPair = channels.size() == 2;
    bits.put(isPair ? kCpe : kSce, 3);
    bits.put(0, 4);
    if (isPair) bits.put(commonWindow ? 1 : 0, 1);
    if (isPair && commonWindow) {
        reference::putIcsInfo(bits, channels[0], &channels[1]);
        bits.put(0, 2);
    }
    for (const Channel& channel : channels)
        reference::putChannel(bits, channel, channel.isShort() ? shortBands(rate) : longBands(rate),
                              isPair && commonWindow, false, NoiseChain::own);
    bits.put(kEnd, 3);
    bits.align();
    return bits.bytes();
}

// Decodes blocks of one stream; nothing when one of them is damaged.
std::vector<std::int16_t> decode(int objectType, int rate, int channels,
                                 const std::vector<std::vector<Qor8u>>& blocks) {
    const auto decoder = std::make_unique<AacDecoder>();
    decoder->configure(objectType, rate, aacLayout(channels));
    std::vector<std::int16_t> pcm;
    for (const auto& block : blocks)
        if (!decoder->decodeBlock(block, pcm)) return {};
    return pcm;
}

TEST(AacPrediction, ChannelsOfAPairArePredictedAsIfAlone) {
    Random random(2);
    constexpr int kRate = 4;
    const int sequences[] = {0, 0, 0, 1, 2, 2, 3, 0, 0, 0, 1, 3, 0, 0};
    for (const int type : {kAacMain, kAacLtp}) {
        for (const bool common : {false, true}) {
            std::vector<std::vector<Qor8u>> pairs, alone[2], unpredicted;
            for (const int sequence : sequences) {
                std::vector<Channel> channels;
                for (int c = 0; c < 2; ++c) {
                    Channel channel = soundingChannel(random, kRate, sequence, false);
                    channel.globalGain -= 20;
                    for (int& gain : channel.gains) gain -= 20;
                    const auto used = random.integers<int>(40, 0, 1);
                    if (type == kAacMain && sequence != 2) channel.linePrediction = {7, used};
                    // One of the two may go without.
                    if (type == kAacLtp && sequence != 2 && random.chance(0.8))
                        channel.longTerm = {int(random.integer(0, 2047)), 3, used};
                    channels.push_back(channel);
                }
                if (common) {  // one window and one set of bands
                    channels[1].maxSfb = channels[0].maxSfb;
                    channels[1].sections = channels[0].sections;
                    channels[1].gains.assign(channels[0].gains.size(), channels[1].globalGain);
                    channels[1].spectrum = channels[0].spectrum;
                    std::reverse(channels[1].spectrum.begin(), channels[1].spectrum.begin() + 300);
                    channels[1].linePrediction = channels[0].linePrediction;
                }
                pairs.push_back(rawBlock(channels, kRate, common));
                for (int c = 0; c < 2; ++c)
                    alone[c].push_back(rawBlock({channels[std::size_t(c)]}, kRate, false));
                for (Channel& channel : channels) {
                    channel.linePrediction.reset();
                    channel.longTerm.reset();
                }
                unpredicted.push_back(rawBlock(channels, kRate, common));
            }
            const auto pcm = decode(type, kRate, 2, pairs);
            ASSERT_EQ(pcm.size(), 2048 * std::size(sequences));
            for (std::size_t c = 0; c < 2; ++c) {
                const auto expected = decode(type, kRate, 1, alone[c]);
                std::vector<std::int16_t> got;
                for (std::size_t i = c; i < pcm.size(); i += 2) got.push_back(pcm[i]);
                EXPECT_EQ(got, expected) << type << ' ' << common << " channel " << c;
            }
            EXPECT_NE(decode(type, kRate, 2, unpredicted), pcm);
        }
    }
}

TEST(AacPrediction, NoiseIsNotPredictedFromTheSound) {
    // A flag on a band of noise changes nothing.
    Random random(3);
    constexpr int kRate = 4;
    std::vector<std::vector<Qor8u>> flagged, plain;
    for (int block = 0; block < 8; ++block) {
        Channel channel = soundingChannel(random, kRate, 0, true);
        channel.longTerm = {1024, 3, std::vector<int>(40, 0)};
        plain.push_back(rawBlock({channel}, kRate, false));
        channel.longTerm->used[4] = channel.longTerm->used[5] = 1;
        flagged.push_back(rawBlock({channel}, kRate, false));
    }
    const auto pcm = decode(kAacLtp, kRate, 1, plain);
    EXPECT_FALSE(pcm.empty());
    EXPECT_EQ(decode(kAacLtp, kRate, 1, flagged), pcm);
}

TEST(AacPrediction, PredictionThatCannotBeIsDamage) {
    Random random(4);
    constexpr int kRate = 4;
    Channel channel = soundingChannel(random, kRate, 0, false);
    for (const int group : {0, 1, 30, 31}) {  // a channel without bands, with a reset
        BitWriter bits;
        bits.put(kSce, 3), bits.put(0, 4), bits.put(120, 8);
        bits.put(0, 4), bits.put(0, 6), bits.put(1, 1), bits.put(1, 1), bits.put(Qor32u(group), 5);
        bits.put(0, 3), bits.put(kEnd, 3);
        bits.align();
        EXPECT_EQ(decode(kAacMain, kRate, 1, {bits.bytes()}).empty(), group == 0 || group == 31);
    }
    channel.longTerm = {500, 2, std::vector<int>(40, 1)};
    const auto block = rawBlock({channel}, kRate, false);
    EXPECT_FALSE(decode(kAacLtp, kRate, 1, {block}).empty());
    EXPECT_TRUE(decode(kAacLc, kRate, 1, {block}).empty());
}

}  // namespace
}  // namespace qorac::test
