// Lookup tables of the Huffman decoder, derived from the code list of ISO 11172-3 Table B.7.
//
// A pair table is indexed by the next rootBits bits. An entry is either a pair or, where the code
// is longer, a link to a second level that is indexed by the bits behind.
#pragma once

#include "qorac.h"

namespace qorac {

struct PairEntry {
    Qor8u codeLength;   // of the whole code; of a link: index bits of the second level
    Qor8u totalLength;  // code and sign bits; of a link: 0
    Qor8u x, y;         // magnitudes; of a link: offset of the second level, low and high byte
};

struct PairTable {
    const PairEntry* entries;  // null: the table has no codes
    Qor8u rootBits;
    Qor8u linbits;
};

// By table_select, 0 to 31.
extern const PairTable _pHfPTable[32];

// A quadruple with its signs.
struct QuadEntry {
    Qor8s value[4];  // v, w, x, y
    Qor8u length;    // code and sign bits
};

// By count1table_select: bits of the index (the longest code and four signs), and the table.
constexpr int kQuadIndexBits[2] = {10, 8};
extern const QuadEntry* const _pHfQTable[2];

}  // namespace qorac
