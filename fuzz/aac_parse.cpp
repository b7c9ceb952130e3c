// AAC headers, elements and noiseless decoding on any stream, with arguments of any content.
#include <memory>

#include "input.h"

namespace {

using qorac::fuzz::Input;
using qorac::fuzz::Stream;

void headers(Input& input) {
    const int elements = input.integer(0, 17);
    Stream stream = input.stream();
    QorAACAdifHeader adif;
    const auto programs = std::make_unique<QorAACPrgCfgElt[]>(16);
    qorsUnpackADIFHeader_AAC(&stream.p, &adif, programs.get(), elements);
    stream.rewind();
    QorAACAdtsHeader adts;
    qorsUnpackADTSFrameHeader_AAC(&stream.p, &adts);
}

void dataElements(Input& input) {
    const Qor32s bitOffset = input.integer(-1, 8);
    Stream stream = input.stream();
    stream.offset = bitOffset;
    QorAACPrgCfgElt program;
    qorsDecodePrgCfgElt_AAC(&stream.p, &stream.offset, &program);
    stream.rewind(bitOffset);
    Qor32s tag, count;
    Qor8u bytes[510];
    qorsDecodeDatStrElt_AAC(&stream.p, &stream.offset, &tag, &count, bytes);
    stream.rewind(bitOffset);
    qorsDecodeFillElt_AAC(&stream.p, &stream.offset, &count, bytes);
}

void scalableHeaders(Input& input) {
    const Qor32s bitOffset = input.integer(-1, 8), channels = input.integer(0, 3);
    const Qor32s monoStereo = input.integer(-1, 2), stereoLayer = input.integer(-1, 2);
    const Qor32s monoLayer = input.integer(-1, 2), preSfb = input.integer(0, 51);
    const Qor32s limit = input.integer(0, 51), windows = input.integer(-1, 4);
    Qor8u marks[8][60];
    const auto main = std::make_unique<QorAACMainHeader>();
    const auto extension = std::make_unique<QorAACExtHeader>();
    main->pMsUsed = marks;
    extension->pMsUsed = marks;
    Stream stream = input.stream();
    stream.offset = bitOffset;
    qorsDecodeMainHeader_AAC(&stream.p, &stream.offset, main.get(), channels, monoStereo);
    stream.rewind(bitOffset);
    qorsDecodeExtensionHeader_AAC(&stream.p, &stream.offset, extension.get(), monoStereo,
                                  stereoLayer, monoLayer, preSfb, limit, windows);
}

// A pair and its two channels, as a decoder reads them.
void channels(Input& input, bool mpeg4) {
    const Qor32s rate = input.integer(-1, 12), bitOffset = input.integer(-1, 8);
    const Qor32s predSfbMax = mpeg4 || input.flag() ? input.integer(0, 41) : 0;
    const Qor32s objectType = input.integer(-1, 17), scaleFlag = input.integer(0, 7) == 0;
    const Qor32s windows = input.integer(-1, 4), maxSfb = input.integer(-1, 52);
    const auto main = std::make_unique<QorAACMainHeader>();
    Qor8u marks[8][60];
    main->pMsUsed = marks;
    main->num_window_groups = input.integer(0, 9);
    for (Qor32s& length : main->window_group_length) length = input.integer(0, 9);

    QorAACIcsInfo ics{};
    QorAACChanPairElt pair{};
    const auto channel = std::make_unique<QorAACChanInfo>();
    channel->samplingRateIndex = rate;
    channel->predSfbMax = predSfbMax;
    channel->pIcsInfo = &ics;
    Qor16s scaleFactors[8 * 51];
    Qor8u books[8 * 51];
    Qor8s tnsCoefficients[60];
    Qor32s spectrum[1024];
    Stream stream = input.stream();
    stream.offset = bitOffset;
    const QorStatus status =
        mpeg4 ? qorsDecodeChanPairElt_MP4_AAC(&stream.p, &stream.offset, &ics, &pair, main.get(),
                                              predSfbMax, objectType)
              : qorsDecodeChanPairElt_AAC(&stream.p, &stream.offset, &ics, &pair, predSfbMax);
    if (status != qorStsNoErr) return;
    for (int i = 0; i < 2; ++i) {
        if (mpeg4)
            qorsNoiselessDecode_AAC(&stream.p, &stream.offset, main.get(), scaleFactors, spectrum,
                                    books, tnsCoefficients, channel.get(), windows, maxSfb,
                                    pair.common_window, scaleFlag, objectType);
        else
            qorsNoiselessDecoder_LC_AAC(&stream.p, &stream.offset, pair.common_window,
                                        channel.get(), scaleFactors, spectrum, books,
                                        tnsCoefficients);
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    switch (input.integer(0, 4)) {
        case 0:
            headers(input);
            break;
        case 1:
            dataElements(input);
            break;
        case 2:
            scalableHeaders(input);
            break;
        case 3:
            channels(input, false);
            break;
        default:
            channels(input, true);
    }
    return 0;
}
