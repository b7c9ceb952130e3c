#include "arguments/arguments.h"

namespace qorac::test {

namespace {

constexpr int kRate = 4, kLongBands = 49, kShortBands = 14;  // 44100 Hz

// Lengths of a window: not 1024 and not 128.
constexpr std::initializer_list<int> kNoWindow = {0, 127, 129, 1023, 1025, -128, INT_MIN, INT_MAX};

// The cursor of a parser, and what all parsers test first.
struct Cursor {
    explicit Cursor(Arena& arena) : stream(arena.stream()), offset(arena.record<Qor32s>()) {}

    template <typename... P>
    Function<P...>& check(Function<P...>& entry) const {
        return entry.nullStream(stream).outside(*offset, 0, 7, qorStsAacBitOffsetErr);
    }

    Qor8u** stream;
    Qor32s* offset;
};

void addHeaders(Family& family) {
    Arena& adif = family.arena();
    Qor8u** stream = adif.stream();
    family
        .add("qorsUnpackADIFHeader_AAC", adif, qorsUnpackADIFHeader_AAC, stream,
             adif.output<QorAACAdifHeader>(), adif.output<QorAACPrgCfgElt>(16), 16)
        .null<0, 1, 2>()
        .nullStream(stream)
        .outside<3>(1, 16, qorStsAacPceCountErr);

    Arena& adts = family.arena();
    stream = adts.stream();
    family
        .add("qorsUnpackADTSFrameHeader_AAC", adts, qorsUnpackADTSFrameHeader_AAC, stream,
             adts.output<QorAACAdtsHeader>())
        .null<0, 1>()
        .nullStream(stream);

    Arena& config = family.arena();
    const Cursor a(config);
    a.check(family
                .add("qorsDecodePrgCfgElt_AAC", config, qorsDecodePrgCfgElt_AAC, a.stream, a.offset,
                     config.output<QorAACPrgCfgElt>())
                .null<0, 1, 2>());

    Arena& data = family.arena();
    const Cursor b(data);
    b.check(family
                .add("qorsDecodeDatStrElt_AAC", data, qorsDecodeDatStrElt_AAC, b.stream, b.offset,
                     data.output<Qor32s>(), data.output<Qor32s>(), data.output<Qor8u>(510))
                .null<0, 1, 2, 3, 4>());

    Arena& fill = family.arena();
    const Cursor c(fill);
    c.check(family
                .add("qorsDecodeFillElt_AAC", fill, qorsDecodeFillElt_AAC, c.stream, c.offset,
                     fill.output<Qor32s>(), fill.output<Qor8u>(269))
                .null<0, 1, 2, 3>());
}

QorAACMainHeader* mainHeader(Arena& arena) {
    auto* const header = arena.record<QorAACMainHeader>();
    header->num_window_groups = 1;
    header->window_group_length[0] = 1;
    header->pMsUsed = arena.rows<Qor8u, 60>(8);
    return header;
}

void addElements(Family& family) {
    Arena& pair = family.arena();
    const Cursor a(pair);
    a.check(family
                .add("qorsDecodeChanPairElt_AAC", pair, qorsDecodeChanPairElt_AAC, a.stream,
                     a.offset, pair.output<QorAACIcsInfo>(), pair.output<QorAACChanPairElt>(), 41)
                .null<0, 1, 2, 3>())
        .outside<4>(0, 41, qorStsAacPredSfbErr);

    // The main header and the object type are not tested.
    Arena& mp4 = family.arena();
    const Cursor b(mp4);
    b.check(family
                .add("qorsDecodeChanPairElt_MP4_AAC", mp4, qorsDecodeChanPairElt_MP4_AAC, b.stream,
                     b.offset, mp4.output<QorAACIcsInfo>(), mp4.output<QorAACChanPairElt>(),
                     nullptr, 51, -1)
                .null<0, 1, 2, 3>())
        .outside<5>(0, 51, qorStsAacMaxSfbErr);

    Arena& main = family.arena();
    const Cursor c(main);
    c.check(family
                .add("qorsDecodeMainHeader_AAC", main, qorsDecodeMainHeader_AAC, c.stream, c.offset,
                     mainHeader(main), 2, 0)
                .null<0, 1, 2>())
        .outside<3>(1, 2, qorStsAacChannelsErr)
        .outside<4>(0, 1, qorStsAacMonoStereoErr);

    Arena& extension = family.arena();
    const Cursor d(extension);
    auto* const header = extension.record<QorAACExtHeader>();
    header->pMsUsed = extension.rows<Qor8u, 60>(8);
    d.check(family
                .add("qorsDecodeExtensionHeader_AAC", extension, qorsDecodeExtensionHeader_AAC,
                     d.stream, d.offset, header, 1, 1, 1, 51, 51, 0)
                .null<0, 1, 2>())
        .outside<3>(0, 1, qorStsAacMonoStereoErr)
        .outside<4>(0, 1, qorStsAacStereoLayerErr)
        .outside<5>(0, 1, qorStsAacMonoLayerErr)
        .outside<6>(0, 51, qorStsAacMaxSfbErr)
        .outside<7>(0, 51, qorStsAacMaxSfbErr)
        .outside<8>(0, 3, qorStsAacWinSeqErr);
}

QorAACChanInfo* channel(Arena& arena) {
    auto* const info = arena.record<QorAACChanInfo>();
    info->samplingRateIndex = kRate;
    info->pIcsInfo = arena.record<QorAACIcsInfo>();
    info->pIcsInfo->num_window_groups = 1;
    info->pIcsInfo->window_group_length[0] = 1;
    return info;
}

void addNoiseless(Family& family) {
    Arena& lc = family.arena();
    const Cursor cursor(lc);
    QorAACChanInfo* const info = channel(lc);
    auto& entry = family
                      .add("qorsNoiselessDecoder_LC_AAC", lc, qorsNoiselessDecoder_LC_AAC,
                           cursor.stream, cursor.offset, 0, info, lc.output<Qor16s>(408),
                           lc.output<Qor32s>(1024), lc.output<Qor8u>(408), lc.output<Qor8s>(60))
                      .null<0, 1, 3, 4, 5, 6, 7>()
                      .field(info->pIcsInfo, nullptr, qorStsNullPtrErr);
    cursor.check(entry)
        .outside<2>(0, 1, qorStsAacCommonWindowErr)
        .outside(info->samplingRateIndex, 0, 11, qorStsAacSampRateIdxErr)
        .field(info->predSfbMax, {1, -1, 41, INT_MIN, INT_MAX}, qorStsAacPredSfbErr);

    // The record that holds the windows is tested last: the channel's own, or the main header.
    for (const int scaleFlag : {0, 1}) {
        Arena& arena = family.arena();
        const Cursor start(arena);
        QorAACChanInfo* const record = channel(arena);
        auto& all = family
                        .add("qorsNoiselessDecode_AAC, scale flag " + std::to_string(scaleFlag),
                             arena, qorsNoiselessDecode_AAC, start.stream, start.offset,
                             mainHeader(arena), arena.output<Qor16s>(408),
                             arena.output<Qor32s>(1024), arena.output<Qor8u>(408),
                             arena.output<Qor8s>(60), record, 0, 0, 0, scaleFlag, 2)
                        .null<0, 1, 3, 4, 5, 6, 7>();
        start.check(all)
            .outside<10>(0, 1, qorStsAacCommonWindowErr)
            .outside<8>(0, 3, qorStsAacWinSeqErr)
            .outside<11>(0, 1, qorStsAacScaleFlagErr)
            .outside<12>(0, 16, qorStsAacObjectTypeErr)
            .outside<9>(0, 51, qorStsAacMaxSfbErr)
            .outside(record->samplingRateIndex, 0, 11, qorStsAacSampRateIdxErr);
        if (scaleFlag)
            all.null<2>();
        else
            all.field(record->pIcsInfo, nullptr, qorStsNullPtrErr);
    }
}

// The window as the spectral tools take it: one long one, or eight short ones in eight groups.
struct Window {
    Window(Arena& arena, int length)
        : len(length),
          groups(length == 1024 ? 1 : 8),
          bands(length == 1024 ? kLongBands : kShortBands),
          suffix(", window of " + std::to_string(length)),
          groupLengths(arena.array<Qor32s>(8, 1)),
          codeBooks(arena.array<Qor8u>(408, 1)),
          scaleFactors(arena.array<Qor16s>(408, 100)) {}

    int len, groups, bands;
    std::string suffix;
    Qor32s* groupLengths;
    Qor8u* codeBooks;
    Qor16s* scaleFactors;
};

// The window's length, then the number of its groups.
template <std::size_t lenIndex, std::size_t groupsIndex, typename... P>
Function<P...>& addWindow(Function<P...>& entry, const Window& window) {
    return entry.template bad<lenIndex>(kNoWindow, qorStsAacWinLenErr)
        .template outside<groupsIndex>(1, window.groups, qorStsAacWinGrpErr);
}

void addQuantInv(Family& family, int len) {
    Arena& arena = family.arena();
    const Window window(arena, len);
    Qor32s* const lines = arena.array<Qor32s>(1024, 1);
    addWindow<7, 2>(family
                        .add("qorsQuantInv_AAC_32s_I" + window.suffix, arena,
                             qorsQuantInv_AAC_32s_I, lines, window.scaleFactors, window.groups,
                             window.groupLengths, window.bands, window.codeBooks, kRate, len)
                        .null<0, 1, 3, 5>(),
                    window)
        .outside<4>(0, 51, qorStsAacMaxSfbErr)
        .outside<6>(0, 11, qorStsAacSampRateIdxErr)
        .bad<4>(window.bands + 1, qorStsAacMaxSfbErr)
        .outside(lines[0], -8191, 8191, qorStsAacQuantMaxErr);  // found before it is written
}

void addStereo(Family& family, int len) {
    Arena& middle = family.arena();
    const Window a(middle, len);
    addWindow<9, 5>(family
                        .add("qorsDecodeMsStereo_AAC_32s_I" + a.suffix, middle,
                             qorsDecodeMsStereo_AAC_32s_I, middle.array<Qor32s>(1024, 1),
                             middle.array<Qor32s>(1024, 2), 1, middle.rows<Qor8u, 60>(8),
                             a.codeBooks, a.groups, a.groupLengths, a.bands, kRate, len)
                        .null<0, 1, 3, 4, 6>(),
                    a)
        .outside<7>(0, 51, qorStsAacMaxSfbErr)
        .outside<8>(0, 11, qorStsAacSampRateIdxErr)
        .outside<2>(1, 2, qorStsAacMsMaskErr)
        .bad<7>(a.bands + 1, qorStsAacMaxSfbErr);

    Arena& intensity = family.arena();
    const Window b(intensity, len);
    std::fill_n(b.codeBooks, 408, 15);
    addWindow<8, 4>(
        family
            .add("qorsDecodeIsStereo_AAC_32s" + b.suffix, intensity, qorsDecodeIsStereo_AAC_32s,
                 intensity.array<Qor32s>(1024, 1), intensity.output<Qor32s>(1024), b.scaleFactors,
                 b.codeBooks, b.groups, b.groupLengths, b.bands, kRate, len)
            .null<0, 1, 2, 3, 5>(),
        b)
        .outside<6>(0, 51, qorStsAacMaxSfbErr)
        .outside<7>(0, 11, qorStsAacSampRateIdxErr)
        .bad<6>(b.bands + 1, qorStsAacMaxSfbErr);
}

// Noise is tested in another order, and within other limits: eight groups of any window, 16 rates,
// as many bands as one likes.
template <typename... P>
void addNoiseChecks(Function<P...>& entry) {
    entry.template null<0, 1, 2, 3, 6, 9>()
        .template outside<4>(0, 51, qorStsAacMaxSfbErr)
        .template outside<5>(1, 8, qorStsAacWinGrpErr)
        .template outside<7>(0, 16, qorStsAacSampRateIdxErr)
        .template bad<8>(kNoWindow, qorStsAacWinLenErr);
}

void addNoise(Family& family) {
    Arena& plain = family.arena();
    const Window a(plain, 1024);
    std::fill_n(a.codeBooks, 408, 13);
    addNoiseChecks(family.add("qorsDecodePNS_AAC_32s", plain, qorsDecodePNS_AAC_32s,
                              plain.output<Qor32s>(1024), plain.output<Qor32s>(52), a.codeBooks,
                              a.scaleFactors, 49, 1, a.groupLengths, kRate, 1024,
                              plain.array<Qor32s>(1, 1)));

    // The mask and the seeds of a pair are not tested.
    Arena& pair = family.arena();
    const Window b(pair, 1024);
    std::fill_n(b.codeBooks, 408, 13);
    addNoiseChecks(family.add(
        "qorsDecodeMsPNS_AAC_32s", pair, qorsDecodeMsPNS_AAC_32s, pair.output<Qor32s>(1024),
        pair.output<Qor32s>(52), b.codeBooks, b.scaleFactors, 49, 1, b.groupLengths, kRate, 1024,
        pair.array<Qor32s>(1, 1), 0, pair.rows<Qor8u, 60>(8), pair.output<Qor32s>(408)));
}

// A filter of order 1 over the upper bands of the first window.
void addTns(Family& family, const std::string& name, decltype(&qorsDecodeTNS_AAC_32s_I) function,
            bool encoder, int len) {
    const bool isShort = len == 128;
    Arena& arena = family.arena();
    const Window window(arena, len);
    Qor32s* const numFilt = arena.array<Qor32s>(8);
    Qor32s* const length = arena.array<Qor32s>(8, 10);
    Qor32s* const order = arena.array<Qor32s>(8, 1);
    Qor32s* const coefRes = arena.array<Qor32s>(8, 4);
    Qor8s* const coef = arena.array<Qor8s>(60, 3);
    Qor32s* const direction = arena.array<Qor32s>(16);
    numFilt[0] = 1;
    auto& entry =
        family
            .add(name + window.suffix, arena, function, arena.array<Qor32s>(1024, 1), numFilt,
                 length, order, coefRes, coef, direction, window.bands, 1, kRate, len)
            .null<0, 1, 2, 3, 4, 5, 6>()
            .bad<10>(kNoWindow, qorStsAacWinLenErr);
    if (encoder) entry.outside<8>(1, 1, qorStsAacTnsProfileErr);
    entry.outside<9>(0, 11, qorStsAacSampRateIdxErr)
        .outside<7>(0, 51, qorStsAacMaxSfbErr)
        .bad<7>(window.bands + 1, qorStsAacMaxSfbErr)
        // Found before the first filter has run.
        .outside(numFilt[0], 0, isShort ? 1 : 3, qorStsAacTnsNumFiltErr)
        .outside(length[0], 0, window.bands, qorStsAacTnsLengthErr)
        .outside(order[0], 0, isShort ? 7 : 12, qorStsAacTnsOrderErr)
        .outside(coefRes[0], 3, 4, qorStsAacTnsCoefResErr)
        .field(coef[0], {-9, 8, -128, 127}, qorStsAacTnsCoefErr)
        .outside(direction[0], 0, 1, qorStsAacTnsDirectionErr);
}

void addSpectralTools(Family& family) {
    for (const int len : {1024, 128}) {
        addQuantInv(family, len);
        addStereo(family, len);
        addTns(family, "qorsDecodeTNS_AAC_32s_I", qorsDecodeTNS_AAC_32s_I, false, len);
        addTns(family, "qorsEncodeTNS_AAC_32s_I", qorsEncodeTNS_AAC_32s_I, true, len);
    }
    addNoise(family);

    Arena& power = family.arena();
    Qor32s* const offsets = power.array<Qor32s>(2);
    offsets[1] = 8;
    family
        .add("qorsPow43Scale_16s32s_Sf", power, qorsPow43Scale_16s32s_Sf, power.array<Qor16s>(8, 1),
             power.output<Qor32s>(8), power.array<Qor16s>(1), offsets, 0, 1, 1, 0)
        .null<0, 1, 2, 3>()
        .below<5>(0, qorStsSizeErr)
        .below<6>(0, qorStsSizeErr);

    // For short windows only.
    Arena& order = family.arena();
    const Window window(order, 128);
    addWindow<6, 2>(
        family
            .add("qorsDeinterleaveSpectrum_AAC_32s", order, qorsDeinterleaveSpectrum_AAC_32s,
                 order.array<Qor32s>(1024, 1), order.output<Qor32s>(1024), 8, window.groupLengths,
                 kShortBands, kRate, 128)
            .null<0, 1, 3>()
            .bad<6>(1024, qorStsAacWinLenErr),
        window)
        .outside<4>(0, 51, qorStsAacMaxSfbErr)
        .outside<5>(0, 11, qorStsAacSampRateIdxErr)
        .bad<4>(kShortBands + 1, qorStsAacMaxSfbErr);
}

// The window sequence, then the shapes of its two halves.
template <std::size_t index, typename... P>
Function<P...>& addShapes(Function<P...>& entry) {
    return entry.template outside<index>(0, 3, qorStsAacWinSeqErr)
        .template outside<index + 1>(0, 1, qorStsAacWinShapeErr)
        .template outside<index + 2>(0, 1, qorStsAacWinShapeErr);
}

void addFilterBanks(Family& family) {
    Arena& pcm = family.arena();
    addShapes<3>(family
                     .add("qorsMDCTInv_AAC_32s16s", pcm, qorsMDCTInv_AAC_32s16s,
                          pcm.array<Qor32s>(1024, 1), pcm.output<Qor16s>(2048),
                          pcm.array<Qor32s>(1024, 1), 0, 0, 0, 1)
                     .null<0, 1, 2>())
        .outside<6>(1, 2, qorStsAacPcmModeErr);

    Arena& inverse = family.arena();
    addShapes<2>(family
                     .add("qorsMDCTInv_AAC_32s_I", inverse, qorsMDCTInv_AAC_32s_I,
                          inverse.array<Qor32s>(1024, 1), inverse.array<Qor32s>(1024, 1), 0, 0, 0,
                          1024)
                     .null<0, 1>())
        .outside<5>(1024, 1024, qorStsSizeErr)
        .bad<5>({128, 2048}, qorStsSizeErr);

    Arena& forward = family.arena();
    addShapes<1>(family
                     .add("qorsMDCTFwd_AAC_32s_I", forward, qorsMDCTFwd_AAC_32s_I,
                          forward.array<Qor32s>(2048, 1), 0, 0, 0, 2048)
                     .null<0>())
        .outside<4>(2048, 2048, qorStsSizeErr)
        .bad<4>({256, 1024}, qorStsSizeErr);

    Arena& estimate = family.arena();
    addShapes<3>(family
                     .add("qorsMDCTFwd_AAC_32s", estimate, qorsMDCTFwd_AAC_32s,
                          estimate.array<Qor32s>(2048, 1), estimate.output<Qor32s>(1024),
                          estimate.array<Qor32s>(2048), 0, 0, 0, estimate.output<Qor32s>(2048))
                     .null<0, 1, 2, 6>());
}

void addLongTermPrediction(Family& family) {
    Arena& predict = family.arena();
    family
        .add("qorsLongTermPredict_AAC_32s", predict, qorsLongTermPredict_AAC_32s,
             predict.array<Qor32s>(3072, 1), predict.output<Qor32s>(2048),
             predict.record<QorAACLtpInfo>(), 0)
        .null<0, 1, 2>()
        .outside<3>(0, 3, qorStsAacWinSeqErr);

    Arena& add = family.arena();
    family
        .add("qorsLongTermReconstruct_AAC_32s", add, qorsLongTermReconstruct_AAC_32s,
             add.array<Qor32s>(1024, 1), add.array<Qor32s>(1024, 2), add.array<Qor32s>(41, 1), 0,
             kRate)
        .null<0, 1, 2>()
        .outside<3>(0, 3, qorStsAacWinSeqErr)
        .outside<4>(0, 12, qorStsAacSampRateIdxErr);

    Arena& update = family.arena();
    addShapes<2>(family
                     .add("qorsLtpUpdate_AAC_32s", update, qorsLtpUpdate_AAC_32s,
                          update.array<Qor32s>(1024, 1), update.array<Qor32s>(3072, 1), 0, 0, 0,
                          update.output<Qor32s>(6144))
                     .null<0, 1, 5>());
}

}  // namespace

void addAac(Family& family) {
    addHeaders(family);
    addElements(family);
    addNoiseless(family);
    addSpectralTools(family);
    addFilterBanks(family);
    addLongTermPrediction(family);
}

}  // namespace qorac::test
