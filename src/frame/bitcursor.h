// The bit cursor through which all stream parsers and packers move.
//
// A cursor is a byte pointer and the number of bits, 0 to 7, of that byte that are already used.
// Bits are taken and laid down most significant first.
#pragma once

#include "frame/dispatch.h"
#include "frame/fixed.h"
#include "qorac.h"

namespace qorac {

QORAC_INLINE Qor32u loadBigEndian32(const Qor8u* p) {
    Qor32u word;
    __builtin_memcpy(&word, p, sizeof word);
    return __builtin_bswap32(word);
}

// The next nBits bits, and the cursor behind them. Always fetches four bytes, so that up to three
// bytes behind the field may be touched. nBits plus the offset must not exceed 32: fields of up to
// 25 bits can be read at any offset. Width 0 must not be asked for at offset 0, where the shift
// count of 32 wraps to 0.
QORAC_INLINE Qor32u ownsGetBits_AAC(Qor8u** ppBitStream, Qor32s* pOffset, int nBits) {
    const int total = nBits + *pOffset;
    const Qor32u word = loadBigEndian32(*ppBitStream) & (0xFFFFFFFFu >> *pOffset);
    *ppBitStream += total / 8;
    *pOffset = total % 8;
    return shrMod32(word, 32 - total);
}

// Moves the cursor to the next byte unless it stands at the start of one.
QORAC_INLINE void ownsByteAlign_AAC(Qor8u** ppBitStream, Qor32s* pOffset) {
    if (*pOffset != 0) {
        ++*ppBitStream;
        *pOffset = 0;
    }
}

// Appends the low nBits bits of value, 0 to 31 of them.
//
// Each byte is built from zero when the field enters it at its top bit and ORed into afterwards, so
// that the output buffer's former content never shows. When the field ends on a byte boundary the
// byte behind it is read and stored back unchanged: it must be addressable.
void ownSetBits(Qor8u** ppBitStream, Qor32s* pOffset, Qor32u value, int nBits);

// Appends many fields as ownSetBits does, but holds up to a word of them back until store().
class BitAppender {
  public:
    QORAC_INLINE BitAppender(Qor8u** ppBitStream, Qor32s* pOffset)
        : ppBitStream_(ppBitStream), pOffset_(pOffset), inFirstByte_(*pOffset != 0) {
        load();
    }

    // `value` must not have bits above nBits.
    QORAC_INLINE void put(Qor32u value, int nBits) {
        if (__builtin_expect(inFirstByte_, 0)) return putInFirstByte(value, nBits);
        bits_ = bits_ << nBits | value;
        count_ += nBits;
        if (count_ < 32) return;
        count_ -= 32;
        const Qor32u word = __builtin_bswap32(Qor32u(bits_ >> count_));
        __builtin_memcpy(p_, &word, sizeof word);
        p_ += sizeof word;
    }

    QORAC_INLINE void store() {
        if (inFirstByte_) return;
        for (; count_ >= 8; count_ -= 8) *p_++ = Qor8u(bits_ >> (count_ - 8));
        if (count_ != 0) *p_ = Qor8u(bits_ << (8 - count_));
        *ppBitStream_ = p_;
        *pOffset_ = count_;
    }

  private:
    // A byte that holds bits already takes what lies below them with an OR.
    void putInFirstByte(Qor32u value, int nBits) {
        ownSetBits(ppBitStream_, pOffset_, value, nBits);
        if (*ppBitStream_ == p_) return;
        inFirstByte_ = false;
        load();
    }

    QORAC_INLINE void load() {
        p_ = *ppBitStream_;
        count_ = *pOffset_;
        bits_ = count_ == 0 ? 0 : *p_ >> (8 - count_);
    }

    Qor8u** ppBitStream_;
    Qor32s* pOffset_;
    bool inFirstByte_;
    Qor8u* p_;
    Qor64u bits_;  // the low count_ ones are still to be written
    int count_;
};

}  // namespace qorac
