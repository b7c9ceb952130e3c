// MP3 unpacking and Huffman decoding: first as a decoder calls them, header by header, then with
// records of any content.
#include "input.h"

namespace {

using qorac::fuzz::Input;
using qorac::fuzz::Stream;

constexpr Qor16s kLong[6][23] = {};
constexpr Qor16s kShort[6][14] = {};
constexpr Qor16s kMixed[6][2] = {{8, 3}, {8, 3}, {8, 3}, {6, 3}, {6, 3}, {6, 3}};

void decodeSpectrum(Stream& stream, const QorMP3SideInfo& side, const QorMP3FrameHeader& header,
                    int hufSize) {
    Qor32s is[576], bound = 0;
    const Qor32s offset = stream.offset;
    qorsHuffmanDecode_MP3_1u32s(&stream.p, &stream.offset, is, &bound, &side, &header, hufSize);
    stream.rewind(offset);
    qorsHuffmanDecodeSfb_MP3_1u32s(&stream.p, &stream.offset, is, &bound, &side, &header, hufSize,
                                   kLong);
    stream.rewind(offset);
    qorsHuffmanDecodeSfbMbp_MP3_1u32s(&stream.p, &stream.offset, is, &bound, &side, &header,
                                      hufSize, kLong, kShort, kMixed);
}

void unpackAnyRecords(Input& input) {
    QorMP3FrameHeader header{};
    header.id = input.integer(-1, 2);
    header.layer = input.integer(0, 3) == 0 ? input.field() : 1;
    header.sampling_frequency = input.integer(-1, 3);
    header.mode = input.integer(-1, 4);
    header.mode_extension = input.integer(-1, 4);
    QorMP3SideInfo side{};
    input.fill(side);
    const Qor32s offset = input.integer(-1, 8);
    const int granule = input.integer(0, 1), channel = input.integer(0, 1);
    const Qor32s scfsi[4] = {input.integer(0, 1), input.integer(0, 1), input.integer(0, 1),
                             input.integer(0, 1)};
    const int hufSize = input.flag() ? side.part2_3_length : input.field();
    Qor8s scaleFactor[40] = {};
    Stream stream = input.stream();
    stream.offset = offset;
    qorsUnpackScaleFactors_MP3_1u8s(&stream.p, &stream.offset, scaleFactor, &side, scfsi, &header,
                                    granule, channel);
    stream.rewind(offset);
    decodeSpectrum(stream, side, header, hufSize);
}

void unpackFrame(Input& input) {
    Stream stream = input.stream();
    QorMP3FrameHeader header{};
    QorMP3SideInfo side[4]{};
    Qor32s mainDataBegin, privateBits, scfsi[8] = {};
    if (qorsUnpackFrameHeader_MP3(&stream.p, &header) != qorStsNoErr) return;
    if (qorsUnpackSideInfo_MP3(&stream.p, side, &mainDataBegin, &privateBits, scfsi, &header) !=
        qorStsNoErr)
        return;
    const int channels = header.mode == 3 ? 1 : 2, granules = header.id == 1 ? 2 : 1;
    Qor8s scaleFactor[2][40] = {};
    for (int i = 0; i < granules * channels; ++i) {
        const int granule = i / channels, channel = i % channels;
        Qor8u* const start = stream.p;
        const Qor32s first = stream.offset;
        if (qorsUnpackScaleFactors_MP3_1u8s(&stream.p, &stream.offset, scaleFactor[channel],
                                            &side[i], scfsi + 4 * channel, &header, granule,
                                            channel) != qorStsNoErr)
            return;
        const int used = static_cast<int>(stream.p - start) * 8 + stream.offset - first;
        Qor32s is[576], bound;
        if (qorsHuffmanDecode_MP3_1u32s(&stream.p, &stream.offset, is, &bound, &side[i], &header,
                                        side[i].part2_3_length - used) != qorStsNoErr)
            return;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    input.flag() ? unpackFrame(input) : unpackAnyRecords(input);
    return 0;
}
