// 32-band polyphase analysis of MPEG audio (ISO 11172-3 Annex C.1.3): 512 samples of 16-bit PCM to
// one row of 32 sub-band samples with 9 fraction bits.
//
// The window C, in Q30, is applied with exact sums, which leaves 64 integers with 10 fraction bits.
// These fold into 32, and a 32-point transform in double precision takes half of their cosine sums.
#include "frame/constmath.h"
#include "frame/fixed.h"
#include "frame/mp3window.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

constexpr int kRow = 64;
constexpr int kRows = 8;

// C as the standard prints it (Table C.1), D / 32 with nine decimals, in Q30.
constexpr Qor32s windowQ30(int i) {
    if (i > 256) return i % kRow == 0 ? windowQ30(512 - i) : -windowQ30(512 - i);
    const long long printed = constmath::round(kSynthesisWindow65536[i] * 1e9L / (65536 * 32));
    return Qor32s(constmath::round(printed * 0x1p30L / 1e9L));
}

// The window in the order of the samples, row by row: the newest 64 samples meet C[63] to C[0], the
// 64 before them C[127] to C[64]. Two rows share a lane, the older one in its low half, and each
// value is split into 2^12 times a high part and a low part of 12 bits: products of 16-bit numbers,
// summed in 32 bits, are exact.
constexpr int kLowBits = 12;

struct RowPair {
    alignas(64) Qor32s high[kRow];
    alignas(64) Qor32s low[kRow];
};
struct Window {
    RowPair pair[kRows / 2];
};
constexpr Window _pEncWinC_MP3 = [] {
    Window w{};
    for (int p = 0; p < kRows / 2; ++p) {
        for (int q = 0; q < kRow; ++q) {
            const Qor32s newer = windowQ30(kRow * 2 * p + kRow - 1 - q);
            const Qor32s older = windowQ30(kRow * (2 * p + 1) + kRow - 1 - q);
            const auto packed = [](Qor32s low, Qor32s high) {
                return Qor32s((Qor32u(low) & 0xFFFF) | Qor32u(high) << 16);
            };
            constexpr Qor32s kLowMask = (1 << kLowBits) - 1;
            w.pair[p].high[q] = packed(older >> kLowBits, newer >> kLowBits);
            w.pair[p].low[q] = packed(older & kLowMask, newer & kLowMask);
        }
    }
    return w;
}();

// The largest sum of products with the high parts, as a multiple of the largest sample.
constexpr Qor32s kLargestHighSum = [] {
    Qor32s largest = 0;
    for (int q = 0; q < kRow; ++q) {
        Qor32s sum = 0;
        for (int r = 0; r < kRows; ++r)
            sum += Qor32s(magnitude(windowQ30(kRow * r + q))) >> kLowBits;
        largest = sum + kRows > largest ? sum + kRows : largest;
    }
    return largest;
}();
static_assert(kLargestHighSum < 1 << 15);  // 2^30 with samples of 16 bits

// Half the cosines cos((2 sb + 1) m pi / 64) of the sub-bands sb, by m. Sub-band 31 - sb has those
// of sb with a minus sign where m is odd, and by halves likewise.
struct Cosines {
    alignas(64) double odd[16][16];  // m = 2 n + 1
    alignas(64) double two[8][8];    // m = 4 n + 2
    alignas(64) double four[8][8];   // m = 4 n
};
constexpr Cosines kCosines = [] {
    Cosines c{};
    const auto cosine = [](int sb, int m) {
        return double(constmath::cosPi((2 * sb + 1) * m, kRow) / 2);
    };
    for (int n = 0; n < 16; ++n) {
        for (int sb = 0; sb < 16; ++sb) c.odd[n][sb] = cosine(sb, 2 * n + 1);
    }
    for (int n = 0; n < 8; ++n) {
        for (int sb = 0; sb < 8; ++sb) {
            c.two[n][sb] = cosine(sb, 4 * n + 2);
            c.four[n][sb] = cosine(sb, 4 * n);
        }
    }
    return c;
}();

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "mp3enc/mp3epfilt_kernel.h"
#include "frame/levels.h"

namespace qorac {
QORAC_BIND(void, analyse, (const Qor16s* pSrc, Qor32s* pDst, int nChannels),
           (pSrc, pDst, nChannels))
}  // namespace qorac

using namespace qorac;

QorStatus qorsAnalysisPQMF_MP3_16s32s(const Qor16s* pSrc, Qor32s* pDst, int nChannels) {
    if (anyNull(pSrc, pDst)) return qorStsNullPtrErr;
    if (outside(nChannels, 1, 2)) return qorStsBadArgErr;
    analyse(pSrc, pDst, nChannels);
    return qorStsNoErr;
}
