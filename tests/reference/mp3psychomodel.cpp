#include "reference/mp3psychomodel.h"

#include <algorithm>
#include <cmath>

namespace qorac::reference {
namespace {

using Partitions = std::vector<Int128>;
constexpr Int128 kMax = 0x7FFFFFFF;

Int128 sat(Int128 x) { return std::clamp<Int128>(x, -kMax - 1, kMax); }
// Product of an energy and a Q31 number: 2 c hi + ((c lo) >> 31).
Int128 times(Int128 a, Int128 c) {
    const Int128 hi = scaled(a, 32), lo = unsigned32(a);
    return 2 * c * hi + scaled(c * lo, 31);
}

// --- transform --------------------------------------------------------------------------------

Int128 q14(double x) { return std::llround(16384 * x); }

// (p c + q s) / 2^14 rounded, 32 bits kept.
Qor32s rotated(Int128 p, double c, Int128 q, double s) {
    return wrap32(scaled(p * q14(c) + q * q14(s) + 8192, 14));
}

std::vector<Complex32> complexTransform(const std::vector<Complex32>& z) {
    const int n = static_cast<int>(z.size());
    if (n == 1) return z;
    std::vector<Complex32> lower(n / 2), third(n / 4), fourth(n / 4), result(n);
    if (n == 2) {
        return {{wrap32(Int128(z[0].re) + z[1].re), wrap32(Int128(z[0].im) + z[1].im)},
                {wrap32(Int128(z[0].re) - z[1].re), wrap32(Int128(z[0].im) - z[1].im)}};
    }
    for (int j = 0; j < n / 4; ++j) {
        const Complex32 z0 = z[j], z1 = z[j + n / 4], z2 = z[j + n / 2], z3 = z[j + 3 * n / 4];
        lower[j] = {wrap32(Int128(z0.re) + z2.re), wrap32(Int128(z0.im) + z2.im)};
        lower[j + n / 4] = {wrap32(Int128(z1.re) + z3.re), wrap32(Int128(z1.im) + z3.im)};
        const Qor32s re3 = wrap32(Int128(z0.re) - z2.re - z1.im + z3.im);
        const Qor32s im3 = wrap32(Int128(z0.im) - z2.im + z1.re - z3.re);
        const Qor32s re2 = wrap32(Int128(z0.re) - z2.re + z1.im - z3.im);
        const Qor32s im2 = wrap32(Int128(z0.im) - z2.im - z1.re + z3.re);
        const double angle = 2 * M_PI * j / n;
        if (j == 0) {
            third[j] = {re2, im2};
            fourth[j] = {re3, im3};
        } else if (8 * j == n) {
            // sqrt(1/2) (1 - i) and -sqrt(1/2) (1 + i)
            const auto half = [](Int128 sum) {
                return wrap32(scaled(wrap32(sum) * Int128(11585) + 8192, 14));
            };
            third[j] = {half(Int128(re2) + im2), half(Int128(im2) - re2)};
            fourth[j] = {half(Int128(im3) - re3), half(-Int128(im3) - re3)};
        } else {
            third[j] = {rotated(re2, std::cos(angle), im2, std::sin(angle)),
                        rotated(im2, std::cos(angle), re2, -std::sin(angle))};
            fourth[j] = {rotated(re3, std::cos(3 * angle), im3, std::sin(3 * angle)),
                         rotated(im3, std::cos(3 * angle), re3, -std::sin(3 * angle))};
        }
    }
    const auto even = complexTransform(lower), one = complexTransform(third),
               three = complexTransform(fourth);
    for (int k = 0; k < n / 2; ++k) result[2 * k] = even[k];
    for (int k = 0; k < n / 4; ++k) {
        result[4 * k + 1] = one[k];
        result[4 * k + 3] = three[k];
    }
    return result;
}

}  // namespace

std::vector<Complex32> realTransform(const std::vector<Qor16s>& samples) {
    const int size = static_cast<int>(samples.size());
    const int guardBits = size == 1024 ? 6 : 8;
    std::vector<Complex32> z(size / 2);
    for (int i = 0; i < size / 2; ++i) {
        z[i] = {samples[2 * i] * (1 << guardBits), samples[2 * i + 1] * (1 << guardBits)};
    }
    z = complexTransform(z);
    std::vector<Complex32> result(size / 2 + 1);
    result[0] = {wrap32(Int128(z[0].re) + z[0].im), 0};
    result[size / 2] = {wrap32(Int128(z[0].re) - z[0].im), 0};
    result[size / 4] = {z[size / 4].re, wrap32(-Int128(z[size / 4].im))};
    for (int k = 1; k < size / 4; ++k) {
        const Complex32 x = z[k], y = z[size / 2 - k];
        const Int128 a = scaled(Int128(x.re) + y.re, 1), b = scaled(Int128(x.re) - y.re, 1);
        const Int128 c = scaled(Int128(x.im) + y.im, 1), d = scaled(Int128(x.im) - y.im, 1);
        const double angle = 2 * M_PI * k / size;
        const Int128 u = rotated(b, std::cos(angle), c, std::sin(angle));
        const Int128 v = rotated(b, std::sin(angle), c, -std::cos(angle));
        result[k] = {wrap32(a - v), wrap32(d - u)};
        result[size / 2 - k] = {wrap32(a + v), wrap32(-d - u)};
    }
    for (Complex32& x : result) {
        x.re = Qor32s(scaled(Int128(x.re) + (1 << (guardBits - 1)), guardBits));
        x.im = Qor32s(scaled(Int128(x.im) + (1 << (guardBits - 1)), guardBits));
    }
    return result;
}

std::array<Int128, 4> coupled(const std::array<Int128, 4>& nb, const std::array<Int128, 4>& e,
                              Qor32s bmld) {
    const auto [left, right, mid, side] = nb;
    const Int128 divisor = mid > side ? mid : side, smaller = mid > side ? side : mid;
    const Scaled norm = norm64(divisor);
    const Int128 r = reciprocal(norm.value == 0 ? 1 : norm.value).value;
    const Int128 q = std::min(scaled(times(smaller, r), 31 - norm.shift), kMax);
    return {std::max(std::min(left, times(e[0], bmld)), times(left, q)),
            std::max(std::min(right, times(e[1], bmld)), times(right, q)),
            std::min(std::max(std::min(side, times(e[3], bmld)), mid), std::min(left, right)),
            std::min(std::max(std::min(mid, times(e[2], bmld)), side), std::min(left, right))};
}

namespace {

// --- unpredictability -------------------------------------------------------------------------

Int128 energy(Complex32 x) { return Int128(x.re) * x.re + Int128(x.im) * x.im; }

Int128 measure(Complex32 x0, Complex32 x1, Complex32 x2, Int128 m0, Int128 m1, Int128 m2) {
    Int128 cos2 = kMax, sin2 = 0, c = kMax, d = 0;
    if (m1 != 0) {
        const auto [r, n] = reciprocal(m1);
        const Int128 a = scaled(x1.re * r, 25), b = scaled(x1.im * r, 25);
        cos2 = sat(scaled(a * a, 30 - 2 * n) - power2(31));
        sin2 = sat(scaled(a * b, 30 - 2 * n));
    }
    if (m2 != 0) {
        const auto [r, n] = reciprocal(m2);
        c = sat(scaled(x2.re * r, 25 - n));
        d = sat(scaled(x2.im * r, 25 - n));
    }
    const Int128 p = sat(scaled(cos2 * c + sin2 * d, 31));
    const Int128 q = sat(scaled(c * sin2 - d * cos2, 31));
    const Int128 predicted = wrap32(2 * m1 - m2);
    const Int128 re = unsigned32(32 * Int128(x0.re) - scaled(p * predicted, 31));
    const Int128 im = unsigned32(32 * Int128(x0.im) - scaled(q * predicted, 31));
    const Int128 f = wrap64(wrap64(re * re) + Int128(wrap64(im * im)));
    const Int128 e = unsigned32(root(scaled(f, 10)));
    const Int128 den = (predicted < 0 ? -predicted : predicted) + m0;
    if (den == 0) return 0;
    const auto [r, n] = reciprocal(den);
    return std::min(scaled(e * unsigned32(r), 30 - n), kMax);
}

// --- partitions -------------------------------------------------------------------------------

struct Model {
    const PsyTables& t;
    int inputs, all;
    bool ms;
};

Partitions spreadOut(const Partitions& e, const Qor16s* bound, const Qor32s* packed) {
    Partitions result(e.size());
    for (std::size_t b = 0; b < e.size(); ++b) {
        for (int j = bound[2 * b]; j < bound[2 * b + 1]; ++j) result[b] += times(e[j], *packed++);
    }
    return result;
}

// Partition energies of left, right, and of mid and side from the cross terms.
std::vector<Partitions> partitionEnergies(const Model& m,
                                          const std::vector<std::vector<Complex32>>& x,
                                          const Qor16s* table, int count) {
    std::vector<Partitions> e(m.all, Partitions(count));
    for (int b = 0; b < count; ++b) {
        Int128 cross = 0;
        for (int k = table[b]; k < table[b + 1]; ++k) {
            for (int c = 0; c < m.inputs; ++c) e[c][b] += energy(x[c][k]);
            if (m.ms) {
                cross += 2 * (Int128(x[0][k].re) * x[1][k].re + Int128(x[0][k].im) * x[1][k].im);
            }
        }
        if (m.ms) {
            e[2][b] = scaled(e[0][b] + e[1][b] + cross, 2);
            e[3][b] = scaled(e[0][b] + e[1][b] - cross, 2);
        }
    }
    return e;
}

void couple(std::vector<Partitions>& nb, const std::vector<Partitions>& e, const Qor32s* bmld) {
    for (std::size_t b = 0; b < nb[0].size(); ++b) {
        const auto r = coupled({nb[0][b], nb[1][b], nb[2][b], nb[3][b]},
                               {e[0][b], e[1][b], e[2][b], e[3][b]}, bmld[b]);
        for (int c = 0; c < 4; ++c) nb[c][b] = r[c];
    }
}

Qor32s bandRatio(const Partitions& e, const Partitions& nb, const Qor8u* buo, const Qor32s* weight,
                 int s) {
    const auto sum = [&](const Partitions& p) {
        Int128 total = times(p[buo[s]], weight[s]) + times(p[buo[s + 1]], kMax - weight[s + 1]);
        for (int b = buo[s] + 1; b < buo[s + 1]; ++b) total += p[b];
        return total;
    };
    const Int128 total = sum(e);
    if (total == 0) return kMax;
    const auto [mantissa, n] = norm64(total);
    const Int128 r = reciprocal(mantissa).value;
    return wrap32(std::min<Int128>(wrap64(scaled(times(sum(nb), r), 31 - n)), kMax));
}

Qor32s entropy(const Model& m, const Partitions& e, const Partitions& nb) {
    Int128 sum = 0;
    for (std::size_t b = 0; b < e.size(); ++b) {
        const auto [mantissa, s] = norm64(nb[b] + 1);
        Int128 ratio = scaled(times(e[b], reciprocal(mantissa).value), 51 - s);
        ratio = std::max<Int128>(ratio, 2048);
        int extra = 0;
        if (ratio > kMax) {
            const Scaled again = norm64(ratio);
            ratio = again.value;
            extra = again.shift - 32;
        }
        const auto [exponent, fraction] = log2(ratio);
        const Int128 log10 =
            scaled(fraction * Int128(646456993), 14) + (exponent - 11 - extra) * Int128(646456993);
        const int width = m.t.pPsyPartitionTableLong[b + 1] - m.t.pPsyPartitionTableLong[b];
        const Int128 hi = scaled(log10, 32), lo = unsigned32(log10);
        sum += width * hi * 64 + scaled(width * lo, 26);
    }
    return wrap32(scaled(sum, 5));
}

// Limited 64-bit thresholds of the state as wide integers and back.
Qor64s narrow(Int128 x) { return wrap64(x); }

}  // namespace

void psychoacousticModel(const std::vector<Qor16s>& pcm, std::vector<QorMP3PsychoInfo>& info,
                         std::array<Qor32s, 6>& bound, std::vector<QorMP3SideInfo>& sideInfo,
                         QorMP3FrameHeader& header, std::array<QorMP3PsychoState, 4>& state) {
    const int nch = header.mode == 3 ? 1 : 2;
    const bool ms = header.mode == 1;
    const Model m{_qor_pPsyTables_MP3[header.sampling_frequency], nch, nch + 2 * ms, ms};
    const int ngr = header.id == 1 ? 2 : 1;
    const PsyTables& t = m.t;

    std::vector<std::array<Int128, 4>> pe(ngr + 1);
    for (int c = 0; c < m.all; ++c) pe[0][c] = state[c].pe;
    std::vector<std::array<std::array<Qor32s, 36>, 4>> ratioLong(ngr), ratioShort(ngr);

    for (int g = 0; g < ngr; ++g) {
        std::vector<std::vector<Complex32>> longSpectra;
        std::vector<std::vector<std::vector<Complex32>>> shortSpectra(3);
        std::vector<std::vector<Int128>> cw;
        for (int c = 0; c < nch; ++c) {
            const auto sample = [&](int i) { return pcm[(g * 576 + i) * nch + c]; };
            std::vector<Qor16s> y(1024);
            for (int i = 0; i < 1024; ++i) {
                y[i] = Qor16s(scaled(Int128(sample(i)) * pHannWinLong_MP3[i], 15));
            }
            const auto x = realTransform(y);
            std::vector<Int128> measures(513, 858993459);
            QorMP3PsychoState& s = state[c];
            for (int k = 0; k < 6; ++k) {
                const Int128 mag = root(energy(x[k]));
                measures[k] =
                    measure(x[k], {s.spec1[2 * k], s.spec1[2 * k + 1]},
                            {s.spec2[2 * k], s.spec2[2 * k + 1]}, mag, s.mag1[k], s.mag2[k]);
                s.mag2[k] = s.mag1[k];
                s.mag1[k] = Qor32s(mag);
                s.spec2[2 * k] = s.spec1[2 * k];
                s.spec2[2 * k + 1] = s.spec1[2 * k + 1];
                s.spec1[2 * k] = x[k].re;
                s.spec1[2 * k + 1] = x[k].im;
            }
            std::vector<std::vector<Complex32>> w3;
            for (int w = 0; w < 3; ++w) {
                std::vector<Qor16s> v(256);
                for (int i = 0; i < 256; ++i) {
                    v[i] = Qor16s(
                        scaled(Int128(sample(256 + 128 * w + i)) * pHannWinShort_MP3[i], 15));
                }
                w3.push_back(realTransform(v));
                shortSpectra[w].push_back(w3.back());
            }
            for (int k = 6; k < 206; ++k) {
                const int j = (k - 6) / 4 + 2;
                measures[k] = measure(w3[2][j], w3[1][j], w3[0][j], root(energy(w3[2][j])),
                                      root(energy(w3[1][j])), root(energy(w3[0][j])));
            }
            longSpectra.push_back(x);
            cw.push_back(measures);
        }

        // Long partitions.
        const int count = t.numPartLong;
        const auto& table = t.pPsyPartitionTableLong;
        const auto eb = partitionEnergies(m, longSpectra, table.data(), count);
        std::vector<Partitions> ct(m.all, Partitions(count));
        for (int b = 0; b < count; ++b) {
            for (int k = table[b]; k < table[b + 1]; ++k) {
                for (int c = 0; c < nch; ++c)
                    ct[c][b] += times(energy(longSpectra[c][k]), cw[c][k]);
                if (!ms) continue;
                const Complex32 l = longSpectra[0][k], r = longSpectra[1][k];
                const Int128 x = 2 * (Int128(l.re) * r.re + Int128(l.im) * r.im);
                const Int128 least = std::min(cw[0][k], cw[1][k]);
                ct[2][b] += times(energy(l) + energy(r) + x, least);
                ct[3][b] += times(energy(l) + energy(r) - x, least);
            }
            if (ms) {
                ct[2][b] = scaled(ct[2][b], 2);
                ct[3][b] = scaled(ct[3][b], 2);
            }
        }
        std::vector<Partitions> ecb, nb;
        for (int c = 0; c < m.all; ++c) {
            ecb.push_back(spreadOut(eb[c], t.pSprdngBoundLong.data(), t.pSprdngPackedLong.data()));
            const auto ctb =
                spreadOut(ct[c], t.pSprdngBoundLong.data(), t.pSprdngPackedLong.data());
            nb.emplace_back(count, 1);
            for (int b = 0; b < count; ++b) {
                const Int128 e = ecb[c][b];
                if (e == 0) continue;
                const auto [mantissa, s] = norm64(e);
                const Int128 cb = scaled(times(ctb[b], reciprocal(mantissa).value), 31 - s);
                Int128 f;
                if (cb > 1071379500) {
                    f = 1078847007;
                } else if (cb < 104798000) {
                    f = 68070644;
                } else {
                    f = scaled(power118813(cb) * Int128(1232338071), 30);
                }
                nb[c][b] = scaled(e, 32) * f + scaled(unsigned32(e) * f, 32);
            }
        }
        if (ms) couple(nb, ecb, t.pBMLDRatioLong.data());
        for (int c = 0; c < m.all; ++c) {
            for (int b = 0; b < count; ++b) {
                const Int128 p1 = state[c].nbPrev1[b], p2 = state[c].nbPrev2[b], n = nb[c][b];
                Int128 limit = std::min(2 * p1, n);
                if (state[c & 1].blockType != 2) limit = std::min(limit, 16 * p2);
                state[c].nbPrev2[b] = narrow(p1);
                state[c].nbPrev1[b] = narrow(n);
                nb[c][b] = std::max<Int128>(limit, t.pQuietThresholdLong[b]);
            }
            pe[g + 1][c] = entropy(m, eb[c], nb[c]);
            for (int s = 0; s < 21; ++s) {
                ratioLong[g][c][s] = bandRatio(eb[c], nb[c], t.pPartToSfbBuoLong.data(),
                                               t.pPartToSfbWeightLong.data(), s);
            }
        }

        // Short partitions.
        const int countShort = t.numPartShort;
        std::vector<std::vector<Partitions>> es(3), spread(3), ns(3);
        for (int w = 0; w < 3; ++w) {
            es[w] =
                partitionEnergies(m, shortSpectra[w], t.pPsyPartitionTableShort.data(), countShort);
            for (int c = 0; c < m.all; ++c) {
                spread[w].push_back(
                    spreadOut(es[w][c], t.pSprdngBoundShort.data(), t.pSprdngPackedShort.data()));
                ns[w].emplace_back(countShort);
                for (int b = 0; b < countShort; ++b) {
                    ns[w][c][b] = times(spread[w][c][b], t.pSMRShort[b]);
                }
            }
            if (ms) couple(ns[w], spread[w], t.pBMLDRatioShort.data());
        }
        for (int c = 0; c < m.all; ++c) {
            for (int b = 0; b < countShort; ++b) {
                const Int128 quiet = t.pQuietThresholdShort[b];
                state[c].nbShortPrev[b] = narrow(ns[2][c][b]);
                ns[2][c][b] = std::max(std::min(ns[2][c][b], ns[1][c][b]), quiet);
                ns[1][c][b] = std::max(std::min(ns[1][c][b], ns[0][c][b]), quiet);
                ns[0][c][b] =
                    std::max(std::min<Int128>(ns[0][c][b], state[c].nbShortPrev[b]), quiet);
            }
            for (int w = 0; w < 3; ++w) {
                for (int s = 0; s < 12; ++s) {
                    ratioShort[g][c][3 * s + w] =
                        bandRatio(es[w][c], ns[w][c], t.pPartToSfbBuoShort.data(),
                                  t.pPartToSfbWeightShort.data(), s);
                }
            }
        }

        // Block types.
        bool flag = true;
        for (int c = 0; c < nch; ++c) {
            std::array<Int128, 3> sums{};
            for (int w = 0; w < 3; ++w) {
                for (const Int128& e : es[w][c]) sums[w] += e;
            }
            const Int128 mx = *std::max_element(sums.begin(), sums.end());
            const Int128 mn = *std::min_element(sums.begin(), sums.end());
            if (mx > 40 * mn || (mx > 8 * mn && pe[g + 1][c] > 800) || pe[g + 1][c] > 1000) {
                flag = false;
            }
        }
        for (int c = 0; c < nch; ++c) {
            const int carried = state[c].blockType;
            static const int type[2][4] = {{1, -1, 2, 2}, {0, -1, 2, 3}};
            static const int next[2][4] = {{2, -1, 2, 2}, {0, -1, 3, 0}};
            QorMP3SideInfo& side = sideInfo[g * nch + c];
            side.block_type = type[flag][carried];
            side.window_switching_flag = side.block_type != 0;
            side.mixed_block_flag = 0;
            state[c].blockType = next[flag][carried];
        }
    }

    // End of the frame.
    bool useMS = ms;
    Int128 sumLR = 0, sumMS = 0;
    for (int g = 0; ms && g < ngr; ++g) {
        if (sideInfo[g * nch].block_type != sideInfo[g * nch + 1].block_type) useMS = false;
        sumLR += pe[g][0] + pe[g][1];
        sumMS += pe[g][2] + pe[g][3];
    }
    if (sumLR < sumMS) useMS = false;
    const int o = useMS ? 2 : 0;
    for (int c = 0; c < nch; ++c) {
        for (int i = 0; i < 36; ++i) {
            info[c].ratio[i] = sideInfo[c].block_type == 2 ? state[c + o].ratioShort[i]
                                                           : state[c + o].ratioLong[i];
        }
    }
    if (ngr == 2) {
        for (int c = 0; c < nch; ++c) {
            for (int i = 0; i < 36; ++i) {
                info[c].ratio[i] = sideInfo[nch + c].block_type == 2 ? ratioShort[0][c + o][i]
                                                                     : ratioLong[0][c + o][i];
            }
        }
    }
    for (int c = 0; c < m.all; ++c) {
        std::copy(ratioLong[ngr - 1][c].begin(), ratioLong[ngr - 1][c].end(), state[c].ratioLong);
        std::copy(ratioShort[ngr - 1][c].begin(), ratioShort[ngr - 1][c].end(),
                  state[c].ratioShort);
        state[c].pe = Qor32s(pe[ngr][c]);
    }
    for (int g = 0; g < ngr; ++g) {
        for (int c = 0; c < nch; ++c) info[g * nch + c].pe = Qor32s(pe[g][c + o]);
    }
    header.mode_extension = o;
    if (nch == 2 && header.bitrate_index < 9) {
        header.mode_extension += 1;
        static const int longBound[3][3] = {{13, 12, 13}, {15, 15, 16}, {18, 18, 18}};
        static const int shortBound[3][3] = {{6, 6, 7}, {8, 8, 8}, {10, 10, 10}};
        const int row = std::max(header.bitrate_index - 6, 0), column = header.sampling_frequency;
        for (int g = 0; g < ngr; ++g) {
            const bool isShort = sideInfo[g * nch].block_type == 2;
            for (int w = 0; w < (isShort ? 3 : 1); ++w) {
                bound[3 * g + w] = isShort ? shortBound[row][column] : longBound[row][column];
            }
        }
    }
}

}  // namespace qorac::reference
