// Plain forms of the Layer III encoder's quantization loop, table choice and bit counting: written
// for the eye, one step after the other, on vectors and wide integers, with no step left out
// because its result is known.
#pragma once

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <vector>

#include "frame/mp3huffcodes.h"
#include "frame/mp3sfbtbl.h"
#include "qorac.h"
#include "reference/mp3encmath.h"

namespace qorac::reference {

using Lines = std::vector<Qor32s>;

// --- table choice and bit counting ------------------------------------------------------------

inline const HuffmanCode* huffmanCodes(int table) {
    switch (table) {
        case 1:
            return _pHuffmanCode1;
        case 2:
            return _pHuffmanCode2;
        case 3:
            return _pHuffmanCode3;
        case 5:
            return _pHuffmanCode5;
        case 6:
            return _pHuffmanCode6;
        case 7:
            return _pHuffmanCode7;
        case 8:
            return _pHuffmanCode8;
        case 9:
            return _pHuffmanCode9;
        case 10:
            return _pHuffmanCode10;
        case 11:
            return _pHuffmanCode11;
        case 12:
            return _pHuffmanCode12;
        case 13:
            return _pHuffmanCode13;
        case 15:
            return _pHuffmanCode15;
        case 32:
            return _pHuffmanCode32;
        case 33:
            return _pHuffmanCode33;
        default:
            return table < 16 ? nullptr : table < 24 ? _pHuffmanCode16 : _pHuffmanCode24;
    }
}

inline int linbitsOf(int table) {
    const int linbits[16] = {1, 2, 3, 4, 6, 8, 10, 13, 4, 5, 6, 7, 8, 9, 11, 13};
    return table < 16 ? 0 : linbits[table - 16];
}

inline int pairBits(int table, int x, int y) {
    if (table == 0) return 0;
    const int alphabet[16] = {0, 2, 3, 3, 0, 4, 4, 6, 6, 6, 8, 8, 8, 16, 0, 16};
    const int n = table < 16 ? alphabet[table] : 16;
    int bits = (x > 0) + (y > 0);
    if (table >= 16 && x >= 15) bits += linbitsOf(table), x = 15;
    if (table >= 16 && y >= 15) bits += linbitsOf(table), y = 15;
    return bits + huffmanCodes(table)[n * x + y].length;
}

inline int regionBits(const Lines& ix, int from, int to, int table) {
    int bits = 0;
    for (int i = from; i < to; i += 2) bits += pairBits(table, ix[i], ix[i + 1]);
    return bits;
}

inline int bestTable(const Lines& ix, int from, int to) {
    int largest = 0;
    for (int i = from; i < to; ++i) largest = std::max(largest, ix[i]);
    if (largest == 0) return 0;
    if (largest >= 15) {
        int a = 16, b = 24;
        while (largest - 15 >= 1 << linbitsOf(a)) ++a;
        while (largest - 15 >= 1 << linbitsOf(b)) ++b;
        return regionBits(ix, from, to, b) < regionBits(ix, from, to, a) ? b : a;
    }
    const std::vector<int> candidates = largest == 1   ? std::vector<int>{1}
                                        : largest == 2 ? std::vector<int>{2, 3}
                                        : largest == 3 ? std::vector<int>{5, 6}
                                        : largest <= 5 ? std::vector<int>{7, 8, 9}
                                        : largest <= 7 ? std::vector<int>{10, 11, 12}
                                                       : std::vector<int>{13, 15};
    int best = candidates[0];
    for (int t : candidates)
        if (regionBits(ix, from, to, t) <= regionBits(ix, from, to, best)) best = t;
    return best;
}

struct Count {
    int bits;
    int count1Len;
    std::array<int, 3> regionLen;
};

inline Count totalSpectralBits(const Lines& ix, QorMP3SideInfo& side, const Qor16s* sfb) {
    const int subdivide[23][2] = {{0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 0}, {0, 1}, {1, 1}, {1, 1},
                                  {1, 2}, {2, 2}, {2, 3}, {2, 3}, {3, 4}, {3, 4}, {3, 4}, {4, 5},
                                  {4, 5}, {4, 6}, {5, 6}, {5, 6}, {5, 7}, {6, 7}, {6, 7}};
    Count count{};
    int n = 576;
    while (n >= 2 && ix[n - 1] == 0 && ix[n - 2] == 0) n -= 2;
    if (n > 3)
        while (n >= 4 && ix[n - 1] <= 1 && ix[n - 2] <= 1 && ix[n - 3] <= 1 && ix[n - 4] <= 1) {
            n -= 4;
            count.count1Len += 4;
        }
    side.big_values = n / 2;

    side.region0_count = side.region1_count = 0;
    if (n != 0 && side.window_switching_flag == 0) {
        int band = 0;
        while (band < 22 && sfb[band] < n) ++band;
        side.region0_count = subdivide[band][0];
        side.region1_count = subdivide[band][1];
        while (side.region0_count > 0 && sfb[side.region0_count + 1] > n) --side.region0_count;
        while (side.region1_count > 0 && sfb[side.region0_count + side.region1_count + 2] > n)
            --side.region1_count;
    } else if (n != 0) {
        side.region0_count = side.block_type == 2 ? 8 : 7;
        side.region1_count = side.block_type == 2 ? 12 : 13;
    }

    int a = 36, b = n;
    if (!side.window_switching_flag) {
        a = sfb[side.region0_count + 1];
        b = sfb[side.region0_count + side.region1_count + 2];
    }
    const int limit[4] = {0, std::min(a, n), std::min(b, n), n};
    for (int r = 0; r < 3; ++r) {
        count.regionLen[r] = limit[r + 1] - limit[r];
        side.table_select[r] = bestTable(ix, limit[r], limit[r + 1]);
        count.bits += regionBits(ix, limit[r], limit[r + 1], side.table_select[r]);
    }
    int quad[2] = {0, 0};
    for (int i = n; i < n + count.count1Len; i += 4) {
        for (int t = 0; t < 2; ++t) {
            const int symbol = 8 * ix[i] + 4 * ix[i + 1] + 2 * ix[i + 2] + ix[i + 3];
            quad[t] += huffmanCodes(32 + t)[symbol].length;
            for (int j = 0; j < 4; ++j) quad[t] += ix[i + j];
        }
    }
    side.count1table_select = quad[0] < quad[1] ? 0 : 1;
    count.bits += quad[side.count1table_select];
    return count;
}

inline int slen(int which, int compress) {
    const int table[2][16] = {{0, 0, 0, 0, 3, 1, 1, 1, 2, 2, 2, 3, 3, 3, 4, 4},
                              {0, 1, 2, 3, 0, 1, 2, 3, 1, 2, 3, 1, 2, 3, 2, 3}};
    return table[which][compress];
}

// For each scale factor that a stream of id 1 carries, its index and whether slen2 is its width.
inline std::vector<std::pair<int, int>> sentScaleFactors(const QorMP3SideInfo& side,
                                                         const Qor32s* scfsi, int granule) {
    std::vector<std::pair<int, int>> sent;
    const int bands = side.block_type == 2 ? (side.mixed_block_flag ? 35 : 36) : 21;
    for (int i = 0; i < bands; ++i) {
        if (side.block_type == 2) {
            sent.emplace_back(i, i >= bands - 18);
            continue;
        }
        const int group = i < 6 ? 0 : i < 11 ? 1 : i < 16 ? 2 : 3;
        if (granule != 1 || !scfsi[group]) sent.emplace_back(i, group >= 2);
    }
    return sent;
}

inline bool chooseScalefactorTable(const Qor8s* scale, QorMP3SideInfo& side, const Qor32s* scfsi,
                                   int id, int granule) {
    if (id != 1) return false;
    QorMP3SideInfo unmixed = side;
    unmixed.mixed_block_flag = 0;
    for (int c = 0; c < 16; ++c) {
        bool fits = true;
        for (const auto& [i, which] : sentScaleFactors(unmixed, scfsi, granule))
            fits = fits && scale[i] < 1 << slen(which, c);
        if (!fits) continue;
        side.scalefac_compress = c;
        return true;
    }
    return false;
}

inline int scalefactorBits(const QorMP3SideInfo& side, const Qor32s* scfsi, int id, int granule) {
    int bits = 0;
    if (id != 1) return bits;
    for (const auto& [i, which] : sentScaleFactors(side, scfsi, granule))
        bits += slen(which, side.scalefac_compress);
    return bits;
}

// --- quantization -----------------------------------------------------------------------------

// v^(3/4) as the quantizer's tables and parabolas give it.
inline Qor32s power34(Qor32s value) {
    const Int128 a[12] = {4471310,   9581246,   16201271,  20373018,  34403310,   77669483,
                          130802989, 220162688, 370390985, 623045816, 1047960546, 1941318829};
    const Int128 b[12] = {825280880, 647125731, 544543270, 516649276, 434432160, 324062684,
                          272471948, 229105831, 192656354, 162004913, 136229718, 110668797};
    const Int128 c[12] = {1131424675, 348665810, 147092856, 141725722, 59579710, 10978530,
                          4613194,    1938995,   815290,    342796,    144130,   50463};
    const Int128 v = value;
    if (value < 256) return Qor32s(std::floor(std::pow((long double)value, 0.75L) + 0.4054L));
    if (value < 513)
        return Qor32s(
            scaled(scaled((scaled((v * 69158 - c[3]) * v, 9) + b[3]) * v, 10) + 21421594, 21));
    if (value < 1025)
        return Qor32s(scaled(scaled((scaled((v * 14536 - c[4]) * v, 9) + b[4]) * v, 10) + 35451886,
                             21)) -
               (value == 738 ? 1 : 0);
    int i = 4;
    for (Qor32s h = value / 1024; h > 0; h /= 2) ++i;
    if (value > 65536) i = 11;
    return Qor32s(scaled(scaled((b[i] - scaled(v * c[i], 9)) * v, 10) + a[i] + 0x100000, 21));
}

inline Qor32s quantizedLine(Qor32s x, int q) {
    const int e = int(scaled(-q, 2)), r = -q - 4 * e;
    const Int128 root[4] = {0, 638450708, 759250125, 902905651};
    const Qor32s s = r == 0 ? x : wrap32(scaled(wrap32(Int128(x) * 8) * root[r] + power2(31), 32));
    Qor32s v;
    if (e >= 26) {
        v = wrap32(Int128(s) * power2((e + 6) % 32));
    } else {
        const Qor32s h = Qor32s(power2(25 - e));
        if (x < h / 2) return 0;
        v = Qor32s(scaled(wrap32(Int128(h) + s), 26 - e));
    }
    if (v <= 0) return 0;
    return v > 165108 ? 8192 : power34(v);
}

inline Qor32s dequantizedLine(Qor32s ix, int e) {
    const Qor32s s14[4] = {2147483647, 1805811301, 1518500250, 1276901417};
    const int a = int(scaled(e, 2)), r = e - 4 * a;
    const int k = std::abs(ix);
    const long double power = std::pow((long double)k, 4.0L / 3);
    const long double small = power * std::pow(2.0L, -r / 4.0L);
    Int128 out;
    if (k < 4) {
        out = scaled(std::llround(small * (1 << 28)), (std::min(a + 2, 31) % 32 + 32) % 32);
    } else if (k < 16) {
        out = scaled(std::llround(small * (1 << 25)), (std::min(a - 1, 31) % 32 + 32) % 32);
    } else {
        Int128 t;
        int n;
        if (k <= 128) {
            n = k < 64 ? 4 : 6;
            t = std::llround(power * (k < 64 ? 1 << 23 : 1 << 21));
        } else {
            const Int128 coefficients[8] = {-457633446, 1445956062, -2036421417, 1707815404,
                                            -991941369, 535739478,  127541088,   -1613111};
            const Int128 xt[7] = {1704458900, 2147483647, 1352829926, 1704458900,
                                  2147483647, 1352829926, 1704458900};
            const int xtExp[7] = {20, 19, 17, 16, 15, 13, 12};
            Int128 u = k * power2(17), p = coefficients[0];
            int shift = 0;
            for (; u < power2(30); u *= 2) ++shift;
            for (int i = 1; i < 8; ++i) p = wrap32(scaled(p * u, 32) + coefficients[i]);
            t = wrap32(scaled(wrap32(p * 16) * xt[6 - shift], 32) * 2);
            n = 27 - xtExp[6 - shift];
        }
        t = scaled(t * s14[r], 32);
        const int m = a - n;
        out = m >= 0 ? scaled(t, std::min(m, 31))
                     : std::min(t * power2(std::min(-m, 60)), power2(31) - 1);
    }
    return Qor32s(ix < 0 ? -out : out);
}

// All of one frame. The arguments are those of qorsQuantize_MP3_32s_I but for the scratch.
struct Quantizer {
    Qor32s* xs;
    Qor8s* scaleFactor;
    const Qor32s* scfsi;
    Qor32s* count1Len;
    Qor32s* hufBits;
    QorMP3FrameHeader header;
    QorMP3SideInfo* side;
    QorMP3PsychoInfo* psy;
    const QorMP3PsychoState* state;
    QorMP3BitReservoir* reservoir;
    Qor32s meanBits;
    const Qor32s* isBound;

    // First line, width and index of each band and window.
    struct Band {
        int b, w, first, width, index;
    };
    std::vector<Band> bandsOf(bool isShort) const {
        std::vector<Band> bands;
        const int row = header.id * 3 + header.sampling_frequency;
        for (int b = 0; b < (isShort ? 13 : 22); ++b) {
            for (int w = 0; w < (isShort ? 3 : 1); ++w) {
                const Qor16s* sfb =
                    isShort ? _qor_pMP3SfbTableShort[row] : _qor_pMP3SfbTableLong[row];
                const int width = sfb[b + 1] - sfb[b];
                bands.push_back(
                    {b, w, (isShort ? 3 : 1) * sfb[b] + w * width, width, isShort ? 3 * b + w : b});
            }
        }
        return bands;
    }

    void run() {
        const int ngr = header.id == 1 ? 2 : 1, nch = header.mode == 3 ? 1 : 2, count = ngr * nch;
        const bool is = header.mode == 1 && header.mode_extension % 2 == 1;
        const int availCoef[5][3] = {{13107, 6554, 3277},
                                     {26214, 13107, 9830},
                                     {29491, 22938, 13107},
                                     {29491, 26214, 19661},
                                     {31130, 26214, 22938}};
        std::array<Int128, 4> est{};
        Int128 total = 0;
        int nShort = 0, nNext = 0;
        for (int i = 0; i < count; ++i) {
            if (side[i].block_type == 2) {
                ++nShort;
                est[i] = std::min<Int128>(scaled(Int128(root(psy[i].pe)) * 38, 5), 1800);
            } else {
                est[i] = std::min<Int128>(scaled(Int128(psy[i].pe) * 203161, 16), 1500);
            }
            total += est[i];
        }
        for (int c = 0; c < nch; ++c) nNext += state[c].blockType == 2 ? 1 : 0;
        const Int128 coef = availCoef[nShort][nNext];
        if (total > meanBits) {
            const Int128 factor = wrap32(Int128(meanBits) * 32768) / total;
            total = 0;
            for (int i = 0; i < count; ++i) {
                est[i] = scaled(wrap32(factor * est[i]), 15);
                total += est[i];
            }
        }
        for (int i = 0; i < count; ++i) {
            oneRecord(i, i / nch, i % nch, count, is, est[i], total, coef);
            total += side[i].part2_3_length - est[i];
        }

        Int128 avail = reservoir->bitsAvail + meanBits - total;
        const Int128 d = std::max<Int128>(avail - reservoir->maxBits, 0);
        avail -= d;
        Qor32s stuffing = Qor32s(avail - scaled(avail, 3) * 8 + d);
        reservoir->bitsAvail = Qor32s(scaled(avail, 3) * 8);
        if (stuffing == 0) return;
        if (stuffing + side[0].part2_3_length < 4095) {
            side[0].part2_3_length += stuffing;
            hufBits[0] += stuffing;
            return;
        }
        for (int i = 0; i < count && stuffing != 0; ++i) {
            const Qor32s take = std::min(stuffing, 4095 - side[i].part2_3_length);
            side[i].part2_3_length += take;
            hufBits[i] += take;
            stuffing -= take;
        }
    }

    void oneRecord(int i, int granule, int channel, int count, bool is, Int128 est, Int128 total,
                   Int128 coef) {
        QorMP3SideInfo& s = side[i];
        Qor32s* x = xs + 576 * i;
        Qor8s* scf = scaleFactor + 40 * i;
        const bool isShort = s.block_type == 2;
        const std::vector<Band> bands = bandsOf(isShort);
        const int coded = isShort ? 12 : 21;

        int sfbMax[3];
        for (int w = 0; w < 3; ++w)
            sfbMax[w] = is && channel == 1 ? std::min(isBound[3 * granule + w], coded) : coded;

        const int sixteen[3] = {418, 384, 576};
        const Qor32s mean = meanBits / count;
        const bool lowRes = mean < 765 && reservoir->bitsAvail <
                                              scaled(reservoir->maxBits * Int128(4080218931LL), 32);
        if ((lowRes && psy[i].pe >= 500) || (s.block_type != 0 && header.id == 1))
            for (int k = sixteen[header.sampling_frequency]; k < 576; ++k) x[k] = 0;
        for (const Band& band : bands)
            if (band.b >= coded)
                for (int k = 0; k < band.width; ++k) x[band.first + k] = 0;
        for (int k = 0; k < (isShort ? 36 : 21); ++k) {
            if (psy[i].ratio[k] == 0) psy[i].ratio[k] = 0x7FFFFFFF;
            if (psy[i].ratio[k] < 214748) psy[i].ratio[k] = 214748;
        }

        std::vector<int> sign(576);
        Lines a(576);
        for (int k = 0; k < 576; ++k) {
            sign[k] = x[k] < 0 ? -1 : 1;
            a[k] = std::abs(x[k]);
        }
        const Qor32s maxLine = *std::max_element(a.begin(), a.end());

        const QorMP3SideInfo before = s;
        s = QorMP3SideInfo{};
        s.block_type = before.block_type;
        s.window_switching_flag = before.window_switching_flag;
        s.mixed_block_flag = before.mixed_block_flag;
        const int firstScalefac = isShort ? 126 : 74, remaining = count - i;
        Int128 lo = reservoir->bitsAvail - scaled(Int128(reservoir->maxBits) * 62259, 16) +
                    (meanBits - total + est);
        if (remaining >= 3) lo = scaled(lo, 1);
        if (remaining == 2) lo = lo * 3 / 4;
        Int128 hi = est + (scaled(2 * reservoir->bitsAvail * coef, 16) + meanBits - total) /
                              Int128(remaining);
        if (hi < lo) hi = lo;
        const int minBits = int(std::min<Int128>(lo - firstScalefac, 4095));
        const int maxBits = int(std::min<Int128>(std::max<Int128>(hi - firstScalefac, 0), 4095));

        count1Len[i] = hufBits[i] = 0;
        if (maxLine == 0 || maxBits == 0) {
            std::fill_n(x, 576, 0);
            s.global_gain = 210;
            return;
        }

        std::vector<Int128> allowed(40), gain(40);
        for (const Band& band : bands) {
            if (band.b >= coded) continue;
            Int128 energy = 0;
            for (int k = 0; k < band.width; ++k)
                energy += scaled(Int128(a[band.first + k]) * a[band.first + k], 32);
            allowed[band.index] = scaled(psy[i].ratio[band.index] * energy, 32);
            if (band.b >= sfbMax[band.w]) continue;
            gain[band.index] = bandGain(
                psy[i].ratio[band.index],
                *std::max_element(a.begin() + band.first, a.begin() + band.first + band.width));
        }
        int scalefacBits = 0;
        Qor32s gq = factors(s, gain, scf, sfbMax, bands, granule, channel, scalefacBits);

        Lines ix(576);
        const Qor32s bits =
            search(s, a, ix, scf, sfbMax, bands, allowed, gain, gq, minBits, maxBits, count1Len[i]);
        hufBits[i] = bits;
        s.part2_3_length = bits + scalefacBits;
        s.global_gain = gq + 210;
        for (int k = 0; k < 576; ++k) x[k] = sign[k] * ix[k];
    }

    static Int128 bandGain(Qor32s ratio, Qor32s m) {
        if (m == 0) return 0;
        const Qor32s statistics[20] = {374521148, 142163417, 74088186, 45311905, 30494268,
                                       21904333,  16535624,  12884902, 10307922, 8589935,
                                       7086696,   6012954,   5153961,  4509716,  3865471,
                                       3435974,   3006477,   2791729,  2576980,  2147484};
        const int mid[20] = {11,  91,  139, 174, 200, 223, 241, 257, 272, 285,
                             296, 307, 317, 326, 334, 342, 349, 356, 363, 369};
        int i = 0;
        while (i < 19 && !(ratio > statistics[i])) ++i;
        const auto [e, f] = log2(m);
        return scaled(e * 64 + scaled(f, 8) - 1664 - mid[i] + 8, 4);
    }

    // Gains to scale factors; returns gq.
    Qor32s factors(QorMP3SideInfo& s, std::vector<Int128>& scale, Qor8s* scf, const int* sfbMax,
                   const std::vector<Band>& bands, int granule, int channel, int& bits) {
        const bool isShort = s.block_type == 2;
        std::vector<bool> ignore(40, true);
        Int128 qmax = -1000000;
        for (const Band& band : bands) {
            ignore[band.index] = band.b >= sfbMax[band.w] || scale[band.index] == 0;
            if (!ignore[band.index]) qmax = std::max(qmax, scale[band.index]);
        }
        if (qmax == -1000000) qmax = 0;
        const int bandCount = isShort ? 3 * std::max({sfbMax[0], sfbMax[1], sfbMax[2]}) : sfbMax[0];
        const int split = isShort ? std::min(bandCount, 18) : std::min(sfbMax[0], 11);
        Int128 m1 = 0, m2 = 0;
        for (int k = 0; k < 40; ++k) {
            if (!ignore[k]) scale[k] = scaled(qmax - scale[k], 1);
            if (k < split)
                m1 = std::max(m1, scale[k]);
            else
                m2 = std::max(m2, scale[k]);
        }
        s.scalefac_scale = m1 > 15 || m2 > 7 ? 1 : 0;
        for (int k = 0; k < 40; ++k) {
            if (ignore[k]) continue;
            const bool high = !isShort && !(k < std::min(11, bandCount));
            scale[k] = std::min<Int128>(scale[k] / (s.scalefac_scale + 1), high ? 7 : 15);
        }
        for (int k = 0; k < bandCount; ++k) scf[k] = Qor8s(scale[k]);
        chooseScalefactorTable(scf, s, scfsi + 4 * channel, header.id, granule);
        bits = scalefactorBits(s, scfsi + 4 * channel, header.id, granule);
        return Qor32s(qmax);
    }

    Qor32s search(QorMP3SideInfo& s, const Lines& a, Lines& ix, const Qor8s* scf, const int* sfbMax,
                  const std::vector<Band>& bands, const std::vector<Int128>& allowed,
                  const std::vector<Int128>& scale, Qor32s& gq, int minBits, int maxBits,
                  Qor32s& lenOfCount1) {
        const Qor16s* sfb = _qor_pMP3SfbTableLong[header.id * 3 + header.sampling_frequency];
        const int unit = 2 * (s.scalefac_scale + 1);
        const auto quantize = [&] {
            for (const Band& band : bands) {
                const int q = gq - unit * scf[band.index];
                if (q > 0) continue;
                for (int k = 0; k < band.width; ++k)
                    ix[band.first + k] = quantizedLine(a[band.first + k], q);
            }
        };
        const auto largest = [&] { return *std::max_element(ix.begin(), ix.end()); };
        const auto count = [&] {
            const Count c = totalSpectralBits(ix, s, sfb);
            lenOfCount1 = c.count1Len;
            return c.bits;
        };
        const auto distortion = [&] {
            int noisy = 0;
            int shifted = 0;  // how far windows that are left out have moved the position
            for (const Band& band : bands) {
                if (band.w == 0) shifted = 0;
                if (band.b >= (s.block_type == 2 ? 12 : 21)) continue;
                if (band.b >= sfbMax[band.w]) {
                    shifted += band.width;
                    continue;
                }
                Int128 noise = 0;
                for (int k = 0; k < band.width; ++k) {
                    const int at = band.first - shifted + k;
                    const Int128 d =
                        Int128(a[at]) - dequantizedLine(ix[at], int(unit * scale[band.index]) - gq);
                    noise += scaled(d * d, 32);
                }
                if (scaled(noise, 1) > allowed[band.index]) ++noisy;
            }
            return noisy;
        };

        int step = 8, repeats = 0;
        bool free = true, first = true, overflowed = false;
        if (gq < -210) gq = -210, free = false;
        if (gq > 45) gq = 45, free = false;
        while (true) {
            quantize();
            while (largest() >= 8192) {
                gq += 1;
                free = false;
                quantize();
            }
            const int bits = count();
            Qor32s result = bits;
            const int noisy = distortion();
            if (first) overflowed = bits > maxBits;
            first = false;
            if (bits == maxBits) return result;
            if (minBits <= bits && bits <= maxBits && noisy == 0) return result;
            if (bits <= maxBits && !free) return result;
            if (bits <= maxBits && overflowed) return result;
            if (bits < maxBits) {
                if (gq < -209) return result;
                gq -= step;
                overflowed = false;
                if (step != 1) step /= 2;
                continue;
            }
            gq += 1;
            quantize();
            if (largest() >= 8192) continue;
            result = count();
            if (result <= maxBits && !overflowed) return result;
            overflowed = true;
            repeats = result == bits ? repeats + 1 : 0;
            if (repeats > 8) return maxBits;
        }
    }
};

}  // namespace qorac::reference
