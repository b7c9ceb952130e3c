#include "arguments/arguments.h"

namespace qorac::test {

namespace {

constexpr Qor32u kDecodeId = 0x434D4160, kEncodeId = 0x434D415F;
constexpr int kLen = 4;

// Both codes of one bit stand for the pair (0, 0): leaves with a length in two bits, and 128 above
// it, which is y of the Esc forms; x is 0, and the two bits of a tuple are 0 too.
QorVLCDecodeSpec* decodeSpec(Arena& arena) {
    Qor16u* const table = arena.array<Qor16u>(3, 128 << 3 | 1 << 1 | 1);
    table[0] = 1;
    auto* const spec = arena.record<QorVLCDecodeSpec>();
    spec->id = kDecodeId;
    spec->maxBits = 1;
    spec->pTable = table;
    spec->elementBits = 16;
    spec->lengthBits = 2;
    spec->tupleElementBits = 1;
    spec->tupleBits = 2;
    return spec;
}

// One code for the pair (0, 0), whose index without the bias is `origin`.
QorVLCEncodeSpec* encodeSpec(Arena& arena, int origin) {
    auto* const spec = arena.record<QorVLCEncodeSpec>();
    spec->pTable = arena.array<Qor32u>(4, 1);
    spec->bias = -origin;
    spec->tableBits = 1;
    spec->id = kEncodeId;
    return spec;
}

template <typename... P>
void addCursorAndId(Function<P...>& entry, Qor32s& offset, Qor32u& id) {
    entry.outside(offset, 0, 7, qorStsVlcBitOffsetErr)
        .field(id, {0, id ^ kDecodeId ^ kEncodeId, ~id}, qorStsContextMatchErr);
}

void addDecoding(Family& family, const std::string& form,
                 decltype(&qorsVLCDecodeEscBlock_AAC_1u16s) aac,
                 decltype(&qorsVLCDecodeEscBlock_MP3_1u16s) mp3) {
    Arena& a = family.arena();
    Qor32s* offset = a.record<Qor32s>();
    QorVLCDecodeSpec* spec = decodeSpec(a);
    addCursorAndId(family
                       .add("qorsVLCDecode" + form + "_AAC_1u16s", a, aac, a.stream(), offset,
                            a.output<Qor16s>(kLen), kLen, spec)
                       .null<0, 1, 2, 4>(),
                   *offset, spec->id);
    Arena& m = family.arena();
    offset = m.record<Qor32s>();
    spec = decodeSpec(m);
    addCursorAndId(family
                       .add("qorsVLCDecode" + form + "_MP3_1u16s", m, mp3, m.stream(), offset, 4,
                            m.output<Qor16s>(kLen), kLen, spec)
                       .null<0, 1, 3, 5>(),
                   *offset, spec->id);
}

void addEncoding(Family& family) {
    Arena& a = family.arena();
    Qor32s* offset = a.record<Qor32s>();
    QorVLCEncodeSpec* spec = encodeSpec(a, 16);
    addCursorAndId(family
                       .add("qorsVLCEncodeEscBlock_AAC_16s1u", a, qorsVLCEncodeEscBlock_AAC_16s1u,
                            a.array<Qor16s>(kLen), kLen, a.stream({0xA5}), offset, spec)
                       .null<0, 2, 3, 4>(),
                   *offset, spec->id);
    Arena& m = family.arena();
    offset = m.record<Qor32s>();
    spec = encodeSpec(m, 15);
    addCursorAndId(family
                       .add("qorsVLCEncodeEscBlock_MP3_16s1u", m, qorsVLCEncodeEscBlock_MP3_16s1u,
                            m.array<Qor16s>(kLen), kLen, 4, m.stream({0xA5}), offset, spec)
                       .null<0, 3, 4, 5>(),
                   *offset, spec->id);
}

void addCounting(Family& family) {
    Arena& a = family.arena();
    QorVLCEncodeSpec* spec = encodeSpec(a, 16);
    family
        .add("qorsVLCCountEscBits_AAC_16s32s", a, qorsVLCCountEscBits_AAC_16s32s,
             a.array<Qor16s>(kLen), kLen, a.output<Qor32s>(), spec)
        .null<0, 2, 3>()
        .field(spec->id, {0, kDecodeId}, qorStsContextMatchErr);
    Arena& m = family.arena();
    spec = encodeSpec(m, 15);
    family
        .add("qorsVLCCountEscBits_MP3_16s32s", m, qorsVLCCountEscBits_MP3_16s32s,
             m.array<Qor16s>(kLen), kLen, 4, m.output<Qor32s>(), spec)
        .null<0, 3, 4>()
        .field(spec->id, {0, kDecodeId}, qorStsContextMatchErr);
}

}  // namespace

void addVlc(Family& family) {
    addDecoding(family, "EscBlock", qorsVLCDecodeEscBlock_AAC_1u16s,
                qorsVLCDecodeEscBlock_MP3_1u16s);
    addDecoding(family, "UTupleEscBlock", qorsVLCDecodeUTupleEscBlock_AAC_1u16s,
                qorsVLCDecodeUTupleEscBlock_MP3_1u16s);
    addEncoding(family);
    addCounting(family);
}

}  // namespace qorac::test
