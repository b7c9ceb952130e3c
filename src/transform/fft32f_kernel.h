// Butterflies, passes and codelets of the float FFT at one instruction level; included by
// frame/levels.h only.
//
// The core is a decimation in time of data in bit-reversed order: a radix-4 stage without twiddles,
// then radix-4 stages, then radix-8 stages (fftStageBits). Between the stages the data stands in
// runs of as many complex numbers as a vector has lanes, real parts first, imaginary parts behind
// them. An inverse transform is the forward one with real and imaginary parts exchanged on the way
// in and on the way out, so that the stages know one direction only.

namespace fft {

#include "transform/fft32f_lanes.h"

// --- complex numbers, one in each lane ----------------------------------------------------------

template <typename V>
struct Complex {
    V re, im;
};

template <typename V>
QORAC_INLINE Complex<V> operator+(Complex<V> a, Complex<V> b) {
    return {a.re + b.re, a.im + b.im};
}
template <typename V>
QORAC_INLINE Complex<V> operator-(Complex<V> a, Complex<V> b) {
    return {a.re - b.re, a.im - b.im};
}
template <typename V>
QORAC_INLINE Complex<V> operator*(Complex<V> a, Complex<V> b) {
    return {mulSubFrom(a.im, b.im, a.re * b.re), mulAdd(a.im, b.re, a.re * b.im)};
}
template <typename V>
QORAC_INLINE Complex<V> timesMinusJ(Complex<V> a) {
    return {a.im, -a.re};
}
// a - j b and a + j b
template <typename V>
QORAC_INLINE Complex<V> minusJ(Complex<V> a, Complex<V> b) {
    return {a.re + b.im, a.im - b.re};
}
template <typename V>
QORAC_INLINE Complex<V> plusJ(Complex<V> a, Complex<V> b) {
    return {a.re - b.im, a.im + b.re};
}

template <typename V>
QORAC_INLINE V broadcast(float value) {
    return V{} + value;
}

// --- butterflies: inputs in bit-reversed order, outputs in natural order ------------------------

// The transform of x[0], x[span], x[2 span], ...
template <int length, int span, typename V>
QORAC_INLINE void dft(Complex<V>* x) {
    if constexpr (length == 2) {
        const Complex<V> sum = x[0] + x[span], difference = x[0] - x[span];
        x[0] = sum;
        x[span] = difference;
    } else if constexpr (length == 4) {
        const Complex<V> t = x[0] + x[span], u = x[0] - x[span];
        const Complex<V> p = x[2 * span] + x[3 * span], q = x[2 * span] - x[3 * span];
        x[0] = t + p;
        x[span] = minusJ(u, q);
        x[2 * span] = t - p;
        x[3 * span] = plusJ(u, q);
    } else if constexpr (length == 8) {
        dft<4, span>(x);
        dft<4, span>(x + 4 * span);
        const Complex<V> e0 = x[0], e1 = x[span], e2 = x[2 * span], e3 = x[3 * span];
        const Complex<V> o0 = x[4 * span], o1 = x[5 * span], o2 = x[6 * span], o3 = x[7 * span];
        // exp(-j pi/4) and exp(-3 j pi/4) are sqrt(1/2) times 1 - j and -1 - j.
        const V root = broadcast<V>(0.70710677f);
        const Complex<V> p1 = {o1.re + o1.im, o1.im - o1.re};
        const Complex<V> p3 = {o3.im - o3.re, o3.re + o3.im};
        x[0] = e0 + o0;
        x[4 * span] = e0 - o0;
        x[span] = {mulAdd(root, p1.re, e1.re), mulAdd(root, p1.im, e1.im)};
        x[5 * span] = {mulSubFrom(root, p1.re, e1.re), mulSubFrom(root, p1.im, e1.im)};
        x[2 * span] = minusJ(e2, o2);
        x[6 * span] = plusJ(e2, o2);
        x[3 * span] = {mulAdd(root, p3.re, e3.re), mulSubFrom(root, p3.im, e3.im)};
        x[7 * span] = {mulSubFrom(root, p3.re, e3.re), mulAdd(root, p3.im, e3.im)};
    }
}

// The butterfly of a stage on x[0], x[span], x[2 span], ... with twiddle m in w[m]: the input at
// place p takes the twiddle whose index is p with its bits reversed.
template <int radix, int span = 1, typename V>
QORAC_INLINE void butterfly(Complex<V>* x, const Complex<V>* w) {
    constexpr int bits = radix == 8 ? 3 : 2;
    unrolled<radix - 1>([&](auto i) QORAC_INLINE_BODY {
        constexpr int p = i + 1;
        x[p * span] = x[p * span] * w[reversed(p, bits)];
    });
    dft<radix, span>(x);
}

// x exp(-2 pi j k / 32).
template <int k, typename V>
QORAC_INLINE Complex<V> timesRoot(Complex<V> x) {
    if constexpr (k == 0) return x;
    if constexpr (k == 8) return timesMinusJ(x);
    return x * Complex<V>{broadcast<V>(kRoots32.re[k]), broadcast<V>(kRoots32.im[k])};
}

// The transform of 16 or 32 vectors of numbers, in bit-reversed order: a radix-4 stage and one of
// radix 4 or 8.
template <int length, typename V>
QORAC_INLINE void dftColumns(Complex<V>* x) {
    constexpr int radix = length / 4;
    constexpr int bits = radix == 8 ? 3 : 2;
    unrolled<radix>([&](auto i) QORAC_INLINE_BODY { dft<4, 1>(x + 4 * i); });
    unrolled<4>([&](auto b) QORAC_INLINE_BODY {
        unrolled<radix>([&](auto p) QORAC_INLINE_BODY {
            constexpr int turn = decltype(b)::value * reversed(p, bits) * (32 / length);
            x[b + 4 * p] = timesRoot<turn>(x[b + 4 * p]);
        });
        dft<radix, 4>(x + b);
    });
}

// --- places of data -----------------------------------------------------------------------------
//
// A source has load<V>(n), the elements n to n + lanes - 1, and loadAnyOrder<V>(n), the same with
// element pairOrder(i) in lane i; a destination has store(n, x).

// Complex numbers as pairs; `exchanged` takes and gives them with their parts exchanged.
template <bool exchanged, typename V>
QORAC_INLINE Complex<V> parts(V first, V second) {
    return exchanged ? Complex<V>{second, first} : Complex<V>{first, second};
}

template <bool exchanged>
struct PairSource {
    const Qor32f* data;

    explicit PairSource(const Qor32fc* p) : data(reinterpret_cast<const Qor32f*>(p)) {}

    template <typename V>
    QORAC_INLINE Complex<V> load(std::ptrdiff_t n) const {
        const V low = fft::load<V>(data + 2 * n);
        const V high = fft::load<V>(data + 2 * n + kLanes<V>);
        if constexpr (kLanes<V> == 1)
            return parts<exchanged>(low, high);
        else
            return parts<exchanged>(shuffle<EverySecond<0>>(low, high),
                                    shuffle<EverySecond<1>>(low, high));
    }
    template <typename V>
    QORAC_INLINE Complex<V> loadAnyOrder(std::ptrdiff_t n) const {
        constexpr int lanes = kLanes<V>;
        const V low = fft::load<V>(data + 2 * n);
        const V high = fft::load<V>(data + 2 * n + lanes);
        return parts<exchanged>(shuffle<EverySecondInQuarter<lanes, 0>>(low, high),
                                shuffle<EverySecondInQuarter<lanes, 1>>(low, high));
    }
};

template <bool exchanged, bool scaled = true>
struct PairDestination {
    Qor32f* data;
    Qor32f scale;

    PairDestination(Qor32fc* p, Qor32f factor)
        : data(reinterpret_cast<Qor32f*>(p)), scale(factor) {}

    template <typename Order = NaturalOrder, typename V>
    QORAC_INLINE void store(std::ptrdiff_t n, Complex<V> x) const {
        constexpr int lanes = kLanes<V>;
        if constexpr (scaled) x = {x.re * scale, x.im * scale};
        Complex<V> y = parts<exchanged>(x.re, x.im);
        if constexpr (lanes > 1) {
            y = {shuffle<Ordered<Interleave<lanes, 1, false>, Order, lanes>>(y.re, y.im),
                 shuffle<Ordered<Interleave<lanes, 1, true>, Order, lanes>>(y.re, y.im)};
        }
        fft::store(data + 2 * n, y.re);
        fft::store(data + 2 * n + lanes, y.im);
    }
};

// Real and imaginary parts in arrays of their own.
struct SplitSource {
    const Qor32f* re;
    const Qor32f* im;

    template <typename V>
    QORAC_INLINE Complex<V> load(std::ptrdiff_t n) const {
        return {fft::load<V>(re + n), fft::load<V>(im + n)};
    }
    template <typename V>
    QORAC_INLINE Complex<V> loadAnyOrder(std::ptrdiff_t n) const {
        const Complex<V> x = load<V>(n);
        return {shuffle<PairOrder<kLanes<V>>>(x.re, x.re),
                shuffle<PairOrder<kLanes<V>>>(x.im, x.im)};
    }
};

template <bool scaled = true>
struct SplitDestination {
    Qor32f* re;
    Qor32f* im;
    Qor32f scale;

    template <typename Order = NaturalOrder, typename V>
    QORAC_INLINE void store(std::ptrdiff_t n, Complex<V> x) const {
        if constexpr (scaled) x = {x.re * scale, x.im * scale};
        if constexpr (!std::is_same_v<Order, NaturalOrder>) {
            x = {shuffle<Order>(x.re, x.re), shuffle<Order>(x.im, x.im)};
        }
        fft::store(re + n, x.re);
        fft::store(im + n, x.im);
    }
};

// The working form between stages: runs of real parts and runs of imaginary parts.
struct RunsSource {
    const Qor32f* data;

    template <typename V>
    QORAC_INLINE Complex<V> load(std::ptrdiff_t n) const {
        return {fft::load<V>(data + 2 * n), fft::load<V>(data + 2 * n + kLanes<V>)};
    }
};

struct Runs {
    Qor32f* data;

    QORAC_INLINE operator RunsSource() const { return {data}; }

    template <typename V>
    QORAC_INLINE void store(std::ptrdiff_t n, Complex<V> x) const {
        fft::store(data + 2 * n, x.re);
        fft::store(data + 2 * n + kLanes<V>, x.im);
    }
};

struct ScaledRuns {
    Runs runs;
    Qor32f scale;

    template <typename V>
    QORAC_INLINE void store(std::ptrdiff_t n, Complex<V> x) const {
        runs.store(n, Complex<V>{x.re * scale, x.im * scale});
    }
};

template <int bit, typename V>
QORAC_INLINE void exchange(Complex<V>& a, Complex<V>& b) {
    exchange<bit>(a.re, b.re);
    exchange<bit>(a.im, b.im);
}

// --- passes -------------------------------------------------------------------------------------

template <typename V>
QORAC_INLINE void transpose(Complex<V>* x) {
    V part[kLanes<V>];
    unrolled<kLanes<V>>([&](auto i) QORAC_INLINE_BODY { part[i] = x[i].re; });
    transpose(part);
    unrolled<kLanes<V>>([&](auto i) QORAC_INLINE_BODY { x[i].re = part[i]; });
    unrolled<kLanes<V>>([&](auto i) QORAC_INLINE_BODY { part[i] = x[i].im; });
    transpose(part);
    unrolled<kLanes<V>>([&](auto i) QORAC_INLINE_BODY { x[i].im = part[i]; });
}

// The first two stages of a transform whose source stands in natural order. Blocks of `length`
// numbers that lie 2^order / length apart are transformed side by side, one in each lane, and then
// stored at the place of their block in bit-reversed order.
template <int length, typename V, typename Source>
QORAC_INLINE void firstPass(Source source, Runs work, Qor32s order, const Qor32s* pBitRev) {
    constexpr int lanes = kLanes<V>;
    constexpr int bits = log2Of(length);
    const std::ptrdiff_t stride = std::ptrdiff_t{1} << (order - bits);
    for (std::ptrdiff_t j = 0; j < stride; j += lanes) {
        Complex<V> x[length];
        unrolled<length>([&](auto p) QORAC_INLINE_BODY {
            x[p] = source.template loadAnyOrder<V>(j + reversed(p, bits) * stride);
        });
        dftColumns<length>(x);
        unrolled<length / lanes>([&](auto run) QORAC_INLINE_BODY {
            transpose(x + run * lanes);
            unrolled<lanes>([&](auto t) QORAC_INLINE_BODY {
                // The table holds twice the reversed number of the block of 4.
                const std::ptrdiff_t place = 2 * pBitRev[j + pairOrder<lanes>(t)];
                work.store(place + run * lanes, x[run * lanes + t]);
            });
        });
    }
}

// The first two stages of a transform whose source stands in bit-reversed order; it may be the
// place of the work.
template <int length, typename V, typename Source>
QORAC_INLINE void firstPassReversed(Source source, Runs work, Qor32s order) {
    constexpr int lanes = kLanes<V>;
    const std::ptrdiff_t count = std::ptrdiff_t{1} << order;
    for (std::ptrdiff_t n = 0; n < count; n += length * lanes) {
        Complex<V> x[length];
        unrolled<length / lanes>([&](auto run) QORAC_INLINE_BODY {
            unrolled<lanes>([&](auto t) QORAC_INLINE_BODY {
                x[run * lanes + t] = source.template load<V>(n + t * length + run * lanes);
            });
            transpose(x + run * lanes);
        });
        dftColumns<length>(x);
        unrolled<length / lanes>([&](auto run) QORAC_INLINE_BODY {
            transpose(x + run * lanes);
            unrolled<lanes>([&](auto t) QORAC_INLINE_BODY {
                work.store(n + t * length + run * lanes, x[run * lanes + t]);
            });
        });
    }
}

// Twiddles 1 to radix - 1 of as many butterflies as there are lanes; the table groups four.
template <int radix, typename V>
QORAC_INLINE void loadTwiddles(const Qor32f* pTwd, Complex<V>* w) {
    constexpr std::ptrdiff_t group = 8 * (radix - 1);
    unrolled<radix - 1>([&](auto m) QORAC_INLINE_BODY {
        w[m + 1].re = loadQuarters<V>(pTwd + 8 * m, group);
        w[m + 1].im = loadQuarters<V>(pTwd + 8 * m + 4, group);
    });
}

// One stage on `blocks` blocks of radix * span numbers.
template <int radix, typename V, typename Destination>
QORAC_INLINE void stage(RunsSource work, Destination destination, std::ptrdiff_t span,
                        std::ptrdiff_t blocks, const Qor32f* pTwd) {
    constexpr int lanes = kLanes<V>;
    for (std::ptrdiff_t b = 0; b < span; b += lanes) {
        Complex<V> w[radix];
        loadTwiddles<radix>(pTwd + b * 2 * (radix - 1), w);
        for (std::ptrdiff_t n = b; n < blocks * radix * span; n += radix * span) {
            Complex<V> x[radix];
            unrolled<radix>([&](auto p)
                                QORAC_INLINE_BODY { x[p] = work.template load<V>(n + p * span); });
            butterfly<radix>(x, w);
            unrolled<radix>([&](auto p)
                                QORAC_INLINE_BODY { destination.store(n + p * span, x[p]); });
        }
    }
}

template <typename V, typename Destination>
QORAC_INLINE void stage(int bits, Runs work, Destination destination, std::ptrdiff_t span,
                        std::ptrdiff_t blocks, const Qor32f* pTwd) {
    if (bits == 3) {
        stage<8, V>(work, destination, span, blocks, pTwd);
    } else {
        stage<4, V>(work, destination, span, blocks, pTwd);
    }
}

// --- the core -----------------------------------------------------------------------------------

// Blocks of up to this order stay in the nearest cache, tables included.
constexpr int kNearOrder = 11;

// The stages from number 1 to number `last` on 2^order numbers: stage by stage while the data is
// near, block by block above that.
template <typename V>
void runStages(const Stages& stages, int last, int order, Runs work) {
    if (last < 1) return;
    if (order <= kNearOrder) {
        for (int i = 1; i <= last; ++i) {
            const auto& s = stages.stage[i];
            stage<V>(s.bits, work, work, std::ptrdiff_t{1} << s.done,
                     std::ptrdiff_t{1} << (order - s.done - s.bits), s.pTwd);
        }
        return;
    }
    const auto& top = stages.stage[last];
    const int blockOrder = top.done + top.bits;
    if (order > blockOrder) {
        for (std::ptrdiff_t block = 0; block < 1 << (order - blockOrder); ++block) {
            runStages<V>(stages, last, blockOrder, Runs{work.data + (block << (blockOrder + 1))});
        }
        return;
    }
    runStages<V>(stages, last - 1, order, work);
    stage<V>(top.bits, work, work, std::ptrdiff_t{1} << top.done, 1, top.pTwd);
}

// The stages behind the first pass; the last one gives the data its final form.
template <typename V, typename Destination>
QORAC_INLINE void finish(const Stages& stages, int order, Runs work, Destination destination) {
    const int last = stages.count - 1;
    runStages<V>(stages, last - 1, order, work);
    const auto& s = stages.stage[last];
    stage<V>(s.bits, work, destination, std::ptrdiff_t{1} << s.done, 1, s.pTwd);
}

template <typename V, typename Source, typename Destination>
QORAC_INLINE void transform(const FftCore& core, Source source, Destination destination,
                            Runs work) {
    const Stages stages(core.order, core.pTwd);
    if (stages.first == 5) {
        firstPass<32, V>(source, work, core.order, core.pBitRev);
    } else {
        firstPass<16, V>(source, work, core.order, core.pBitRev);
    }
    finish<V>(stages, core.order, work, destination);
}

// Orders 6 to 8 in vectors of 16 lanes, whose columns alone would not fill them. The whole
// transform stands in rows of consecutive numbers; before each stage the bits of the index that it
// works on change from the lane number to the row number.
//
// Behind the second stage the four bits of a lane are, from the top: bits 0 and 1 of the place in
// the block of 4, then bits 3 and 2 of the place in the block of 16.
struct ShortOrder {  // the lane of place k
    static constexpr int at(int k) { return (k & 1) << 3 | (k & 2) << 1 | k >> 2; }
};
struct ShortPlaces {  // the place in lane i
    static constexpr int at(int i) { return (i & 3) << 2 | (i & 4) >> 1 | i >> 3; }
};

template <int radix, typename V, typename Destination>
QORAC_INLINE void lastShortStage(Complex<V>* x, const Qor32f* pTwd, std::ptrdiff_t first,
                                 std::ptrdiff_t span, Destination destination) {
    Complex<V> w[radix];
    loadTwiddles<radix>(pTwd + first * 2 * (radix - 1), w);
    unrolled<radix - 1>([&](auto m) QORAC_INLINE_BODY {
        w[m + 1] = {shuffle<ShortPlaces>(w[m + 1].re, w[m + 1].re),
                    shuffle<ShortPlaces>(w[m + 1].im, w[m + 1].im)};
    });
    butterfly<radix>(x, w);
    unrolled<radix>([&](auto q) QORAC_INLINE_BODY {
        destination.template store<ShortOrder>(first + q * span, x[q]);
    });
}

template <int order, typename Source, typename Destination>
QORAC_INLINE void shortTransform(const FftCore& core, Source source, Destination destination) {
    using V = Vec<16>;
    constexpr int groups = 1 << (order - 6), radix = order == 8 ? 8 : 4;
    const Qor32f* const pTwd = core.pTwd + 8 * (radix - 1);
    // Radix 4: row 4 g + b, block g in bit-reversed order of those that a row number can tell.
    Complex<V> x[4 * groups];
    unrolled<groups>([&](auto g) QORAC_INLINE_BODY {
        unrolled<4>([&](auto p) QORAC_INLINE_BODY {
            x[4 * g + p] =
                source.template load<V>(16 * (groups * reversed(p, 2) + reversed(g, order - 6)));
        });
        dft<4, 1>(x + 4 * g);
    });
    const auto twiddles = [&](auto set, Complex<V>* w) QORAC_INLINE_BODY {
        unrolled<radix>([&](auto m) QORAC_INLINE_BODY {
            w[m] = {load<V>(kShortTwiddles<order>.re[set][m]),
                    load<V>(kShortTwiddles<order>.im[set][m])};
        });
    };
    Complex<V> w[radix];
    if constexpr (order == 6) {
        exchange<8>(x[0], x[1]), exchange<8>(x[2], x[3]);
        exchange<4>(x[0], x[2]), exchange<4>(x[1], x[3]);
        twiddles(std::integral_constant<int, 0>(), w);
        butterfly<4>(x, w);
        exchange<1>(x[0], x[1]), exchange<1>(x[2], x[3]);
        exchange<2>(x[0], x[2]), exchange<2>(x[1], x[3]);
        Complex<V> y[4] = {x[0], x[2], x[1], x[3]};
        lastShortStage<4>(y, pTwd, 0, 16, destination);
    } else {
        // Rows b and b + 1 exchange the bit with the top one of the lane; the other bit of b tells
        // two sets of butterflies apart.
        Complex<V> y[2][radix];
        unrolled<2>([&](auto set) QORAC_INLINE_BODY {
            unrolled<groups>([&](auto g) QORAC_INLINE_BODY {
                y[set][g] = x[4 * g + 2 * set];
                y[set][g + groups] = x[4 * g + 2 * set + 1];
                exchange<8>(y[set][g], y[set][g + groups]);
            });
            twiddles(set, w);
            butterfly<radix>(y[set], w);
        });
        unrolled<radix>([&](auto q) QORAC_INLINE_BODY { exchange<4>(y[0][q], y[1][q]); });
        unrolled<radix / 2>([&](auto i) QORAC_INLINE_BODY {
            constexpr int q = i / 2 * 4 + i % 2;
            exchange<2>(y[0][q], y[0][q + 2]), exchange<2>(y[1][q], y[1][q + 2]);
        });
        unrolled<radix / 2>([&](auto i) QORAC_INLINE_BODY {
            exchange<1>(y[0][2 * i], y[0][2 * i + 1]), exchange<1>(y[1][2 * i], y[1][2 * i + 1]);
        });
        unrolled<radix / 4>([&](auto part) QORAC_INLINE_BODY {
            Complex<V> z[8];
            unrolled<8>([&](auto p) QORAC_INLINE_BODY {
                constexpr int c = reversed(p, 3);
                z[p] = y[c / 4][4 * part + c % 4];
            });
            lastShortStage<8>(z, pTwd, 16 * part, 4 * radix, destination);
        });
    }
}

// Order 6 in vectors of 8 lanes: 8 columns of 8 numbers side by side, and then the rows of what
// they give, which stand side by side when the square is transposed.
template <typename Source, typename Destination>
QORAC_INLINE void squareTransform(Source source, Destination destination) {
    using V = Vec<8>;
    Complex<V> x[8], y[8];
    unrolled<8>([&](auto p) QORAC_INLINE_BODY {
        x[p] = source.template loadAnyOrder<V>(8 * reversed(p, 3));
    });
    dft<8, 1>(x);
    transpose(x);
    unrolled<8>([&](auto t) QORAC_INLINE_BODY {
        constexpr int n = pairOrder<8>(t);
        y[reversed(n, 3)] = n == 0 ? x[t]
                                   : x[t] * Complex<V>{load<V>(kSquareTwiddles.re[n]),
                                                       load<V>(kSquareTwiddles.im[n])};
    });
    dft<8, 1>(y);
    unrolled<8>([&](auto q) QORAC_INLINE_BODY { destination.store(8 * q, y[q]); });
}

// As many lanes as the order fills.
template <typename Source, typename Destination>
QORAC_INLINE void transform(const FftCore& core, Source source, Destination destination,
                            Runs work) {
    if constexpr (kMaxLanes == 16) {
        switch (core.order) {
            case 6:
                return shortTransform<6>(core, source, destination);
            case 7:
                return shortTransform<7>(core, source, destination);
            case 8:
                return shortTransform<8>(core, source, destination);
            default:
                return transform<Vec<16>>(core, source, destination, work);
        }
    } else if constexpr (kMaxLanes == 8) {
        if (core.order > 6) return transform<Vec<8>>(core, source, destination, work);
        return squareTransform(source, destination);
    } else {
        transform<Vec<4>>(core, source, destination, work);
    }
}

template <typename Source, typename Destination>
QORAC_INLINE void transformReversed(const FftCore& core, Source source, Destination destination,
                                    Runs work) {
    using V = Vec<kMaxLanes>;
    const Stages stages(core.order, core.pTwd);
    if (stages.first == 5) {
        firstPassReversed<32, V>(source, work, core.order);
    } else {
        firstPassReversed<16, V>(source, work, core.order);
    }
    finish<V>(stages, core.order, work, destination);
}

template <bool inverse>
void qors_cRadix4Norm_32fc(const FftCore& core, const Qor32fc* pSrc, Qor32fc* pDst,
                           Qor32f* pScratch) {
    const bool inDst = pSrc != pDst && isAligned16(pDst);
    const Runs work{inDst ? reinterpret_cast<Qor32f*>(pDst) : pScratch};
    transform(core, PairSource<inverse>(pSrc), PairDestination<inverse>(pDst, core.scale), work);
}

static void qors_crRadix4FwdNorm_32f(const FftCore& core, const Qor32f* pSrcRe,
                                     const Qor32f* pSrcIm, Qor32f* pDstRe, Qor32f* pDstIm,
                                     Qor32f* pScratch) {
    transform(core, SplitSource{pSrcRe, pSrcIm}, SplitDestination<>{pDstRe, pDstIm, core.scale},
              Runs{pScratch});
}

template <bool inverse>
void qors_cRadix4_32fc(const FftCore& core, Qor32fc* pData, Qor32f* pScratch, int mode) {
    const Runs data{reinterpret_cast<Qor32f*>(pData)};
    const Runs work = isAligned16(pData) ? data : Runs{pScratch};
    const PairSource<inverse> source(pData);
    if (mode == kInterleaved) {
        transformReversed(core, source, PairDestination<inverse>(pData, core.scale), work);
    } else {
        transformReversed(core, source, ScaledRuns{data, core.scale}, work);
    }
}

static void qors_crRadix4Fwd_32f(const FftCore& core, Qor32f* pRe, Qor32f* pIm, Qor32f* pScratch) {
    transformReversed(core, SplitSource{pRe, pIm}, SplitDestination<>{pRe, pIm, core.scale},
                      Runs{pScratch});
}

// --- blocked path -------------------------------------------------------------------------------

using WideVec = Vec<kMaxLanes>;

template <typename Source, typename Destination>
QORAC_INLINE void move(Source source, Destination destination, std::ptrdiff_t from,
                       std::ptrdiff_t to, Qor32s count) {
    for (Qor32s i = 0; i < count; i += kMaxLanes) {
        destination.store(to + i, source.template load<WideVec>(from + i));
    }
}

static void qors_cFft_BlkMerge_32fc(const Qor32fc* pSrc, Qor32f* pTile, std::ptrdiff_t stride,
                                    Qor32s rows, Qor32s columns) {
    for (Qor32s row = 0; row < rows; ++row) {
        __builtin_memcpy(pTile + 2 * row * columns, pSrc + row * stride, columns * sizeof(Qor32fc));
    }
}

static void qors_cFft_BlkSplit_32fc(Qor32fc* pDst, const Qor32f* pTile, std::ptrdiff_t stride,
                                    Qor32s rows, Qor32s columns, int form) {
    const RunsSource tile{pTile};
    for (Qor32s row = 0; row < rows; ++row, pDst += stride) {
        if (form == kSplitGroups) {
            __builtin_memcpy(pDst, pTile + 2 * row * columns, columns * sizeof(Qor32fc));
        } else if (form == kInterleaved) {
            move(tile, PairDestination<false, false>(pDst, 1.0f), row * columns, 0, columns);
        } else {
            move(tile, PairDestination<true, false>(pDst, 1.0f), row * columns, 0, columns);
        }
    }
}

static void qors_crFft_BlkMerge_32f(const Qor32f* pSrcRe, const Qor32f* pSrcIm, Qor32f* pTile,
                                    std::ptrdiff_t stride, Qor32s rows, Qor32s columns) {
    for (Qor32s row = 0; row < rows; ++row) {
        move(SplitSource{pSrcRe, pSrcIm}, Runs{pTile}, row * stride, row * columns, columns);
    }
}

static void qors_crFft_BlkSplit_32f(Qor32f* pDstRe, Qor32f* pDstIm, const Qor32f* pTile,
                                    std::ptrdiff_t stride, Qor32s rows, Qor32s columns) {
    for (Qor32s row = 0; row < rows; ++row) {
        move(RunsSource{pTile}, SplitDestination<false>{pDstRe, pDstIm, 1.0f}, row * columns,
             row * stride, columns);
    }
}

template <int radix>
void qors_cFft_Fact_32fc(const Qor32f* pSrc, Qor32f* pDst, std::ptrdiff_t span,
                         std::ptrdiff_t groups, const Qor32f* pTwd) {
    stage<radix, WideVec>(RunsSource{pSrc}, Runs{pDst}, span, groups, pTwd);
}

// --- real recombination -------------------------------------------------------------------------

// The bins k and half - k of a real spectrum from those of the half-length transform. A bin that is
// its own mirror may be given twice: both results are the same then.
template <typename V>
QORAC_INLINE void joinForward(Complex<V>& x, Complex<V>& y, V a, V b) {
    const V e = x.re - y.re, f = x.im + y.im;
    const V g = mulSubFrom(a, e, b * f), h = mulAdd(a, f, b * e);
    const Complex<V> joined = {y.re + h, g - y.im};
    y = {x.re - h, g - x.im};
    x = joined;
}

// The way back, times 2.
template <typename V>
QORAC_INLINE void joinInverse(Complex<V>& x, Complex<V>& y, V a, V b) {
    const V e = x.re - y.re, s = x.re + y.re;
    const V f = x.im + y.im, r = x.im - y.im;
    const V u = mulAdd(a, e, b * f), v = mulSubFrom(a, f, b * e);
    x = {s + v, r + u};
    y = {s - v, u - r};
}

// Factors A and B of the bins k to k + lanes - 1; the table groups four.
template <typename V>
QORAC_INLINE Complex<V> recombinationFactors(const Qor32f* pTab, std::ptrdiff_t k) {
    const Qor32f* p = pTab + 2 * (k - 1);
    return {loadQuarters<V>(p, 8), loadQuarters<V>(p + 4, 8)};
}

// Bins first to first + lanes - 1 from the last to the first.
template <typename V>
QORAC_INLINE Complex<V> loadMirrored(const Qor32f* data, std::ptrdiff_t first) {
    constexpr int lanes = kLanes<V>;
    const V low = load<V>(data + 2 * first), high = load<V>(data + 2 * first + lanes);
    return {shuffle<EverySecondReversed<lanes, 0>>(low, high),
            shuffle<EverySecondReversed<lanes, 1>>(low, high)};
}
template <typename V>
QORAC_INLINE void storeMirrored(Qor32f* data, std::ptrdiff_t first, Complex<V> x) {
    constexpr int lanes = kLanes<V>;
    store(data + 2 * first, shuffle<InterleaveReversed<lanes, false>>(x.re, x.im));
    store(data + 2 * first + lanes, shuffle<InterleaveReversed<lanes, true>>(x.re, x.im));
}

// Runs over the pairs of bins k and half - k, the middle one with itself, where both results agree.
template <typename V, typename Join>
QORAC_INLINE void recombine(const Qor32f* pSrc, Qor32f* pDst, Qor32s order, const Qor32f* pTab,
                            Join join) {
    const std::ptrdiff_t half = std::ptrdiff_t{1} << (order - 1);
    const PairSource<false> source(reinterpret_cast<const Qor32fc*>(pSrc));
    const PairDestination<false, false> destination(reinterpret_cast<Qor32fc*>(pDst), 1.0f);
    for (std::ptrdiff_t k = 1; k <= half / 2; k += kLanes<V>) {
        const std::ptrdiff_t mirrored = half - k - kLanes<V> + 1;
        const Complex<V> factors = recombinationFactors<V>(pTab, k);
        Complex<V> low = source.template load<V>(k);
        Complex<V> high = loadMirrored<V>(pSrc, mirrored);
        join(low, high, factors.re, factors.im);
        destination.store(k, low);
        storeMirrored(pDst, mirrored, high);
    }
}

template <typename Join>
QORAC_INLINE void recombine(const Qor32f* pSrc, Qor32f* pDst, Qor32s order, const Qor32f* pTab,
                            Join join) {
    constexpr int narrow = kMaxLanes > 8 ? 8 : kMaxLanes;
    if (order > 5) return recombine<Vec<kMaxLanes>>(pSrc, pDst, order, pTab, join);
    recombine<Vec<narrow>>(pSrc, pDst, order, pTab, join);
}

static void qors_cRealRecombine_32f(Qor32f* pSrcDst, Qor32s order, const Qor32f* pRealRec) {
    recombine(pSrcDst, pSrcDst, order, pRealRec,
              [](auto& x, auto& y, auto a, auto b) QORAC_INLINE_BODY { joinForward(x, y, a, b); });
}

static void qors_cCcsRecombine_32f(const Qor32f* pSrc, Qor32f* pDst, Qor32s order,
                                   const Qor32f* pCcsRec) {
    recombine(pSrc, pDst, order, pCcsRec,
              [](auto& x, auto& y, auto a, auto b) QORAC_INLINE_BODY { joinInverse(x, y, a, b); });
}

// --- codelets -----------------------------------------------------------------------------------

// 16 or 32 points: a radix-4 stage, and one of radix 4 or 8 whose four butterflies stand side by
// side in the lanes.
template <int order, typename Source, typename Destination>
QORAC_INLINE void codelet(Source source, Destination destination) {
    using V = Vec<4>;
    constexpr int radix = 1 << (order - 2);
    Complex<V> x[radix];
    unrolled<radix / 4>([&](auto group) QORAC_INLINE_BODY {
        Complex<V> y[4];
        unrolled<4>([&](auto p) QORAC_INLINE_BODY {
            y[p] = source.template load<V>(4 * group + reversed(p, 2) * radix);
        });
        dft<4, 1>(y);
        transpose(y);
        unrolled<4>([&](auto t)
                        QORAC_INLINE_BODY { x[reversed(4 * group + t, order - 2)] = y[t]; });
    });
    Complex<V> w[radix];
    unrolled<radix>([&](auto m) QORAC_INLINE_BODY {
        w[m] = {load<V>(kLastStageTwiddles<order>.re[m]), load<V>(kLastStageTwiddles<order>.im[m])};
    });
    butterfly<radix>(x, w);
    unrolled<radix>([&](auto q) QORAC_INLINE_BODY { destination.store(4 * q, x[q]); });
}

// Up to 8 points, number by number.
template <int order, typename Source, typename Destination>
QORAC_INLINE void smallCodelet(Source source, Destination destination) {
    constexpr int length = 1 << order;
    Complex<float> x[length];
    unrolled<length>(
        [&](auto p) QORAC_INLINE_BODY { x[p] = source.template load<float>(reversed(p, order)); });
    dft<length, 1>(x);
    unrolled<length>([&](auto k) QORAC_INLINE_BODY { destination.store(k, x[k]); });
}

template <int order, typename Source, typename Destination>
QORAC_INLINE void anyCodelet(Source source, Destination destination) {
    if constexpr (order <= 3) {
        smallCodelet<order>(source, destination);
    } else {
        codelet<order>(source, destination);
    }
}

template <int order, bool inverse, bool scaled>
void complexCodelet(const Qor32fc* pSrc, Qor32fc* pDst, Qor32f scale) {
    anyCodelet<order>(PairSource<inverse>(pSrc), PairDestination<inverse, scaled>(pDst, scale));
}

template <int order, bool scaled>
void splitCodelet(const Qor32f* pSrcRe, const Qor32f* pSrcIm, Qor32f* pDstRe, Qor32f* pDstIm,
                  Qor32f scale) {
    anyCodelet<order>(SplitSource{pSrcRe, pSrcIm}, SplitDestination<scaled>{pDstRe, pDstIm, scale});
}

// Real codelets join the half-length transform as the larger orders do.
template <int order, bool scaled>
void realForwardCodelet(const Qor32f* pSrc, Qor32f* pDst, Qor32f scale) {
    if constexpr (!scaled) scale = 1.0f;
    if constexpr (order == 0) {
        pDst[0] = pSrc[0] * scale;
    } else {
        constexpr int half = 1 << (order - 1);
        Complex<float> z[half];
        unrolled<half>([&](auto p) QORAC_INLINE_BODY {
            constexpr int n = 2 * reversed(p, order - 1);
            z[p] = {pSrc[n], pSrc[n + 1]};
        });
        dft<half, 1>(z);
        pDst[0] = (z[0].re + z[0].im) * scale;
        pDst[1] = (z[0].re - z[0].im) * scale;
        unrolled<half / 2>([&](auto i) QORAC_INLINE_BODY {
            constexpr int k = i + 1, turn = k * (32 >> order);
            joinForward(z[k], z[half - k], 0.5f * kRoots32.re[turn],
                        0.5f + 0.5f * kRoots32.im[turn]);
        });
        unrolled<half - 1>([&](auto i) QORAC_INLINE_BODY {
            pDst[2 * i + 2] = z[i + 1].re * scale;
            pDst[2 * i + 3] = z[i + 1].im * scale;
        });
    }
}

template <int order, bool scaled>
void realInverseCodelet(const Qor32f* pSrc, Qor32f* pDst, Qor32f scale) {
    if constexpr (!scaled) scale = 1.0f;
    if constexpr (order == 0) {
        pDst[0] = pSrc[0] * scale;
    } else {
        constexpr int half = 1 << (order - 1);
        Complex<float> z[half];
        z[0] = {pSrc[0] + pSrc[1], pSrc[0] - pSrc[1]};
        unrolled<half - 1>([&](auto i) QORAC_INLINE_BODY {
            z[i + 1] = {pSrc[2 * i + 2], pSrc[2 * i + 3]};
        });
        unrolled<half / 2>([&](auto i) QORAC_INLINE_BODY {
            constexpr int k = i + 1, turn = k * (32 >> order);
            joinInverse(z[k], z[half - k], kRoots32.re[turn], kRoots32.im[turn]);
        });
        Complex<float> x[half];
        unrolled<half>([&](auto p) QORAC_INLINE_BODY {
            constexpr int n = reversed(p, order - 1);
            x[p] = {z[n].im, z[n].re};
        });
        dft<half, 1>(x);
        unrolled<half>([&](auto n) QORAC_INLINE_BODY {
            pDst[2 * n] = x[n].im * scale;
            pDst[2 * n + 1] = x[n].re * scale;
        });
    }
}

// --- the set ------------------------------------------------------------------------------------

constexpr Fft32fKernels kKernels = {
    .tbl_cFFTfwd_small = {complexCodelet<0, false, false>, complexCodelet<1, false, false>,
                          complexCodelet<2, false, false>, complexCodelet<3, false, false>,
                          complexCodelet<4, false, false>, complexCodelet<5, false, false>},
    .tbl_cFFTfwd_small_scale = {complexCodelet<0, false, true>, complexCodelet<1, false, true>,
                                complexCodelet<2, false, true>, complexCodelet<3, false, true>,
                                complexCodelet<4, false, true>, complexCodelet<5, false, true>},
    .tbl_cFFTinv_small = {complexCodelet<0, true, false>, complexCodelet<1, true, false>,
                          complexCodelet<2, true, false>, complexCodelet<3, true, false>,
                          complexCodelet<4, true, false>, complexCodelet<5, true, false>},
    .tbl_cFFTinv_small_scale = {complexCodelet<0, true, true>, complexCodelet<1, true, true>,
                                complexCodelet<2, true, true>, complexCodelet<3, true, true>,
                                complexCodelet<4, true, true>, complexCodelet<5, true, true>},
    .tbl_crFFTfwd_small = {splitCodelet<0, false>, splitCodelet<1, false>, splitCodelet<2, false>,
                           splitCodelet<3, false>, splitCodelet<4, false>, splitCodelet<5, false>},
    .tbl_crFFTfwd_small_scale = {splitCodelet<0, true>, splitCodelet<1, true>,
                                 splitCodelet<2, true>, splitCodelet<3, true>,
                                 splitCodelet<4, true>, splitCodelet<5, true>},
    .tbl_rFFTfwd_small = {realForwardCodelet<0, false>, realForwardCodelet<1, false>,
                          realForwardCodelet<2, false>, realForwardCodelet<3, false>,
                          realForwardCodelet<4, false>},
    .tbl_rFFTfwd_small_scale = {realForwardCodelet<0, true>, realForwardCodelet<1, true>,
                                realForwardCodelet<2, true>, realForwardCodelet<3, true>,
                                realForwardCodelet<4, true>},
    .tbl_rFFTinv_small = {realInverseCodelet<0, false>, realInverseCodelet<1, false>,
                          realInverseCodelet<2, false>, realInverseCodelet<3, false>,
                          realInverseCodelet<4, false>},
    .tbl_rFFTinv_small_scale = {realInverseCodelet<0, true>, realInverseCodelet<1, true>,
                                realInverseCodelet<2, true>, realInverseCodelet<3, true>,
                                realInverseCodelet<4, true>},
    .qors_cRadix4FwdNorm_32fc = qors_cRadix4Norm_32fc<false>,
    .qors_cRadix4InvNorm_32fc = qors_cRadix4Norm_32fc<true>,
    .qors_crRadix4FwdNorm_32f = qors_crRadix4FwdNorm_32f,
    .qors_cRadix4Fwd_32fc = qors_cRadix4_32fc<false>,
    .qors_cRadix4Inv_32fc = qors_cRadix4_32fc<true>,
    .qors_crRadix4Fwd_32f = qors_crRadix4Fwd_32f,
    .qors_cFft_BlkMerge_32fc = qors_cFft_BlkMerge_32fc,
    .qors_cFft_BlkSplit_32fc = qors_cFft_BlkSplit_32fc,
    .qors_crFft_BlkMerge_32f = qors_crFft_BlkMerge_32f,
    .qors_crFft_BlkSplit_32f = qors_crFft_BlkSplit_32f,
    .qors_cFft_Fact4_32fc = qors_cFft_Fact_32fc<4>,
    .qors_cFft_Fact8_32fc = qors_cFft_Fact_32fc<8>,
    .qors_cRealRecombine_32f = qors_cRealRecombine_32f,
    .qors_cCcsRecombine_32f = qors_cCcsRecombine_32f,
};

}  // namespace fft

static QORAC_INLINE const Fft32fKernels& kernels() { return fft::kKernels; }
