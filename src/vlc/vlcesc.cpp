// Escape blocks over code books whose symbols are signed pairs, as the spectral data of AAC
// (ISO/IEC 13818-7 clause 9.2.2) and MP3 (ISO 11172-3 clause 2.4.2.7) use them: decoding, encoding
// and counting of bits. The code word of a pair contains its signs. 16-bit integers on one side,
// bits on the other.
#include <algorithm>

#include "vlc/vlcdecode.h"

namespace qorac::vlc {
namespace {

// --- decoding ---------------------------------------------------------------------------------

// Leaves with y + 128 in eight bits and x, signed, in all bits above.
class SignedLeaves {
  public:
    QORAC_INLINE explicit SignedLeaves(const QorVLCDecodeSpec& spec)
        : shift_(spec.lengthBits + 1) {}

    QORAC_INLINE Pair pairOf(Qor32s entry) const {
        const Qor32s values = entry >> shift_;
        return {values >> 8, (values & 0xFF) - 128};
    }
    static QORAC_INLINE int takeSigns(Qor64u, const Pair&) { return 0; }

  private:
    int shift_;
};

// Code, escape of x, escape of y.
struct AacPairs : SignedLeaves {
    using SignedLeaves::SignedLeaves;

    static QORAC_INLINE bool hasEscape(Pair pair) {
        return magnitude(pair.x) == 16 || magnitude(pair.y) == 16;
    }
    static QORAC_INLINE QorStatus takeEscaped(BitReader& reader, Qor64u bits, Pair pair, int,
                                              Qor16s* pDst) {
        return takeEscapes(reader, bits, pair, pDst);
    }
};

// Code, linbits of x, sign of x, linbits of y, sign of y. The signs from that of the first escape
// on are no part of the code here, and the leaf counts them: they are given back.
struct Mp3Pairs : SignedLeaves {
    using SignedLeaves::SignedLeaves;

    static QORAC_INLINE bool hasEscape(Pair pair) {
        return magnitude(pair.x) == 15 || magnitude(pair.y) == 15;
    }
    static QORAC_INLINE QorStatus takeEscaped(BitReader& reader, Qor64u, Pair pair, int linbits,
                                              Qor16s* pDst) {
        const bool escapedX = magnitude(pair.x) == 15;
        reader.skip(escapedX && pair.y != 0 ? -2 : -1);
        pDst[0] = escapedX ? takeLinbitsAndSign(reader, 15, linbits) : Qor16s(pair.x);
        pDst[1] = takeLinbitsAndSign(reader, int(magnitude(pair.y)), linbits);
        return qorStsNoErr;
    }
};

QORAC_CLONES QorStatus decodeAac(Qor8u** ppBitStream, Qor32s* pBitOffset, Qor16s* pDst,
                                 Qor32s pairs, const QorVLCDecodeSpec& spec) {
    return decodeBlock<AacPairs>(ppBitStream, pBitOffset, 0, pDst, pairs, spec);
}

QORAC_CLONES QorStatus decodeMp3(Qor8u** ppBitStream, Qor32s* pBitOffset, int linbits, Qor16s* pDst,
                                 Qor32s pairs, const QorVLCDecodeSpec& spec) {
    return decodeBlock<Mp3Pairs>(ppBitStream, pBitOffset, linbits, pDst, pairs, spec);
}

// --- the encoder's code table -----------------------------------------------------------------

constexpr Qor32u kEncodeSpecId = 0x434D415F;

// Both standards: the largest value of the table marks an escape, x stands `stride` entries above
// x - 1, and y next to y - 1.
struct Alphabet {
    int largest;
    int stride;
};

constexpr Alphabet kAac{16, 64}, kMp3{15, 32};

template <Alphabet alphabet>
QORAC_INLINE bool isEscape(int value) {
    return value >= alphabet.largest || value <= -alphabet.largest;
}

template <Alphabet alphabet>
class CodeTable {
  public:
    QORAC_INLINE explicit CodeTable(const QorVLCEncodeSpec& spec)
        : pLengths_(spec.pTable + (spec.bias + alphabet.largest)),
          pWords_(pLengths_ + (Qor64s(1) << spec.tableBits)) {}

    QORAC_INLINE Qor32u length(int x, int y) const { return pLengths_[indexOf(x, y)]; }
    QORAC_INLINE Qor32u word(int x, int y) const { return pWords_[indexOf(x, y)]; }

  private:
    static QORAC_INLINE int indexOf(int x, int y) {
        return alphabet.stride * std::clamp(x, -alphabet.largest, alphabet.largest) +
               std::clamp(y, -alphabet.largest, alphabet.largest);
    }

    const Qor32u* pLengths_;
    const Qor32u* pWords_;
};

// Bits of a magnitude behind its leading one, from 4 for 16 to 12 for 8191: the escape of AAC is
// (width - 4) ones, a zero and these bits.
QORAC_INLINE int escapeWidth(int value) { return 31 - __builtin_clz(magnitude(value) | 1); }
QORAC_INLINE int escapeBits(int width) { return 2 * width - 3; }

// --- counting ---------------------------------------------------------------------------------

QORAC_INLINE int escapeBitsAac(int value) {
    return isEscape<kAac>(value) ? escapeBits(escapeWidth(value)) : 0;
}

QORAC_CLONES Qor32s countAac(const Qor16s* pSrc, Qor32s pairs, const QorVLCEncodeSpec& spec) {
    const CodeTable<kAac> table(spec);
    Qor32u bits = 0;
    for (Qor64s i = 0; i < pairs; ++i) {
        const int x = pSrc[2 * i], y = pSrc[2 * i + 1];
        bits += table.length(x, y) + Qor32u(escapeBitsAac(x) + escapeBitsAac(y));
    }
    return Qor32s(bits);
}

QORAC_CLONES Qor32s countMp3(const Qor16s* pSrc, Qor32s pairs, int linbits,
                             const QorVLCEncodeSpec& spec) {
    const CodeTable<kMp3> table(spec);
    Qor32u bits = 0, escapes = 0;
    for (Qor64s i = 0; i < pairs; ++i) {
        const int x = pSrc[2 * i], y = pSrc[2 * i + 1];
        bits += table.length(x, y);
        escapes += Qor32u(isEscape<kMp3>(x)) + Qor32u(isEscape<kMp3>(y));
    }
    return Qor32s(bits + escapes * Qor32u(linbits));
}

// --- encoding ---------------------------------------------------------------------------------

// Lays fields down from a cursor on, through a word of 32 bits that is stored when it is full.
class BitWriter {
  public:
    // The bits in front of the cursor in its byte are the first ones of the word.
    QORAC_INLINE BitWriter(Qor8u* pStream, int offset) : pStream_(pStream), held_(offset) {
        if (offset > 0) bits_ = Qor64u(*pStream >> (8 - offset));
    }

    // The low `length` bits of a field, 0 to 32 of them.
    QORAC_INLINE void put(Qor32u field, int length) {
        bits_ = bits_ << length | (field & ~(~Qor64u(0) << length));
        held_ += length;
        if (held_ >= 32) {
            held_ -= 32;
            const Qor32u word = __builtin_bswap32(Qor32u(bits_ >> held_));
            __builtin_memcpy(pStream_, &word, sizeof word);
            pStream_ += sizeof word;
        }
    }

    // Stores what is left and the cursor; the bits behind the last one stay as they are.
    QORAC_INLINE void finish(Qor8u** ppBitStream, Qor32s* pBitOffset) {
        for (; held_ >= 8; held_ -= 8) *pStream_++ = Qor8u(bits_ >> (held_ - 8));
        if (held_ > 0) {
            const int behind = 8 - held_;
            *pStream_ = Qor8u((bits_ << behind) | (*pStream_ & ((1 << behind) - 1)));
        }
        *ppBitStream = pStream_;
        *pBitOffset = held_;
    }

  private:
    Qor8u* pStream_;
    Qor64u bits_ = 0;  // the lowest held_ of them are not stored yet
    int held_;
};

QORAC_INLINE void putEscapeAac(BitWriter& writer, int value) {
    if (!isEscape<kAac>(value)) return;
    const int width = escapeWidth(value);
    const Qor32u leadingOne = 1u << width, ones = (1u << (width - 4)) - 1;
    writer.put((ones << (width + 1)) | (magnitude(value) ^ leadingOne), escapeBits(width));
}

QORAC_CLONES void encodeAac(const Qor16s* pSrc, Qor32s pairs, Qor8u** ppBitStream,
                            Qor32s* pBitOffset, const QorVLCEncodeSpec& spec) {
    const CodeTable<kAac> table(spec);
    BitWriter writer(*ppBitStream, *pBitOffset);
    for (Qor64s i = 0; i < pairs; ++i) {
        const int x = pSrc[2 * i], y = pSrc[2 * i + 1];
        writer.put(table.word(x, y), int(table.length(x, y)));
        putEscapeAac(writer, x);
        putEscapeAac(writer, y);
    }
    writer.finish(ppBitStream, pBitOffset);
}

// linbits of an escape and the sign of any value but 0.
QORAC_INLINE void putLinbitsAndSign(BitWriter& writer, int value, int linbits) {
    if (isEscape<kMp3>(value)) writer.put(magnitude(value) - 15, linbits);
    if (value != 0) writer.put(value < 0, 1);
}

QORAC_CLONES void encodeMp3(const Qor16s* pSrc, Qor32s pairs, int linbits, Qor8u** ppBitStream,
                            Qor32s* pBitOffset, const QorVLCEncodeSpec& spec) {
    const CodeTable<kMp3> table(spec);
    BitWriter writer(*ppBitStream, *pBitOffset);
    for (Qor64s i = 0; i < pairs; ++i) {
        const int x = pSrc[2 * i], y = pSrc[2 * i + 1];
        const Qor32u word = table.word(x, y);
        const int length = int(table.length(x, y));
        if (isEscape<kMp3>(x)) {
            const int signs = y != 0 ? 2 : 1;
            writer.put(word >> signs, length - signs);
            putLinbitsAndSign(writer, x, linbits);
            putLinbitsAndSign(writer, y, linbits);
        } else if (isEscape<kMp3>(y)) {
            writer.put(word >> 1, length - 1);
            putLinbitsAndSign(writer, y, linbits);
        } else {
            writer.put(word, length);
        }
    }
    writer.finish(ppBitStream, pBitOffset);
}

// --- checks -----------------------------------------------------------------------------------

template <typename Encode>
QORAC_INLINE QorStatus checkAndEncode(const Qor16s* pSrc, Qor32s len, Qor8u** ppBitStream,
                                      const Qor32s* pBitOffset, const QorVLCEncodeSpec* pSpec,
                                      Encode encode) {
    if (anyNull(pSrc, ppBitStream, pBitOffset, pSpec)) return qorStsNullPtrErr;
    if (outside(*pBitOffset, 0, 7)) return qorStsVlcBitOffsetErr;
    const QorVLCEncodeSpec& spec = *alignUp<kSpecAlignment>(pSpec);
    if (spec.id != kEncodeSpecId) return qorStsContextMatchErr;
    const Qor32s pairs = len / 2;
    if (pairs > 0) encode(pairs, spec);
    return qorStsNoErr;
}

template <typename Count>
QORAC_INLINE QorStatus checkAndCount(const Qor16s* pSrc, Qor32s len, Qor32s* pBitCount,
                                     const QorVLCEncodeSpec* pSpec, Count count) {
    if (anyNull(pSrc, pBitCount, pSpec)) return qorStsNullPtrErr;
    const QorVLCEncodeSpec& spec = *alignUp<kSpecAlignment>(pSpec);
    if (spec.id != kEncodeSpecId) return qorStsContextMatchErr;
    const Qor32s pairs = len / 2;
    *pBitCount = pairs > 0 ? count(pairs, spec) : 0;
    return qorStsNoErr;
}

}  // namespace
}  // namespace qorac::vlc

using namespace qorac::vlc;

QorStatus qorsVLCDecodeEscBlock_AAC_1u16s(Qor8u** ppBitStream, Qor32s* pBitOffset, Qor16s* pDst,
                                          Qor32s len, const QorVLCDecodeSpec* pSpec) {
    return checkAndDecode(ppBitStream, pBitOffset, pDst, len, pSpec,
                          [=](Qor32s pairs, const QorVLCDecodeSpec& spec) {
                              return decodeAac(ppBitStream, pBitOffset, pDst, pairs, spec);
                          });
}

QorStatus qorsVLCDecodeEscBlock_MP3_1u16s(Qor8u** ppBitStream, Qor32s* pBitOffset, Qor32s linbits,
                                          Qor16s* pDst, Qor32s len, const QorVLCDecodeSpec* pSpec) {
    return checkAndDecode(ppBitStream, pBitOffset, pDst, len, pSpec,
                          [=](Qor32s pairs, const QorVLCDecodeSpec& spec) {
                              return decodeMp3(ppBitStream, pBitOffset, linbits, pDst, pairs, spec);
                          });
}

QorStatus qorsVLCEncodeEscBlock_AAC_16s1u(const Qor16s* pSrc, Qor32s len, Qor8u** ppBitStream,
                                          Qor32s* pBitOffset, const QorVLCEncodeSpec* pSpec) {
    return checkAndEncode(pSrc, len, ppBitStream, pBitOffset, pSpec,
                          [=](Qor32s pairs, const QorVLCEncodeSpec& spec) {
                              encodeAac(pSrc, pairs, ppBitStream, pBitOffset, spec);
                          });
}

QorStatus qorsVLCEncodeEscBlock_MP3_16s1u(const Qor16s* pSrc, Qor32s len, Qor32s linbits,
                                          Qor8u** ppBitStream, Qor32s* pBitOffset,
                                          const QorVLCEncodeSpec* pSpec) {
    return checkAndEncode(pSrc, len, ppBitStream, pBitOffset, pSpec,
                          [=](Qor32s pairs, const QorVLCEncodeSpec& spec) {
                              encodeMp3(pSrc, pairs, linbits, ppBitStream, pBitOffset, spec);
                          });
}

QorStatus qorsVLCCountEscBits_AAC_16s32s(const Qor16s* pSrc, Qor32s len, Qor32s* pBitCount,
                                         const QorVLCEncodeSpec* pSpec) {
    return checkAndCount(
        pSrc, len, pBitCount, pSpec,
        [=](Qor32s pairs, const QorVLCEncodeSpec& spec) { return countAac(pSrc, pairs, spec); });
}

QorStatus qorsVLCCountEscBits_MP3_16s32s(const Qor16s* pSrc, Qor32s len, Qor32s linbits,
                                         Qor32s* pBitCount, const QorVLCEncodeSpec* pSpec) {
    return checkAndCount(pSrc, len, pBitCount, pSpec,
                         [=](Qor32s pairs, const QorVLCEncodeSpec& spec) {
                             return countMp3(pSrc, pairs, linbits, spec);
                         });
}
