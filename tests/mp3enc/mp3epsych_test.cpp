#include "mp3enc/mp3epsych.h"

#include <array>
#include <cmath>
#include <cstring>
#include <functional>
#include <optional>
#include <vector>

#include "frame/fixed.h"
#include "gmock/gmock.h"
#include "reference/mp3psychomodel.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::GuardedBytes;
using test::Random;
using testing::Each;
using testing::ElementsAre;

constexpr int kWorkSize = 25152;

// --- a stream ---------------------------------------------------------------------------------

QorMP3FrameHeader frameHeader(int mode, int samplingFrequency, int id = 1, int bitrateIndex = 9) {
    QorMP3FrameHeader header{};
    header.id = id;
    header.layer = 1;
    header.mode = mode;
    header.sampling_frequency = samplingFrequency;
    header.bitrate_index = bitrateIndex;
    header.mode_extension = 3;
    return header;
}

int channelsOf(const QorMP3FrameHeader& header) { return header.mode == 3 ? 1 : 2; }
int granulesOf(const QorMP3FrameHeader& header) { return header.id == 1 ? 2 : 1; }

template <typename T>
bool sameBytes(const T& a, const T& b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// The model frame by frame on exact buffers between guard pages, with every record filled with a
// mark before each call.
class Stream {
  public:
    static constexpr Qor32s kMark = 0x55555555;

    explicit Stream(const QorMP3FrameHeader& frame) : header(frame), info(records()) {}

    std::size_t records() const { return granulesOf(header) * channelsOf(header); }
    std::size_t pcmLength() const {
        return (576 * (granulesOf(header) - 1) + 1024) * channelsOf(header);
    }

    void run(const std::vector<Qor16s>& pcm) {
        Guarded<Qor16s> in{std::span<const Qor16s>(pcm)};
        Guarded<QorMP3PsychoInfo> outInfo(records());
        Guarded<QorMP3SideInfo> outSide(records());
        Guarded<Qor32s> outBound(3 * granulesOf(header));
        Guarded<QorMP3PsychoState> inOutState{std::span<const QorMP3PsychoState>(state)};
        Guarded<QorMP3FrameHeader> inOutHeader(1);
        GuardedBytes work(kWorkSize);
        std::memset(outInfo.data(), 0x55, records() * sizeof(QorMP3PsychoInfo));
        std::memset(outSide.data(), 0x55, records() * sizeof(QorMP3SideInfo));
        std::memset(outBound.data(), 0x55, 3 * granulesOf(header) * sizeof(Qor32s));
        inOutHeader[0] = header;
        ASSERT_EQ(qorsPsychoacousticModelTwo_MP3_16s(in.data(), outInfo.data(), outBound.data(),
                                                     outSide.data(), inOutHeader.data(),
                                                     inOutState.data(), nullptr, work.data()),
                  qorStsNoErr);
        info = outInfo.copy();
        sideInfo = outSide.copy();
        bound = outBound.copy();
        header = inOutHeader[0];
        std::copy_n(inOutState.data(), 4, state.begin());
    }

    QorMP3FrameHeader header;
    std::vector<QorMP3PsychoInfo> info;
    std::vector<QorMP3SideInfo> sideInfo;
    std::vector<Qor32s> bound;
    std::array<QorMP3PsychoState, 4> state{};
};

// Value of channel c at time n.
using Signal = std::function<double(int n, int c)>;

std::vector<Qor16s> framePcm(const Stream& stream, const Signal& signal, int frame) {
    const int nch = channelsOf(stream.header);
    std::vector<Qor16s> pcm(stream.pcmLength());
    for (std::size_t i = 0; i < pcm.size(); ++i) {
        const int n = frame * 576 * granulesOf(stream.header) + static_cast<int>(i) / nch;
        const double x = signal(n, static_cast<int>(i) % nch);
        pcm[i] = Qor16s(std::lround(std::clamp(x, -32768.0, 32767.0)));
    }
    return pcm;
}

// Noise that depends on the time alone.
double noise(int n, int seed) {
    std::uint32_t x = std::uint32_t(n) * 2654435761u + std::uint32_t(seed) * 40503u + 12345u;
    for (int i = 0; i < 3; ++i) {
        x ^= x << 13;
        x ^= x >> 17;
        x ^= x << 5;
    }
    return x / 2147483648.0 - 1;
}

struct NamedSignal {
    const char* name;
    Signal value;
};

const NamedSignal kSignals[] = {
    {"silence", [](int, int) { return 0.0; }},
    {"noise", [](int n, int c) { return 32768 * noise(n, c); }},
    {"quiet noise", [](int n, int c) { return 3 * noise(n, c); }},
    {"same noise", [](int n, int) { return 9000 * noise(n, 7); }},
    {"nearly the same", [](int n, int c) { return 20000 * std::sin(n * 0.31) + (n + c) % 2; }},
    {"opposite tones", [](int n, int c) { return (c ? -1 : 1) * 30000 * std::sin(n * 0.1); }},
    {"low tone", [](int n, int) { return 32767 * std::sin(n * 0.012); }},
    {"tones",
     [](int n, int c) {
         return 12000 * std::sin(n * (0.05 + 0.3 * c)) + 9000 * std::sin(n * 1.7) +
                20 * noise(n, c);
     }},
    {"full-scale square", [](int n, int) { return n / 50 % 2 ? 32767.0 : -32768.0; }},
    {"full-scale constant", [](int, int) { return -32768.0; }},
    {"clicks", [](int n, int c) { return (n + 300 * c) % 1700 == 900 ? 32767.0 : 0.0; }},
    {"bursts", [](int n, int c) { return (n % 2500 > 2000 ? 25000 : 30) * noise(n, c); }},
    {"one channel", [](int n, int c) { return c ? 0 : 25000 * noise(n, 1); }},
    {"growing", [](int n, int c) { return std::exp2(n / 500.0) * std::sin(n * (0.2 + c)); }},
};

// --- the whole ----------------------------------------------------------------------------

struct Outcomes {
    int midSide = 0, leftRight = 0;
    std::array<int, 4> blockType{};
};

void compareWithPlainForm(const QorMP3FrameHeader& header, const NamedSignal& signal, int frames,
                          Outcomes& outcomes) {
    Stream stream(header);
    std::array<QorMP3PsychoState, 4> state{};
    for (int frame = 0; frame < frames; ++frame) {
        SCOPED_TRACE(testing::Message()
                     << signal.name << ", mode " << header.mode << ", rate "
                     << header.sampling_frequency << ", id " << header.id << ", frame " << frame);
        const auto pcm = framePcm(stream, signal.value, frame);
        std::vector<QorMP3PsychoInfo> info(stream.records());
        std::vector<QorMP3SideInfo> sideInfo(stream.records());
        std::array<Qor32s, 6> bound;
        std::memset(info.data(), 0x55, info.size() * sizeof info[0]);
        std::memset(sideInfo.data(), 0x55, sideInfo.size() * sizeof sideInfo[0]);
        bound.fill(Stream::kMark);
        QorMP3FrameHeader expectedHeader = stream.header;
        reference::psychoacousticModel(pcm, info, bound, sideInfo, expectedHeader, state);
        stream.run(pcm);
        for (std::size_t r = 0; r < stream.records(); ++r) {
            ASSERT_EQ(stream.info[r].pe, info[r].pe) << r;
            for (int i = 0; i < 36; ++i) {
                ASSERT_EQ(stream.info[r].ratio[i], info[r].ratio[i]) << r << ' ' << i;
            }
            ASSERT_TRUE(sameBytes(stream.sideInfo[r], sideInfo[r])) << r;
            ++outcomes.blockType[sideInfo[r].block_type];
        }
        for (std::size_t i = 0; i < stream.bound.size(); ++i) {
            ASSERT_EQ(stream.bound[i], bound[i]) << i;
        }
        ASSERT_TRUE(sameBytes(stream.header, expectedHeader));
        for (int c = 0; c < 4; ++c) ASSERT_TRUE(sameBytes(stream.state[c], state[c])) << c;
        ++(stream.header.mode_extension & 2 ? outcomes.midSide : outcomes.leftRight);
    }
}

TEST(PsychoModel, EqualsThePlainFormToTheBit) {
    Outcomes outcomes;
    for (const NamedSignal& signal : kSignals) {
        for (int mode = 0; mode < 4; ++mode) {
            for (int rate = 0; rate < 3; ++rate) {
                if (mode == 2 && rate != 1) continue;  // dual channel is coded like stereo
                compareWithPlainForm(frameHeader(mode, rate), signal, 4, outcomes);
                if (testing::Test::HasFatalFailure()) return;
            }
        }
        for (int mode : {1, 3}) {
            compareWithPlainForm(frameHeader(mode, 0, 0, 8), signal, 4, outcomes);
            if (testing::Test::HasFatalFailure()) return;
        }
    }
    // The signals reach every decision.
    EXPECT_GT(outcomes.midSide, 20);
    EXPECT_GT(outcomes.leftRight, 20);
    EXPECT_THAT(outcomes.blockType, Each(testing::Gt(20)));
}

// A stream that changes its mode keeps its states.
TEST(PsychoModel, FollowsAChangeOfMode) {
    Stream stream(frameHeader(0, 0));
    std::array<QorMP3PsychoState, 4> state{};
    const int modes[] = {0, 1, 1, 0, 1, 2, 1};
    for (int frame = 0; frame < 7; ++frame) {
        stream.header.mode = modes[frame];
        const auto pcm = framePcm(stream, kSignals[7].value, frame);
        std::vector<QorMP3PsychoInfo> info(4);
        std::vector<QorMP3SideInfo> sideInfo(4);
        std::array<Qor32s, 6> bound{};
        QorMP3FrameHeader header = stream.header;
        reference::psychoacousticModel(pcm, info, bound, sideInfo, header, state);
        stream.run(pcm);
        EXPECT_EQ(stream.header.mode_extension, header.mode_extension);
        for (int c = 0; c < 4; ++c) EXPECT_TRUE(sameBytes(stream.state[c], state[c]));
        for (int r = 0; r < 4; ++r) EXPECT_EQ(stream.info[r].pe, info[r].pe);
    }
}

// --- known behaviour --------------------------------------------------------------------------

TEST(PsychoModel, SilenceHasNoEntropyAndNothingToMask) {
    for (int mode : {0, 1, 3}) {
        Stream stream(frameHeader(mode, 0));
        for (int frame = 0; frame < 3; ++frame) {
            stream.run(framePcm(stream, kSignals[0].value, frame));
            const int nch = channelsOf(stream.header);
            for (std::size_t r = 0; r < stream.records(); ++r) {
                EXPECT_EQ(stream.sideInfo[r].block_type, 0);
                EXPECT_EQ(stream.info[r].pe, 0);
            }
            for (int c = 0; c < nch; ++c) {
                EXPECT_THAT(std::span(stream.info[c].ratio).first(21), Each(kMax32s));
            }
            EXPECT_EQ(stream.state[0].nbPrev1[10], mode == 1 ? 0 : 1);  // coupling takes 1 to 0
            EXPECT_EQ(stream.state[0].nbShortPrev[10], 0);
            EXPECT_EQ(stream.header.mode_extension, mode == 1 ? 2 : 0);  // the tie goes to mid/side
        }
    }
}

// The first frame knows no thresholds before it: the floor in quiet is all that masks.
TEST(PsychoModel, AfterClearingTheFloorDecides) {
    Stream stream(frameHeader(3, 0, 0));
    const auto pcm = framePcm(stream, kSignals[1].value, 0);
    stream.run(pcm);
    const PsyTables& t = _qor_pPsyTables_MP3[0];
    std::vector<Qor16s> windowed(1024);
    for (int i = 0; i < 1024; ++i) windowed[i] = Qor16s((pcm[i] * pHannWinLong_MP3[i]) >> 15);
    const auto spectrum = reference::realTransform(windowed);
    Qor64s energy[kMaxPartLong] = {};
    for (int b = 0; b < t.numPartLong; ++b) {
        for (int k = t.pPsyPartitionTableLong[b]; k < t.pPsyPartitionTableLong[b + 1]; ++k) {
            energy[b] +=
                Qor64s(spectrum[k].re) * spectrum[k].re + Qor64s(spectrum[k].im) * spectrum[k].im;
        }
    }
    Qor32s ratio[21];
    ownsConvertThresholdToSfb_Psy_MP3(energy, t.pQuietThresholdLong.data(), ratio,
                                      t.pPartToSfbWeightLong.data(), t.pPartToSfbBuoLong.data(), 21,
                                      1);
    EXPECT_THAT(std::span(stream.state[0].ratioLong).first(21), testing::ElementsAreArray(ratio));
}

// A click switches both channels of a pair, whichever has it, and the types run 1, 2, 3, 0.
TEST(PsychoModel, AClickRunsThroughStartShortAndStopInBothChannels) {
    for (const int loud : {0, 1}) {
        Stream stream(frameHeader(0, 0));
        const Signal click = [loud](int n, int c) {
            const bool near = n >= 5 * 576 + 512 && n < 5 * 576 + 516;
            return c == loud && near ? 30000.0 : 20 * std::sin(n * 0.02);
        };
        std::vector<int> types;
        for (int frame = 0; frame < 6; ++frame) {
            stream.run(framePcm(stream, click, frame));
            for (int g = 0; g < 2; ++g) {
                const QorMP3SideInfo *left = &stream.sideInfo[2 * g], *right = left + 1;
                EXPECT_EQ(left->block_type, right->block_type);
                EXPECT_EQ(left->window_switching_flag, left->block_type != 0);
                EXPECT_EQ(left->mixed_block_flag, 0);
                EXPECT_EQ(left->global_gain, Stream::kMark);  // other fields are the caller's
                types.push_back(left->block_type);
            }
        }
        EXPECT_THAT(std::vector(types.begin() + 4, types.begin() + 9), ElementsAre(0, 1, 2, 3, 0))
            << loud;
    }
}

// What each record holds: the entropies run one granule late; the ratios of granule 1 stay as they
// were and those of granule 0 are the ones analysed first in this frame.
TEST(PsychoModel, ReportsOneGranuleLate) {
    Stream stream(frameHeader(3, 0));
    const auto& signal = kSignals[7].value;
    stream.run(framePcm(stream, signal, 0));
    EXPECT_EQ(stream.info[0].pe, 0);
    const Qor32s delayed = stream.state[0].pe;
    const QorMP3PsychoState before = stream.state[0];
    stream.run(framePcm(stream, signal, 1));
    EXPECT_EQ(stream.info[0].pe, delayed);
    EXPECT_THAT(stream.info[1].ratio, Each(Stream::kMark));
    EXPECT_NE(stream.info[0].ratio[3], before.ratioLong[3]);

    // With a single granule the delayed ratios stay.
    Stream single(frameHeader(3, 0, 0));
    single.run(framePcm(single, signal, 0));
    const QorMP3PsychoState state = single.state[0];
    single.run(framePcm(single, signal, 1));
    EXPECT_THAT(single.info[0].ratio, testing::ElementsAreArray(state.ratioLong));
    EXPECT_EQ(single.info[0].pe, state.pe);
}

TEST(PsychoModel, IntensityBounds) {
    const int longBound[9] = {13, 12, 13, 15, 15, 16, 18, 18, 18};
    const int shortBound[9] = {6, 6, 7, 8, 8, 8, 10, 10, 10};
    for (int mode = 0; mode < 4; ++mode) {
        for (int bitrate = 0; bitrate < 15; ++bitrate) {
            for (int rate = 0; rate < 3; ++rate) {
                for (int carried : {0, 2}) {
                    Stream stream(frameHeader(mode, rate, 1, bitrate));
                    stream.state[0].blockType = stream.state[1].blockType = carried;
                    stream.run(std::vector<Qor16s>(stream.pcmLength()));
                    const bool used = mode != 3 && bitrate < 9;
                    EXPECT_EQ(stream.header.mode_extension & 1, used);
                    const int entry = std::max(bitrate - 6, 0) * 3 + rate;
                    const Qor32s mark = Stream::kMark;
                    const Qor32s first =
                        used ? carried ? shortBound[entry] : longBound[entry] : mark;
                    const Qor32s others = used && carried ? first : mark;
                    const Qor32s second = used ? longBound[entry] : mark;
                    EXPECT_THAT(stream.bound,
                                ElementsAre(first, others, others, second, mark, mark));
                }
            }
        }
    }
}

// Mid/side is never chosen across channels with different block types.
TEST(PsychoModel, DifferentBlockTypesForbidMidSide) {
    Stream stream(frameHeader(1, 0));
    stream.state[0].blockType = 2;
    stream.run(std::vector<Qor16s>(stream.pcmLength()));
    EXPECT_EQ(stream.sideInfo[0].block_type, 2);
    EXPECT_EQ(stream.sideInfo[1].block_type, 0);
    EXPECT_EQ(stream.header.mode_extension, 0);
}

// --- single steps -----------------------------------------------------------------------------

TEST(MidSideCoupling, EqualsThePlainForm) {
    Random random(11);
    for (int run = 0; run < 3000; ++run) {
        Qor64s nb[4], e[4];
        std::array<reference::Int128, 4> wideNb, wideE;
        for (int c = 0; c < 4; ++c) {
            nb[c] = std::abs(random.wideInteger(random.chance(0.2) ? 4 : 52));
            e[c] = std::abs(random.wideInteger(52));
            if (run % 7 == 0) nb[2] = nb[3];
            wideE[c] = e[c];
        }
        for (int c = 0; c < 4; ++c) wideNb[c] = nb[c];
        const Qor32s bmld = Qor32s(random.integer(0, 0x7FFFFFFF));
        ownsMSThresholdCoupling_Psy_MP3({e, e + 1, e + 2, e + 3}, {nb, nb + 1, nb + 2, nb + 3},
                                        &bmld, 1);
        const auto expected = reference::coupled(wideNb, wideE, bmld);
        for (int c = 0; c < 4; ++c) EXPECT_EQ(nb[c], Qor64s(expected[c])) << run << ' ' << c;
    }
}

TEST(MidSideCoupling, ThresholdsOfZero) {
    Qor64s nb[4] = {1000, 2000, 0, 0}, e[4] = {500, 5000, 1, 1};
    const Qor32s bmld = kMax32s;
    ownsMSThresholdCoupling_Psy_MP3({e, e + 1, e + 2, e + 3}, {nb, nb + 1, nb + 2, nb + 3}, &bmld,
                                    1);
    EXPECT_THAT(nb, ElementsAre(499, 2000, 0, 0));
}

struct Switching {
    std::array<Qor64s, 3> energy;
    Qor32s pe;
    bool stationary;
};

TEST(BlockSwitching, ThresholdsOfEnergyAndEntropy) {
    const Switching cases[] = {
        {{0, 0, 0}, 800, true},      {{0, 0, 1}, 0, false},        {{40, 1, 7}, 800, true},
        {{8, 1, 8}, 801, true},      {{9, 1, 8}, 801, false},      {{9, 1, 8}, 800, true},
        {{100, 4000, 100}, 0, true}, {{100, 4001, 100}, 0, false}, {{5, 5, 5}, 1000, true},
        {{5, 5, 5}, 1001, false},
    };
    for (const Switching& s : cases) {
        for (const int channel : {0, 1}) {
            static PartitionsShort energy[2];
            std::memset(energy, 0, sizeof energy);
            for (int w = 0; w < 3; ++w) {
                energy[channel][w][0] = s.energy[w] / 2;
                energy[channel][w][38] = s.energy[w] - s.energy[w] / 2;
            }
            Qor32s pe[2] = {};
            pe[channel] = s.pe;
            QorMP3PsychoState state[4] = {};
            QorMP3SideInfo side[2] = {};
            ownsSwitchBlockType_Psy_MP3(energy, pe, _qor_pPsyTables_MP3[0], 2, state, side);
            EXPECT_EQ(side[0].block_type, s.stationary ? 0 : 1) << s.energy[0] << ' ' << s.pe;
            EXPECT_EQ(side[1].block_type, side[0].block_type);
        }
    }
}

TEST(BlockSwitching, EveryTransition) {
    const struct {
        int carried;
        bool stationary;
        int blockType, next;
    } cases[] = {{0, true, 0, 0},  {3, true, 3, 0},  {2, true, 2, 3},
                 {0, false, 1, 2}, {3, false, 2, 2}, {2, false, 2, 2}};
    for (const auto& c : cases) {
        static const PartitionsShort energy[1] = {};
        const Qor32s pe = c.stationary ? 0 : 1001;
        QorMP3PsychoState state[4] = {};
        state[0].blockType = c.carried;
        QorMP3SideInfo side{};
        side.mixed_block_flag = 1;
        ownsSwitchBlockType_Psy_MP3(energy, &pe, _qor_pPsyTables_MP3[0], 1, state, &side);
        EXPECT_EQ(side.block_type, c.blockType);
        EXPECT_EQ(side.window_switching_flag, c.blockType != 0);
        EXPECT_EQ(side.mixed_block_flag, 0);
        EXPECT_EQ(state[0].blockType, c.next);
    }
}

TEST(BandRatios, NoEnergyGivesTheLargestAndTheStrideIsKept) {
    const PsyTables& t = _qor_pPsyTables_MP3[0];
    Qor64s energy[kMaxPartShort] = {}, threshold[kMaxPartShort];
    std::fill_n(threshold, kMaxPartShort, 1000);
    for (int b = 3; b <= 8; ++b) energy[b] = 4000;
    Qor32s ratio[36];
    std::fill_n(ratio, 36, -1);
    ownsConvertThresholdToSfb_Psy_MP3(energy, threshold, ratio, t.pPartToSfbWeightShort.data(),
                                      t.pPartToSfbBuoShort.data(), 12, 3);
    EXPECT_NEAR(ratio[3], 0x20000000, 0x20000000 / 200);
    EXPECT_NEAR(ratio[6], 0x20000000, 0x20000000 / 200);
    EXPECT_EQ(ratio[15], kMax32s);
    for (int i = 0; i < 36; ++i) {
        if (i % 3 != 0) {
            EXPECT_EQ(ratio[i], -1);
        }
    }
}

// A threshold of 2^32 times the energy and more loses the upper bits of its quotient.
TEST(BandRatios, WrapWhereTheThresholdIsFarAboveTheEnergy) {
    const PsyTables& t = _qor_pPsyTables_MP3[0];
    bool negative = false;
    for (int bit = 20; bit < 50; ++bit) {
        Qor64s energy[kMaxPartLong] = {}, threshold[kMaxPartLong] = {};
        energy[5] = 1;  // inside band 1
        threshold[5] = (1ll << bit) + 12345;
        Qor32s ratio[21];
        ownsConvertThresholdToSfb_Psy_MP3(energy, threshold, ratio, t.pPartToSfbWeightLong.data(),
                                          t.pPartToSfbBuoLong.data(), 21, 1);
        const reference::Int128 r = reference::reciprocal(1 << 30).value;
        const reference::Int128 product = reference::scaled(threshold[5] * r, 31);
        const Qor64s quotient = reference::wrap64(reference::scaled(product, -31));
        EXPECT_EQ(ratio[1], Qor32s(std::min<Qor64s>(quotient, kMax32s))) << bit;
        negative |= quotient < 0;
    }
    EXPECT_TRUE(negative);
}

// What stands still is predicted, noise is not, and a line that falls short of its prediction gives
// a negative difference, whose unsigned square is anything but small.
TEST(Unpredictability, TellsSteadyLinesFromNoise) {
    Random random(13);
    QorMP3PsychoState state{};
    Qor32s cw[kLinesLong];
    Qor32sc spectrum[kLinesLong] = {};
    double steady = 0, noisy = 0;
    for (int g = 0; g < 40; ++g) {
        for (int k = 0; k < 6; ++k) {
            const double phase = k < 3 ? 0 : random.real(-M_PI, M_PI);
            spectrum[k] = {Qor32s(1e6 * std::cos(phase)), Qor32s(1e6 * std::sin(phase))};
        }
        ownsCalUnpredictMeasureCw06_Psy_MP3(spectrum, &state, cw);
        if (g < 2) continue;
        for (int k = 0; k < 6; ++k) (k < 3 ? steady : noisy) += cw[k] / 0x1p31 / 114;
    }
    EXPECT_LT(steady, 0.02);
    EXPECT_GT(noisy, 0.4);
    spectrum[0].re = 990000;
    ownsCalUnpredictMeasureCw06_Psy_MP3(spectrum, &state, cw);
    EXPECT_EQ(cw[0], kMax32s);
}

TEST(Unpredictability, AShortLineStandsForFourLongOnes) {
    static SpectrumShort spectrum;
    for (auto& window : spectrum) {
        for (int k = 0; k < kLinesShort; ++k) window[k] = {1000000 + 1000 * k, 0};
    }
    Guarded<Qor32s> cw(kLinesLong);
    for (int k = 0; k < 6; ++k) cw[k] = -1;
    ownsCalUnpredictMeasureCwAbove06_Psy_MP3(spectrum, cw.data());
    EXPECT_THAT(cw.span().first(6), Each(-1));
    EXPECT_THAT(cw.span().subspan(206), Each(858993459));
    const auto cwBefore = cw.copy();
    for (int k = 6; k < 206; k += 4) {
        EXPECT_THAT(cw.span().subspan(k, 4), Each(cw[k]));
    }
    spectrum[1][2] = {123, 456};  // the first short line in use
    spectrum[1][51] = {123, 456};
    spectrum[1][1] = spectrum[1][52] = {77, 77};
    ownsCalUnpredictMeasureCwAbove06_Psy_MP3(spectrum, cw.data());
    for (int k = 10; k < 202; ++k) EXPECT_EQ(cw[k], cwBefore[k]);
    EXPECT_NE(cw[6], cwBefore[6]);
    EXPECT_NE(cw[202], cwBefore[202]);
}

// --- arguments --------------------------------------------------------------------------------

TEST(PsychoModel, NullPointersAreRefusedWithNothingWritten) {
    const std::vector<Qor16s> pcm(3200, 5);
    std::vector<QorMP3PsychoInfo> info(4);
    std::vector<QorMP3SideInfo> side(4);
    std::vector<QorMP3PsychoState> state(4);
    std::vector<Qor32s> bound(6);
    std::vector<Qor8u> work(kWorkSize);
    for (int missing = 0; missing < 7; ++missing) {
        std::memset(info.data(), 1, 4 * sizeof info[0]);
        std::memset(side.data(), 1, 4 * sizeof side[0]);
        std::memset(state.data(), 1, 4 * sizeof state[0]);
        QorMP3FrameHeader header = frameHeader(1, 0, 1, 7);
        const auto infoBefore = info;
        const auto sideBefore = side;
        const auto stateBefore = state;
        const QorMP3FrameHeader headerBefore = header;
        const auto unless = [missing](int i, auto* p) { return missing == i ? nullptr : p; };
        EXPECT_EQ(qorsPsychoacousticModelTwo_MP3_16s(
                      unless(0, pcm.data()), unless(1, info.data()), unless(2, bound.data()),
                      unless(3, side.data()), unless(4, &header), unless(5, state.data()), nullptr,
                      unless(6, work.data())),
                  qorStsNullPtrErr);
        EXPECT_EQ(std::memcmp(info.data(), infoBefore.data(), 4 * sizeof info[0]), 0);
        EXPECT_EQ(std::memcmp(side.data(), sideBefore.data(), 4 * sizeof side[0]), 0);
        EXPECT_EQ(std::memcmp(state.data(), stateBefore.data(), 4 * sizeof state[0]), 0);
        EXPECT_TRUE(sameBytes(header, headerBefore));
        EXPECT_THAT(bound, Each(0));
        EXPECT_THAT(work, Each(0));
    }
}

// The scratch may stand at any multiple of 4 bytes, and its content means nothing.
TEST(PsychoModel, ScratchNeedsFourByteAlignmentOnly) {
    const auto run = [](int offset, int fill) {
        std::vector<QorMP3PsychoInfo> info(4);
        std::vector<QorMP3SideInfo> side(4);
        std::vector<QorMP3PsychoState> state(4);
        std::vector<Qor32s> bound(6);
        GuardedBytes work(kWorkSize + offset);
        std::memset(work.data(), fill, work.size());
        Stream stream(frameHeader(1, 0));
        for (int frame = 0; frame < 2; ++frame) {
            const auto pcm = framePcm(stream, kSignals[7].value, frame);
            QorMP3FrameHeader header = frameHeader(1, 0);
            qorsPsychoacousticModelTwo_MP3_16s(pcm.data(), info.data(), bound.data(), side.data(),
                                               &header, state.data(), nullptr,
                                               work.data() + offset);
        }
        return std::vector<Qor8u>(reinterpret_cast<Qor8u*>(state.data()),
                                  reinterpret_cast<Qor8u*>(state.data() + 4));
    };
    const auto aligned = run(0, 0);
    EXPECT_EQ(run(4, 0xFF), aligned);
}

}  // namespace
}  // namespace qorac
