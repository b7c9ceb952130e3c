// The Huffman tables of the Layer III encoder (ISO 11172-3 Table B.7), by the stream's table
// number. A row without codes (0, 4, 14) has xlen 0. The symbol of a pair is xlen * x + y, that of
// a quadruple (tables 32 and 33) 8v + 4w + 2x + y.
#pragma once

#include "frame/mp3huffcodes.h"
#include "qorac.h"

namespace qorac {

struct HuffmanTable {
    Qor32s xlen;               // alphabet size of one value
    Qor32s linbits;            // escape bits of a value of 15 and more
    Qor32s linmax;             // 2^linbits of an escape table, else 0
    const HuffmanCode* pCode;  // code and length of each symbol, without sign and escape bits
};

extern const HuffmanTable pHf_table[34];

}  // namespace qorac
