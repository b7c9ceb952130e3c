#include "arguments/arguments.h"

namespace qorac::test {

namespace {

using Spec = QorsFilterSpec_PQMF_MP3_32f;

struct Bank {
    BlockFunctions<Spec> functions;
    QorStatus (*init)(Spec**, Qor8u*);
    QorStatus (*filter)(const Qor32f*, Qor32f*, Spec*, Qor32s);
};

const Bank kBanks[] = {
    {{"qorsAnalysisFilter", "_PQMF_MP3_32f", qorsAnalysisFilterGetSize_PQMF_MP3_32f,
      qorsAnalysisFilterInitAlloc_PQMF_MP3_32f, qorsAnalysisFilterFree_PQMF_MP3_32f},
     qorsAnalysisFilterInit_PQMF_MP3_32f,
     qorsAnalysisFilter_PQMF_MP3_32f},
    {{"qorsSynthesisFilter", "_PQMF_MP3_32f", qorsSynthesisFilterGetSize_PQMF_MP3_32f,
      qorsSynthesisFilterInitAlloc_PQMF_MP3_32f, qorsSynthesisFilterFree_PQMF_MP3_32f},
     qorsSynthesisFilterInit_PQMF_MP3_32f,
     qorsSynthesisFilter_PQMF_MP3_32f},
};

Qor8u* memory(Arena& arena, const Bank& bank) {
    Qor32s size = 0;
    bank.functions.getSize(&size);
    return arena.output<Qor8u>(size);
}

// A context of each bank, and a block of zeros.
std::vector<void*> contexts(Arena& arena) {
    std::vector<void*> all;
    for (const Bank& bank : kBanks) {
        Spec* spec = nullptr;
        bank.init(&spec, memory(arena, bank));
        all.push_back(spec);
    }
    all.push_back(arena.array<Qor8u>(256));
    return all;
}

}  // namespace

void addMp3FloatBanks(Family& family) {
    for (const int own : {0, 1}) {
        const Bank& bank = kBanks[own];
        bank.functions.add(family, contexts, own);

        Arena& init = family.arena();
        family
            .add(bank.functions.name("Init"), init, bank.init, init.record<Spec*>(),
                 memory(init, bank))
            .null<0, 1>();

        Arena& filter = family.arena();
        const std::vector<void*> all = contexts(filter);
        family
            .add(bank.functions.name(""), filter, bank.filter, filter.array<Qor32f>(64, 1),
                 filter.output<Qor32f>(64), static_cast<Spec*>(all[own]), 2)
            .null<0, 1, 2>()
            .outside<3>(1, 2, qorStsBadArgErr)
            .foreign<2>(all, {all[own]});
    }
}

}  // namespace qorac::test
