#include "arguments/arguments.h"

namespace qorac::test {

namespace {

constexpr int kLen = 64;

// The functions that a family has for its specs.
template <typename Spec>
struct SpecFunctions {
    std::string prefix, suffix;
    QorStatus (*getSize)(Qor32s, Qor32s*, Qor32s*, Qor32s*);
    QorStatus (*init)(Spec**, Qor32s, Qor8u*, Qor8u*);
    QorStatus (*initAlloc)(Spec**, Qor32s);
    QorStatus (*free)(Spec*);
    QorStatus (*getBufSize)(const Spec*, Qor32s*);

    std::string name(const char* operation) const { return prefix + operation + suffix; }
};

const SpecFunctions<QorsMDCTFwdSpec_32f> kForward{"qorsMDCTFwd",
                                                  "_32f",
                                                  qorsMDCTFwdGetSize_32f,
                                                  qorsMDCTFwdInit_32f,
                                                  qorsMDCTFwdInitAlloc_32f,
                                                  qorsMDCTFwdFree_32f,
                                                  qorsMDCTFwdGetBufSize_32f};
const SpecFunctions<QorsMDCTInvSpec_32f> kInverse{"qorsMDCTInv",
                                                  "_32f",
                                                  qorsMDCTInvGetSize_32f,
                                                  qorsMDCTInvInit_32f,
                                                  qorsMDCTInvInitAlloc_32f,
                                                  qorsMDCTInvFree_32f,
                                                  qorsMDCTInvGetBufSize_32f};
const SpecFunctions<QorsMDCTFwdSpec_16s> kShort{"qorsMDCTFwd",
                                                "_16s",
                                                qorsMDCTFwdGetSize_16s,
                                                qorsMDCTFwdInit_16s,
                                                qorsMDCTFwdInitAlloc_16s,
                                                qorsMDCTFwdFree_16s,
                                                qorsMDCTFwdGetBufSize_16s};

// The memory of one spec and the scratch that builds it.
struct Memory {
    template <typename Spec>
    Memory(Arena& arena, const SpecFunctions<Spec>& functions, Qor32s len) {
        Qor32s specSize = 0, initSize = 0, bufSize = 0;
        functions.getSize(len, &specSize, &initSize, &bufSize);
        spec = arena.output<Qor8u>(specSize);
        init = arena.output<Qor8u>(initSize + 1);
        buffer = arena.output<Qor8u>(bufSize);
    }

    Qor8u *spec, *init, *buffer;
};

template <typename Spec>
Spec* build(const Memory& memory, const SpecFunctions<Spec>& functions) {
    Spec* spec = nullptr;
    functions.init(&spec, kLen, memory.spec, memory.init);
    return spec;
}

// A spec of each family and a block of zeros, which is none.
struct Specs {
    explicit Specs(Arena& arena)
        : forward(build(Memory(arena, kForward, kLen), kForward)),
          inverse(build(Memory(arena, kInverse, kLen), kInverse)),
          shorts(build(Memory(arena, kShort, kLen), kShort)),
          all{forward, inverse, shorts, arena.array<Qor8u>(256)} {}

    void get(QorsMDCTFwdSpec_32f*& spec) const { spec = forward; }
    void get(QorsMDCTInvSpec_32f*& spec) const { spec = inverse; }
    void get(QorsMDCTFwdSpec_16s*& spec) const { spec = shorts; }

    QorsMDCTFwdSpec_32f* forward;
    QorsMDCTInvSpec_32f* inverse;
    QorsMDCTFwdSpec_16s* shorts;
    std::vector<void*> all;
};

// No power of two, or one too small or too great.
template <std::size_t index, typename... P>
Function<P...>& addLengths(Function<P...>& entry, bool layer3) {
    entry.template bad<index>(
        {INT_MIN, -64, 0, 1, 11, 13, 16, 24, 31, 33, 35, 37, 48, 1 << 29, 1 << 30, INT_MAX},
        qorStsSizeErr);
    if (!layer3) entry.template bad<index>({12, 36}, qorStsSizeErr);
    return entry;
}

template <typename Spec>
void addSpecFunctions(Family& family, const SpecFunctions<Spec>& functions, bool layer3) {
    Arena& size = family.arena();
    auto& getSize = family.add(functions.name("GetSize"), size, functions.getSize, kLen,
                               size.output<Qor32s>(), size.output<Qor32s>(), size.output<Qor32s>());
    addLengths<0>(getSize.template null<1, 2, 3>(), layer3);

    // The families of floats, which take 12 and 36, test the length first.
    Arena& memories = family.arena();
    const Memory memory(memories, functions, kLen);
    auto& init = family.add(functions.name("Init"), memories, functions.init,
                            memories.record<Spec*>(), kLen, memory.spec, memory.init);
    if (layer3)
        addLengths<1>(init, layer3).template null<0, 2, 3>();
    else
        addLengths<1>(init.template null<0, 2, 3>(), layer3);

    Arena& alloc = family.arena();
    Spec** const place = alloc.record<Spec*>();
    auto& initAlloc =
        family.add(functions.name("InitAlloc"), alloc, functions.initAlloc, place, kLen);
    addLengths<1>(initAlloc.template null<0>(), layer3);
    initAlloc.releasing([place, functions] { functions.free(*place); });

    Arena& ended = family.arena();
    const Specs endedSpecs(ended);
    Spec* spec;
    endedSpecs.get(spec);
    family.add(functions.name("Free"), ended, functions.free, spec)
        .template null<0>()
        .template foreign<0>(endedSpecs.all, {spec});

    Arena& asked = family.arena();
    const Specs askedSpecs(asked);
    askedSpecs.get(spec);
    family
        .add(functions.name("GetBufSize"), asked, functions.getBufSize, spec,
             asked.output<Qor32s>())
        .template null<0, 1>()
        .template foreign<0>(askedSpecs.all, {spec});
}

// Without a scratch for the tables of a power of two.
template <typename Spec>
void addLayer3Init(Family& family, const SpecFunctions<Spec>& functions) {
    Arena& arena = family.arena();
    const Memory memory(arena, functions, 12);
    family
        .add(functions.name("Init") + ", 12 samples", arena, functions.init, arena.record<Spec*>(),
             12, memory.spec, nullptr)
        .template null<0, 2>();
}

template <typename Spec>
void addTransforms(Family& family, const SpecFunctions<Spec>& functions,
                   QorStatus (*transform)(const Qor32f*, Qor32f*, const Spec*, Qor8u*),
                   QorStatus (*inPlace)(Qor32f*, const Spec*, Qor8u*)) {
    Arena& two = family.arena();
    const Specs twoSpecs(two);
    Spec* spec;
    twoSpecs.get(spec);
    family
        .add(functions.name(""), two, transform, two.array<Qor32f>(kLen, 1),
             two.output<Qor32f>(kLen), spec, Memory(two, functions, kLen).buffer)
        .template null<2>()
        .template foreign<2>(twoSpecs.all, {spec})
        .template null<0, 1>();

    Arena& one = family.arena();
    const Specs oneSpecs(one);
    oneSpecs.get(spec);
    family
        .add(functions.name("") + "_I", one, inPlace, one.array<Qor32f>(kLen, 1), spec,
             Memory(one, functions, kLen).buffer)
        .template null<1>()
        .template foreign<1>(oneSpecs.all, {spec})
        .template null<0>();
}

}  // namespace

void addMdct(Family& family) {
    addSpecFunctions(family, kForward, true);
    addSpecFunctions(family, kInverse, true);
    addSpecFunctions(family, kShort, false);
    addLayer3Init(family, kForward);
    addLayer3Init(family, kInverse);
    addTransforms(family, kForward, qorsMDCTFwd_32f, qorsMDCTFwd_32f_I);
    addTransforms(family, kInverse, qorsMDCTInv_32f, qorsMDCTInv_32f_I);

    Arena& arena = family.arena();
    const Specs specs(arena);
    family
        .add("qorsMDCTFwd_16s_Sfs", arena, qorsMDCTFwd_16s_Sfs, arena.array<Qor16s>(kLen, 1),
             arena.output<Qor16s>(kLen), specs.shorts, 0, Memory(arena, kShort, kLen).buffer)
        .null<2>()
        .foreign<2>(specs.all, {specs.shorts})
        .null<0, 1>();
}

}  // namespace qorac::test
