// Weighted vector quantization with two conjugate code books (ISO/IEC 14496-3, TwinVQ), in 32-bit
// floats. A signal is cut into divisions, each of which is approximated by the mean of one vector
// of each book, either of them possibly negated.
//
// Sums run through a division from its start, whatever is done side by side: the order decides
// where distances are nearly equal.
#include <algorithm>
#include <cstring>

#include "frame/fixed.h"
#include "frame/memory.h"
#include "frame/status.h"
#include "frame/vectorkernels.h"

// The record at the start of a state; the memory may have any alignment, so that it is copied in
// and out. The scratch of a search has an entry for each vector.
struct QorsVQCodeBookState_32f {
    Qor32s numVectors;
    Qor32s len;
    Qor32s id;            // 1, and 0 after Free; no function tests it
    Qor32s side;          // vectors that are treated side by side: kSide, or 1 in small books
    Qor32f** ppRows;      // the vectors, each on a 32-byte boundary
    Qor32f* pGroups;      // the same in groups of `side`: values 0 of all in a group, values 1, ...
    Qor32f* pDist;        // distance of each vector
    Qor32s* pSign;        // of each vector: 1 for its negation
    Qor32s* pIndex;       // the candidates,
    Qor32f* pBest;        // their distances
    Qor32s* pChosenSign;  // and signs
    Qor32f* pChosen;      // values of a group of candidates, like pGroups
    Qor32s ownsMemory;
};

namespace qorac {

using CodeBook = QorsVQCodeBookState_32f;

namespace {

constexpr int kSide = 16;
constexpr Qor32f kFarthest = 1e38f;

struct Division {
    const Qor32f* x;
    const Qor32f* w;
    Qor32s len;
};

// Candidates of one book for a division.
struct Candidates {
    const Qor32s* pIndex;
    const Qor32s* pSign;
    Qor32s count;

    // Null for what is no vector of the book.
    const Qor32f* row(const CodeBook& book, Qor32s i) const {
        return outside(pIndex[i], 0, book.numVectors - 1) ? nullptr : book.ppRows[pIndex[i]];
    }
    Qor32f factor(Qor32s i) const { return Qor32f(1 - 2 * Qor64s(pSign[i])); }
};

// Candidate a of book 0 and b of book 1. Of equal pairs the first stays, a counting before b; pairs
// come with b rising for each a.
struct BestPair {
    Qor32f error = kFarthest;
    Qor32s a = 0, b = -1;  // -1: none

    void offer(Qor32f e, Qor32s newA, Qor32s newB) {
        if (!(e < error || (e == error && newA < a))) return;
        error = e;
        a = newA;
        b = newB;
    }
};

}  // namespace
}  // namespace qorac

#define QORAC_KERNEL "misc/tvq_kernel.h"
#include "frame/levels.h"

namespace qorac {
namespace {

QORAC_BIND(void, measureBook,
           (const CodeBook& book, const Division& division, Qor32s polarity, Qor32f scale),
           (book, division, polarity, scale))
QORAC_BIND(BestPair, searchMeans,
           (const CodeBook (&books)[2], const Division& division, const Candidates (&candidates)[2],
            Qor32s nStage),
           (books, division, candidates, nStage))
QORAC_BIND(BestPair, searchDifferences,
           (const CodeBook (&books)[2], const Division& division,
            const Candidates (&candidates)[2]),
           (books, division, candidates))

CodeBook codeBookOf(const QorsVQCodeBookState_32f* pState) {
    CodeBook book;
    std::memcpy(&book, static_cast<const void*>(pState), sizeof book);
    return book;
}

// --- candidates -------------------------------------------------------------------------------

// The nCand nearest vectors in the order of their distances. Of equals the later one comes first,
// but one as far as the last candidate does not enter.
void sortIn(const CodeBook& book, Qor32s nCand) {
    Qor32f* const best = book.pBest;
    Qor32s* const index = book.pIndex;
    std::fill_n(index, nCand, 0);
    std::fill_n(best, nCand, kFarthest);
    Qor32s last = 0;
    for (Qor32s i = 0; i < book.numVectors; ++i) {
        const Qor32f distance = book.pDist[i];
        if (!(best[last] > distance)) continue;
        const Qor32s place = Qor32s(std::lower_bound(best, best + last, distance) - best);
        last = std::min(last + 1, nCand - 1);
        for (Qor32s k = last; k > place; --k) {
            best[k] = best[k - 1];
            index[k] = index[k - 1];
        }
        best[place] = distance;
        index[place] = i;
    }
}

// The candidates of a division, with their distances in pBest: nCand, or all vectors in their own
// order where the book has no more.
Candidates findCandidates(const CodeBook& book, const Division& division, Qor32s nCand,
                          Qor32s polarity, Qor32f scale) {
    measureBook(book, division, polarity, scale);
    const Qor32s count = std::min(nCand, book.numVectors);
    if (nCand < book.numVectors) {
        sortIn(book, nCand);
    } else {
        for (Qor32s i = 0; i < count; ++i) book.pIndex[i] = i;
        std::copy_n(book.pDist, count, book.pBest);
    }
    for (Qor32s i = 0; i < count; ++i) book.pChosenSign[i] = book.pSign[book.pIndex[i]];
    return {book.pIndex, book.pChosenSign, count};
}

// --- code books -------------------------------------------------------------------------------

constexpr int kAlignment = 32;

constexpr Qor64s kTooLarge = Qor64s(kMax32s) + 1;

// Bytes of a code book. The size of all vectors could pass 64 bits.
constexpr Qor64s codeBookSize(Qor32s len, Qor32s numVectors) {
    const Qor64s vectorSize = Qor64s(len) * 4 + 56;
    if (vectorSize > kMax32s / numVectors) return kTooLarge;
    return (vectorSize * numVectors + 280) * 4;
}

// From this many vectors on the size, which counts each value four times, has room for the rows,
// the groups with the last one filled up, and a group of candidates.
constexpr Qor32s kFewestForGroups = 11;

void init(const Qor32f* pCodeBook, Qor32s len, Qor32s numVectors, Qor8u* pMem, Qor32s ownsMemory) {
    const Qor32s side = numVectors < kFewestForGroups ? 1 : kSide;
    const Qor64s count = numVectors, rowLen = (Qor64s(len) + 7) & ~Qor64s(7);
    const Qor64s inGroups = (count + side - 1) / side * side;
    Qor8u* pNext = pMem + sizeof(CodeBook);
    const auto take = [&pNext]<typename T>(T*& p, Qor64s elements) {
        Qor8u* const pStart = alignUp<kAlignment>(pNext);
        pNext = pStart + elements * Qor64s(sizeof(T));
        std::memset(pStart, 0, std::size_t(pNext - pStart));
        p = reinterpret_cast<T*>(pStart);
    };
    CodeBook book{};
    book.numVectors = numVectors;
    book.len = len;
    book.id = 1;
    book.side = side;
    book.ownsMemory = ownsMemory;
    Qor32f* pRows;
    take(book.ppRows, count);
    take(book.pDist, inGroups);
    take(book.pSign, inGroups);
    take(book.pIndex, count);
    take(book.pBest, count);
    take(book.pChosenSign, count);
    take(pRows, count * rowLen);
    take(book.pChosen, Qor64s(side) * len);
    if (side > 1) take(book.pGroups, inGroups * len);

    for (Qor64s i = 0; i < count; ++i) {
        Qor32f* const row = pRows + i * rowLen;
        book.ppRows[i] = row;
        std::copy_n(pCodeBook + i * len, len, row);
        if (side == 1) continue;
        Qor32f* const pGroup = book.pGroups + i / side * side * len + i % side;
        for (Qor64s k = 0; k < len; ++k) pGroup[k * side] = row[k];
    }
    std::memcpy(pMem, &book, sizeof book);
}

// Calls action(division, number) for each division of the signal.
template <typename Action>
void forEachDivision(const Qor32f* pSrc, const Qor32f* pWeight, const Qor32s* pLength, Qor32s nDiv,
                     Action action) {
    for (Qor32s d = 0; d < nDiv; ++d) {
        const Division division{pSrc, pWeight, std::max(pLength[d], 0)};
        action(division, d);
        pSrc += division.len;
        pWeight += division.len;
    }
}

void storePair(const BestPair& best, const Candidates (&candidates)[2], Qor32s d,
               Qor32s* const* ppIndexOut, Qor32s* const* ppSignOut) {
    const Qor32s place[2] = {best.a, best.b};
    for (int book = 0; book < 2; ++book) {
        ppIndexOut[book][d] = best.b < 0 ? 0 : candidates[book].pIndex[place[book]];
        ppSignOut[book][d] = best.b < 0 ? 0 : candidates[book].pSign[place[book]];
    }
}

}  // namespace
}  // namespace qorac

using namespace qorac;

QorStatus qorsVQCodeBookGetSize_32f(Qor32s len, Qor32s numVectors, Qor32s* pSize) {
    if (!pSize) return qorStsNullPtrErr;
    if (len < 1 || numVectors < 1) return qorStsSizeErr;
    const Qor64s size = codeBookSize(len, numVectors);
    if (size > kMax32s) return qorStsSizeErr;
    *pSize = Qor32s(size);
    return qorStsNoErr;
}

QorStatus qorsVQCodeBookInit_32f(const Qor32f* pCodeBook, QorsVQCodeBookState_32f** ppState,
                                 Qor32s len, Qor32s numVectors, Qor8u* pMem) {
    if (anyNull(pCodeBook, ppState, pMem)) return qorStsNullPtrErr;
    if (len < 1 || numVectors < 1) return qorStsSizeErr;
    init(pCodeBook, len, numVectors, pMem, 0);
    *ppState = reinterpret_cast<QorsVQCodeBookState_32f*>(pMem);
    return qorStsNoErr;
}

QorStatus qorsVQCodeBookInitAlloc_32f(const Qor32f* pCodeBook, QorsVQCodeBookState_32f** ppState,
                                      Qor32s len, Qor32s numVectors) {
    if (anyNull(pCodeBook, ppState)) return qorStsNullPtrErr;
    Qor32s size;
    const QorStatus status = qorsVQCodeBookGetSize_32f(len, numVectors, &size);
    if (status != qorStsNoErr) return status;
    Qor8u* const pMem = qorsMalloc_8u(size);
    if (!pMem) return qorStsMemAllocErr;
    init(pCodeBook, len, numVectors, pMem, 1);
    *ppState = reinterpret_cast<QorsVQCodeBookState_32f*>(pMem);
    return qorStsNoErr;
}

QorStatus qorsVQCodeBookFree_32f(QorsVQCodeBookState_32f* pState) {
    if (!pState) return qorStsNullPtrErr;
    CodeBook book = codeBookOf(pState);
    book.id = 0;
    std::memcpy(static_cast<void*>(pState), &book, sizeof book);
    if (book.ownsMemory != 0) qorsFree(pState);
    return qorStsNoErr;
}

QorStatus qorsVQPreliminarySelect_32f(const Qor32f* pSrc, const Qor32f* pWeight, Qor32s nDiv,
                                      const Qor32s* pLength, Qor32s* pIndex, Qor32s* pSign,
                                      Qor32s nCand, const Qor32s* pPolarity,
                                      QorsVQCodeBookState_32f* pCodeBook) {
    if (anyNull(pSrc, pWeight, pLength, pIndex, pSign, pPolarity, pCodeBook))
        return qorStsNullPtrErr;
    if (nDiv < 1 || nCand < 1) return qorStsNoErr;
    const CodeBook book = codeBookOf(pCodeBook);
    forEachDivision(pSrc, pWeight, pLength, nDiv, [&](const Division& division, Qor32s d) {
        const Candidates found = findCandidates(book, division, nCand, pPolarity[d], 1.0f);
        for (Qor32s i = 0; i < nCand; ++i) {
            *pIndex++ = i < found.count ? found.pIndex[i] : i;
            *pSign++ = i < found.count ? found.pSign[i] : 0;
        }
    });
    return qorStsNoErr;
}

QorStatus qorsVQMainSelect_32f(const Qor32f* pSrc, const Qor32f* pWeight, const Qor32s* pLength,
                               Qor32s nDiv, Qor32s nCand, const Qor32s* const* ppIndex,
                               const Qor32s* const* ppSign, Qor32s* const* ppIndexOut,
                               Qor32s* const* ppSignOut, QorsVQCodeBookState_32f* const* ppCodeBook,
                               Qor32s nStage) {
    if (anyNull(pSrc, pWeight, pLength, ppIndex, ppSign, ppIndexOut, ppSignOut, ppCodeBook))
        return qorStsNullPtrErr;
    if (nDiv < 1 || nCand < 1) return qorStsNoErr;
    const CodeBook books[2] = {codeBookOf(ppCodeBook[0]), codeBookOf(ppCodeBook[1])};
    forEachDivision(pSrc, pWeight, pLength, nDiv, [&](const Division& division, Qor32s d) {
        const Qor64s start = Qor64s(d) * nCand;
        const Candidates candidates[2] = {{ppIndex[0] + start, ppSign[0] + start, nCand},
                                          {ppIndex[1] + start, ppSign[1] + start, nCand}};
        storePair(searchMeans(books, division, candidates, nStage), candidates, d, ppIndexOut,
                  ppSignOut);
    });
    return qorStsNoErr;
}

QorStatus qorsVQIndexSelect_32f(const Qor32f* pSrc, const Qor32f* pWeight, Qor32s nDiv,
                                const Qor32s* pLength, Qor32s nCand,
                                const Qor32s* const* ppPolarity, Qor32s* const* ppIndexOut,
                                Qor32s* const* ppSignOut,
                                QorsVQCodeBookState_32f* const* ppCodeBook, Qor32s nStage) {
    if (anyNull(pSrc, pWeight, pLength, ppPolarity, ppIndexOut, ppSignOut, ppCodeBook))
        return qorStsNullPtrErr;
    if (nDiv < 1 || nCand < 1) return qorStsNoErr;
    const CodeBook books[2] = {codeBookOf(ppCodeBook[0]), codeBookOf(ppCodeBook[1])};
    forEachDivision(pSrc, pWeight, pLength, nDiv, [&](const Division& division, Qor32s d) {
        Candidates candidates[2] = {};
        for (int s = 0; s < std::min(nStage, 2); ++s)
            candidates[s] = findCandidates(books[s], division, nCand, ppPolarity[s][d], 2.0f);
        storePair(searchDifferences(books, division, candidates), candidates, d, ppIndexOut,
                  ppSignOut);
    });
    return qorStsNoErr;
}

QorStatus qorsVQReconstruction_32f(const Qor32s* const* ppIndex, const Qor32s* const* ppSign,
                                   const Qor32s* pLength, Qor32s nDiv, Qor32s nStage, Qor32f* pDst,
                                   QorsVQCodeBookState_32f* const* ppCodeBook) {
    if (anyNull(ppIndex, ppSign, pLength, pDst, ppCodeBook)) return qorStsNullPtrErr;
    if (nDiv < 1) return qorStsNoErr;
    Qor32s total = 0;
    for (Qor32s stage = 0; stage == 0 || stage < nStage; ++stage) {
        const CodeBook book = codeBookOf(ppCodeBook[stage]);
        total = 0;
        for (Qor32s d = 0; d < nDiv; ++d)
            for (Qor32s k = 0; k < pLength[d]; ++k, ++total) {
                const Qor32f value = Qor32f(ppSign[stage][d]) * book.ppRows[ppIndex[stage][d]][k];
                pDst[total] = stage == 0 ? value : pDst[total] + value;
            }
    }
    qorsMulC_32f_I(pDst, total, 1.0f / Qor32f(nStage));
    return qorStsNoErr;
}
