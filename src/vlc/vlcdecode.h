// What the decoders of escape blocks share: the bit reader, the walk through the caller's lookup
// table, and the escapes of AAC (ISO/IEC 13818-7 clause 9.2.2) and MP3 (ISO 11172-3 clause
// 2.4.2.7).
//
// A lookup table has levels. A level starts with an element that holds its number of bits b, and
// has an entry for each value of the next b bits. An entry with bit 0 clear links to the level at
// element entry >> 1; one with bit 0 set is a leaf: its length field counts the bits that this last
// level consumes, and the two values of the pair stand above.
#pragma once

#include "frame/dispatch.h"
#include "frame/fixed.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac::vlc {

constexpr Qor32u kDecodeSpecId = 0x434D4160;
constexpr int kSpecAlignment = 32;

// Reads at a position in bits. A look fetches the eight bytes from that of the next bit on: at most
// seven bytes behind the last bit that is used, or eight behind an escape.
class BitReader {
  public:
    static constexpr int kBits = 57;  // sure in one look

    QORAC_INLINE BitReader(const Qor8u* pStream, int offset)
        : pStream_(pStream), position_(unsigned(offset)) {}

    // The next bits from the top bit down.
    QORAC_INLINE Qor64u peek() const {
        Qor64u word;
        __builtin_memcpy(&word, pStream_ + (position_ >> 3), sizeof word);
        return __builtin_bswap64(word) << (position_ & 7);
    }
    QORAC_INLINE void skip(int bits) { position_ += Qor64u(Qor64s(bits)); }

    QORAC_INLINE void store(Qor8u** ppBitStream, Qor32s* pBitOffset) const {
        *ppBitStream += position_ >> 3;
        *pBitOffset = Qor32s(position_ & 7);
    }

  private:
    const Qor8u* pStream_;
    Qor64u position_;
};

// The first n bits, 0 to 63, of what peek gives.
QORAC_INLINE Qor64u topBits(Qor64u bits, int n) { return (bits >> 1) >> (63 - n); }

struct Leaf {
    Qor32s entry;
    int length;  // bits of the whole code
};

// Element is Qor16s or Qor32s: a leaf's value field is signed, a link is not.
template <typename Element>
class LookupTable {
  public:
    QORAC_INLINE explicit LookupTable(const QorVLCDecodeSpec& spec)
        : pTable_(static_cast<const Element*>(spec.pTable)),
          pFirst_(pTable_ + 1),
          firstBits_(pTable_[0]),
          shift_(64 - firstBits_),
          lengthMask_(shlMod32(1, spec.lengthBits) - 1) {
        if (firstBits_ > 0) return;
        only_[0] = only_[1] = pFirst_[0];  // as a level of one bit that is not consumed
        pFirst_ = only_;
        shift_ = 63;
    }
    LookupTable(const LookupTable&) = delete;
    LookupTable& operator=(const LookupTable&) = delete;

    QORAC_INLINE Leaf lookUp(Qor64u bits) const {
        Element entry = pFirst_[bits >> shift_];
        if (__builtin_expect(isLeaf(entry), 1)) return {entry, lengthOf(entry)};
        int before = 0, width = firstBits_;
        do {
            before += width;
            const Element* const pLevel = pTable_ + (unsignedOf(entry) >> 1);
            width = pLevel[0];
            entry = pLevel[1 + topBits(bits << (before & 63), width)];
        } while (!isLeaf(entry));
        return {entry, before + lengthOf(entry)};
    }

  private:
    static QORAC_INLINE Qor32u unsignedOf(Qor16s entry) { return Qor16u(entry); }
    static QORAC_INLINE Qor32u unsignedOf(Qor32s entry) { return Qor32u(entry); }

    static QORAC_INLINE bool isLeaf(Element entry) { return (entry & 1) != 0; }
    QORAC_INLINE int lengthOf(Element entry) const { return int(Qor32u(entry) >> 1 & lengthMask_); }

    const Element* pTable_;
    const Element* pFirst_;  // entries of the first level
    int firstBits_;
    int shift_;
    Qor32u lengthMask_;
    Element only_[2];
};

struct Pair {
    int x, y;
};

// --- escapes ----------------------------------------------------------------------------------

QORAC_INLINE int withSign(int value, int negative) { return (value ^ -negative) + negative; }

// An AAC escape: up to eight ones, a zero, and as many bits of the value as there are ones and four
// more, below a leading one. False when there are more ones.
QORAC_INLINE bool takeEscape(BitReader& reader, Qor64u bits, int& value) {
    const int ones = __builtin_clzll(~bits | 1), width = ones + 4;
    if (ones > 8) return false;
    reader.skip(ones + 1 + width);
    value = int(Qor64u(1) << width | topBits(bits << (ones + 1), width));
    return true;
}

// The AAC escapes of a signed pair, for which `bits` holds the next 21 bits, enough for one; x is
// stored when the escape of y is refused.
QORAC_INLINE QorStatus takeEscapes(BitReader& reader, Qor64u bits, Pair pair, Qor16s* pDst) {
    int x = pair.x < 0 ? -pair.x : pair.x, y = pair.y < 0 ? -pair.y : pair.y;
    if (x == 16) {
        if (!takeEscape(reader, bits, x)) return qorStsVlcEscapeOverflowErr;
        bits = reader.peek();
    }
    pDst[0] = Qor16s(withSign(x, pair.x < 0));
    if (y == 16 && !takeEscape(reader, bits, y)) return qorStsVlcEscapeOverflowErr;
    pDst[1] = Qor16s(withSign(y, pair.y < 0));
    return qorStsNoErr;
}

// What follows the code of an MP3 pair for one magnitude: linbits for 15, and the sign unless it is
// 0.
QORAC_INLINE Qor16s takeLinbitsAndSign(BitReader& reader, int magnitude, int linbits) {
    if (magnitude == 0) return 0;
    const int width = magnitude == 15 ? linbits + 1 : 1;
    const Qor64u field = topBits(reader.peek(), width);
    reader.skip(width);
    const Qor16s value = Qor16s(magnitude + (field >> 1));
    return Qor16s(withSign(value, int(field & 1)));
}

// --- blocks -----------------------------------------------------------------------------------

// A form tells what the values of a leaf mean:
//   pairOf(entry)            the values
//   hasEscape(pair)
//   takeSigns(bits, pair)    gives the pair its signs by the bits behind the code, and tells how
//                            many these are
//   takeEscaped(reader, bits, pair, linbits, pDst)
//                            all that follows the code of a pair with an escape; `bits` begins with
//                            at least 27 bits of it
//
// What limits the speed is the way from the bits of one pair to those of the next. A look that is
// made from the start of a pair, while its code is looked up, holds the next pair as well unless
// codes are very long.
template <typename Form, typename Element, bool looksHoldTwo>
QORAC_INLINE QorStatus decodePairs(Qor8u** ppBitStream, Qor32s* pBitOffset, int linbits,
                                   Qor16s* pDst, Qor32s pairs, const QorVLCDecodeSpec& spec) {
    const LookupTable<Element> table(spec);
    const Form form(spec);
    BitReader reader(*ppBitStream, *pBitOffset);
    Qor16s* const pEnd = pDst + 2 * Qor64s(pairs);
    for (Qor64u bits = reader.peek(); pDst < pEnd; pDst += 2) {
        const Qor64u look = reader.peek();
        if constexpr (!looksHoldTwo) bits = look;
        const Leaf leaf = table.lookUp(bits);
        Pair pair = form.pairOf(leaf.entry);
        if (__builtin_expect(Form::hasEscape(pair), 0)) {
            reader.skip(leaf.length);
            const QorStatus status =
                Form::takeEscaped(reader, look << leaf.length, pair, linbits, pDst);
            if (status != qorStsNoErr) return status;
            bits = reader.peek();
            continue;
        }
        const int signs = Form::takeSigns(bits << leaf.length, pair);
        bits = look << leaf.length << signs;
        reader.skip(leaf.length + signs);
        pDst[0] = Qor16s(pair.x);
        pDst[1] = Qor16s(pair.y);
    }
    reader.store(ppBitStream, pBitOffset);
    return qorStsNoErr;
}

template <typename Form>
QORAC_INLINE QorStatus decodeBlock(Qor8u** ppBitStream, Qor32s* pBitOffset, int linbits,
                                   Qor16s* pDst, Qor32s pairs, const QorVLCDecodeSpec& spec) {
    const auto decode = [&]<typename Element>(Element) QORAC_INLINE_BODY {
        const bool looksHoldTwo = 2 * (unsigned(spec.maxBits) + 2) <= BitReader::kBits;
        return looksHoldTwo ? decodePairs<Form, Element, true>(ppBitStream, pBitOffset, linbits,
                                                               pDst, pairs, spec)
                            : decodePairs<Form, Element, false>(ppBitStream, pBitOffset, linbits,
                                                                pDst, pairs, spec);
    };
    return spec.elementBits == 32 ? decode(Qor32s{}) : decode(Qor16s{});
}

// The checks of all decoders and the call of the one that is meant.
template <typename Decode>
QORAC_INLINE QorStatus checkAndDecode(Qor8u** ppBitStream, const Qor32s* pBitOffset,
                                      const Qor16s* pDst, Qor32s len, const QorVLCDecodeSpec* pSpec,
                                      Decode decode) {
    if (anyNull(ppBitStream, pBitOffset, pDst, pSpec)) return qorStsNullPtrErr;
    if (outside(*pBitOffset, 0, 7)) return qorStsVlcBitOffsetErr;
    const QorVLCDecodeSpec& spec = *alignUp<kSpecAlignment>(pSpec);
    if (spec.id != kDecodeSpecId) return qorStsContextMatchErr;
    const Qor32s pairs = len / 2;
    if (pairs <= 0) return qorStsNoErr;
    return decode(pairs, spec);
}

}  // namespace qorac::vlc
