#include "arguments/arguments.h"

namespace qorac::test {

namespace {

// ---- DTS ----

using DtsSpec = QorsFilterSpec_DTS_32f;

const BlockFunctions<DtsSpec> kDts{
    "qorsSynthesisFilter", "_DTS_32f", qorsSynthesisFilterGetSize_DTS_32f,
    qorsSynthesisFilterInitAlloc_DTS_32f, qorsSynthesisFilterFree_DTS_32f};

DtsSpec* dtsMemory(Arena& arena) {
    Qor32s size = 0;
    kDts.getSize(&size);
    return reinterpret_cast<DtsSpec*>(arena.output<Qor8u>(size));
}

// A context, a block of zeros, and one with the id of another bank.
std::vector<void*> dtsContexts(Arena& arena) {
    DtsSpec* const spec = dtsMemory(arena);
    qorsSynthesisFilterInit_DTS_32f(spec);
    return {spec, arena.array<Qor8u>(256), arena.array<Qor32u>(64, 0x434D416A)};
}

void addDts(Family& family) {
    kDts.add(family, dtsContexts, 0);

    Arena& init = family.arena();
    family
        .add("qorsSynthesisFilterInit_DTS_32f", init, qorsSynthesisFilterInit_DTS_32f,
             dtsMemory(init))
        .null<0>();

    Arena& filter = family.arena();
    const std::vector<void*> all = dtsContexts(filter);
    family
        .add("qorsSynthesisFilter_DTS_32f", filter, qorsSynthesisFilter_DTS_32f,
             filter.array<Qor32f>(32, 1), filter.output<Qor32f>(32), 1,
             static_cast<DtsSpec*>(all[0]))
        .null<0, 1, 3>()
        .outside<2>(0, 1, qorStsBadArgErr)
        .foreign<3>(all, {all[0]});
}

// ---- TwinVQ ----

using CodeBook = QorsVQCodeBookState_32f;

constexpr int kLen = 4, kVectors = 8, kDivisions = 2, kCandidates = 3, kStages = 2;

Qor8u* codeBookMemory(Arena& arena) {
    Qor32s size = 0;
    qorsVQCodeBookGetSize_32f(kLen, kVectors, &size);
    return arena.output<Qor8u>(size);
}

Qor32f* vectors(Arena& arena) { return arena.array<Qor32f>(kLen * kVectors, 1); }

CodeBook* codeBook(Arena& arena) {
    CodeBook* state = nullptr;
    qorsVQCodeBookInit_32f(vectors(arena), &state, kLen, kVectors, codeBookMemory(arena));
    return state;
}

void addCodeBooks(Family& family) {
    Arena& size = family.arena();
    family
        .add("qorsVQCodeBookGetSize_32f", size, qorsVQCodeBookGetSize_32f, kLen, kVectors,
             size.output<Qor32s>())
        .null<2>()
        .below<0>(1, qorStsSizeErr)
        .below<1>(1, qorStsSizeErr);

    Arena& init = family.arena();
    family
        .add("qorsVQCodeBookInit_32f", init, qorsVQCodeBookInit_32f, vectors(init),
             init.record<CodeBook*>(), kLen, kVectors, codeBookMemory(init))
        .null<0, 1, 4>()
        .below<2>(1, qorStsSizeErr)
        .below<3>(1, qorStsSizeErr);

    Arena& alloc = family.arena();
    CodeBook** const place = alloc.record<CodeBook*>();
    family
        .add("qorsVQCodeBookInitAlloc_32f", alloc, qorsVQCodeBookInitAlloc_32f, vectors(alloc),
             place, kLen, kVectors)
        .null<0, 1>()
        .below<2>(1, qorStsSizeErr)
        .below<3>(1, qorStsSizeErr)
        .releasing([place] { qorsVQCodeBookFree_32f(*place); });

    // Nothing tells a code book from other memory.
    Arena& end = family.arena();
    family.add("qorsVQCodeBookFree_32f", end, qorsVQCodeBookFree_32f, codeBook(end)).null<0>();
}

// What the searches read and write.
struct Search {
    explicit Search(Arena& in)
        : arena(in),
          signal(arena.array<Qor32f>(kLen * kDivisions)),
          weights(arena.array<Qor32f>(kLen * kDivisions, 1)),
          lengths(arena.array<Qor32s>(kDivisions, kLen)),
          codeBooks(arena.array<CodeBook*>(kStages)) {
        for (int stage = 0; stage < kStages; ++stage) codeBooks[stage] = codeBook(arena);
    }
    // An array for each stage.
    Qor32s** arrays(int size) const {
        Qor32s** const list = arena.array<Qor32s*>(kStages);
        for (int stage = 0; stage < kStages; ++stage) list[stage] = arena.array<Qor32s>(size);
        return list;
    }

    Arena& arena;
    Qor32f *signal, *weights;
    Qor32s* lengths;
    CodeBook** codeBooks;
};

void addSearches(Family& family) {
    Arena& preliminary = family.arena();
    const Search a(preliminary);
    family
        .add("qorsVQPreliminarySelect_32f", preliminary, qorsVQPreliminarySelect_32f, a.signal,
             a.weights, kDivisions, a.lengths, preliminary.output<Qor32s>(kCandidates * kDivisions),
             preliminary.output<Qor32s>(kCandidates * kDivisions), kCandidates,
             preliminary.array<Qor32s>(kDivisions, 1), a.codeBooks[0])
        .null<0, 1, 3, 4, 5, 7, 8>();

    Arena& main = family.arena();
    const Search b(main);
    family
        .add("qorsVQMainSelect_32f", main, qorsVQMainSelect_32f, b.signal, b.weights, b.lengths,
             kDivisions, kCandidates, b.arrays(kCandidates * kDivisions),
             b.arrays(kCandidates * kDivisions), b.arrays(kDivisions), b.arrays(kDivisions),
             b.codeBooks, kStages)
        .null<0, 1, 2, 5, 6, 7, 8, 9>();

    Arena& index = family.arena();
    const Search c(index);
    family
        .add("qorsVQIndexSelect_32f", index, qorsVQIndexSelect_32f, c.signal, c.weights, kDivisions,
             c.lengths, kCandidates, c.arrays(kDivisions), c.arrays(kDivisions),
             c.arrays(kDivisions), c.codeBooks, kStages)
        .null<0, 1, 3, 5, 6, 7, 8>();

    Arena& reconstruction = family.arena();
    const Search d(reconstruction);
    family
        .add("qorsVQReconstruction_32f", reconstruction, qorsVQReconstruction_32f,
             d.arrays(kDivisions), d.arrays(kDivisions), d.lengths, kDivisions, kStages,
             reconstruction.output<Qor32f>(kLen * kDivisions), d.codeBooks)
        .null<0, 1, 2, 5, 6>();
}

// ---- FIR ----

using FirState = QorsFIRBlockState_32f;

// The record behind a state.
struct FirRecord {
    Qor32f* pRows;
    Qor16s tapsLen, blockLen, rowLen, current;
    Qor32s id;
};

void addFir(Family& family) {
    constexpr Qor16s kTaps = 3, kBlock = 8;
    constexpr Qor32s kFirId = 58, kPredictionId = 59;

    // The lengths are kept in 16 bits, that of a block rounded up to a multiple of four.
    Arena& alloc = family.arena();
    FirState** const place = alloc.record<FirState*>();
    family.add("qorsFIRBlockInitAlloc_32f", alloc, qorsFIRBlockInitAlloc_32f, place, kTaps, kBlock)
        .null<0>()
        .outside<1>(1, 32767, qorStsFirLenErr)
        .outside<2>(1, 32764, qorStsFirLenErr)
        .releasing([place] { qorsFIRBlockFree_32f(*place); });

    // The call with good arguments releases the state.
    Arena& end = family.arena();
    FirState* state = nullptr;
    qorsFIRBlockInitAlloc_32f(&state, kTaps, kBlock);
    family.add("qorsFIRBlockFree_32f", end, qorsFIRBlockFree_32f, state)
        .null<0>()
        .foreign<0>({end.array<Qor8u>(256), end.array<Qor32s>(64, kPredictionId)}, {});

    Arena& one = family.arena();
    auto* const record = one.record<FirRecord>(
        {one.array<Qor32f>(kTaps * kBlock), kTaps, kBlock, kBlock, 0, kFirId});
    family
        .add("qorsFIRBlockOne_32f", one, qorsFIRBlockOne_32f, one.array<Qor32f>(kBlock, 1),
             one.output<Qor32f>(kBlock), reinterpret_cast<FirState*>(record),
             one.array<Qor32f>(kTaps, 1))
        .null<0, 1, 2, 3>()
        .field(record->id, {0, kPredictionId}, qorStsContextMatchErr)
        .field(record->blockLen, {0, -1}, qorStsFirLenErr)
        .field(record->tapsLen, {0, -1}, qorStsFirLenErr)
        .field(record->current, {-1, kTaps, 32767}, qorStsFirLenErr);
}

}  // namespace

void addMisc(Family& family) {
    addDts(family);
    addCodeBooks(family);
    addSearches(family);
    addFir(family);
}

}  // namespace qorac::test
