#include "arguments/arguments.h"

namespace qorac::test {

namespace {

constexpr int kChannels = 2, kLen = 8;

template <typename T>
T** channels(Arena& arena, T value) {
    T** const rows = arena.array<T*>(kChannels);
    for (int c = 0; c < kChannels; ++c) rows[c] = arena.array<T>(kLen, value);
    return rows;
}

// Two pointers, of which one is to the rows of the channels.
template <typename T, typename... P>
void addChannels(Function<P...>& entry, T** rows) {
    entry.template null<0, 3>()
        .template below<1>(1, qorStsNumChannelsErr)
        .template below<2>(1, qorStsSizeErr)
        .field(rows[0], nullptr, qorStsNullPtrErr)
        .field(rows[1], nullptr, qorStsNullPtrErr);
}

template <typename T>
void addInterleave(Family& family, const char* name,
                   QorStatus (*function)(const T* const*, int, int, T*)) {
    Arena& arena = family.arena();
    T** const rows = channels<T>(arena, 1);
    addChannels(
        family.add(name, arena, function, rows, kChannels, kLen, arena.output<T>(kChannels * kLen)),
        rows);
}

template <typename T>
void addDeinterleave(Family& family, const char* name,
                     QorStatus (*function)(const T*, int, int, T**)) {
    Arena& arena = family.arena();
    T** const rows = channels<T>(arena, 2);
    addChannels(family.add(name, arena, function, arena.array<T>(kChannels * kLen, 1), kChannels,
                           kLen, rows),
                rows);
}

// Source, destination, length; the length is at least `shortest`.
template <typename Src, typename Dst>
void addPower(Family& family, const char* name, QorStatus (*function)(const Src*, Dst*, int),
              int shortest) {
    Arena& arena = family.arena();
    family.add(name, arena, function, arena.array<Src>(kLen, 1), arena.output<Dst>(kLen), kLen)
        .template null<0, 1>()
        .template below<2>(shortest, qorStsSizeErr);
}

}  // namespace

void addSampleFormats(Family& family) {
    addInterleave<Qor16s>(family, "qorsInterleave_16s", qorsInterleave_16s);
    addInterleave<Qor32f>(family, "qorsInterleave_32f", qorsInterleave_32f);
    addDeinterleave<Qor16s>(family, "qorsDeinterleave_16s", qorsDeinterleave_16s);
    addDeinterleave<Qor32f>(family, "qorsDeinterleave_32f", qorsDeinterleave_32f);
    addPower<Qor32f, Qor32f>(family, "qorsPow34_32f", qorsPow34_32f, 1);
    addPower<Qor32f, Qor16s>(family, "qorsPow34_32f16s", qorsPow34_32f16s, 1);
    addPower<Qor16s, Qor32f>(family, "qorsPow43_16s32f", qorsPow43_16s32f, 0);

    Arena& makeFloat = family.arena();
    family
        .add("qorsMakeFloat_16s32f", makeFloat, qorsMakeFloat_16s32f, makeFloat.array<Qor16s>(kLen),
             makeFloat.array<Qor16s>(kLen), kLen, makeFloat.output<Qor32f>(kLen))
        .null<0, 1, 3>()
        .below<2>(1, qorStsSizeErr);

    Arena& calcSf = family.arena();
    family
        .add("qorsCalcSF_16s32f", calcSf, qorsCalcSF_16s32f, calcSf.array<Qor16s>(kLen), 100,
             calcSf.output<Qor32f>(kLen), kLen)
        .null<0, 2>()
        .below<3>(1, qorStsSizeErr);

    // The only one that tests the length first.
    Arena& pow34 = family.arena();
    family
        .add("qorsPow34_16s_Sfs", pow34, qorsPow34_16s_Sfs, pow34.array<Qor16s>(kLen), 0,
             pow34.output<Qor16s>(kLen), 0, kLen)
        .below<4>(1, qorStsSizeErr)
        .null<0, 2>();

    Arena& scale = family.arena();
    Qor32s* const offsets = scale.array<Qor32s>(3);
    offsets[1] = 3;
    offsets[2] = kLen;
    family
        .add("qorsScale_32f_I", scale, qorsScale_32f_I, scale.array<Qor32f>(kLen, 1),
             scale.array<Qor32f>(2), offsets, 2)
        .null<0, 1, 2>()
        .below<3>(1, qorStsSizeErr);

    Arena& spread = family.arena();
    family.add("qorsSpread_16s_Sfs", spread, qorsSpread_16s_Sfs, 0, 0, 0, spread.output<Qor16s>())
        .null<3>();
}

}  // namespace qorac::test
