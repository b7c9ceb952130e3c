#include "reference/huffman.h"

#include <algorithm>
#include <cstdlib>
#include <map>
#include <span>

#include "frame/mp3huffcodes.h"

namespace qorac::reference {

namespace {

constexpr int kQuadA = 32;

std::span<const HuffmanCode> codesOf(int table) {
    switch (table < 16 ? table : table < 24 ? 16 : table < 32 ? 24 : table) {
        case 1:
            return _pHuffmanCode1;
        case 2:
            return _pHuffmanCode2;
        case 3:
            return _pHuffmanCode3;
        case 5:
            return _pHuffmanCode5;
        case 6:
            return _pHuffmanCode6;
        case 7:
            return _pHuffmanCode7;
        case 8:
            return _pHuffmanCode8;
        case 9:
            return _pHuffmanCode9;
        case 10:
            return _pHuffmanCode10;
        case 11:
            return _pHuffmanCode11;
        case 12:
            return _pHuffmanCode12;
        case 13:
            return _pHuffmanCode13;
        case 15:
            return _pHuffmanCode15;
        case 16:
            return _pHuffmanCode16;
        case 24:
            return _pHuffmanCode24;
        case 32:
            return _pHuffmanCode32;
        case 33:
            return _pHuffmanCode33;
        default:
            std::abort();
    }
}

// Symbol number by (length, code).
int readSymbol(BitReader& reader, int table) {
    using Symbols = std::map<std::pair<int, unsigned>, int>;
    static std::array<Symbols, 34> decoders;
    Symbols& symbols = decoders[table];
    if (symbols.empty()) {
        const auto codes = codesOf(table);
        for (std::size_t i = 0; i < codes.size(); ++i)
            symbols[{codes[i].length, codes[i].code}] = static_cast<int>(i);
    }
    unsigned code = 0;
    for (int length = 1; length <= 19; ++length) {
        code = code << 1 | reader.get(1);
        const auto found = symbols.find({length, code});
        if (found != symbols.end()) return found->second;
    }
    std::abort();  // cannot be: the codes are complete
}

int readSigned(BitReader& reader, int magnitude) {
    return magnitude != 0 && reader.get(1) ? -magnitude : magnitude;
}

int readValue(BitReader& reader, int table, int value) {
    if (value == 15) value += static_cast<int>(reader.get(kHuffmanLinbits[table]));
    return readSigned(reader, value);
}

void putSign(Bits& bits, int value) {
    if (value != 0) bits.put(value < 0, 1);
}

}  // namespace

int largestValue(int table) {
    return hasCodes(table) ? kHuffmanAlphabet[table] - 1 + (1 << kHuffmanLinbits[table]) - 1 : 0;
}

void encodePair(Bits& bits, int table, int x, int y) {
    if (!hasCodes(table)) return;
    const int linbits = kHuffmanLinbits[table], cap = kHuffmanAlphabet[table] - 1;
    const int px = std::min(std::abs(x), cap), py = std::min(std::abs(y), cap);
    const HuffmanCode& code = codesOf(table)[px * kHuffmanAlphabet[table] + py];
    bits.put(code.code, code.length);
    if (linbits && px == 15) bits.put(std::abs(x) - 15, linbits);
    putSign(bits, x);
    if (linbits && py == 15) bits.put(std::abs(y) - 15, linbits);
    putSign(bits, y);
}

void encodeQuad(Bits& bits, int table, const std::array<int, 4>& values) {
    int symbol = 0;
    for (int value : values) symbol = 2 * symbol + std::abs(value);
    const HuffmanCode& code = codesOf(kQuadA + table)[symbol];
    bits.put(code.code, code.length);
    for (int value : values) putSign(bits, value);
}

DecodedSpectrum decodeSpectrum(const std::vector<Qor8u>& bytes, std::size_t position,
                               const std::vector<Qor32s>& old, const QorMP3SideInfo& side,
                               RegionEnds regions, int hufSize) {
    DecodedSpectrum out{qorStsNoErr, old, 0, position, position};
    const auto badTable = [&](int i) {
        return side.table_select[i] < 0 || side.table_select[i] > 31;
    };
    BitReader reader(bytes, position);
    const auto fail = [&](QorStatus status) {
        out.status = status;
        out.end = out.used = reader.position();
        return out;
    };
    if (hufSize == 0) {
        for (int i = 0; i < regions.count; ++i)
            if (badTable(i)) return fail(qorStsMp3SideInfoErr);
        std::fill(out.values.begin(), out.values.end(), 0);
        return out;
    }
    const int big = 2 * side.big_values;
    const int end0 = std::min(regions.end0, big), end1 = std::min(regions.end1, big);
    const int sizes[3] = {end0, end1 - end0, big - end1};
    int index = 0;
    for (int i = 0; i < regions.count; ++i) {
        const int table = side.table_select[i];
        if (badTable(i)) return fail(qorStsMp3SideInfoErr);
        // An odd size is rounded up to a pair, and the next region begins behind it.
        for (int pairs = (sizes[i] + 1) / 2; pairs > 0; --pairs, index += 2) {
            int x = 0, y = 0;
            if (hasCodes(table)) {
                const int symbol = readSymbol(reader, table), n = kHuffmanAlphabet[table];
                x = readValue(reader, table, symbol / n);
                y = readValue(reader, table, symbol % n);
            }
            out.values[index] = x;
            out.values[index + 1] = y;
        }
    }
    index = big;
    const std::size_t limit = position + hufSize;
    if (reader.position() > limit) return fail(qorStsErr);

    while (index < 574 && reader.position() < limit) {
        const int symbol = readSymbol(reader, kQuadA + side.count1table_select);
        int quad[4];
        for (int k = 0; k < 4; ++k) quad[k] = readSigned(reader, symbol >> (3 - k) & 1);
        if (reader.position() > limit) break;
        std::copy_n(quad, 4, out.values.begin() + index);
        index += 4;
    }
    out.used = reader.position();
    out.end = limit;
    std::fill(out.values.begin() + index, out.values.end(), 0);
    for (int i = 0; i < 576; ++i)
        if (out.values[i] != 0) out.bound = i + 1;
    return out;
}

}  // namespace qorac::reference
