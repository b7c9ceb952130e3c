#include "frame/bitcursor.h"

namespace qorac {

void ownSetBits(Qor8u** ppBitStream, Qor32s* pOffset, Qor32u value, int nBits) {
    if (nBits == 0) return;
    value &= ~shlMod32(0xFFFFFFFFu, nBits);

    Qor8u* p = *ppBitStream;
    const int total = nBits + *pOffset;
    if (total <= 7) {
        const Qor8u field = Qor8u(value << (8 - total));
        *p = *pOffset == 0 ? field : Qor8u(*p | field);
        *pOffset = total;
        return;
    }

    // Bits of the field that are still to be written, right-aligned under those that the first
    // byte keeps.
    const Qor64u kept = *pOffset == 0 ? 0 : Qor64u(*p >> (8 - *pOffset));
    const Qor64u field = (kept << nBits) | value;
    int left = total;
    for (; left >= 8; left -= 8) *p++ = Qor8u(field >> (left - 8));
    *p = left == 0 ? *p : Qor8u(field << (8 - left));
    *ppBitStream = p;
    *pOffset = left;
}

}  // namespace qorac
