// Decoding of escape blocks over unsigned code books: a leaf holds the magnitudes of a pair, and
// the signs follow its code. Bits in, 16-bit integers out.
#include "vlc/vlcdecode.h"

namespace qorac::vlc {
namespace {

// Leaves with two unsigned fields of tupleElementBits at the top of a field of tupleBits. One mask
// for each in its place, and not one behind both shifts, saves 8 % with elements of 16 bits.
class UnsignedLeaves {
  public:
    QORAC_INLINE explicit UnsignedLeaves(const QorVLCDecodeSpec& spec)
        : shiftX_(spec.lengthBits + 1 + spec.tupleBits - spec.tupleElementBits),
          shiftY_(shiftX_ - spec.tupleElementBits),
          maskX_(shlMod32(shlMod32(1, spec.tupleElementBits) - 1, shiftX_)),
          maskY_(shlMod32(shlMod32(1, spec.tupleElementBits) - 1, shiftY_)) {}

    QORAC_INLINE Pair pairOf(Qor32s entry) const {
        return {int(shrMod32(Qor32u(entry) & maskX_, shiftX_)),
                int(shrMod32(Qor32u(entry) & maskY_, shiftY_))};
    }

    static QORAC_INLINE int takeSigns(Qor64u bits, Pair& pair) {
        const int signX = pair.x != 0, signY = pair.y != 0;
        pair.x = withSign(pair.x, int(bits >> 63) & signX);
        pair.y = withSign(pair.y, int(bits << signX >> 63) & signY);
        return signX + signY;
    }

  private:
    int shiftX_, shiftY_;
    Qor32u maskX_, maskY_;
};

// Code, sign of x, sign of y, escape of x, escape of y.
struct AacTuples : UnsignedLeaves {
    using UnsignedLeaves::UnsignedLeaves;

    static QORAC_INLINE bool hasEscape(Pair pair) { return pair.x == 16 || pair.y == 16; }
    static QORAC_INLINE QorStatus takeEscaped(BitReader& reader, Qor64u bits, Pair pair, int,
                                              Qor16s* pDst) {
        const int signs = takeSigns(bits, pair);
        reader.skip(signs);
        return takeEscapes(reader, bits << signs, pair, pDst);
    }
};

// Code, linbits of x, sign of x, linbits of y, sign of y.
struct Mp3Tuples : UnsignedLeaves {
    using UnsignedLeaves::UnsignedLeaves;

    static QORAC_INLINE bool hasEscape(Pair pair) { return pair.x == 15 || pair.y == 15; }
    static QORAC_INLINE QorStatus takeEscaped(BitReader& reader, Qor64u, Pair pair, int linbits,
                                              Qor16s* pDst) {
        pDst[0] = takeLinbitsAndSign(reader, pair.x, linbits);
        pDst[1] = takeLinbitsAndSign(reader, pair.y, linbits);
        return qorStsNoErr;
    }
};

QORAC_CLONES QorStatus decodeAac(Qor8u** ppBitStream, Qor32s* pBitOffset, Qor16s* pDst,
                                 Qor32s pairs, const QorVLCDecodeSpec& spec) {
    return decodeBlock<AacTuples>(ppBitStream, pBitOffset, 0, pDst, pairs, spec);
}

QORAC_CLONES QorStatus decodeMp3(Qor8u** ppBitStream, Qor32s* pBitOffset, int linbits, Qor16s* pDst,
                                 Qor32s pairs, const QorVLCDecodeSpec& spec) {
    return decodeBlock<Mp3Tuples>(ppBitStream, pBitOffset, linbits, pDst, pairs, spec);
}

}  // namespace
}  // namespace qorac::vlc

using namespace qorac::vlc;

QorStatus qorsVLCDecodeUTupleEscBlock_AAC_1u16s(Qor8u** ppBitStream, Qor32s* pBitOffset,
                                                Qor16s* pDst, Qor32s len,
                                                const QorVLCDecodeSpec* pSpec) {
    return checkAndDecode(ppBitStream, pBitOffset, pDst, len, pSpec,
                          [=](Qor32s pairs, const QorVLCDecodeSpec& spec) {
                              return decodeAac(ppBitStream, pBitOffset, pDst, pairs, spec);
                          });
}

QorStatus qorsVLCDecodeUTupleEscBlock_MP3_1u16s(Qor8u** ppBitStream, Qor32s* pBitOffset,
                                                Qor32s linbits, Qor16s* pDst, Qor32s len,
                                                const QorVLCDecodeSpec* pSpec) {
    return checkAndDecode(ppBitStream, pBitOffset, pDst, len, pSpec,
                          [=](Qor32s pairs, const QorVLCDecodeSpec& spec) {
                              return decodeMp3(ppBitStream, pBitOffset, linbits, pDst, pairs, spec);
                          });
}
