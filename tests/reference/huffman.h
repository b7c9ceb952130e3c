// Huffman coding of the Layer III spectrum over the plain code list, bit by bit.
#pragma once

#include <array>
#include <vector>

#include "qorac.h"
#include "reference/bits.h"

namespace qorac::reference {

constexpr bool hasCodes(int table) { return table != 0 && table != 4 && table != 14; }

// Largest magnitude that a pair table codes, escape included.
int largestValue(int table);

// Appends a pair with its linbits and signs.
void encodePair(Bits& bits, int table, int x, int y);
// Appends a quadruple; table 0 is the standard's A, 1 its B.
void encodeQuad(Bits& bits, int table, const std::array<int, 4>& values);

// How the block's regions are bounded: in lines, not yet held to twice big_values.
struct RegionEnds {
    int count, end0, end1;
};

struct DecodedSpectrum {
    QorStatus status;
    std::vector<Qor32s> values;  // 576; what was not decoded keeps the old value
    Qor32s bound;                // valid for qorStsNoErr
    std::size_t end;             // cursor, in bits from the start of the bytes
    std::size_t used;            // position behind the last bit that was looked at
};

// Decodes hufSize bits from bit `position` of `bytes`.
DecodedSpectrum decodeSpectrum(const std::vector<Qor8u>& bytes, std::size_t position,
                               const std::vector<Qor32s>& old, const QorMP3SideInfo& side,
                               RegionEnds regions, int hufSize);

}  // namespace qorac::reference
