// The AAC decoder on streams that a plain writer makes: what no encoder at hand writes.
#include <algorithm>

#include "aac/aachelp.h"
#include "aacaudio.h"
#include "aacdecoder.h"
#include "audiodecoder.h"
#include "gtest/gtest.h"
#include "reference/aacstream.h"
#include "reference/bitwriter.h"
#include "support/random.h"

namespace qorac::test {
namespace {

using reference::BitWriter;
using reference::Channel;
using reference::NoiseChain;

constexpr int kRateIndex = 4;
const reference::Bands kLongBands{_pAACSwbOffsetTableLong[kRateIndex], 50};
const reference::Bands kShortBands{_pAACSwbOffsetTableShort[kRateIndex], 15};

reference::Bands bandsOf(const Channel& channel) {
    return channel.isShort() ? kShortBands : kLongBands;
}

// --- scale factors and noise energies -----------------------------------------------------------

// Gives the bands of a random channel new gains, the noise energies in a chain of their own.
// Returns how far the chain of the differences of both kinds spreads.
int makeGains(Random& random, Channel& channel, int spread) {
    const std::vector<int> books = reference::bandBooks(channel);
    const auto step = [&](int value, int low, int high) {
        return value + int(random.integer(std::max(-60, low - value), std::min(60, high - value)));
    };
    channel.globalGain = int(random.integer(110, 170));
    const int center = channel.globalGain, quiet = int(random.integer(-40, 60));
    int scaleFactor = center, energy = 0, shared = center, lowest = shared, highest = shared;
    bool noiseSeen = false;
    for (std::size_t i = 0; i < books.size(); ++i) {
        if (books[i] == 0 || books[i] >= 14) continue;
        const int before = books[i] == 13 ? energy : scaleFactor;
        if (books[i] == 13 && !noiseSeen) {
            energy = shared = quiet;
            noiseSeen = true;
            channel.gains[i] = quiet;
            continue;  // the first energy is not held to a range
        }
        if (books[i] == 13)
            channel.gains[i] = energy = step(energy, quiet - spread, quiet + spread);
        else
            channel.gains[i] = scaleFactor = step(scaleFactor, center - spread, center + spread);
        shared += channel.gains[i] - before;
        lowest = std::min(lowest, shared);
        highest = std::max(highest, shared);
    }
    return highest - lowest;
}

TEST(AacChannel, RecoversScaleFactorsAndNoiseEnergiesOfTheStandard) {
    Random random(1);
    int withNoise = 0, shifted = 0, tooWide = 0;
    for (int run = 0; run < 3000; ++run) {
        Channel channel = reference::randomChannel(random, kLongBands, kShortBands, true);
        const int width = makeGains(random, channel, run % 3 == 0 ? 60 : 25);
        BitWriter writer;
        const int start = run % 8;
        writer.put(0, start);
        reference::putChannel(writer, channel, bandsOf(channel), false, false, NoiseChain::own);

        AacCursor cursor;
        cursor.load(writer.bytes());
        cursor.seek(std::size_t(start));
        AacChannel decoded;
        QorAACMainHeader mainHeader{};
        const bool good = decoded.decode(cursor, AacSetup{2, kRateIndex}, mainHeader, false);
        if (width > 255) {
            ++tooWide;
            EXPECT_FALSE(good);
            continue;
        }
        ASSERT_TRUE(good) << "run " << run << " width " << width;
        EXPECT_EQ(cursor.position(), writer.bits());
        EXPECT_TRUE(
            std::equal(channel.gains.begin(), channel.gains.end(), decoded.scaleFactor.begin()));
        const std::vector<int> books = reference::bandBooks(channel);
        EXPECT_TRUE(std::equal(books.begin(), books.end(), decoded.codeBook.begin()));
        const std::vector<int> spectrum = reference::decodedSpectrum(channel, bandsOf(channel));
        EXPECT_TRUE(std::equal(spectrum.begin(), spectrum.end(), decoded.spectrum.begin()));
        // The block is as it was.
        const std::vector<Qor8u> bytes = writer.bytes();
        EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), cursor.data()));
        withNoise += std::count(books.begin(), books.end(), 13) > 1 ? 1 : 0;
        shifted += decoded.info.global_gain != channel.globalGain ? 1 : 0;
    }
    // The cases that matter have occurred.
    EXPECT_GT(withNoise, 500);
    EXPECT_GT(shifted, 50);
    EXPECT_LT(tooWide, 100);
}

// --- whole frames -------------------------------------------------------------------------------

// A run of bits that a CRC word covers, padded with zeros to a length.
struct Run {
    std::size_t begin, end, padTo;
};

// A raw data block in the making.
struct Block {
    BitWriter bits;
    std::vector<Run> covered;

    void cover(std::size_t begin, std::size_t padTo) {
        covered.push_back({begin, bits.bits(), padTo});
    }
    void single(int id, int tag, const Channel& channel) {
        bits.put(Qor32u(id), 3);
        const std::size_t begin = bits.bits();
        bits.put(Qor32u(tag), 4);
        reference::putChannel(bits, channel, bandsOf(channel), false, false, NoiseChain::own);
        cover(begin, 192);
    }
    void pair(int tag, const Channel& left, const Channel& right) {
        bits.put(kCpe, 3);
        const std::size_t begin = bits.bits();
        bits.put(Qor32u(tag), 4);
        bits.put(0, 1);
        reference::putChannel(bits, left, bandsOf(left), false, false, NoiseChain::own);
        const std::size_t second = bits.bits();
        reference::putChannel(bits, right, bandsOf(right), false, false, NoiseChain::own);
        cover(begin, 192);
        cover(second, 128);
    }
    void data(int count) {
        bits.put(kDse, 3);
        const std::size_t begin = bits.bits();
        bits.put(3, 4), bits.put(1, 1), bits.put(Qor32u(count), 8);
        bits.align();
        for (int i = 0; i < count; ++i) bits.put(0xC3, 8);
        cover(begin, 0);
    }
    void fill(const std::vector<Qor8u>& payload) {
        bits.put(kFil, 3);
        bits.put(Qor32u(payload.size()), 4);
        for (const Qor8u byte : payload) bits.put(byte, 8);
    }
    void end() {
        bits.put(kEnd, 3);
        bits.align();
    }
};

// A channel that sounds, without noise and with moderate levels.
Channel quietChannel(Random& random) {
    Channel channel;
    channel.globalGain = 130;
    channel.maxSfb = 20;
    channel.sections = {{{7, 20}}};
    channel.gains.assign(20, 130);
    channel.spectrum.assign(1024, 0);
    for (int k = 0; k < kLongBands[20]; ++k)
        channel.spectrum[std::size_t(k)] = int(random.integer(-7, 7));
    return channel;
}

// The remainder of the bits as a polynomial, long-hand.
std::uint16_t crcOf(const std::vector<int>& bits) {
    std::vector<int> message = bits;
    for (std::size_t i = 0; i < 16; ++i) message[i] ^= 1;  // the start value of all ones
    message.insert(message.end(), 16, 0);
    for (std::size_t i = 0; i < bits.size(); ++i)
        if (message[i] != 0)
            for (const std::size_t power : {0u, 1u, 14u, 16u}) message[i + power] ^= 1;
    std::uint16_t remainder = 0;
    for (std::size_t i = 0; i < 16; ++i)
        remainder = std::uint16_t(remainder << 1 | message[bits.size() + i]);
    return remainder;
}

void addBits(std::vector<int>& bits, const std::vector<Qor8u>& bytes, const Run& run) {
    for (std::size_t i = run.begin; i < (run.padTo == 0 ? run.end : run.begin + run.padTo); ++i)
        bits.push_back(i < run.end ? bytes[i / 8] >> (7 - i % 8) & 1 : 0);
}

std::vector<Qor8u> adtsFrame(const std::vector<Block>& blocks, int channels, bool withCrc) {
    const std::size_t count = blocks.size();
    std::size_t size = 7 + (withCrc ? 2 * count : 0);
    for (const Block& block : blocks)
        size += block.bits.bits() / 8 + (withCrc && count > 1 ? 2 : 0);
    BitWriter head;
    head.put(0xFFF, 12), head.put(0, 3), head.put(withCrc ? 0 : 1, 1);
    head.put(1, 2), head.put(kRateIndex, 4), head.put(0, 1), head.put(Qor32u(channels), 3);
    head.put(0, 4), head.put(Qor32u(size), 13), head.put(0x7FF, 11), head.put(Qor32u(count - 1), 2);
    std::size_t position = 0;
    for (std::size_t i = 0; withCrc && i + 1 < count; ++i)
        head.put(Qor32u(position += blocks[i].bits.bits() / 8 + 2), 16);

    std::vector<Qor8u> frame = head.bytes();
    const auto append = [&](std::uint16_t word) {
        frame.push_back(Qor8u(word >> 8));
        frame.push_back(Qor8u(word & 0xFF));
    };
    std::vector<int> covered;
    addBits(covered, frame, {0, 8 * frame.size(), 0});
    if (withCrc && count == 1)
        for (const Run& run : blocks[0].covered) addBits(covered, blocks[0].bits.bytes(), run);
    if (withCrc) append(crcOf(covered));
    for (const Block& block : blocks) {
        const std::vector<Qor8u> bytes = block.bits.bytes();
        frame.insert(frame.end(), bytes.begin(), bytes.end());
        if (!withCrc || count == 1) continue;
        covered.clear();
        for (const Run& run : block.covered) addBits(covered, bytes, run);
        append(crcOf(covered));
    }
    EXPECT_EQ(frame.size(), size);
    return frame;
}

// Decodes frames of one stream from its start.
struct Decoding {
    std::vector<std::int16_t> pcm;
    AacDecoder::Counts counts;
    bool sawSbr = false, sawCoupling = false;
};

Decoding decode(const std::vector<std::vector<Qor8u>>& frames, int channelConfiguration,
                bool checkCrc) {
    const auto decoder = std::make_unique<AacDecoder>();
    decoder->configure(2, kRateIndex, aacLayout(channelConfiguration));
    Decoding result;
    for (const auto& frame : frames) {
        const auto counts = decoder->decodeAdtsFrame(frame, checkCrc, result.pcm);
        result.counts.blocks += counts.blocks;
        result.counts.concealed += counts.concealed;
    }
    result.sawSbr = decoder->sawSbr();
    result.sawCoupling = decoder->sawCoupling();
    return result;
}

// A 5.1 block with an element of every kind that a CRC word knows.
Block surroundBlock(Random& random) {
    Block block;
    block.single(kSce, 0, quietChannel(random));
    block.data(int(random.integer(0, 20)));
    block.pair(0, quietChannel(random), quietChannel(random));
    block.fill({0x10, 0x20});
    block.pair(1, quietChannel(random), quietChannel(random));
    block.single(kLfe, 0, quietChannel(random));
    block.end();
    return block;
}

TEST(AacFrames, CrcWordsOfOneBlock) {
    Random random(2);
    const auto frame = adtsFrame({surroundBlock(random)}, 6, true);
    const Decoding good = decode({frame}, 6, true);
    EXPECT_EQ(good.counts.blocks, 1u);
    EXPECT_EQ(good.counts.concealed, 0u);
    EXPECT_EQ(good.pcm.size(), 6 * 1024u);
    for (const std::size_t byte : {6u, 7u, 8u}) {  // buffer fullness, and the word itself
        auto broken = frame;
        broken[byte] = Qor8u(broken[byte] ^ 0x10);
        EXPECT_EQ(decode({broken}, 6, true).counts.concealed, 1u);
        EXPECT_EQ(decode({broken}, 6, false).pcm, good.pcm);
    }
}

TEST(AacFrames, ShortElementsAreCoveredAsIfZerosFollowed) {
    Block block;
    Channel silent;
    silent.globalGain = 100;
    silent.spectrum.assign(1024, 0);
    block.single(kSce, 0, silent);
    block.end();
    EXPECT_LT(block.bits.bits(), 192u);
    EXPECT_EQ(decode({adtsFrame({block}, 1, true)}, 1, true).counts.concealed, 0u);
}

TEST(AacFrames, SeveralBlocksWithAndWithoutCrcSoundTheSame) {
    Random random(3);
    std::vector<Block> blocks;
    for (int i = 0; i < 4; ++i) blocks.push_back(surroundBlock(random));
    std::vector<std::vector<Qor8u>> single;
    for (const Block& block : blocks) single.push_back(adtsFrame({block}, 6, false));
    const Decoding alone = decode(single, 6, true);
    EXPECT_EQ(alone.counts.blocks, 4u);
    EXPECT_EQ(alone.counts.concealed, 0u);
    EXPECT_EQ(decode({adtsFrame(blocks, 6, false)}, 6, true).pcm, alone.pcm);
    auto withCrc = adtsFrame(blocks, 6, true);
    const Decoding checked = decode({withCrc}, 6, true);
    EXPECT_EQ(checked.counts.concealed, 0u);
    EXPECT_EQ(checked.pcm, alone.pcm);

    // The word of the third block: that one alone is concealed.
    std::size_t position = 7 + 2 * 4;
    for (int i = 0; i < 3; ++i) position += blocks[std::size_t(i)].bits.bits() / 8 + 2;
    withCrc[position - 1] ^= 1;
    const Decoding broken = decode({withCrc}, 6, true);
    EXPECT_EQ(broken.counts.blocks, 4u);
    EXPECT_EQ(broken.counts.concealed, 1u);
    EXPECT_EQ(decode({withCrc}, 6, false).pcm, alone.pcm);
    // The word of the header: all of them.
    withCrc[position - 1] ^= 1;
    withCrc[7 + 2 * 4 - 1] ^= 1;
    EXPECT_EQ(decode({withCrc}, 6, true).counts.concealed, 4u);
}

// A channel of nothing but noise of one energy in two bands.
Channel noiseChannel(int energy) {
    Channel channel;
    channel.globalGain = 130;
    channel.maxSfb = 20;
    channel.sections = {{{0, 18}, {13, 2}}};
    channel.gains.assign(20, 0);
    channel.gains[18] = channel.gains[19] = energy;
    channel.spectrum.assign(1024, 0);
    return channel;
}

TEST(AacFrames, NoiseHasAnyEnergy) {
    const auto pcmOf = [](int energy) {
        Block block;
        block.single(kSce, 0, noiseChannel(energy));
        block.end();
        const auto frame = adtsFrame({block}, 1, false);
        return decode({frame, frame}, 1, false).pcm;
    };
    for (const int energy : {-200, -40, -7, -3, -1, 0})
        for (const std::int16_t sample : pcmOf(energy)) ASSERT_EQ(sample, 0) << energy;
    // Four steps are a factor of 2.
    const std::vector<std::int16_t> soft = pcmOf(80), loud = pcmOf(88);
    ASSERT_EQ(soft.size(), loud.size());
    for (std::size_t i = 0; i < soft.size(); ++i) ASSERT_NEAR(loud[i], 4 * soft[i], 4) << i;
    EXPECT_GT(*std::max_element(loud.begin(), loud.end()), 10000);
    const std::vector<std::int16_t> tooLoud = pcmOf(130);
    EXPECT_EQ(*std::max_element(tooLoud.begin(), tooLoud.end()), 32767);
    EXPECT_EQ(*std::min_element(tooLoud.begin(), tooLoud.end()), -32768);
}

// A coupling element with lists of both kinds of gains, between elements that sound.
void putCoupling(Block& block, Random& random, const Channel& channel, bool independent) {
    BitWriter& bits = block.bits;
    bits.put(kCce, 3);
    const std::size_t begin = bits.bits();
    bits.put(5, 4);
    bits.put(independent ? 1 : 0, 1);
    bits.put(2, 3);                                     // three targets
    bits.put(0, 1), bits.put(0, 4);                     // a single channel
    bits.put(1, 1), bits.put(1, 4), bits.put(0b10, 2);  // the left one of a pair
    bits.put(1, 1), bits.put(2, 4), bits.put(0b11, 2);  // both of a pair: two lists
    bits.put(0b1011, 4);
    reference::putChannel(bits, channel, bandsOf(channel), false, false, NoiseChain::own);
    for (int list = 1; list < 4; ++list) {
        const bool common = independent || list == 2;
        if (!independent) bits.put(common ? 1 : 0, 1);
        for (const int book : reference::bandBooks(channel)) {
            if (common || book != 0) reference::putDifference(bits, int(random.integer(-60, 60)));
            if (common) break;
        }
        if (common && reference::bandBooks(channel).empty())
            reference::putDifference(bits, int(random.integer(-60, 60)));
    }
    block.cover(begin, 192);
}

TEST(AacFrames, CouplingElementsAreReadOver) {
    Random random(4);
    for (int run = 0; run < 40; ++run) {
        Channel coupling;
        do coupling = reference::randomChannel(random, kLongBands, kShortBands, false);
        while (coupling.pulse || coupling.spectrum.empty());
        for (int& value : coupling.spectrum) value = std::clamp(value, -1000, 1000);
        Block plain, coupled;
        const Channel left = quietChannel(random), right = quietChannel(random);
        plain.pair(0, left, right);
        plain.end();
        putCoupling(coupled, random, coupling, run % 2 == 0);
        coupled.pair(0, left, right);
        coupled.end();
        const Decoding expected = decode({adtsFrame({plain}, 2, true)}, 2, true);
        const Decoding decoded = decode({adtsFrame({coupled}, 2, true)}, 2, true);
        EXPECT_EQ(decoded.counts.concealed, 0u);
        EXPECT_TRUE(decoded.sawCoupling);
        EXPECT_FALSE(expected.sawCoupling);
        EXPECT_EQ(decoded.pcm, expected.pcm);
    }
}

TEST(AacFrames, SbrDataAreSkippedAndTold) {
    Random random(5);
    const Channel channel = quietChannel(random);
    for (const int type : {0, 1, 11, 13, 14}) {
        Block block;
        block.single(kSce, 0, channel);
        block.fill({Qor8u(type << 4), 1, 2, 3});
        block.end();
        const Decoding decoded = decode({adtsFrame({block}, 1, false)}, 1, false);
        EXPECT_EQ(decoded.counts.concealed, 0u);
        EXPECT_EQ(decoded.sawSbr, type >= 13);
    }
}

TEST(AacFrames, WhatMakesABlockADamagedOne) {
    Random random(6);
    const Channel channel = quietChannel(random);
    const auto concealed = [&](const Block& block, int channels) {
        return decode({adtsFrame({block}, channels, false)}, channels, false).counts.concealed;
    };
    Block good, noEnd, twice, wrongKind, pastTheEnd;
    good.single(kSce, 0, channel);
    good.end();
    noEnd.single(kSce, 0, channel);
    noEnd.bits.align();
    twice.single(kSce, 0, channel);
    twice.single(kSce, 1, channel);
    twice.end();
    wrongKind.pair(0, channel, channel);
    wrongKind.end();
    pastTheEnd.bits.put(kDse, 3);
    pastTheEnd.bits.put(0, 5), pastTheEnd.bits.put(200, 8);
    EXPECT_EQ(concealed(good, 1), 0u);
    EXPECT_EQ(concealed(noEnd, 1), 1u);
    EXPECT_EQ(concealed(twice, 1), 1u);
    EXPECT_EQ(concealed(wrongKind, 1), 1u);
    EXPECT_EQ(concealed(pastTheEnd, 1), 1u);
    auto cut = adtsFrame({good}, 1, false);
    cut.pop_back();
    EXPECT_EQ(decode({cut}, 1, false).counts.concealed, 1u);
}

TEST(AacFrames, ConcealmentFadesOut) {
    Random random(7);
    Block block;
    block.single(kSce, 0, quietChannel(random));
    block.end();
    const auto frame = adtsFrame({block}, 1, false);
    const std::vector<Qor8u> damaged(frame.begin(), frame.begin() + 10);
    const Decoding decoded = decode({frame, frame, damaged, damaged, damaged, damaged}, 1, false);
    ASSERT_EQ(decoded.counts.concealed, 4u);
    double last = 1e30;
    for (int b = 1; b < 6; ++b) {
        double energy = 0;
        for (int i = 0; i < 1024; ++i) {
            const double x = decoded.pcm[std::size_t(1024 * b + i)];
            energy += x * x;
        }
        EXPECT_LT(energy, last);
        EXPECT_GT(energy, 0);
        last = energy * 0.7;
    }
}

// --- layouts ------------------------------------------------------------------------------------

std::vector<int> places(const AacLayout& layout) {
    std::vector<int> result;
    for (const AacSlot& slot : layout.slots)
        for (int i = 0; i < (slot.id == kCpe ? 2 : 1); ++i) result.push_back(slot.place[i]);
    return result;
}

TEST(AacLayouts, ChannelConfigurations) {
    const std::vector<std::vector<int>> expected = {{},
                                                    {0},
                                                    {0, 1},
                                                    {2, 0, 1},
                                                    {2, 0, 1, 3},
                                                    {2, 0, 1, 3, 4},
                                                    {2, 0, 1, 4, 5, 3},
                                                    {2, 6, 7, 0, 1, 4, 5, 3}};
    for (int configuration = 1; configuration < 8; ++configuration)
        EXPECT_EQ(places(*aacLayout(configuration)), expected[std::size_t(configuration)]);
    EXPECT_FALSE(aacLayout(0));
    EXPECT_FALSE(aacLayout(8));
}

TEST(AacLayouts, ProgramConfigurations) {
    QorAACPrgCfgElt pce{};
    EXPECT_FALSE(aacLayout(pce));  // no channel at all
    pce.num_front_channel_elements = 2;
    pce.front_element_is_cpe[1] = 1;
    pce.front_element_tag_select[0] = 3;
    pce.num_side_channel_elements = 1;
    pce.side_element_is_cpe[0] = 1;
    pce.num_back_channel_elements = 1;
    pce.back_element_is_cpe[0] = 1;
    pce.num_lfe_channel_elements = 1;
    pce.lfe_element_tag_select[0] = 9;
    // Front 2 0 1, side behind back, LFE: 7.1.
    EXPECT_EQ(places(*aacLayout(pce)), (std::vector<int>{2, 0, 1, 6, 7, 4, 5, 3}));
    EXPECT_EQ(aacLayout(pce)->slots[0].tag, 3);
    EXPECT_EQ(aacLayout(pce)->slots[4].tag, 9);
    pce.back_element_is_cpe[0] = 0;
    EXPECT_EQ(places(*aacLayout(pce)), (std::vector<int>{2, 0, 1, 5, 6, 4, 3}));
    pce.num_lfe_channel_elements = 2;
    EXPECT_FALSE(aacLayout(pce));
    // Two single channels in front are left and right.
    pce = {};
    pce.num_front_channel_elements = 2;
    EXPECT_EQ(places(*aacLayout(pce)), (std::vector<int>{0, 1}));
    pce.num_front_channel_elements = 6;
    EXPECT_FALSE(aacLayout(pce));
}

// Elements find their places by their tags, in whatever order they come.
TEST(AacLayouts, TagsOfAProgramConfiguration) {
    Random random(8);
    const Channel a = quietChannel(random), b = quietChannel(random);
    const auto decoded = [&](bool swapped) {
        Block block;
        BitWriter& bits = block.bits;
        bits.put(kPce, 3);
        const std::size_t begin = bits.bits();
        bits.put(0, 4), bits.put(1, 2), bits.put(kRateIndex, 4);
        bits.put(2, 4), bits.put(0, 4), bits.put(0, 4), bits.put(0, 2), bits.put(0, 3);
        bits.put(0, 4), bits.put(0, 3);
        bits.put(0, 1), bits.put(7, 4), bits.put(0, 1), bits.put(2, 4);
        bits.align();
        bits.put(0, 8);
        block.cover(begin, 0);
        block.single(kSce, swapped ? 2 : 7, swapped ? b : a);
        block.single(kSce, swapped ? 7 : 2, swapped ? a : b);
        block.end();
        return decode({adtsFrame({block}, 0, true)}, 0, true);
    };
    EXPECT_EQ(decoded(false).counts.concealed, 0u);
    EXPECT_EQ(decoded(false).pcm.size(), 2048u);
    EXPECT_EQ(decoded(true).pcm, decoded(false).pcm);
}

}  // namespace
}  // namespace qorac::test
