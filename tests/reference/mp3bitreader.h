// Reads a Layer III stream bit by bit, from the tables of the standard alone.
#pragma once

#include <cstdlib>
#include <vector>

#include "reference/mp3encquant.h"

namespace qorac::reference {

class BitReader {
  public:
    BitReader(const Qor8u* p, std::size_t position) : p_(p), position_(position) {}

    Qor32s get(int nBits) {
        Qor32s value = 0;
        for (int i = 0; i < nBits; ++i, ++position_)
            value = value << 1 | ((p_[position_ / 8] >> (7 - position_ % 8)) & 1);
        return value;
    }
    std::size_t position() const { return position_; }

    // The symbol whose code comes next.
    int symbol(const HuffmanCode* codes, int count) {
        int word = 0;
        for (int length = 1; length <= 20; ++length) {
            word = word << 1 | get(1);
            for (int s = 0; s < count; ++s)
                if (codes[s].length == length && codes[s].code == word) return s;
        }
        return -1;
    }

    void pair(int table, Qor32s& x, Qor32s& y) {
        const int alphabet[16] = {0, 2, 3, 3, 0, 4, 4, 6, 6, 6, 8, 8, 8, 16, 0, 16};
        const int n = table < 16 ? alphabet[table] : 16;
        const int s = symbol(huffmanCodes(table), n * n);
        x = signedValue(s / n, table);
        y = signedValue(s % n, table);
    }

    void quad(int table, Qor32s* values) {
        const int s = symbol(huffmanCodes(table), 16);
        for (int i = 0; i < 4; ++i) values[i] = signedValue((s >> (3 - i)) & 1, 0);
    }

  private:
    Qor32s signedValue(Qor32s value, int table) {
        if (value == 15 && table >= 16) value += get(linbitsOf(table));
        return value != 0 && get(1) ? -value : value;
    }

    const Qor8u* p_;
    std::size_t position_;
};

// The spectrum of one granule and channel: the regions, then quadruples to line `end`.
inline std::vector<Qor32s> readSpectrum(BitReader& in, const QorMP3SideInfo& side,
                                        const Qor16s* sfb, int count1Len) {
    std::vector<Qor32s> ix(576);
    const int big = 2 * side.big_values;
    int a = 36, b = big;
    if (!side.window_switching_flag || side.block_type == 0) {
        a = sfb[side.region0_count + 1];
        b = sfb[side.region0_count + side.region1_count + 2];
    }
    for (int i = 0; i < big; i += 2) {
        const int table = side.table_select[i < a ? 0 : i < b ? 1 : 2];
        if (table != 0) in.pair(table, ix[i], ix[i + 1]);
    }
    for (int i = big; i < big + count1Len; i += 4) in.quad(32 + side.count1table_select, &ix[i]);
    return ix;
}

}  // namespace qorac::reference
