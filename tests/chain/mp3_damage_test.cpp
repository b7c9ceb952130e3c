// Damaged MP3 streams: the decoder ends, stays inside its buffers (the sanitizers watch) and gives
// about as much sound as the stream has.
#include <algorithm>

#include "audiodecoder.h"
#include "chain/streams.h"
#include "gtest/gtest.h"
#include "support/random.h"

namespace qorac::test {
namespace {

using Bytes = std::vector<std::uint8_t>;

std::vector<std::filesystem::path> streams() {
    auto all = conformanceStreams("mp3", ".bit");
    all.emplace_back(QORAC_DEMO_FILE);
    return all;
}

struct Outcome {
    std::size_t samples = 0;
    DecodeReport report;
};

// Nothing where the damage left no MP3 to be found.
std::optional<Outcome> decode(Bytes bytes, bool strict = false) {
    ByteSource source(std::move(bytes));
    std::unique_ptr<AudioDecoder> decoder;
    try {
        decoder = makeAudioDecoder(source, {.strict = strict});
    } catch (const std::runtime_error&) {
        return std::nullopt;
    }
    Outcome outcome;
    std::vector<std::int16_t> pcm;
    while (decoder->decode(pcm)) outcome.samples += pcm.size();
    outcome.report = decoder->report();
    return outcome;
}

Bytes flipped(Bytes bytes, Random& random) {
    const auto count = random.integer(1, 200);
    for (int i = 0; i < count; ++i)
        bytes[static_cast<std::size_t>(
            random.integer(0, static_cast<std::int64_t>(bytes.size()) - 1))] ^=
            static_cast<std::uint8_t>(random.integer(1, 255));
    return bytes;
}

Bytes cut(const Bytes& bytes, Random& random) {
    const auto size = static_cast<std::int64_t>(bytes.size());
    const auto begin = random.integer(0, size - 1), end = random.integer(begin, size);
    Bytes result(bytes.begin(), bytes.begin() + begin);
    result.insert(result.end(), bytes.begin() + end, bytes.end());
    return result;
}

Bytes shuffled(const Bytes& bytes, Random& random) {
    const auto block = static_cast<std::size_t>(random.integer(50, 3000));
    std::vector<std::size_t> order((bytes.size() + block - 1) / block);
    for (std::size_t i = 0; i < order.size(); ++i) order[i] = i;
    for (std::size_t i = order.size(); i > 1; --i)
        std::swap(
            order[i - 1],
            order[static_cast<std::size_t>(random.integer(0, static_cast<std::int64_t>(i) - 1))]);
    Bytes result;
    for (const std::size_t i : order)
        result.insert(
            result.end(), bytes.begin() + static_cast<std::ptrdiff_t>(i * block),
            bytes.begin() + static_cast<std::ptrdiff_t>(std::min((i + 1) * block, bytes.size())));
    return result;
}

TEST(Mp3Damage, FlippedBytesLoseAtMostTheFramesAroundThem) {
    Random random(21);
    for (const auto& path : streams()) {
        SCOPED_TRACE(path.filename());
        const Bytes whole = readFile(path);
        const auto good = decode(whole);
        ASSERT_TRUE(good);
        for (int run = 0; run < 4; ++run) {
            const auto outcome = decode(flipped(whole, random), run % 2 == 1);
            if (outcome) {
                EXPECT_LE(outcome->samples, good->samples * 11 / 10);
            }
        }
    }
}

TEST(Mp3Damage, CutAndShuffledStreamsEnd) {
    Random random(22);
    for (const auto& path : streams()) {
        SCOPED_TRACE(path.filename());
        const Bytes whole = readFile(path);
        for (int run = 0; run < 3; ++run) {
            if (const auto outcome = decode(cut(whole, random))) {
                EXPECT_GE(outcome->report.frames, outcome->report.concealedFrames);
            }
            if (const auto outcome = decode(shuffled(whole, random))) {
                EXPECT_GE(outcome->report.frames, outcome->report.concealedFrames);
            }
        }
    }
}

TEST(Mp3Damage, OneBrokenHeaderKeepsTheLength) {
    Bytes bytes = readFile(QORAC_DEMO_FILE);
    const auto good = decode(bytes);
    ASSERT_TRUE(good);
    ASSERT_EQ(good->report.concealedFrames, 0u);
    // The first byte of a frame in the middle.
    std::size_t position = bytes.size() / 2;
    while (bytes[position] != 0xFF || (bytes[position + 1] & 0xFE) != 0xFA) ++position;
    bytes[position] = 0;
    const auto outcome = decode(bytes);
    ASSERT_TRUE(outcome);
    EXPECT_EQ(outcome->samples, good->samples);
    EXPECT_GE(outcome->report.concealedFrames, 1u);
    EXPECT_LE(outcome->report.concealedFrames, 5u);  // it and those that need its reservoir
}

TEST(Mp3Damage, NoiseIsNotMp3) {
    Random random(23);
    EXPECT_FALSE(decode(Bytes(100000, 0)));
    EXPECT_FALSE(decode({}));
    EXPECT_FALSE(decode({0xFF, 0xFB, 0x90}));
    EXPECT_FALSE(decode(random.integers<std::uint8_t>(20000, 0, 254)));  // no sync byte at all
}

}  // namespace
}  // namespace qorac::test
