// Requantization of MP3 spectra (ISO 11172-3 clause 2.4.3.4, ISO 13818-3 clause 2.4.3.2): from
// Huffman values to lines in Q26, with the gains, mid/side and intensity stereo, and the order of
// short blocks that the hybrid synthesis takes.
//
// Each gain is a power 2^(-e/4) of an exponent e that counts quarters: 210 - global_gain, the
// subblock gain, the scale factor, and 2 for the 1/sqrt(2) of mid/side, which is folded in here so
// that mid/side itself is one addition and one subtraction.
#include <algorithm>
#include <cstring>

#include "frame/constmath.h"
#include "frame/fixed.h"
#include "frame/mp3sfbtbl.h"
#include "frame/pow43.h"
#include "frame/status.h"
#include "qorac.h"

namespace qorac {
namespace {

using constmath::scale2;

constexpr int kLines = 576;
constexpr int kScaleFactors = 40;    // bytes per channel
constexpr int kMixedLongLines = 36;  // of the two long sub-bands of a mixed block
constexpr int kMaxMagnitude = 8206;

// The standard's pretab (Table B.6).
constexpr Qor8u _pPretab[22] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 3, 3, 3, 2, 0};

// Share of the left channel by intensity position, tan(i pi / 12) / (1 + tan(i pi / 12)) in Q31.
constexpr auto _pIsLeft = constmath::makeTable<Qor32s, 8>([](int i) -> long long {
    if (i >= 6) return kMax32s;
    const long double ratio = constmath::tanPi(i, 12);
    return constmath::round(scale2(ratio / (1 + ratio), 31));
});

// --- plan -------------------------------------------------------------------------------------

struct Stereo {
    bool midSide, intensity;

    bool any() const { return midSide || intensity; }
};

// What the work needs to know of one channel's block.
struct Channel {
    const QorMP3SideInfo* side;
    const Qor8s* scaleFactor;
    Qor32s* lines;       // in place: values in, lines out
    Qor32s* shortLines;  // short bands, in the stream's order: bands, in them windows
    Qor32s* bound;
    bool isShort, hasLong;
    int firstShort;                // first short band
    int scaleBase;                 // index of its first scale factor
    int top[3];                    // per window, one more than the last short band in use
    int maxLines;                  // lines per window in use
    Qor8u midSide[kScaleFactors];  // what mid/side adds to the exponent of each band

    // Index of the scale factor of a short band and window.
    int scaleIndex(int band, int window) const {
        return scaleBase + 3 * (band - firstShort) + window;
    }
};

struct Granule {
    Stereo stereo;
    bool mpeg1;
    int channels;
    const Qor16s* longBand;
    const Qor16s* shortBand;
    Channel channel[2];
    int isBand;   // long bands: first band of intensity
    int stop[3];  // short bands: per window, first band of intensity
};

// Lines of a short band and window in the stream's order.
struct ShortBand {
    int start, width;
};

ShortBand shortBandOf(const Qor16s* shortBand, int band, int window) {
    const int width = shortBand[band + 1] - shortBand[band];
    return {shortBand[band] * 3 + width * window, width};
}

// One more than the last non-zero value of p[0..count), 0 when there is none.
int nonZeroCount(const Qor32s* p, int count) {
    while (count > 0 && p[count - 1] == 0) --count;
    return count;
}

// How far the short bands of a channel reach, window by window.
void findShortTops(Channel& channel, const Qor16s* shortBand) {
    int top = 13;
    while (top > channel.firstShort && shortBand[top - 1] * 3 >= *channel.bound) --top;
    channel.maxLines = 0;
    for (int w = 0; w < 3; ++w) {
        int windowTop = top, used = 0;
        for (; windowTop > channel.firstShort; --windowTop) {
            const ShortBand band = shortBandOf(shortBand, windowTop - 1, w);
            used = nonZeroCount(channel.lines + band.start, band.width);
            if (used > 0) break;
        }
        channel.top[w] = windowTop;
        const int lines = used > 0 ? shortBand[windowTop - 1] + used : shortBand[windowTop];
        channel.maxLines = std::max(channel.maxLines, lines);
    }
}

bool illegalPosition(const Granule& granule, int index) {
    const Qor8s position = granule.channel[1].scaleFactor[index];
    return granule.mpeg1 ? position == 7 : position < 0;
}

// Where mid/side and intensity take which band, and what mid/side adds to the exponents. In an
// intensity band with an illegal position mid/side holds, and there the left channel carries both.
void mapStereo(Granule& granule) {
    Channel &left = granule.channel[0], &right = granule.channel[1];
    const Stereo stereo = granule.stereo;
    if (left.hasLong) {
        int limit = stereo.intensity ? *right.bound : std::max(*left.bound, *right.bound);
        int last = 22;
        if (left.isShort) {
            limit = std::min(limit, kMixedLongLines);
            last = left.scaleBase;
        }
        granule.isBand = 22;
        while (granule.isBand > 0 && granule.longBand[granule.isBand - 1] >= limit)
            --granule.isBand;
        for (int b = 0; b < granule.isBand && stereo.midSide; ++b)
            left.midSide[b] = right.midSide[b] = 2;
        for (int b = granule.isBand; b < last && stereo.midSide && stereo.intensity; ++b)
            if (illegalPosition(granule, b)) left.midSide[b] = 2;
    }
    if (!left.isShort) return;
    for (int w = 0; w < 3; ++w) {
        const int top = std::max(left.top[w], right.top[w]);
        granule.stop[w] = stereo.intensity ? right.top[w] : top;
        for (int b = left.firstShort; b < granule.stop[w] && stereo.midSide; ++b)
            left.midSide[left.scaleIndex(b, w)] = right.midSide[left.scaleIndex(b, w)] = 2;
        for (int b = granule.stop[w]; b < left.top[w] && stereo.midSide && stereo.intensity; ++b)
            if (illegalPosition(granule, left.scaleIndex(b, w)))
                left.midSide[left.scaleIndex(b, w)] = 2;
        left.top[w] = right.top[w] = top;
    }
}

// --- power law and gain -----------------------------------------------------------------------

// 2^(-e/4) * k^(4/3) in Q26 for k from 16 to 8206, saturated; q = e >> 2, r = e & 3.
QORAC_INLINE Qor32s requantizeLarge(int k, int q, int r) {
    const Power43 power = pow43(Qor32u(k));
    const Qor32s m = mulHigh(power.mantissa, _pSqrt14_32s_Audio[r]);
    const int d = q - power.exponent;
    if (d >= 0) return m >> std::min(d, 31);
    return m > (kMax32s >> -d) ? kMax32s : wrapShl(m, -d);
}

// --- stereo -----------------------------------------------------------------------------------

QORAC_CLONES void midSideToLeftRight(Qor32s* left, Qor32s* right, int len) {
    for (int i = 0; i < len; ++i) {
        const Qor32s mid = left[i], side = right[i];
        left[i] = wrapAdd(mid, side);
        right[i] = wrapSub(mid, side);
    }
}

// a * factor / 2^31, the factor in Q31.
QORAC_INLINE Qor32s scaleQ31(Qor32s a, Qor32s factor) { return mulHigh(wrapShl(a, 1), factor); }

// What an illegal position does without mid/side: long and short blocks differ.
enum class WithoutMidSide { keepBand, splitBand };

// One band of intensity stereo, id 1: the left channel's lines are shared out by the position.
bool intensityMpeg1(Qor32s* left, Qor32s* right, int len, Qor8s position, bool midSide,
                    WithoutMidSide illegal) {
    if (Qor8u(position) > 7) return false;
    if (position == 7 && midSide) {
        std::copy_n(left, len, right);
        return true;
    }
    if (position == 7 && illegal == WithoutMidSide::keepBand) return true;
    for (int i = 0; i < len; ++i) {
        const Qor32s a = left[i];
        left[i] = scaleQ31(a, _pIsLeft[position]);
        right[i] = wrapSub(a, left[i]);
    }
    return true;
}

// One band of intensity stereo, low sampling frequencies: one channel takes the lines as they are,
// the other a power of 2^(-1/4), or of 2^(-1/2) with intensity_scale.
void intensityLsf(Qor32s* left, Qor32s* right, int len, Qor8s position, int intensity_scale,
                  bool midSide, WithoutMidSide illegal) {
    if (position < 0 && !midSide) {
        if (illegal == WithoutMidSide::splitBand) std::fill_n(right, len, 0);
        return;
    }
    const int c = position < 0 ? 0 : ((position + 1) >> 1) << intensity_scale;
    const bool scaleLeft = position >= 0 && (position & 1);
    const Qor32s factor = _pSqrt14_32s_Audio[c & 3];
    const int shift = std::min(c >> 2, 31);
    for (int i = 0; i < len; ++i) {
        const Qor32s a = left[i];
        const Qor32s scaled = scaleQ31(a, factor) >> shift;
        left[i] = scaleLeft ? scaled : a;
        right[i] = scaleLeft ? a : scaled;
    }
}

bool intensityBand(const Granule& granule, Qor32s* left, Qor32s* right, int len, int index,
                   WithoutMidSide illegal) {
    const Channel& channel = granule.channel[1];
    const Qor8s position = channel.scaleFactor[index];
    if (granule.mpeg1)
        return intensityMpeg1(left, right, len, position, granule.stereo.midSide, illegal);
    intensityLsf(left, right, len, position, channel.side->scalefac_compress & 1,
                 granule.stereo.midSide, illegal);
    return true;
}

bool _sStereoLong_MP3_32s_I(const Granule& granule, int limit) {
    Qor32s *left = granule.channel[0].lines, *right = granule.channel[1].lines;
    const Qor16s* longBand = granule.longBand;
    if (granule.stereo.midSide) midSideToLeftRight(left, right, longBand[granule.isBand]);
    if (!granule.stereo.intensity) return true;
    for (int b = granule.isBand; b < 22 && longBand[b] < limit; ++b)
        if (!intensityBand(granule, left + longBand[b], right + longBand[b],
                           longBand[b + 1] - longBand[b], b, WithoutMidSide::keepBand))
            return false;
    return true;
}

bool _sStereoShort_MP3_32s_I(const Granule& granule) {
    const Channel &left = granule.channel[0], &right = granule.channel[1];
    for (int w = 0; w < 3; ++w) {
        for (int b = right.firstShort; b < granule.stop[w] && granule.stereo.midSide; ++b) {
            const ShortBand band = shortBandOf(granule.shortBand, b, w);
            midSideToLeftRight(left.shortLines + band.start, right.shortLines + band.start,
                               band.width);
        }
        for (int b = granule.stop[w]; b < left.top[w] && granule.stereo.intensity; ++b) {
            const ShortBand band = shortBandOf(granule.shortBand, b, w);
            if (!intensityBand(granule, left.shortLines + band.start, right.shortLines + band.start,
                               band.width, right.scaleIndex(b, w), WithoutMidSide::splitBand))
                return false;
        }
    }
    return true;
}

// Both channels' lines become left and right, both bounds the same.
bool decodeStereo(Granule& granule) {
    Channel &left = granule.channel[0], &right = granule.channel[1];
    if (left.hasLong) {
        if (left.isShort)
            *left.bound = std::min(*left.bound, kMixedLongLines);
        else
            *left.bound = *right.bound = std::max(*left.bound, *right.bound);
        if (!_sStereoLong_MP3_32s_I(granule, *left.bound)) return false;
    }
    if (left.isShort) {
        if (!_sStereoShort_MP3_32s_I(granule)) return false;
        *left.bound = *right.bound = 3 * std::max(left.maxLines, right.maxLines);
    }
    return true;
}

// --- order of short blocks --------------------------------------------------------------------

// In each group of 18 lines six belong to each window, and the bound moves up to whole groups:
// (n * 3641) >> 16 is n / 18 here. The long lines of a mixed block stand in place already.
void _sReorder_MP3_32s(const Channel& channel, const Qor16s* shortBand) {
    const int bound = ((*channel.bound + 17) * 3641 >> 16) * 18;
    for (int w = 0; w < 3; ++w) {
        int position = 6 * w + (channel.firstShort ? kMixedLongLines : 0), inGroup = 0;
        const auto put = [&](Qor32s line) {
            channel.lines[position++] = line;
            if (++inGroup == 6) {
                position += 12;
                inGroup = 0;
            }
        };
        for (int b = channel.firstShort; b < channel.top[w]; ++b) {
            const ShortBand band = shortBandOf(shortBand, b, w);
            for (int i = 0; i < band.width; ++i) put(channel.shortLines[band.start + i]);
        }
        while (position < bound) put(0);
    }
    *channel.bound = bound;
}

// --- one granule ------------------------------------------------------------------------------

// Checks a channel's block and works out its bands.
QorStatus planChannel(Granule& granule, Channel& channel) {
    const QorMP3SideInfo& side = *channel.side;
    if (outside(side.block_type, 0, 3) || outside(side.mixed_block_flag, 0, 1))
        return qorStsMp3SideInfoErr;
    if (outside(*channel.bound, 0, kLines)) return qorStsBadArgErr;
    channel.isShort = side.block_type == 2;
    channel.hasLong = !channel.isShort || side.mixed_block_flag;
    const bool mixed = channel.isShort && channel.hasLong;
    channel.firstShort = mixed ? 3 : 0;
    channel.scaleBase = !mixed ? 0 : granule.mpeg1 ? 8 : 6;
    if (channel.isShort) findShortTops(channel, granule.shortBand);
    return qorStsNoErr;
}

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "mp3dec/mp3drqnt_kernel.h"
#include "frame/levels.h"

namespace qorac {
QORAC_BIND(QorStatus, requantize, (const Granule& granule, const Channel& channel),
           (granule, channel))

namespace {

// Channels without stereo coding, one after the other.
QorStatus decodeApart(Granule& granule, Qor32s* pBuffer) {
    for (int c = 0; c < granule.channels; ++c) {
        Channel& channel = granule.channel[c];
        channel.shortLines = pBuffer;
        if (const QorStatus status = requantize(granule, channel)) return status;
        if (!channel.isShort) continue;
        *channel.bound = 3 * channel.maxLines;
        _sReorder_MP3_32s(channel, granule.shortBand);
    }
    return qorStsNoErr;
}

// Two channels with mid/side or intensity. The left channel's short lines go to the buffer; then
// its place, but for the long lines of a mixed block, is free for the right channel's.
QorStatus decodeJoint(Granule& granule, Qor32s* pBuffer) {
    Channel &left = granule.channel[0], &right = granule.channel[1];
    mapStereo(granule);
    left.shortLines = pBuffer;
    right.shortLines = left.lines;
    if (const QorStatus status = requantize(granule, left)) return status;
    if (const QorStatus status = requantize(granule, right)) return status;
    if (!decodeStereo(granule)) return qorStsErr;
    if (left.isShort) {
        _sReorder_MP3_32s(right, granule.shortBand);
        _sReorder_MP3_32s(left, granule.shortBand);
    }
    return qorStsNoErr;
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsReQuantizeSfb_MP3_32s_I(Qor32s* pIsXr, Qor32s* pNonZeroBound, Qor8s* pScaleFactor,
                                      const QorMP3SideInfo* pSideInfo,
                                      const QorMP3FrameHeader* pFrameHeader, Qor32s* pBuffer,
                                      const Qor16s (*pSfbTableLong)[23],
                                      const Qor16s (*pSfbTableShort)[14]) {
    if (!pIsXr || !pNonZeroBound || !pScaleFactor || !pSideInfo || !pFrameHeader || !pBuffer ||
        !pSfbTableLong || !pSfbTableShort)
        return qorStsNullPtrErr;
    const QorMP3FrameHeader& header = *pFrameHeader;
    if (outside(header.id, 0, 1) || outside(header.sampling_frequency, 0, 2) ||
        outside(header.mode, 0, 3) || outside(header.mode_extension, 0, 3))
        return qorStsMp3FrameHeaderErr;

    const int row = header.id * 3 + header.sampling_frequency;
    const bool joint = header.mode == 1;
    Granule granule{};
    granule.stereo = {joint && (header.mode_extension & 2), joint && (header.mode_extension & 1)};
    granule.mpeg1 = header.id == 1;
    granule.channels = header.mode == 3 ? 1 : 2;
    granule.longBand = pSfbTableLong[row];
    granule.shortBand = pSfbTableShort[row];
    if (granule.stereo.any() && (pSideInfo[0].block_type != pSideInfo[1].block_type ||
                                 pSideInfo[0].mixed_block_flag != pSideInfo[1].mixed_block_flag))
        return qorStsMp3SideInfoErr;
    for (int c = 0; c < granule.channels; ++c) {
        Channel& channel = granule.channel[c];
        channel.side = pSideInfo + c;
        channel.scaleFactor = pScaleFactor + c * kScaleFactors;
        channel.lines = pIsXr + c * kLines;
        channel.bound = pNonZeroBound + c;
        if (const QorStatus status = planChannel(granule, channel)) return status;
    }
    const QorStatus status =
        granule.stereo.any() ? decodeJoint(granule, pBuffer) : decodeApart(granule, pBuffer);
    if (status) return status;
    for (int c = 0; c < granule.channels; ++c)
        pNonZeroBound[c] = nonZeroCount(granule.channel[c].lines, pNonZeroBound[c]);
    return qorStsNoErr;
}

QorStatus qorsReQuantize_MP3_32s_I(Qor32s* pIsXr, Qor32s* pNonZeroBound, Qor8s* pScaleFactor,
                                   const QorMP3SideInfo* pSideInfo,
                                   const QorMP3FrameHeader* pFrameHeader, Qor32s* pBuffer) {
    return qorsReQuantizeSfb_MP3_32s_I(pIsXr, pNonZeroBound, pScaleFactor, pSideInfo, pFrameHeader,
                                       pBuffer, _qor_pMP3SfbTableLong, _qor_pMP3SfbTableShort);
}
