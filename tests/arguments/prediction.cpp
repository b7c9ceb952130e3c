#include "arguments/arguments.h"

namespace qorac::test {

namespace {

constexpr int kLen = 64, kBands = 4;

using State = QorsFDPState_32f;

Qor8u* memory(Arena& arena) {
    Qor32s size = 0;
    qorsFDPGetSize_32f(kLen, &size);
    return arena.output<Qor8u>(size);
}

State* build(Arena& arena) {
    State* state = nullptr;
    qorsFDPInit_32f(&state, kLen, memory(arena));
    return state;
}

// A state, one that has been ended, a block of zeros, and one of the id of FIR filters.
struct States {
    explicit States(Arena& arena) : good(build(arena)), ended(build(arena)) {
        qorsFDPFree_32f(ended);
        all = {good, ended, arena.array<Qor8u>(256), arena.array<Qor32s>(64, 58)};
    }

    State *good, *ended;
    std::vector<void*> all;
};

void addLifecycle(Family& family) {
    Arena& size = family.arena();
    family.add("qorsFDPGetSize_32f", size, qorsFDPGetSize_32f, kLen, size.output<Qor32s>())
        .null<1>()
        .below<0>(1, qorStsSizeErr);

    Arena& init = family.arena();
    family.add("qorsFDPInit_32f", init, qorsFDPInit_32f, init.record<State*>(), kLen, memory(init))
        .null<0, 2>()
        .below<1>(1, qorStsSizeErr);

    Arena& alloc = family.arena();
    State** const place = alloc.record<State*>();
    family.add("qorsFDPInitAlloc_32f", alloc, qorsFDPInitAlloc_32f, place, kLen)
        .null<0>()
        .below<1>(1, qorStsSizeErr)
        .releasing([place] { qorsFDPFree_32f(*place); });

    Arena& end = family.arena();
    const States states(end);
    family.add("qorsFDPFree_32f", end, qorsFDPFree_32f, states.good)
        .null<0>()
        .foreign<0>(states.all, {states.good});
}

void addResets(Family& family) {
    Arena& lines = family.arena();
    const States a(lines);
    family.add("qorsFDPReset_32f", lines, qorsFDPReset_32f, a.good)
        .null<0>()
        .foreign<0>(a.all, {a.good});

    Arena& group = family.arena();
    const States b(group);
    family.add("qorsFDPResetGroup_32f", group, qorsFDPResetGroup_32f, 30, 0, b.good)
        .null<2>()
        .below<1>(0, qorStsSizeErr)
        .below<0>(1, qorStsStepErr)
        .foreign<2>(b.all, {b.good});

    Arena& bands = family.arena();
    const States c(bands);
    family
        .add("qorsFDPResetSfb_32f", bands, qorsFDPResetSfb_32f, bands.array<Qor32s>(kBands + 1),
             kBands, bands.array<Qor8u>(kBands, 1), c.good)
        .null<0, 2, 3>()
        .below<1>(1, qorStsSizeErr)
        .foreign<3>(c.all, {c.good});
}

void addPredictors(Family& family) {
    Arena& forward = family.arena();
    const States a(forward);
    family
        .add("qorsFDPFwd_32f", forward, qorsFDPFwd_32f, forward.array<Qor32f>(kLen, 1),
             forward.output<Qor32f>(kLen), a.good)
        .null<0, 1, 2>()
        .foreign<2>(a.all, {a.good});

    Arena& inverse = family.arena();
    const States b(inverse);
    Qor32s* const offsets = inverse.array<Qor32s>(kBands + 1);
    for (int i = 0; i <= kBands; ++i) offsets[i] = i * kLen / kBands;
    family
        .add("qorsFDPInv_32f_I", inverse, qorsFDPInv_32f_I, inverse.array<Qor32f>(kLen, 1), offsets,
             kBands, inverse.array<Qor8u>(kBands, 1), b.good)
        .null<0, 1, 3, 4>()
        .below<2>(1, qorStsSizeErr)
        .foreign<4>(b.all, {b.good});
}

}  // namespace

void addPrediction(Family& family) {
    addLifecycle(family);
    addResets(family);
    addPredictors(family);
}

}  // namespace qorac::test
