// Integer arithmetic of the plain references, in 128 bits so that nothing overflows.
#pragma once

#include <algorithm>

#include "qorac.h"

namespace qorac::reference {

__extension__ typedef __int128 Int128;

inline Qor16s clamp16(Int128 v) {
    return static_cast<Qor16s>(std::clamp<Int128>(v, -32768, 32767));
}
inline Qor32s clamp32(Int128 v) {
    return static_cast<Qor32s>(std::clamp<Int128>(v, -(Int128{1} << 31), (Int128{1} << 31) - 1));
}

// The low 32 bits, as a signed number.
inline Qor32s wrap32(Int128 v) { return static_cast<Qor32s>(static_cast<Qor32u>(v)); }

// v / 2^s to nearest, ties to even, by comparing the remainder with one half.
inline Int128 roundShift(Int128 v, int s) {
    const Int128 unit = Int128{1} << s;
    Int128 quotient = v >> s;
    const Int128 twice = 2 * (v - quotient * unit);
    if (twice > unit || (twice == unit && (quotient & 1))) ++quotient;
    return quotient;
}

}  // namespace qorac::reference
