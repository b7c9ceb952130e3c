#include "reference/requantize.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "reference/exact.h"

namespace qorac::reference {

namespace {

constexpr int kPretab[22] = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1, 1, 1, 2, 2, 3, 3, 3, 2, 0};

bool isMixed(const QorMP3SideInfo& side) { return side.block_type == 2 && side.mixed_block_flag; }
bool hasLongBands(const QorMP3SideInfo& side) {
    return side.block_type != 2 || side.mixed_block_flag;
}
bool illegal(const Granule& g, int sf) { return g.head.id == 1 ? sf == 7 : sf < 0; }

// What the two models share of a short channel: the first short band, and where its scale factors
// begin.
struct ShortLayout {
    int first, scaleBase;
    ShortLayout(const Granule& g, const QorMP3SideInfo& side)
        : first(isMixed(side) ? 3 : 0), scaleBase(isMixed(side) ? (g.head.id == 1 ? 8 : 6) : 0) {}
    int scaleIndex(int band, int window) const { return scaleBase + 3 * (band - first) + window; }
};

int shortWidth(const Granule& g, int band) { return g.shortBands[band + 1] - g.shortBands[band]; }
int shortStart(const Granule& g, int band, int window) {
    return g.shortBands[band] * 3 + shortWidth(g, band) * window;
}
// Where line `j` of a window stands in the output.
int reordered(int window, int j) { return 18 * (j / 6) + 6 * window + j % 6; }

// --- the table and polynomial core --------------------------------------------------------------

long long nearest(long double v) { return std::llround(v); }

Int128 tablePower(int k, int r, int q) {  // k^(4/3) * 2^(-r/4), in Qq
    const long double x = k;
    return nearest(x * std::cbrt(x) * std::exp2(q - r / 4.0L));
}

constexpr Qor32s kSqrt14[4] = {0x7FFFFFFF, 1805811301, 1518500250, 1276901417};
constexpr Qor32s kPoly[8] = {-457633446, 1445956062, -2036421417, 1707815404,
                             -991941369, 535739478,  127541088,   -1613111};
constexpr Qor32s kXt[7] = {1704458900, 2147483647, 1352829926, 1704458900,
                           2147483647, 1352829926, 1704458900};
constexpr int kXtExp[7] = {20, 19, 17, 16, 15, 13, 12};

Qor32s magnitudePower(int k, int e) {
    const int q = e >> 2, r = e & 3;
    if (k == 0) return 0;
    if (k < 16) {
        const Int128 entry = tablePower(k, r, k < 4 ? 28 : 25);
        const int shift = k < 4 ? q + 2 : q - 1;
        return wrap32(shift < 0 ? entry << -shift : entry >> std::min(shift, 31));
    }
    Int128 m;
    int n;
    if (k <= 128) {
        m = tablePower(k, 0, k < 64 ? 23 : 21);
        n = k < 64 ? 4 : 6;
    } else {
        Int128 x = Int128{k} << 17;
        int c = 0;
        for (; x < (Int128{1} << 30); x <<= 1) ++c;
        const int i = 6 - c;
        Qor32s p = kPoly[0];
        for (int j = 1; j < 8; ++j) p = wrap32(((p * x) >> 32) + kPoly[j]);
        p = wrap32(Int128{p} << 4);
        m = 2 * ((Int128{p} * kXt[i]) >> 32);
        n = 27 - kXtExp[i];
    }
    m = (m * kSqrt14[r]) >> 32;
    const int d = q - n;
    if (d >= 0) return wrap32(m >> std::min(d, 31));
    return m > (0x7FFFFFFF >> -d) ? 0x7FFFFFFF : wrap32(m << -d);
}

// --- integer model ------------------------------------------------------------------------------

struct Model {
    const Granule& g;
    RequantizedGranule out;
    int top[2][3] = {}, maxLines[2] = {}, stop[3] = {}, isBand = 0;
    std::array<std::array<int, 40>, 2> stereoExponent{};
    std::array<std::vector<Qor32s>, 2> side{std::vector<Qor32s>(576), std::vector<Qor32s>(576)};

    explicit Model(const Granule& granule) : g(granule) {
        out.lines = g.lines;
        out.bounds = g.bounds;
    }

    bool isShort(int ch) const { return g.side[ch].block_type == 2; }

    void findTops(int ch) {
        const ShortLayout layout(g, g.side[ch]);
        int bandTop = layout.first;
        for (int b = layout.first; b <= 12; ++b)
            if (g.shortBands[b] * 3 < g.bounds[ch]) bandTop = b + 1;
        for (int w = 0; w < 3; ++w) {
            top[ch][w] = layout.first;
            int count = g.shortBands[layout.first];
            for (int b = layout.first; b < bandTop; ++b)
                for (int i = 0; i < shortWidth(g, b); ++i)
                    if (g.lines[ch][shortStart(g, b, w) + i] != 0) {
                        top[ch][w] = b + 1;
                        count = g.shortBands[b] + i + 1;
                    }
            maxLines[ch] = std::max(maxLines[ch], count);
        }
    }

    void mapStereo() {
        const ShortLayout layout(g, g.side[0]);
        const bool pair = g.midSide() && g.intensity();
        if (hasLongBands(g.side[0])) {
            int limit = g.intensity() ? g.bounds[1] : std::max(g.bounds[0], g.bounds[1]), last = 22;
            if (isShort(0)) {
                limit = std::min(limit, 36);
                last = layout.scaleBase;
            }
            for (int b = 0; b <= 21; ++b)
                if (g.longBands[b] < limit) isBand = b + 1;
            for (int b = 0; g.midSide() && b < isBand; ++b)
                stereoExponent[0][b] = stereoExponent[1][b] = 2;
            for (int b = isBand; pair && b < last; ++b)
                if (illegal(g, g.scaleFactors[1][b])) stereoExponent[0][b] = 2;
        }
        if (isShort(0))
            for (int w = 0; w < 3; ++w) {
                const int larger = std::max(top[0][w], top[1][w]);
                stop[w] = g.intensity() ? top[1][w] : larger;
                for (int b = layout.first; g.midSide() && b < stop[w]; ++b)
                    for (auto& exponent : stereoExponent) exponent[layout.scaleIndex(b, w)] = 2;
                for (int b = stop[w]; pair && b < top[0][w]; ++b)
                    if (illegal(g, g.scaleFactors[1][layout.scaleIndex(b, w)]))
                        stereoExponent[0][layout.scaleIndex(b, w)] = 2;
                top[0][w] = top[1][w] = larger;
            }
    }

    // One run of lines with one exponent; false for a magnitude out of range.
    bool requantizeRun(const Qor32s* in, Qor32s* to, int count, int exponent) {
        for (int i = 0; i < count; ++i) {
            if (in[i] > 8206 || in[i] < -8206) return false;
            to[i] = requantizeLine(in[i], exponent);
        }
        return true;
    }

    QorStatus requantizeChannel(int ch) {
        const QorMP3SideInfo& s = g.side[ch];
        const auto& sf = g.scaleFactors[ch];
        const auto bad = [](int v, int high) { return v < 0 || v > high; };
        if (bad(s.global_gain, 255) || bad(s.scalefac_scale, 1) || bad(s.preflag, 1))
            return qorStsMp3SideInfoErr;
        const int gain = 210 - s.global_gain, shift = s.scalefac_scale + 1;
        if (hasLongBands(s)) {
            const int end = isShort(ch) ? 36 : g.bounds[ch];
            for (int b = 0; b < 22 && g.longBands[b] < end; ++b) {
                const int factor = kPretab[b] * s.preflag + std::abs(sf[b]);
                const int exponent = gain + stereoExponent[ch][b] + (factor << shift);
                const int from = g.longBands[b];
                if (!requantizeRun(&g.lines[ch][from], &out.lines[ch][from],
                                   g.longBands[b + 1] - from, exponent))
                    return qorStsErr;
            }
        }
        const ShortLayout layout(g, s);
        for (int w = 0; isShort(ch) && w < 3; ++w) {
            if (bad(s.subblock_gain[w], 7)) return qorStsErr;
            for (int b = layout.first; b < top[ch][w]; ++b) {
                const int index = layout.scaleIndex(b, w);
                const int exponent = 8 * s.subblock_gain[w] + gain + stereoExponent[ch][index] +
                                     (std::abs(sf[index]) << shift);
                const int from = shortStart(g, b, w);
                if (!requantizeRun(&g.lines[ch][from], &side[ch][from], shortWidth(g, b), exponent))
                    return qorStsErr;
            }
        }
        return qorStsNoErr;
    }

    static void midSideRun(Qor32s* left, Qor32s* right, int count) {
        for (int i = 0; i < count; ++i) {
            const Int128 l = left[i], r = right[i];
            left[i] = wrap32(l + r);
            right[i] = wrap32(l - r);
        }
    }

    bool intensityRun(Qor32s* left, Qor32s* right, int count, int sf, bool isShortRun) {
        const auto doubled = [](Qor32s a) { return Int128{wrap32(Int128{2} * a)}; };
        if (g.head.id == 1) {
            if (sf > 7) return false;
            if (sf == 7 && g.midSide()) std::copy_n(left, count, right);
            if (sf == 7 && (g.midSide() || !isShortRun)) return true;
            Int128 share = 0x7FFFFFFF;
            if (sf < 6) {
                const long double t = std::tan(sf * std::numbers::pi_v<long double> / 12);
                share = nearest(t / (1 + t) * 2147483648.0L);
            }
            for (int i = 0; i < count; ++i) {
                const Qor32s a = left[i];
                left[i] = wrap32((doubled(a) * share) >> 32);
                right[i] = wrap32(Int128{a} - left[i]);
            }
            return true;
        }
        int c = 0;
        if (sf >= 0) {
            c = ((sf + 1) >> 1) << (g.side[1].scalefac_compress & 1);
        } else if (!g.midSide()) {
            if (isShortRun) std::fill_n(right, count, 0);
            return true;
        }
        for (int i = 0; i < count; ++i) {
            const Qor32s a = left[i];
            const Qor32s scaled = wrap32((doubled(a) * kSqrt14[c & 3]) >> 32) >> (c >> 2);
            const bool odd = sf >= 0 && sf % 2 == 1;
            left[i] = odd ? scaled : a;
            right[i] = odd ? a : scaled;
        }
        return true;
    }

    bool decodeStereo() {
        auto& bounds = out.bounds;
        if (hasLongBands(g.side[0])) {
            if (isShort(0))
                bounds[0] = std::min(bounds[0], 36);
            else
                bounds[0] = bounds[1] = std::max(bounds[0], bounds[1]);
            Qor32s *left = out.lines[0].data(), *right = out.lines[1].data();
            if (g.midSide()) midSideRun(left, right, g.longBands[isBand]);
            for (int b = isBand; g.intensity() && b < 22 && g.longBands[b] < bounds[0]; ++b) {
                const int from = g.longBands[b];
                if (!intensityRun(left + from, right + from, g.longBands[b + 1] - from,
                                  g.scaleFactors[1][b], false))
                    return false;
            }
        }
        if (isShort(0)) {
            const ShortLayout layout(g, g.side[1]);
            for (int w = 0; w < 3; ++w)
                for (int b = layout.first; b < top[0][w]; ++b) {
                    Qor32s* left = &side[0][shortStart(g, b, w)];
                    Qor32s* right = &side[1][shortStart(g, b, w)];
                    if (b < stop[w]) {
                        if (g.midSide()) midSideRun(left, right, shortWidth(g, b));
                    } else if (g.intensity() &&
                               !intensityRun(left, right, shortWidth(g, b),
                                             g.scaleFactors[1][layout.scaleIndex(b, w)], true)) {
                        return false;
                    }
                }
            maxLines[0] = maxLines[1] = std::max(maxLines[0], maxLines[1]);
        }
        return true;
    }

    void reorder(int ch) {
        const ShortLayout layout(g, g.side[ch]);
        const int bound = (out.bounds[ch] + 17) / 18 * 18;
        std::vector<Qor32s> lines(576, 0);
        if (layout.first) std::copy_n(out.lines[ch].begin(), 36, lines.begin());
        for (int w = 0; w < 3; ++w)
            for (int b = layout.first; b < top[ch][w]; ++b)
                for (int i = 0; i < shortWidth(g, b); ++i)
                    lines[reordered(w, g.shortBands[b] + i)] = side[ch][shortStart(g, b, w) + i];
        out.lines[ch] = lines;
        out.bounds[ch] = out.defined[ch] = bound;
    }

    void run() {
        const int channels = g.channels();
        for (int ch = 0; ch < channels; ++ch)
            if (isShort(ch)) findTops(ch);
        const bool stereo = g.midSide() || g.intensity();
        if (stereo) mapStereo();
        for (int ch = 0; ch < channels; ++ch)
            if ((out.status = requantizeChannel(ch)) != qorStsNoErr) return;
        if (stereo && !decodeStereo()) {
            out.status = qorStsErr;
            return;
        }
        for (int ch = 0; ch < channels; ++ch) {
            if (isShort(ch)) {
                out.bounds[ch] = maxLines[ch] * 3;
                reorder(ch);
            }
            int& bound = out.bounds[ch];
            while (bound > 0 && out.lines[ch][bound - 1] == 0) --bound;
        }
    }
};

// --- the standard's formulas --------------------------------------------------------------------

// A run of lines of one band (and window), with the places of its scale factor and its output.
struct Run {
    int from, count, scaleIndex, window;  // window -1: long band
    int band;
};

std::vector<Run> runsOf(const Granule& g, const QorMP3SideInfo& s) {
    std::vector<Run> runs;
    for (int b = 0; b < 22 && hasLongBands(s) && !(isMixed(s) && g.longBands[b] >= 36); ++b)
        runs.push_back({g.longBands[b], g.longBands[b + 1] - g.longBands[b], b, -1, b});
    const ShortLayout layout(g, s);
    for (int b = layout.first; s.block_type == 2 && b < 13; ++b)
        for (int w = 0; w < 3; ++w)
            runs.push_back({shortStart(g, b, w), shortWidth(g, b), layout.scaleIndex(b, w), w, b});
    return runs;
}

}  // namespace

Qor32s requantizeLine(Qor32s k, int exponent) {
    const Qor32s power = magnitudePower(std::abs(k), exponent);
    return k < 0 ? wrap32(-Int128{power}) : power;
}

RequantizedGranule requantize(const Granule& granule) {
    Model model(granule);
    model.run();
    return model.out;
}

std::array<std::vector<double>, 2> requantizeExactly(const Granule& g) {
    std::array<std::vector<double>, 2> lines{std::vector<double>(576), std::vector<double>(576)};
    for (int ch = 0; ch < g.channels(); ++ch) {
        const QorMP3SideInfo& s = g.side[ch];
        for (const Run& run : runsOf(g, s)) {
            const int pretab = run.window < 0 && s.preflag ? kPretab[run.band] : 0;
            const int gain = run.window < 0 ? 0 : s.subblock_gain[run.window];
            const double scale = std::exp2((s.global_gain - 210 - 8 * gain) / 4.0) *
                                 std::exp2(-0.5 * (1 + s.scalefac_scale) *
                                           (std::abs(g.scaleFactors[ch][run.scaleIndex]) + pretab));
            for (int i = run.from; i < run.from + run.count; ++i) {
                const double k = g.lines[ch][i];
                lines[ch][i] = std::copysign(std::pow(std::abs(k), 4.0 / 3), k) * scale;
            }
        }
    }
    if (g.midSide() || g.intensity()) {
        const auto runs = runsOf(g, g.side[1]);
        const auto empty = [&](const Run& run) {
            return std::all_of(&g.lines[1][run.from], &g.lines[1][run.from] + run.count,
                               [](int v) { return v == 0; });
        };
        for (const Run& run : runs) {
            // Intensity-coded is what lies above the right channel's last line, for each window;
            // the long part of a mixed block only where all windows are empty.
            bool coded = g.intensity();
            for (const Run& other : runs) {
                const bool above =
                    other.window == run.window ? other.from >= run.from : run.window < 0;
                if (above && !empty(other)) coded = false;
            }
            const int sf = g.scaleFactors[1][run.scaleIndex];
            double shareLeft = 1, shareRight = 0;
            if (coded && !illegal(g, sf)) {
                if (g.head.id == 1) {
                    const double t = std::tan(sf * std::numbers::pi / 12);
                    shareLeft = sf == 6 ? 1 : t / (1 + t);
                    shareRight = sf == 6 ? 0 : 1 / (1 + t);
                } else {
                    const double base = g.side[1].scalefac_compress & 1 ? 0.5 : std::sqrt(0.5);
                    const double power = std::pow(std::sqrt(base), (sf + 1) / 2);
                    shareLeft = sf % 2 ? power : 1;
                    shareRight = sf % 2 ? 1 : power;
                }
            }
            for (int i = run.from; i < run.from + run.count; ++i) {
                const double left = lines[0][i], right = lines[1][i];
                if (coded && !illegal(g, sf)) {
                    lines[0][i] = left * shareLeft;
                    lines[1][i] = left * shareRight;
                } else if (g.midSide()) {
                    lines[0][i] = (left + right) / std::numbers::sqrt2;
                    lines[1][i] = (left - right) / std::numbers::sqrt2;
                }
            }
        }
    }
    std::array<std::vector<double>, 2> out{std::vector<double>(576), std::vector<double>(576)};
    for (int ch = 0; ch < g.channels(); ++ch)
        for (const Run& run : runsOf(g, g.side[ch]))
            for (int i = 0; i < run.count; ++i) {
                const int to = run.window < 0 ? run.from + i
                                              : reordered(run.window, g.shortBands[run.band] + i);
                out[ch][to] = lines[ch][run.from + i] * 67108864;
            }
    return out;
}

}  // namespace qorac::reference
