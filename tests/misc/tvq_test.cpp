#include <array>
#include <cmath>
#include <limits>
#include <vector>

#include "gmock/gmock.h"
#include "qorac.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using test::Guarded;
using test::Random;

// A code book in memory of just its size that ends at a guard page.
class Book {
  public:
    Book(std::vector<Qor32f> all, int length)
        : values(std::move(all)), len(length), count(int(values.size()) / len), memory_(size()) {
        EXPECT_EQ(qorsVQCodeBookInit_32f(values.data(), &pState, len, count, memory_.data()),
                  qorStsNoErr);
        EXPECT_EQ(static_cast<void*>(pState), memory_.data());
    }
    static Book random(Random& random, int len, int count) {
        return Book(random.reals<Qor32f>(std::size_t(len * count), -1, 1), len);
    }

    const Qor32f* vector(int i) const { return values.data() + i * len; }

    std::vector<Qor32f> values;
    int len, count;
    QorsVQCodeBookState_32f* pState = nullptr;

  private:
    std::size_t size() const {
        Qor32s bytes = 0;
        EXPECT_EQ(qorsVQCodeBookGetSize_32f(len, count, &bytes), qorStsNoErr);
        return std::size_t(bytes);
    }
    Guarded<Qor8u> memory_;
};

// A signal in divisions.
struct Signal {
    Signal(Random& random, std::vector<Qor32s> lengths_) : lengths(std::move(lengths_)) {
        std::size_t total = 0;
        for (const Qor32s length : lengths) starts.push_back(total), total += std::size_t(length);
        x = random.reals<Qor32f>(total, -1, 1);
        w = random.reals<Qor32f>(total, 0, 4);
    }
    Qor32s count() const { return Qor32s(lengths.size()); }

    std::vector<Qor32s> lengths;
    std::vector<std::size_t> starts;
    std::vector<Qor32f> x, w;
};

struct Choice {
    int index, sign;
    bool operator==(const Choice&) const = default;
};

// The weighted error of factor * c, in the contract's order and precision.
Qor32f distance(const Signal& signal, std::size_t d, const Qor32f* c, int factor, Qor32f scale) {
    volatile Qor32f sum = 0;
    for (Qor32s k = 0; k < signal.lengths[d]; ++k) {
        const std::size_t at = signal.starts[d] + std::size_t(k);
        volatile Qor32f difference = factor > 0 ? c[k] - signal.x[at] : c[k] + signal.x[at];
        volatile Qor32f weighted = signal.w[at] * scale;
        weighted = weighted * difference;
        volatile Qor32f term = weighted * difference;
        sum = sum + term;
    }
    return sum;
}

struct Ranked {
    Choice choice;
    Qor32f distance;
};

// All vectors of the book with their distances.
std::vector<Ranked> rankAll(const Signal& signal, std::size_t d, const Book& book, int polarity,
                            Qor32f scale) {
    std::vector<Ranked> all;
    for (int i = 0; i < book.count; ++i) {
        const Qor32f plain = distance(signal, d, book.vector(i), 1, scale);
        const Qor32f negated = distance(signal, d, book.vector(i), -1, scale);
        const bool flips = polarity == 1 && plain > negated;
        all.push_back({{i, flips}, flips ? negated : plain});
    }
    return all;
}

// The candidates by plain insertion, one compare after the other.
std::vector<Ranked> nearest(const std::vector<Ranked>& all, int nCand) {
    if (nCand >= int(all.size())) return all;
    std::vector<Ranked> kept;
    for (const Ranked& ranked : all) {
        if (int(kept.size()) == nCand && !(kept.back().distance > ranked.distance)) continue;
        auto place = kept.begin();
        while (place != kept.end() && place->distance < ranked.distance) ++place;
        kept.insert(place, ranked);
        if (int(kept.size()) > nCand) kept.pop_back();
    }
    return kept;
}

struct Selection {
    std::vector<Qor32s> index, sign;
};

Selection preliminary(const Signal& signal, const Book& book, int nCand,
                      const std::vector<Qor32s>& polarity) {
    const std::size_t size = signal.lengths.size() * std::size_t(nCand);
    Guarded<Qor32s> index(size), sign(size);
    EXPECT_EQ(qorsVQPreliminarySelect_32f(signal.x.data(), signal.w.data(), signal.count(),
                                          signal.lengths.data(), index.data(), sign.data(), nCand,
                                          polarity.data(), book.pState),
              qorStsNoErr);
    return {index.copy(), sign.copy()};
}

using Pair = std::array<Choice, 2>;

std::vector<Pair> mainSelect(const Signal& signal, const Book (&books)[2], int nCand,
                             const Selection (&candidates)[2], int nStage = 2) {
    const Qor32s* index[2] = {candidates[0].index.data(), candidates[1].index.data()};
    const Qor32s* sign[2] = {candidates[0].sign.data(), candidates[1].sign.data()};
    const std::size_t count = signal.lengths.size();
    Guarded<Qor32s> i0(count), i1(count), s0(count), s1(count);
    Qor32s* indexOut[2] = {i0.data(), i1.data()};
    Qor32s* signOut[2] = {s0.data(), s1.data()};
    QorsVQCodeBookState_32f* states[2] = {books[0].pState, books[1].pState};
    EXPECT_EQ(
        qorsVQMainSelect_32f(signal.x.data(), signal.w.data(), signal.lengths.data(),
                             signal.count(), nCand, index, sign, indexOut, signOut, states, nStage),
        qorStsNoErr);
    std::vector<Pair> pairs;
    for (std::size_t d = 0; d < count; ++d)
        pairs.push_back({Choice{i0[d], s0[d]}, Choice{i1[d], s1[d]}});
    return pairs;
}

std::vector<Pair> indexSelect(const Signal& signal, const Book (&books)[2], int nCand,
                              const std::vector<Qor32s> (&polarity)[2]) {
    const Qor32s* polarities[2] = {polarity[0].data(), polarity[1].data()};
    const std::size_t count = signal.lengths.size();
    Guarded<Qor32s> i0(count), i1(count), s0(count), s1(count);
    Qor32s* indexOut[2] = {i0.data(), i1.data()};
    Qor32s* signOut[2] = {s0.data(), s1.data()};
    QorsVQCodeBookState_32f* states[2] = {books[0].pState, books[1].pState};
    EXPECT_EQ(qorsVQIndexSelect_32f(signal.x.data(), signal.w.data(), signal.count(),
                                    signal.lengths.data(), nCand, polarities, indexOut, signOut,
                                    states, 2),
              qorStsNoErr);
    std::vector<Pair> pairs;
    for (std::size_t d = 0; d < count; ++d)
        pairs.push_back({Choice{i0[d], s0[d]}, Choice{i1[d], s1[d]}});
    return pairs;
}

// The error of the mean of a pair in double precision.
double pairError(const Signal& signal, std::size_t d, const Book (&books)[2], const Pair& pair,
                 double nStage = 2) {
    double sum = 0;
    for (Qor32s k = 0; k < signal.lengths[d]; ++k) {
        const std::size_t at = signal.starts[d] + std::size_t(k);
        double mean = 0;
        for (int b = 0; b < 2; ++b)
            mean += double(books[b].vector(pair[std::size_t(b)].index)[k]) *
                    (1 - 2 * pair[std::size_t(b)].sign) / nStage;
        sum += signal.w[at] * (signal.x[at] - mean) * (signal.x[at] - mean);
    }
    return sum;
}

// --- preliminary search -----------------------------------------------------------------------

TEST(PreliminarySelect, LikeASearchOfAllVectors) {
    Random random(1);
    for (const int count : {1, 2, 7, 10, 11, 16, 17, 32, 45})
        for (const int nCand : {1, 2, 3, 8, 31, 44, 45, 50}) {
            const Book book = Book::random(random, 20, count);
            const Signal signal(random, {20, 1, 7, 0, 20, 19, 8});
            const auto polarity = random.integers<Qor32s>(7, -1, 2);
            const Selection found = preliminary(signal, book, nCand, polarity);
            for (std::size_t d = 0; d < 7; ++d) {
                const auto expected = nearest(rankAll(signal, d, book, polarity[d], 1), nCand);
                for (int i = 0; i < nCand; ++i) {
                    const std::size_t at = d * std::size_t(nCand) + std::size_t(i);
                    const Choice choice =
                        i < int(expected.size()) ? expected[std::size_t(i)].choice : Choice{i, 0};
                    EXPECT_EQ(found.index[at], choice.index);
                    EXPECT_EQ(found.sign[at], choice.sign);
                    EXPECT_TRUE(polarity[d] == 1 || found.sign[at] == 0);
                }
            }
        }
}

// Books of few different values: many vectors are equally far.
TEST(PreliminarySelect, TiesPutTheLaterVectorInFront) {
    Random random(2);
    for (int run = 0; run < 50; ++run) {
        std::vector<Qor32f> values;
        for (const int v : random.integers<int>(60, -1, 1)) values.push_back(Qor32f(v));
        const Book book(values, 2);
        Signal signal(random, {2, 2, 2});
        for (Qor32f& x : signal.x) x = Qor32f(random.integer(-1, 1));
        for (Qor32f& w : signal.w) w = 1;
        const auto polarity = random.integers<Qor32s>(3, 0, 1);
        const int nCand = int(random.integer(1, 29));
        const Selection found = preliminary(signal, book, nCand, polarity);
        for (std::size_t d = 0; d < 3; ++d) {
            const auto expected = nearest(rankAll(signal, d, book, polarity[d], 1), nCand);
            for (std::size_t i = 0; i < std::size_t(nCand); ++i) {
                EXPECT_EQ(found.index[d * std::size_t(nCand) + i], expected[i].choice.index);
                EXPECT_EQ(found.sign[d * std::size_t(nCand) + i], expected[i].choice.sign);
            }
        }
    }
    const Book book({1, 1, 2, 1}, 1);
    Signal signal(random, {1});
    signal.x = {1};
    signal.w = {1};
    EXPECT_THAT(preliminary(signal, book, 3, {0}).index, testing::ElementsAre(3, 1, 0));
    EXPECT_THAT(preliminary(signal, book, 2, {0}).index, testing::ElementsAre(1, 0));
    EXPECT_THAT(preliminary(signal, book, 1, {0}).index, testing::ElementsAre(0));
}

// Equal errors with both signs keep the vector as it is; entries of other values forbid negation.
TEST(PreliminarySelect, Polarity) {
    Random random(3);
    const Book book({0, -1, 5}, 1);
    Signal signal(random, {1});
    signal.x = {1};
    signal.w = {2};
    EXPECT_THAT(preliminary(signal, book, 3, {1}).sign, testing::ElementsAre(0, 1, 0));
    for (const int polarity : {0, 2, -1})
        EXPECT_THAT(preliminary(signal, book, 3, {polarity}).sign, testing::Each(0));
}

// Distances that no number is above 1e38 of enter no list; what is given are valid vectors.
TEST(PreliminarySelect, DistancesWithoutOrder) {
    Random random(4);
    const Book book = Book::random(random, 3, 12);
    Signal signal(random, {3, 3});
    for (std::size_t k = 0; k < 3; ++k) signal.x[k] = std::numeric_limits<Qor32f>::quiet_NaN();
    const Selection found = preliminary(signal, book, 4, {1, 1});
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(found.index[i], 0);
    const auto expected = nearest(rankAll(signal, 1, book, 1, 1), 4);
    for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(found.index[4 + i], expected[i].choice.index);
}

// --- search of pairs --------------------------------------------------------------------------

TEST(MainSelect, LikeASearchOfAllPairs) {
    Random random(5);
    for (const int nCand : {1, 2, 5, 12}) {
        const Book books[2] = {Book::random(random, 16, 12), Book::random(random, 16, 20)};
        const Signal signal(random, {16, 16, 3, 15, 16});
        const auto polarity = random.integers<Qor32s>(5, 0, 1);
        const Selection candidates[2] = {preliminary(signal, books[0], nCand, polarity),
                                         preliminary(signal, books[1], nCand, polarity)};
        for (const int nStage : {2, 3}) {
            const auto pairs = mainSelect(signal, books, nCand, candidates, nStage);
            for (std::size_t d = 0; d < 5; ++d) {
                double best = 1e38;
                Pair expected{};
                for (int a = 0; a < nCand; ++a)
                    for (int b = 0; b < nCand; ++b) {
                        const std::size_t i = d * std::size_t(nCand) + std::size_t(a);
                        const std::size_t j = d * std::size_t(nCand) + std::size_t(b);
                        const Pair pair{Choice{candidates[0].index[i], candidates[0].sign[i]},
                                        Choice{candidates[1].index[j], candidates[1].sign[j]}};
                        const double error = pairError(signal, d, books, pair, nStage);
                        if (error < best) best = error, expected = pair;
                    }
                EXPECT_EQ(pairs[d], expected);
            }
        }
    }
}

TEST(MainSelect, TheFirstOfEqualPairsStays) {
    Random random(6);
    const Book books[2] = {Book({1, 3, 1, 2}, 1), Book({3, 1, 2}, 1)};
    Signal signal(random, {1});
    signal.x = {2};
    signal.w = {1};
    const Selection candidates[2] = {{{2, 1, 0}, {0, 0, 0}}, {{1, 2, 0}, {0, 0, 0}}};
    EXPECT_EQ(mainSelect(signal, books, 3, candidates)[0], (Pair{Choice{2, 0}, Choice{0, 0}}));
    const Selection swapped[2] = {{{1, 0, 2}, {0, 0, 0}}, {{1, 0, 0}, {0, 1, 0}}};
    EXPECT_EQ(mainSelect(signal, books, 3, swapped)[0], (Pair{Choice{1, 0}, Choice{1, 0}}));
}

// Entries behind the end of a book are no candidates; without any, and with errors that are not
// below 1e38, the pair is 0, 0.
TEST(MainSelect, WhatIsNoVectorIsPassedOver) {
    Random random(7);
    const Book books[2] = {Book({9, 1}, 1), Book({9, 3}, 1)};
    Signal signal(random, {1});
    signal.x = {2};
    signal.w = {1};
    const Selection all[2] = {preliminary(signal, books[0], 4, {0}),
                              preliminary(signal, books[1], 4, {0})};
    EXPECT_EQ(mainSelect(signal, books, 4, all)[0], (Pair{Choice{1, 0}, Choice{1, 0}}));
    const Selection none[2] = {{{2, -1}, {1, 1}}, {{0, 1}, {1, 1}}};
    EXPECT_EQ(mainSelect(signal, books, 2, none)[0], (Pair{Choice{0, 0}, Choice{0, 0}}));
    signal.x = {1e30f};
    EXPECT_EQ(mainSelect(signal, books, 2, all)[0], (Pair{Choice{0, 0}, Choice{0, 0}}));
}

TEST(IndexSelect, NoWorseThanASearchOfAllPairs) {
    Random random(8);
    for (const int nCand : {1, 2, 5, 16, 17, 30}) {
        const Book books[2] = {Book::random(random, 18, 16), Book::random(random, 18, 21)};
        const Signal signal(random, {18, 18, 5, 0, 17, 18});
        const std::vector<Qor32s> polarity[2] = {random.integers<Qor32s>(6, 0, 1),
                                                 random.integers<Qor32s>(6, 0, 1)};
        const auto pairs = indexSelect(signal, books, nCand, polarity);
        for (std::size_t d = 0; d < 6; ++d) {
            const auto first = nearest(rankAll(signal, d, books[0], polarity[0][d], 2), nCand);
            const auto second = nearest(rankAll(signal, d, books[1], polarity[1][d], 2), nCand);
            double best = 1e38;
            bool isCandidate = false;
            for (const Ranked& a : first)
                for (const Ranked& b : second) {
                    const Pair pair{a.choice, b.choice};
                    isCandidate = isCandidate || pair == pairs[d];
                    best = std::min(best, pairError(signal, d, books, pair));
                }
            EXPECT_TRUE(isCandidate);
            EXPECT_LE(pairError(signal, d, books, pairs[d]), best + 1e-5);
        }
    }
}

// Fewer vectors are near enough than there are candidates: what a search before has left does not
// count.
TEST(IndexSelect, CandidatesBeyondTheNearVectorsAreNotStale) {
    const std::vector<Qor32f> values = {8e18f, -1.1e18f, 8e18f, 8e18f};
    const Book books[2] = {Book(values, 1), Book(values, 1)};
    Random random(10);
    Signal near(random, {1}), far(random, {1});
    near.x = {8e18f}, near.w = {1};
    far.x = {-1e18f}, far.w = {1};
    const std::vector<Qor32s> polarity[2] = {{0}, {0}};
    const Pair only{Choice{1, 0}, Choice{1, 0}};
    EXPECT_EQ(indexSelect(far, books, 3, polarity)[0], only);
    indexSelect(near, books, 3, polarity);
    EXPECT_EQ(indexSelect(far, books, 3, polarity)[0], only);
}

// With small integers all sums are exact, and many pairs are equal: of the best ones the first is
// chosen, in books and lists of candidates of all sizes.
TEST(PairSearches, ExactlyTheFirstOfTheBestPairs) {
    Random random(9);
    for (int run = 0; run < 100; ++run) {
        const int count = run % 2 ? 10 : 40;
        std::vector<Qor32f> values[2];
        for (auto& book : values)
            for (const int v : random.integers<int>(std::size_t(4 * count), -2, 2))
                book.push_back(Qor32f(v));
        const Book books[2] = {Book(values[0], 4), Book(values[1], 4)};
        Signal signal(random, {4, 4});
        for (Qor32f& x : signal.x) x = Qor32f(random.integer(-2, 2));
        for (Qor32f& w : signal.w) w = Qor32f(random.integer(1, 3));
        const std::vector<Qor32s> polarity[2] = {{0, 1}, {1, 1}};
        const int nCand = int(random.integer(1, count + 1));
        const Selection candidates[2] = {preliminary(signal, books[0], nCand, polarity[0]),
                                         preliminary(signal, books[1], nCand, polarity[1])};
        std::vector<Pair> expected;
        for (std::size_t d = 0; d < 2; ++d) {
            double best = 1e38;
            const auto first = nearest(rankAll(signal, d, books[0], polarity[0][d], 1), nCand);
            const auto second = nearest(rankAll(signal, d, books[1], polarity[1][d], 1), nCand);
            expected.emplace_back();
            for (const Ranked& a : first)
                for (const Ranked& b : second) {
                    const Pair pair{a.choice, b.choice};
                    const double error = pairError(signal, d, books, pair);
                    if (error < best) best = error, expected[d] = pair;
                }
        }
        EXPECT_EQ(mainSelect(signal, books, nCand, candidates), expected);
        EXPECT_EQ(indexSelect(signal, books, nCand, polarity), expected);
    }
}

// --- reconstruction ---------------------------------------------------------------------------

TEST(Reconstruction, SumsOfSignedVectors) {
    const Book books[2] = {Book({1, 2, 3, 4, 5, 6}, 3), Book({10, 20, 30, 40, 50, 60}, 3)};
    QorsVQCodeBookState_32f* states[2] = {books[0].pState, books[1].pState};
    const Qor32s lengths[3] = {3, 0, 2};
    const Qor32s i0[3] = {1, 0, 0}, i1[3] = {0, 0, 1}, s0[3] = {1, 1, -1}, s1[3] = {-1, 1, 2};
    const Qor32s* index[2] = {i0, i1};
    const Qor32s* sign[2] = {s0, s1};
    Guarded<Qor32f> out(5);
    EXPECT_EQ(qorsVQReconstruction_32f(index, sign, lengths, 3, 2, out.data(), states),
              qorStsNoErr);
    EXPECT_THAT(out.copy(), testing::ElementsAre(-3, -7.5f, -12, 39.5f, 49));
    EXPECT_EQ(qorsVQReconstruction_32f(index, sign, lengths, 3, 1, out.data(), states),
              qorStsNoErr);
    EXPECT_THAT(out.copy(), testing::ElementsAre(4, 5, 6, -1, -2));
    for (const int nDiv : {0, -1}) {
        EXPECT_EQ(qorsVQReconstruction_32f(index, sign, lengths, nDiv, 2, out.data(), states),
                  qorStsNoErr);
        EXPECT_THAT(out.copy(), testing::ElementsAre(4, 5, 6, -1, -2));
    }
}

// --- states and checks ------------------------------------------------------------------------

TEST(CodeBook, SizesAndChecks) {
    Qor32s size = -1;
    EXPECT_EQ(qorsVQCodeBookGetSize_32f(0, 0, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsVQCodeBookGetSize_32f(0, 1, &size), qorStsSizeErr);
    EXPECT_EQ(qorsVQCodeBookGetSize_32f(1, 0, &size), qorStsSizeErr);
    EXPECT_EQ(qorsVQCodeBookGetSize_32f(1 << 20, 1 << 10, &size), qorStsSizeErr);
    // Sizes that 64 bits would wrap.
    EXPECT_EQ(qorsVQCodeBookGetSize_32f(0x7FFFFFFF, 1 << 28, &size), qorStsSizeErr);
    EXPECT_EQ(qorsVQCodeBookGetSize_32f(1 << 28, 0x7FFFFFFF, &size), qorStsSizeErr);
    EXPECT_EQ(size, -1);
    EXPECT_EQ(qorsVQCodeBookGetSize_32f(20, 32, &size), qorStsNoErr);
    EXPECT_EQ(size, ((20 * 4 + 56) * 32 + 280) * 4);

    const Qor32f values[4] = {};
    QorsVQCodeBookState_32f* pState = nullptr;
    std::vector<Qor8u> memory(4096);
    EXPECT_EQ(qorsVQCodeBookInit_32f(nullptr, &pState, 0, 1, memory.data()), qorStsNullPtrErr);
    EXPECT_EQ(qorsVQCodeBookInit_32f(values, nullptr, 0, 1, memory.data()), qorStsNullPtrErr);
    EXPECT_EQ(qorsVQCodeBookInit_32f(values, &pState, 0, 1, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(qorsVQCodeBookInit_32f(values, &pState, 0, 1, memory.data()), qorStsSizeErr);
    EXPECT_EQ(qorsVQCodeBookInit_32f(values, &pState, 1, 0, memory.data()), qorStsSizeErr);
    EXPECT_EQ(qorsVQCodeBookInitAlloc_32f(nullptr, &pState, 0, 1), qorStsNullPtrErr);
    EXPECT_EQ(qorsVQCodeBookInitAlloc_32f(values, nullptr, 0, 1), qorStsNullPtrErr);
    EXPECT_EQ(qorsVQCodeBookInitAlloc_32f(values, &pState, 0, 1), qorStsSizeErr);
    EXPECT_EQ(qorsVQCodeBookInitAlloc_32f(values, &pState, 1, 0), qorStsSizeErr);
    EXPECT_EQ(qorsVQCodeBookFree_32f(nullptr), qorStsNullPtrErr);
    EXPECT_EQ(pState, nullptr);
}

TEST(CodeBook, AllocatedOnesAreReleased) {
    Random random(10);
    const Book book = Book::random(random, 5, 9);
    const Signal signal(random, {5});
    const int blocks = test::liveBlocks();
    QorsVQCodeBookState_32f* pState = nullptr;
    {
        const test::FailingAllocator failing(0);
        EXPECT_EQ(qorsVQCodeBookInitAlloc_32f(book.values.data(), &pState, 5, 9),
                  qorStsMemAllocErr);
        EXPECT_EQ(pState, nullptr);
    }
    EXPECT_EQ(qorsVQCodeBookInitAlloc_32f(book.values.data(), &pState, 5, 9), qorStsNoErr);
    EXPECT_EQ(test::liveBlocks(), blocks + 1);
    Qor32s index[4], sign[4];
    const Qor32s polarity = 1;
    EXPECT_EQ(qorsVQPreliminarySelect_32f(signal.x.data(), signal.w.data(), 1,
                                          signal.lengths.data(), index, sign, 4, &polarity, pState),
              qorStsNoErr);
    const Selection expected = preliminary(signal, book, 4, {1});
    EXPECT_EQ(std::vector<Qor32s>(index, index + 4), expected.index);
    EXPECT_EQ(std::vector<Qor32s>(sign, sign + 4), expected.sign);
    EXPECT_EQ(qorsVQCodeBookFree_32f(pState), qorStsNoErr);
    EXPECT_EQ(test::liveBlocks(), blocks);
}

// The state is the memory itself; Free of it clears the third word and releases nothing.
TEST(CodeBook, AnyAlignmentOfTheMemoryWillDo) {
    Random random(11);
    const Book book = Book::random(random, 9, 17);
    const Signal signal(random, {9, 4});
    const Selection expected = preliminary(signal, book, 5, {1, 0});
    Qor32s size = 0;
    qorsVQCodeBookGetSize_32f(9, 17, &size);
    const int calls = test::allocationCalls();
    for (int shift = 1; shift < 32; ++shift) {
        Guarded<Qor8u> memory(std::size_t(size + shift), false);
        QorsVQCodeBookState_32f* pState = nullptr;
        EXPECT_EQ(qorsVQCodeBookInit_32f(book.values.data(), &pState, 9, 17, memory.data() + shift),
                  qorStsNoErr);
        EXPECT_EQ(static_cast<void*>(pState), memory.data() + shift);
        Qor32s index[10], sign[10];
        const Qor32s polarity[2] = {1, 0};
        qorsVQPreliminarySelect_32f(signal.x.data(), signal.w.data(), 2, signal.lengths.data(),
                                    index, sign, 5, polarity, pState);
        EXPECT_EQ(std::vector<Qor32s>(index, index + 10), expected.index);
        EXPECT_EQ(std::vector<Qor32s>(sign, sign + 10), expected.sign);
        Qor32s id = 0;
        std::memcpy(&id, memory.data() + shift + 8, 4);
        EXPECT_EQ(id, 1);
        EXPECT_EQ(qorsVQCodeBookFree_32f(pState), qorStsNoErr);
        std::memcpy(&id, memory.data() + shift + 8, 4);
        EXPECT_EQ(id, 0);
    }
    EXPECT_EQ(test::allocationCalls(), calls);
}

TEST(VqSearches, NullPointersComeFirstAndNoDivisionsDoNothing) {
    const Book books[2] = {Book({1}, 1), Book({2}, 1)};
    QorsVQCodeBookState_32f* states[2] = {books[0].pState, books[1].pState};
    const Qor32f x[1] = {1}, w[1] = {1};
    const Qor32s length[1] = {1}, polarity[1] = {1};
    Qor32s index[1] = {7}, sign[1] = {7}, indexOut[1] = {7}, signOut[1] = {7};
    Qor32f out[1] = {7};
    const Qor32s *ppIn[2] = {index, index}, *ppSign[2] = {sign, sign},
                 *ppPol[2] = {polarity, polarity};
    Qor32s *ppI[2] = {indexOut, indexOut}, *ppS[2] = {signOut, signOut};
    const auto no = [](int missing, int i, auto* p) { return missing == i ? nullptr : p; };
    // Everything null in turn without divisions; no candidates with nothing null.
    for (int missing = 0; missing < 10; ++missing) {
        const int nDiv = missing < 8 ? 0 : missing < 9 ? -5 : 1, nCand = missing < 9 ? 1 : 0;
        const auto status = [&](int pointers) {
            return missing < pointers ? qorStsNullPtrErr : qorStsNoErr;
        };
        EXPECT_EQ(qorsVQPreliminarySelect_32f(no(missing, 0, x), no(missing, 1, w), nDiv,
                                              no(missing, 2, length), no(missing, 3, index),
                                              no(missing, 4, sign), nCand, no(missing, 5, polarity),
                                              no(missing, 6, states[0])),
                  status(7));
        EXPECT_EQ(qorsVQMainSelect_32f(no(missing, 0, x), no(missing, 1, w), no(missing, 2, length),
                                       nDiv, nCand, no(missing, 3, ppIn), no(missing, 4, ppSign),
                                       no(missing, 5, ppI), no(missing, 6, ppS),
                                       no(missing, 7, states), 2),
                  status(8));
        EXPECT_EQ(qorsVQIndexSelect_32f(no(missing, 0, x), no(missing, 1, w), nDiv,
                                        no(missing, 2, length), nCand, no(missing, 3, ppPol),
                                        no(missing, 4, ppI), no(missing, 5, ppS),
                                        no(missing, 6, states), 2),
                  status(7));
        EXPECT_EQ(qorsVQReconstruction_32f(no(missing, 0, ppIn), no(missing, 1, ppSign),
                                           no(missing, 2, length), std::min(nDiv, 0), 2,
                                           no(missing, 3, out), no(missing, 4, states)),
                  status(5));
    }
    for (const Qor32s value : {index[0], sign[0], indexOut[0], signOut[0]}) EXPECT_EQ(value, 7);
    EXPECT_EQ(out[0], 7);
}

}  // namespace
}  // namespace qorac
