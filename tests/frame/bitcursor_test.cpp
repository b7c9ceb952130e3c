#include "frame/bitcursor.h"

#include <array>
#include <vector>

#include "gmock/gmock.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

// Bit `index` of the stream, counted from the top bit of its first byte.
int bitAt(const std::vector<Qor8u>& bytes, std::size_t index) {
    return (bytes[index / 8] >> (7 - index % 8)) & 1;
}

TEST(GetBits, ReadsEveryWidthAtEveryOffsetLikeSingleBits) {
    Random random(1);
    const auto bytes = random.integers<Qor8u>(8, 0, 255);
    for (int offset = 0; offset < 8; ++offset) {
        for (int width = offset == 0 ? 1 : 0; width <= 32 - offset; ++width) {
            Guarded<Qor8u> stream{std::span<const Qor8u>(bytes)};
            Qor8u* p = stream.data();
            Qor32s position = offset;
            const Qor32u value = ownsGetBits_AAC(&p, &position, width);
            Qor32u expected = 0;
            for (int i = 0; i < width; ++i) expected = expected << 1 | bitAt(bytes, offset + i);
            EXPECT_EQ(value, expected) << "offset " << offset << " width " << width;
            EXPECT_EQ((p - stream.data()) * 8 + position, offset + width);
            EXPECT_LE(position, 7);
        }
    }
}

TEST(GetBits, TwentyFiveBitsAtOffsetSevenEndOnAByteBoundary) {
    std::array<Qor8u, 8> bytes{0xFF, 0x12, 0x34, 0x56, 0x80, 0, 0, 0};
    Qor8u* p = bytes.data();
    Qor32s offset = 7;
    EXPECT_EQ(ownsGetBits_AAC(&p, &offset, 25), 0x1123456u);
    EXPECT_EQ(p, bytes.data() + 4);
    EXPECT_EQ(offset, 0);
    EXPECT_EQ(ownsGetBits_AAC(&p, &offset, 1), 1u);
}

TEST(GetBits, WidthZeroAtOffsetZeroGivesTheWholeWord) {
    std::array<Qor8u, 4> bytes{0xDE, 0xAD, 0xBE, 0xEF};
    Qor8u* p = bytes.data();
    Qor32s offset = 0;
    EXPECT_EQ(ownsGetBits_AAC(&p, &offset, 0), 0xDEADBEEFu);
    EXPECT_EQ(p, bytes.data());
}

TEST(GetBits, ReadsNoFurtherThanFourBytesFromItsFirst) {
    Guarded<Qor8u> stream(4);
    Qor8u* p = stream.data();
    Qor32s offset = 0;
    EXPECT_EQ(ownsGetBits_AAC(&p, &offset, 1), 0u);  // the guard page stands at byte 4
}

TEST(ByteAlign, MovesOnlyWithinAByte) {
    std::array<Qor8u, 2> bytes{};
    Qor8u* p = bytes.data();
    Qor32s offset = 0;
    ownsByteAlign_AAC(&p, &offset);
    EXPECT_EQ(p, bytes.data());
    offset = 3;
    ownsByteAlign_AAC(&p, &offset);
    EXPECT_EQ(p, bytes.data() + 1);
    EXPECT_EQ(offset, 0);
}

TEST(SetBits, WidthZeroTouchesNothing) {
    std::array<Qor8u, 2> bytes{0xA5, 0x5A};
    Qor8u* p = bytes.data();
    Qor32s offset = 3;
    ownSetBits(&p, &offset, 0xFFFFFFFFu, 0);
    EXPECT_EQ(p, bytes.data());
    EXPECT_EQ(offset, 3);
    EXPECT_EQ(bytes[0], 0xA5);
}

TEST(SetBits, AByteAtOffsetZeroLeavesTheNextByteAlone) {
    Guarded<Qor8u> bytes(2);
    bytes[0] = 0xFF;
    bytes[1] = 0x3C;
    Qor8u* p = bytes.data();
    Qor32s offset = 0;
    ownSetBits(&p, &offset, 0x81, 8);
    EXPECT_EQ(bytes[0], 0x81);
    EXPECT_EQ(bytes[1], 0x3C);
    EXPECT_EQ(p, bytes.data() + 1);
    EXPECT_EQ(offset, 0);
}

TEST(SetBits, ThirtyTwoBitsAreMaskedToZero) {
    std::array<Qor8u, 5> bytes{0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    Qor8u* p = bytes.data();
    Qor32s offset = 0;
    ownSetBits(&p, &offset, 0xFFFFFFFFu, 32);
    EXPECT_THAT(bytes, testing::ElementsAre(0, 0, 0, 0, 0xFF));
}

// Inside a byte the field is ORed over what stands below the cursor; a field that runs into the
// next byte replaces it.
TEST(SetBits, StaleBitsBelowTheCursor) {
    std::array<Qor8u, 2> inside{0xA7, 0};
    Qor8u* p = inside.data();
    Qor32s offset = 4;
    ownSetBits(&p, &offset, 0, 2);
    EXPECT_EQ(inside[0], 0xA7);
    EXPECT_EQ(offset, 6);

    std::array<Qor8u, 2> beyond{0xA7, 0xFF};
    p = beyond.data();
    offset = 4;
    ownSetBits(&p, &offset, 0, 6);
    EXPECT_EQ(beyond[0], 0xA0);
    EXPECT_EQ(beyond[1], 0x00);
    EXPECT_EQ(offset, 2);
}

TEST(BitAppender, WritesWhatSetBitsWrites) {
    Random random(7);
    for (int run = 0; run < 2000; ++run) {
        const Qor32s start = Qor32s(random.integer(0, 7));
        std::vector<std::pair<Qor32u, int>> fields(std::size_t(random.integer(0, 12)));
        int total = start;
        for (auto& [value, nBits] : fields) {
            nBits = int(random.integer(0, random.chance(0.5) ? 3 : 31));
            value = Qor32u(random.integer(0, 0x7FFFFFFF)) & ((1u << nBits) - 1);
            total += nBits;
        }
        std::vector<Qor8u> stale(std::size_t(total) / 8 + 1);
        for (Qor8u& byte : stale) byte = Qor8u(random.integer(0, 255));

        std::vector<Qor8u> plain = stale;
        Qor8u* pPlain = plain.data();
        Qor32s plainOffset = start;
        for (const auto& [value, nBits] : fields) ownSetBits(&pPlain, &plainOffset, value, nBits);

        Guarded<Qor8u> stream{std::span<const Qor8u>(stale)};
        Qor8u* p = stream.data();
        Qor32s offset = start;
        BitAppender out(&p, &offset);
        for (const auto& [value, nBits] : fields) out.put(value, nBits);
        out.store();
        ASSERT_EQ(stream.copy(), plain);
        ASSERT_EQ(p - stream.data(), pPlain - plain.data());
        ASSERT_EQ(offset, plainOffset);
    }
}

TEST(SetBits, FieldsReadBackOverAnyFormerContent) {
    Random random(2);
    for (int run = 0; run < 200; ++run) {
        std::vector<std::pair<Qor32u, int>> fields;
        std::size_t bits = 0;
        for (int i = 0; i < 50; ++i) {
            const int width = static_cast<int>(random.integer(0, 25));
            fields.emplace_back(static_cast<Qor32u>(random.integer(0, 0xFFFFFFFFll)), width);
            bits += width;
        }
        Guarded<Qor8u> stream(bits / 8 + 1);  // one byte behind the last full one, no more
        for (Qor8u& byte : stream.span()) byte = static_cast<Qor8u>(random.integer(0, 255));
        Qor8u* p = stream.data();
        Qor32s offset = 0;
        for (const auto& [value, width] : fields) ownSetBits(&p, &offset, value, width);
        EXPECT_EQ(std::size_t(p - stream.data()) * 8 + offset, bits);

        std::vector<Qor8u> padded = stream.copy();
        padded.resize(padded.size() + 4);
        p = padded.data();
        offset = 0;
        for (const auto& [value, width] : fields) {
            if (width == 0) continue;
            EXPECT_EQ(ownsGetBits_AAC(&p, &offset, width), value & ((1u << width) - 1));
        }
    }
}

}  // namespace
}  // namespace qorac
