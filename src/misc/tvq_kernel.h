// The sums of the TwinVQ search at one instruction level; included by frame/levels.h only.

#include "transform/vectors.h"

constexpr int kWide = QORAC_LEVEL >= 4 ? 16 : QORAC_LEVEL >= 3 ? 8 : 4;
using Reals = Lanes<Qor32f, kWide>;

// --- distances of one book ----------------------------------------------------------------------

static QORAC_INLINE Qor32s ones(bool truth) { return truth ? 1 : 0; }
template <typename Mask>
static QORAC_INLINE Mask ones(Mask truth) {
    return -truth;
}

// Distances of one vector, or of several side by side, whose values stand `stride` apart. The
// weights are multiplied by `scale`, a power of two.
template <typename V, int stride, bool allowsNegation>
static QORAC_INLINE void measure(const Qor32f* c, const Division& division, Qor32f scale,
                                 Qor32f* pDist, Qor32s* pSign) {
    V plain{}, negated{};
    for (Qor32s k = 0; k < division.len; ++k, c += stride) {
        const V value = load<V>(c);
        const Qor32f weight = division.w[k] * scale;
        const V difference = value - division.x[k], sum = value + division.x[k];
        plain += weight * difference * difference;
        if constexpr (allowsNegation) negated += weight * sum * sum;
    }
    if constexpr (allowsNegation) {
        store(pDist, plain > negated ? negated : plain);
        store(pSign, ones(plain > negated));
    } else {
        store(pDist, plain);
    }
}

template <bool allowsNegation>
static QORAC_INLINE void measureAll(const CodeBook& book, const Division& division, Qor32f scale) {
    if constexpr (!allowsNegation) std::fill_n(book.pSign, book.numVectors, 0);
    for (Qor32s i = 0; i < book.numVectors; i += book.side) {
        if (book.side == 1) {
            measure<Qor32f, 1, allowsNegation>(book.ppRows[i], division, scale, book.pDist + i,
                                               book.pSign + i);
            continue;
        }
        const Qor32f* const pGroup = book.pGroups + Qor64s(i) * book.len;
        for (int lane = 0; lane < kSide; lane += kWide)
            measure<Reals, kSide, allowsNegation>(pGroup + lane, division, scale,
                                                  book.pDist + i + lane, book.pSign + i + lane);
    }
}

static void measureBook(const CodeBook& book, const Division& division, Qor32s polarity,
                        Qor32f scale) {
    if (polarity == 1)
        measureAll<true>(book, division, scale);
    else
        measureAll<false>(book, division, scale);
}

// --- pairs --------------------------------------------------------------------------------------

// What a form of the error makes of a value v0 of book 0 and values v1 of book 1, and of the
// weighted sum of squares of all of that.
template <bool halves>
struct ByMean {
    Qor32f nStage;

    template <typename V>
    QORAC_INLINE V difference(Qor32f x, Qor32f v0, V v1) const {
        return x - (halves ? (v1 + v0) * 0.5f : (v1 + v0) / nStage);
    }
    QORAC_INLINE Qor32f error(Qor32f sum, Qor32s, Qor32s) const { return sum; }
};

// 4 |x - (u + v)/2|^2 = 2 |x - u|^2 + 2 |x - v|^2 - |u - v|^2, the first two terms being the
// distances of the candidates with the factor 2.
struct ByDifference {
    const Qor32f* pBest0;
    const Qor32f* pBest1;

    template <typename V>
    QORAC_INLINE V difference(Qor32f, Qor32f v0, V v1) const {
        return v0 - v1;
    }
    QORAC_INLINE Qor32f error(Qor32f sum, Qor32s a, Qor32s b) const {
        return 0.25f * (pBest0[a] + pBest1[b] - sum);
    }
};

// All candidates of book 0 against `side` at a time of book 1, whose values, negated where they are
// to be, are first laid side by side.
template <typename V, int side, typename Form>
static QORAC_INLINE BestPair searchPairs(const CodeBook (&books)[2], const Division& division,
                                         const Candidates (&candidates)[2], const Form& form) {
    BestPair best;
    Qor32f* const pChosen = books[1].pChosen;
    for (Qor32s b = 0; b < candidates[1].count;) {
        Qor32s place[side] = {};
        int filled = 0;
        for (; b < candidates[1].count && filled < side; ++b) {
            const Qor32f* const row1 = candidates[1].row(books[1], b);
            if (row1 == nullptr) continue;
            const Qor32f factor = candidates[1].factor(b);
            for (Qor32s k = 0; k < division.len; ++k)
                pChosen[Qor64s(k) * side + filled] = row1[k] * factor;
            place[filled++] = b;
        }
        for (Qor32s a = 0; a < candidates[0].count; ++a) {
            const Qor32f* const row0 = candidates[0].row(books[0], a);
            if (row0 == nullptr) continue;
            const Qor32f factor = candidates[0].factor(a);
            Qor32f sums[side];
            constexpr int lanes = int(sizeof(V) / sizeof(Qor32f));
            for (int lane = 0; lane < side; lane += lanes) {
                const Qor32f* v1 = pChosen + lane;
                V sum{};
                for (Qor32s k = 0; k < division.len; ++k, v1 += side) {
                    const V d = form.difference(division.x[k], row0[k] * factor, load<V>(v1));
                    sum += division.w[k] * d * d;
                }
                store(sums + lane, sum);
            }
            for (int i = 0; i < filled; ++i)
                best.offer(form.error(sums[i], a, place[i]), a, place[i]);
        }
    }
    return best;
}

template <typename Form>
static QORAC_INLINE BestPair search(const CodeBook (&books)[2], const Division& division,
                                    const Candidates (&candidates)[2], const Form& form) {
    return books[1].side == kSide ? searchPairs<Reals, kSide>(books, division, candidates, form)
                                  : searchPairs<Qor32f, 1>(books, division, candidates, form);
}

static BestPair searchMeans(const CodeBook (&books)[2], const Division& division,
                            const Candidates (&candidates)[2], Qor32s nStage) {
    return nStage == 2 ? search(books, division, candidates, ByMean<true>{2})
                       : search(books, division, candidates, ByMean<false>{Qor32f(nStage)});
}

static BestPair searchDifferences(const CodeBook (&books)[2], const Division& division,
                                  const Candidates (&candidates)[2]) {
    return search(books, division, candidates, ByDifference{books[0].pBest, books[1].pBest});
}
