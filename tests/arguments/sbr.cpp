#include "arguments/arguments.h"

namespace qorac::test {

namespace {

// Row pointers to `width` values each.
template <typename T>
T** rows(Arena& arena, int count, int width) {
    T** const list = arena.array<T*>(count);
    for (int i = 0; i < count; ++i) list[i] = arena.output<T>(width);
    return list;
}
// The same of silence, to read.
template <typename T>
T** zeroRows(Arena& arena, int count, int width) {
    T** const list = arena.array<T*>(count);
    for (int i = 0; i < count; ++i) list[i] = arena.array<T>(width);
    return list;
}

// ---- integer banks ----

using IntegerSpec = QorsFilterSpec_SBR_32s;

struct IntegerBank {
    BlockFunctions<IntegerSpec> functions;
    QorStatus (*init)(IntegerSpec*);
};

enum { kAnalysisHq, kAnalysisLp, kSynthesisHq, kSynthesisLp, kDownHq, kDownLp };

const IntegerBank kIntegerBanks[] = {
    {{"qorsAnalysisFilter", "_SBRHQ_32s32sc", qorsAnalysisFilterGetSize_SBRHQ_32s32sc,
      qorsAnalysisFilterInitAlloc_SBRHQ_32s32sc, qorsAnalysisFilterFree_SBRHQ_32s32sc},
     qorsAnalysisFilterInit_SBRHQ_32s32sc},
    {{"qorsAnalysisFilter", "_SBRLP_32s", qorsAnalysisFilterGetSize_SBRLP_32s,
      qorsAnalysisFilterInitAlloc_SBRLP_32s, qorsAnalysisFilterFree_SBRLP_32s},
     qorsAnalysisFilterInit_SBRLP_32s},
    {{"qorsSynthesisFilter", "_SBRHQ_32sc32s", qorsSynthesisFilterGetSize_SBRHQ_32sc32s,
      qorsSynthesisFilterInitAlloc_SBRHQ_32sc32s, qorsSynthesisFilterFree_SBRHQ_32sc32s},
     qorsSynthesisFilterInit_SBRHQ_32sc32s},
    {{"qorsSynthesisFilter", "_SBRLP_32s", qorsSynthesisFilterGetSize_SBRLP_32s,
      qorsSynthesisFilterInitAlloc_SBRLP_32s, qorsSynthesisFilterFree_SBRLP_32s},
     qorsSynthesisFilterInit_SBRLP_32s},
    {{"qorsSynthesisDownFilter", "_SBRHQ_32sc32s", qorsSynthesisDownFilterGetSize_SBRHQ_32sc32s,
      qorsSynthesisDownFilterInitAlloc_SBRHQ_32sc32s, qorsSynthesisDownFilterFree_SBRHQ_32sc32s},
     qorsSynthesisDownFilterInit_SBRHQ_32sc32s},
    {{"qorsSynthesisDownFilter", "_SBRLP_32s", qorsSynthesisDownFilterGetSize_SBRLP_32s,
      qorsSynthesisDownFilterInitAlloc_SBRLP_32s, qorsSynthesisDownFilterFree_SBRLP_32s},
     qorsSynthesisDownFilterInit_SBRLP_32s},
};

// A context of each bank in its order, and a block of zeros.
std::vector<void*> integerContexts(Arena& arena) {
    std::vector<void*> all;
    for (const IntegerBank& bank : kIntegerBanks) {
        Qor32s size = 0;
        bank.functions.getSize(&size);
        all.push_back(arena.array<Qor8u>(size));
        bank.init(static_cast<IntegerSpec*>(all.back()));
    }
    all.push_back(arena.array<Qor8u>(256));
    return all;
}

template <typename Dst>
void addIntegerAnalysis(Family& family, const char* name, int own,
                        QorStatus (*filter)(const Qor32s*, Dst*, Qor32s, IntegerSpec*)) {
    Arena& arena = family.arena();
    const std::vector<void*> all = integerContexts(arena);
    family
        .add(name, arena, filter, arena.array<Qor32s>(32, 1), arena.output<Dst>(32), 32,
             static_cast<IntegerSpec*>(all[own]))
        .template null<0, 1, 3>()
        .template foreign<3>(all, {all[own]})
        .template outside<2>(0, 32, qorStsSizeErr);
}

// Those of two banks can be contexts of the downsampled filters.
template <typename Src>
void addIntegerSynthesis(Family& family, const char* name, int own, int other,
                         QorStatus (*filter)(const Src*, Qor32s*, IntegerSpec*)) {
    Arena& arena = family.arena();
    const std::vector<void*> all = integerContexts(arena);
    family
        .add(name, arena, filter, arena.array<Src>(64), arena.output<Qor32s>(64),
             static_cast<IntegerSpec*>(all[own]))
        .template null<0, 1, 2>()
        .template foreign<2>(all, {all[own], all[other]});
}

void addIntegerBanks(Family& family) {
    for (int own = kAnalysisHq; own <= kDownLp; ++own) {
        const IntegerBank& bank = kIntegerBanks[own];
        bank.functions.add(family, integerContexts, own);

        Arena& arena = family.arena();
        Qor32s size = 0;
        bank.functions.getSize(&size);
        auto* const block = reinterpret_cast<IntegerSpec*>(arena.output<Qor8u>(size));
        family.add(bank.functions.name("Init"), arena, bank.init, block).null<0>();
    }
    addIntegerAnalysis(family, "qorsAnalysisFilter_SBRHQ_32s32sc", kAnalysisHq,
                       qorsAnalysisFilter_SBRHQ_32s32sc);
    addIntegerAnalysis(family, "qorsAnalysisFilter_SBRLP_32s", kAnalysisLp,
                       qorsAnalysisFilter_SBRLP_32s);
    addIntegerSynthesis(family, "qorsSynthesisFilter_SBRHQ_32sc32s", kSynthesisHq, kSynthesisHq,
                        qorsSynthesisFilter_SBRHQ_32sc32s);
    addIntegerSynthesis(family, "qorsSynthesisFilter_SBRLP_32s", kSynthesisLp, kSynthesisLp,
                        qorsSynthesisFilter_SBRLP_32s);
    addIntegerSynthesis(family, "qorsSynthesisDownFilter_SBRHQ_32sc32s", kDownHq, kSynthesisHq,
                        qorsSynthesisDownFilter_SBRHQ_32sc32s);
    addIntegerSynthesis(family, "qorsSynthesisDownFilter_SBRLP_32s", kDownLp, kSynthesisLp,
                        qorsSynthesisDownFilter_SBRLP_32s);
}

// ---- float banks ----

using FloatSpec = QorsFilterSpec_SBR_32f;

struct FloatBank {
    std::string prefix, suffix;
    QorStatus (*getSize)(Qor32s*, Qor32s*, Qor32s*);
    QorStatus (*init)(FloatSpec**, Qor8u*, Qor8u*);
};

enum { kRToC, kRToCPairs, kRToR, kFull, kDown = kFull + 3, kNumFloatBanks = kDown + 3 };

const FloatBank kFloatBanks[] = {
    {"qorsAnalysisFilter", "_SBR_RToC_32f", qorsAnalysisFilterGetSize_SBR_RToC_32f,
     qorsAnalysisFilterInit_SBR_RToC_32f},
    {"qorsAnalysisFilter", "_SBR_RToC_32f32fc", qorsAnalysisFilterGetSize_SBR_RToC_32f32fc,
     qorsAnalysisFilterInit_SBR_RToC_32f32fc},
    {"qorsAnalysisFilter", "_SBR_RToR_32f", qorsAnalysisFilterGetSize_SBR_RToR_32f,
     qorsAnalysisFilterInit_SBR_RToR_32f},
    {"qorsSynthesisFilter", "_SBR_CToR_32f", qorsSynthesisFilterGetSize_SBR_CToR_32f,
     qorsSynthesisFilterInit_SBR_CToR_32f},
    {"qorsSynthesisFilter", "_SBR_CToR_32fc32f", qorsSynthesisFilterGetSize_SBR_CToR_32fc32f,
     qorsSynthesisFilterInit_SBR_CToR_32fc32f},
    {"qorsSynthesisFilter", "_SBR_RToR_32f", qorsSynthesisFilterGetSize_SBR_RToR_32f,
     qorsSynthesisFilterInit_SBR_RToR_32f},
    {"qorsSynthesisDownFilter", "_SBR_CToR_32f", qorsSynthesisDownFilterGetSize_SBR_CToR_32f,
     qorsSynthesisDownFilterInit_SBR_CToR_32f},
    {"qorsSynthesisDownFilter", "_SBR_CToR_32fc32f",
     qorsSynthesisDownFilterGetSize_SBR_CToR_32fc32f, qorsSynthesisDownFilterInit_SBR_CToR_32fc32f},
    {"qorsSynthesisDownFilter", "_SBR_RToR_32f", qorsSynthesisDownFilterGetSize_SBR_RToR_32f,
     qorsSynthesisDownFilterInit_SBR_RToR_32f},
};

// The memory of a context and of its calls.
struct FloatMemory {
    FloatMemory(Arena& arena, const FloatBank& bank) {
        Qor32s specSize = 0, initSize = 0, bufSize = 0;
        bank.getSize(&specSize, &initSize, &bufSize);
        spec = arena.output<Qor8u>(specSize);
        init = arena.output<Qor8u>(initSize);
        buffer = arena.output<Qor8u>(bufSize);
    }

    Qor8u *spec, *init, *buffer;
};

// A context of each bank, a block of zeros, and the scratch that one of the banks needs.
struct FloatContexts {
    FloatContexts(Arena& arena, int own) {
        for (const FloatBank& bank : kFloatBanks) {
            const FloatMemory memory(arena, bank);
            FloatSpec* context = nullptr;
            bank.init(&context, memory.spec, memory.init);
            all.push_back(context);
        }
        all.push_back(arena.array<Qor8u>(256));
        spec = static_cast<FloatSpec*>(all[own]);
        buffer = FloatMemory(arena, kFloatBanks[own]).buffer;
    }

    std::vector<void*> all;
    FloatSpec* spec;
    Qor8u* buffer;
};

constexpr int kSlots = 2;

// The split form tests the scratch early and kx before the data; the others the reverse.
void addFloatAnalysis(Family& family) {
    Arena& split = family.arena();
    const FloatContexts a(split, kRToC);
    family
        .add("qorsAnalysisFilter_SBR_RToC_32f_D2L", split, qorsAnalysisFilter_SBR_RToC_32f_D2L,
             split.array<Qor32f>(32 * kSlots), rows<Qor32f>(split, kSlots, 32),
             rows<Qor32f>(split, kSlots, 32), split.array<Qor32f>(320), kSlots, 0, 32, a.spec,
             a.buffer)
        .null<3, 7, 8>()
        .foreign<7>(a.all, {a.spec})
        .outside<6>(0, 32, qorStsSizeErr)
        .null<0, 1, 2>();

    Arena& pairs = family.arena();
    const FloatContexts b(pairs, kRToCPairs);
    family
        .add("qorsAnalysisFilter_SBR_RToC_32f32fc_D2L", pairs,
             qorsAnalysisFilter_SBR_RToC_32f32fc_D2L, pairs.array<Qor32f>(32 * kSlots),
             rows<Qor32fc>(pairs, kSlots, 32), pairs.array<Qor32f>(320), kSlots, 0, 32, b.spec,
             b.buffer)
        .null<2, 6>()
        .foreign<6>(b.all, {b.spec})
        .null<0, 1, 7>()
        .outside<5>(0, 32, qorStsSizeErr);

    Arena& real = family.arena();
    const FloatContexts c(real, kRToR);
    family
        .add("qorsAnalysisFilter_SBR_RToR_32f_D2L", real, qorsAnalysisFilter_SBR_RToR_32f_D2L,
             real.array<Qor32f>(32 * kSlots), rows<Qor32f>(real, kSlots, 32),
             real.array<Qor32f>(320), kSlots, 0, 32, c.spec, c.buffer)
        .null<2, 6>()
        .foreign<6>(c.all, {c.spec})
        .null<0, 1, 7>()
        .outside<5>(0, 32, qorStsSizeErr);
}

// The three forms of one synthesis; `first` is the first of its banks.
void addFloatSynthesis(Family& family, const std::string& prefix, int first,
                       decltype(&qorsSynthesisFilter_SBR_CToR_32f_D2L) split,
                       decltype(&qorsSynthesisFilter_SBR_CToR_32fc32f_D2L) pairs,
                       decltype(&qorsSynthesisFilter_SBR_RToR_32f_D2L) real) {
    Arena& one = family.arena();
    const FloatContexts a(one, first);
    family
        .add(prefix + "_SBR_CToR_32f_D2L", one, split, zeroRows<Qor32f>(one, kSlots, 64),
             zeroRows<Qor32f>(one, kSlots, 64), one.output<Qor32f>(64 * kSlots),
             one.array<Qor32f>(640), kSlots, a.spec, a.buffer)
        .null<3, 5, 6>()
        .foreign<5>(a.all, {a.spec})
        .null<0, 1, 2>();

    Arena& two = family.arena();
    const FloatContexts b(two, first + 1);
    family
        .add(prefix + "_SBR_CToR_32fc32f_D2L", two, pairs, zeroRows<Qor32fc>(two, kSlots, 64),
             two.output<Qor32f>(64 * kSlots), two.array<Qor32f>(640), kSlots, b.spec, b.buffer)
        .null<2, 4>()
        .foreign<4>(b.all, {b.spec})
        .null<0, 1, 5>();

    Arena& three = family.arena();
    const FloatContexts c(three, first + 2);
    family
        .add(prefix + "_SBR_RToR_32f_D2L", three, real, zeroRows<Qor32f>(three, kSlots, 64),
             three.output<Qor32f>(64 * kSlots), three.array<Qor32f>(640), kSlots, c.spec, c.buffer)
        .null<2, 4>()
        .foreign<4>(c.all, {c.spec})
        .null<0, 1, 5>();
}

void addFloatBanks(Family& family) {
    for (const FloatBank& bank : kFloatBanks) {
        Arena& size = family.arena();
        family
            .add(bank.prefix + "GetSize" + bank.suffix, size, bank.getSize, size.output<Qor32s>(),
                 size.output<Qor32s>(), size.output<Qor32s>())
            .null<0, 1, 2>();

        Arena& init = family.arena();
        const FloatMemory memory(init, bank);
        family
            .add(bank.prefix + "Init" + bank.suffix, init, bank.init, init.record<FloatSpec*>(),
                 memory.spec, memory.init)
            .null<0, 1, 2>();
    }
    addFloatAnalysis(family);
    addFloatSynthesis(family, "qorsSynthesisFilter", kFull, qorsSynthesisFilter_SBR_CToR_32f_D2L,
                      qorsSynthesisFilter_SBR_CToR_32fc32f_D2L,
                      qorsSynthesisFilter_SBR_RToR_32f_D2L);
    addFloatSynthesis(
        family, "qorsSynthesisDownFilter", kDown, qorsSynthesisDownFilter_SBR_CToR_32f_D2L,
        qorsSynthesisDownFilter_SBR_CToR_32fc32f_D2L, qorsSynthesisDownFilter_SBR_RToR_32f_D2L);
}

// ---- predictors and parametric stereo ----

void addPredictors(Family& family) {
    constexpr int kBands = 5, kLen = 38, kRows = kLen + 2;

    Arena& split = family.arena();
    family
        .add("qorsPredictCoef_SBR_C_32f_D2L", split, qorsPredictCoef_SBR_C_32f_D2L,
             zeroRows<Qor32f>(split, kRows, kBands), zeroRows<Qor32f>(split, kRows, kBands),
             split.output<Qor32f>(kBands), split.output<Qor32f>(kBands),
             split.output<Qor32f>(kBands), split.output<Qor32f>(kBands), kBands, kLen)
        .null<0, 1, 2, 3, 4, 5>();

    Arena& pairs = family.arena();
    family
        .add("qorsPredictCoef_SBR_C_32fc_D2L", pairs, qorsPredictCoef_SBR_C_32fc_D2L,
             zeroRows<Qor32fc>(pairs, kRows, kBands), pairs.output<Qor32fc>(kBands),
             pairs.output<Qor32fc>(kBands), kBands, kLen)
        .null<0, 1, 2>();

    Arena& real = family.arena();
    family
        .add("qorsPredictCoef_SBR_R_32f_D2L", real, qorsPredictCoef_SBR_R_32f_D2L,
             zeroRows<Qor32f>(real, kRows, kBands), real.output<Qor32f>(kBands),
             real.output<Qor32f>(kBands), kBands, kLen)
        .null<0, 1, 2>();

    // The integer ones test nothing.
    Arena& hq = family.arena();
    family.add("qorsPredictOneCoef_SBRHQ_32sc_D2L", hq, qorsPredictOneCoef_SBRHQ_32sc_D2L,
               zeroRows<Qor32sc>(hq, kRows, kBands), hq.output<Qor32sc>(), hq.output<Qor32sc>(), 0,
               kLen);
    Arena& lp = family.arena();
    family.add("qorsPredictOneCoef_SBRLP_32s_D2L", lp, qorsPredictOneCoef_SBRLP_32s_D2L,
               zeroRows<Qor32s>(lp, kRows, kBands), lp.output<Qor32s>(), lp.output<Qor32s>(),
               lp.output<Qor32s>(), 0, kLen, 1);

    Arena& hybrid = family.arena();
    family
        .add("qorsAnalysisFilter_PS_32fc_D2", hybrid, qorsAnalysisFilter_PS_32fc_D2,
             hybrid.array<Qor32fc>(44), hybrid.output<Qor32fc>(32 * 12), 4)
        .null<0, 1>()
        .outside<2>(0, 4, qorStsBadArgErr);
}

// ---- encoder ----

using EncoderSpec = QorsFilterEncSpec_SBR_32f;

struct EncoderMemory {
    explicit EncoderMemory(Arena& arena) {
        Qor32s specSize = 0, initSize = 0;
        qorsAnalysisFilterEncGetSize_SBR_32f(&specSize, &initSize);
        spec = reinterpret_cast<EncoderSpec*>(arena.output<Qor8u>(specSize));
        init = arena.output<Qor8u>(initSize);
    }

    EncoderSpec* spec;
    Qor8u* init;
};

// A context of the encoder's bank, then those of other banks and a block of zeros.
std::vector<void*> encoderContexts(Arena& arena) {
    const EncoderMemory memory(arena);
    qorsAnalysisFilterEncInit_SBR_32f(memory.spec, memory.init);
    std::vector<void*> all = integerContexts(arena);
    all.insert(all.begin(), memory.spec);
    return all;
}

void addEncoder(Family& family) {
    Arena& size = family.arena();
    family
        .add("qorsAnalysisFilterEncGetSize_SBR_32f", size, qorsAnalysisFilterEncGetSize_SBR_32f,
             size.output<Qor32s>(), size.output<Qor32s>())
        .null<0, 1>();

    Arena& init = family.arena();
    const EncoderMemory memory(init);
    family
        .add("qorsAnalysisFilterEncInit_SBR_32f", init, qorsAnalysisFilterEncInit_SBR_32f,
             memory.spec, memory.init)
        .null<0, 1>();

    Arena& alloc = family.arena();
    EncoderSpec** const place = alloc.record<EncoderSpec*>();
    family
        .add("qorsAnalysisFilterEncInitAlloc_SBR_32f", alloc,
             qorsAnalysisFilterEncInitAlloc_SBR_32f, place)
        .null<0>()
        .releasing([place] { qorsAnalysisFilterEncFree_SBR_32f(*place); });

    Arena& ended = family.arena();
    const std::vector<void*> endedContexts = encoderContexts(ended);
    auto* spec = static_cast<EncoderSpec*>(endedContexts[0]);
    family.add("qorsAnalysisFilterEncFree_SBR_32f", ended, qorsAnalysisFilterEncFree_SBR_32f, spec)
        .null<0>()
        .foreign<0>(endedContexts, {spec});

    Arena& filter = family.arena();
    const std::vector<void*> filterContexts = encoderContexts(filter);
    spec = static_cast<EncoderSpec*>(filterContexts[0]);
    family
        .add("qorsAnalysisFilterEnc_SBR_32f32fc", filter, qorsAnalysisFilterEnc_SBR_32f32fc,
             filter.array<Qor32f>(640), filter.output<Qor32fc>(64), spec)
        .null<0, 1, 2>()
        .foreign<2>(filterContexts, {spec});

    Arena& tonality = family.arena();
    family
        .add("qorsEstimateTNR_SBR_32f", tonality, qorsEstimateTNR_SBR_32f,
             tonality.array<Qor32fc>(32), tonality.output<Qor32f>(), tonality.output<Qor32f>(),
             tonality.output<Qor32f>())
        .null<0, 1, 2, 3>();

    Arena& transient = family.arena();
    family
        .add("qorsDetectTransient_SBR_32f", transient, qorsDetectTransient_SBR_32f,
             transient.array<Qor32f>(64), transient.array<Qor32f>(1, 1),
             transient.array<Qor32f>(64, 1))
        .null<0, 1, 2>();
}

}  // namespace

void addSbr(Family& family) {
    addIntegerBanks(family);
    addFloatBanks(family);
    addPredictors(family);
    addEncoder(family);
}

}  // namespace qorac::test
