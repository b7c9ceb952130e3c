// VLC escape blocks: the four decoders over the standards' code books on any stream, and what a
// decoder made, encoded and decoded again.
#include <cstdlib>
#include <deque>

#include "input.h"
#include "vlc/specs.h"

namespace {

using namespace qorac::test;
using qorac::fuzz::Input;
using qorac::fuzz::Stream;

struct Coder {
    Coder(const Book& plain, bool tuple)
        : book(plain),
          isTuple(tuple),
          decodeSpec(tuple ? plain : withSigns(plain),
                     tuple ? TableForm{32, 4, {8, 11}, 5, 10} : TableForm{32, 4, {8, 14}}) {}

    QorStatus decode(Stream& stream, Qor16s* pDst, int len) const {
        const QorVLCDecodeSpec* const pSpec = decodeSpec.pointer();
        if (book.standard == Standard::aac)
            return isTuple ? qorsVLCDecodeUTupleEscBlock_AAC_1u16s(&stream.p, &stream.offset, pDst,
                                                                   len, pSpec)
                           : qorsVLCDecodeEscBlock_AAC_1u16s(&stream.p, &stream.offset, pDst, len,
                                                             pSpec);
        return isTuple ? qorsVLCDecodeUTupleEscBlock_MP3_1u16s(&stream.p, &stream.offset,
                                                               book.linbits, pDst, len, pSpec)
                       : qorsVLCDecodeEscBlock_MP3_1u16s(&stream.p, &stream.offset, book.linbits,
                                                         pDst, len, pSpec);
    }

    Book book;
    bool isTuple;
    DecodeSpec decodeSpec;
};

const std::deque<Coder>& coders() {
    static const std::deque<Coder> all = [] {
        std::deque<Coder> made;
        for (const Standard standard : {Standard::aac, Standard::mp3})
            for (const Book& book : allBooks(standard)) {
                made.emplace_back(book, false);
                if (!book.hasSigns) made.emplace_back(book, true);
            }
        return made;
    }();
    return all;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    const Coder& coder = coders()[static_cast<std::size_t>(input.byte()) % coders().size()];
    const int len = input.integer(0, 255);
    Stream stream = input.stream();
    std::vector<Qor16s> values(256), again(256);
    if (coder.decode(stream, values.data(), len) != qorStsNoErr || coder.isTuple) return 0;

    // What was decoded is coded in as many bits, and decodes to the same.
    const EncodeSpec spec(coder.book);
    Stream coded({});
    Qor32s bits = 0;
    if (coder.book.standard == Standard::aac) {
        qorsVLCCountEscBits_AAC_16s32s(values.data(), len, &bits, spec.pointer());
        qorsVLCEncodeEscBlock_AAC_16s1u(values.data(), len, &coded.p, &coded.offset,
                                        spec.pointer());
    } else {
        qorsVLCCountEscBits_MP3_16s32s(values.data(), len, coder.book.linbits, &bits,
                                       spec.pointer());
        qorsVLCEncodeEscBlock_MP3_16s1u(values.data(), len, coder.book.linbits, &coded.p,
                                        &coded.offset, spec.pointer());
    }
    const Qor8u* const end = coded.p;
    const Qor32s endOffset = coded.offset;
    coded.rewind();
    if ((end - coded.p) * 8 + endOffset != bits) std::abort();
    if (coder.decode(coded, again.data(), len) != qorStsNoErr || again != values) std::abort();
    return 0;
}
