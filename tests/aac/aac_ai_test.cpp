#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "aac/aachelp.h"
#include "gmock/gmock.h"
#include "qorac.h"
#include "reference/aacstream.h"
#include "reference/bitwriter.h"
#include "support/bitstream.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::Bands;
using reference::BitWriter;
using reference::Channel;
using test::Guarded;
using test::Random;
using test::Stream;
using testing::Each;
using testing::ElementsAre;

constexpr Qor32s kStale = 0x5A5A5A5A;

template <typename Record>
Record stale() {
    Record record;
    std::memset(static_cast<void*>(&record), 0x5A, sizeof record);
    return record;
}

template <typename Record>
bool same(const Record& a, const Record& b) {
    return std::memcmp(&a, &b, sizeof a) == 0;
}

Bands longBands(Qor32s index) {
    return {_pAACSwbOffsetTableLong[std::size_t(index)],
            std::size_t(_pAACNumSwbTableLong[std::size_t(index)]) + 1};
}
Bands shortBands(Qor32s index) {
    return {_pAACSwbOffsetTableShort[std::size_t(index)],
            std::size_t(_pAACNumSwbTableShort[std::size_t(index)]) + 1};
}
Bands bandsOf(const Channel& channel, Qor32s index) {
    return channel.isShort() ? shortBands(index) : longBands(index);
}

// --- noiseless decoding -----------------------------------------------------------------------

// The arrays and records of one call, each array of exactly the size that the call may fill.
struct Output {
    explicit Output(Qor32s samplingRateIndex, std::size_t bands = 120)
        : scaleFactor(bands), spectrum(1024), sfbCb(bands), tnsCoef(60) {
        std::memset(scaleFactor.data(), 0x5A, bands * sizeof(Qor16s));
        std::memset(spectrum.data(), 0x5A, 1024 * sizeof(Qor32s));
        std::memset(sfbCb.data(), 0x5A, bands);
        std::memset(tnsCoef.data(), 0x5A, 60);
        ics = stale<QorAACIcsInfo>();
        header = stale<QorAACMainHeader>();
        info = stale<QorAACChanInfo>();
        info.samplingRateIndex = samplingRateIndex;
        info.predSfbMax = 0;
        info.pIcsInfo = &ics;
    }

    QorStatus decodeLc(Stream& stream, Qor32s commonWin = 0) {
        return qorsNoiselessDecoder_LC_AAC(&stream.p, &stream.offset, commonWin, &info,
                                           scaleFactor.data(), spectrum.data(), sfbCb.data(),
                                           tnsCoef.data());
    }
    QorStatus decodeMpeg4(Stream& stream, Qor32s windowSequence, Qor32s maxSfb,
                          Qor32s commonWin = 0, Qor32s scaleFlag = 0, Qor32s audioObjectType = 2) {
        return qorsNoiselessDecode_AAC(
            &stream.p, &stream.offset, &header, scaleFactor.data(), spectrum.data(), sfbCb.data(),
            tnsCoef.data(), &info, windowSequence, maxSfb, commonWin, scaleFlag, audioObjectType);
    }

    Guarded<Qor16s> scaleFactor;
    Guarded<Qor32s> spectrum;
    Guarded<Qor8u> sfbCb;
    Guarded<Qor8s> tnsCoef;
    QorAACIcsInfo ics;
    QorAACMainHeader header;
    QorAACChanInfo info;
};

// ics_info as a channel pair parser leaves it.
QorAACIcsInfo icsOf(const Channel& channel) {
    QorAACIcsInfo ics{};
    ics.window_sequence = channel.windowSequence;
    ics.window_shape = channel.windowShape;
    ics.max_sfb = channel.maxSfb;
    ics.num_window_groups = Qor32s(channel.groups.size());
    std::copy(channel.groups.begin(), channel.groups.end(), ics.window_group_length);
    return ics;
}

void expectDecoded(const Channel& channel, Output& out, Qor32s index, bool tools) {
    const std::size_t bands = channel.gains.size();
    EXPECT_TRUE(std::equal(channel.gains.begin(), channel.gains.end(), out.scaleFactor.data()));
    const std::vector<int> books = reference::bandBooks(channel);
    ASSERT_EQ(books.size(), bands);
    EXPECT_TRUE(std::equal(books.begin(), books.end(), out.sfbCb.data()));
    for (std::size_t i = bands; i < out.sfbCb.size(); ++i) {
        EXPECT_EQ(out.scaleFactor[i], 0x5A5A);
        EXPECT_EQ(out.sfbCb[i], 0x5A);
    }
    const std::vector<int> spectrum = reference::decodedSpectrum(channel, bandsOf(channel, index));
    EXPECT_TRUE(std::equal(spectrum.begin(), spectrum.end(), out.spectrum.data()));

    const QorAACChanInfo& info = out.info;
    EXPECT_EQ(info.global_gain, channel.globalGain);
    EXPECT_EQ(info.winLen, channel.isShort() ? 128 : 1024);
    EXPECT_EQ(info.numWin, channel.isShort() ? 8 : 1);
    EXPECT_EQ(info.numSwb, Qor32s(bandsOf(channel, index).size()) - 1);
    std::size_t s = 0;
    for (std::size_t g = 0; g < channel.sections.size(); ++g) {
        EXPECT_EQ(info.num_sec[g], Qor32s(channel.sections[g].size()));
        int end = 0;
        for (const reference::Section& section : channel.sections[g]) {
            EXPECT_EQ(info.sect_cb[s], section.codeBook);
            EXPECT_EQ(info.sect_end[s++], end += section.length);
        }
    }
    for (const Qor32s untouched : {info.tag, info.id, info.reserved}) EXPECT_EQ(untouched, kStale);
    if (!tools) {
        EXPECT_EQ(info.pulse_data_present, kStale);
        EXPECT_EQ(info.tns_data_present, kStale);
        EXPECT_EQ(info.gain_control_data_present, kStale);
        EXPECT_EQ(info.n_filt[0], kStale);
        return;
    }
    EXPECT_EQ(info.pulse_data_present, channel.pulse ? 1 : 0);
    EXPECT_EQ(info.tns_data_present, channel.tns ? 1 : 0);
    EXPECT_EQ(info.gain_control_data_present, 0);
    if (!channel.tns) {
        EXPECT_EQ(info.n_filt[0], 0);
        EXPECT_EQ(info.n_filt[1], kStale);
        return;
    }
    std::size_t filters = 0, coefs = 0;
    for (std::size_t w = 0; w < channel.tns->size(); ++w) {
        EXPECT_EQ(info.n_filt[w], Qor32s((*channel.tns)[w].filters.size()));
        for (const reference::TnsFilter& filter : (*channel.tns)[w].filters) {
            EXPECT_EQ(info.length[filters], filter.length);
            EXPECT_EQ(info.order[filters++], filter.order);
            for (const int coef : filter.coef) EXPECT_EQ(out.tnsCoef[coefs++], coef);
        }
    }
}

// Random channels of every sampling rate, with the own ics_info and without, at every offset.
TEST(NoiselessDecoding, RandomChannelsReadBackInBothProfiles) {
    Random random(1);
    for (int run = 0; run < 1200; ++run) {
        const Qor32s index = run % 12;
        const bool commonWin = random.chance(0.5), mpeg4 = random.chance(0.5);
        const Channel channel =
            reference::randomChannel(random, longBands(index), shortBands(index), mpeg4);
        const int start = int(random.integer(0, 7));
        BitWriter writer;
        writer.put(0, start);
        reference::putChannel(writer, channel, bandsOf(channel, index), commonWin);
        Stream stream(writer, start);
        Output out(index);
        if (commonWin) out.ics = icsOf(channel);
        // The windows of the arguments are not looked at without scaleFlag.
        const QorStatus status = mpeg4 ? out.decodeMpeg4(stream, 1, 5, commonWin ? 1 : 0)
                                       : out.decodeLc(stream, commonWin ? 1 : 0);
        ASSERT_EQ(status, qorStsNoErr);
        EXPECT_EQ(stream.position(), writer.bits());
        if (!commonWin) {
            EXPECT_EQ(out.ics.window_sequence, channel.windowSequence);
            EXPECT_EQ(out.ics.window_shape, channel.windowShape);
            EXPECT_EQ(out.ics.max_sfb, channel.maxSfb);
        }
        expectDecoded(channel, out, index, true);
        ASSERT_FALSE(HasFailure()) << "run " << run;
    }
}

// Layers of scalable streams: windows from the arguments and the main header, no tools.
TEST(NoiselessDecoding, RandomScalableLayersReadBack) {
    Random random(2);
    for (int run = 0; run < 300; ++run) {
        const Qor32s index = run % 12;
        Channel channel =
            reference::randomChannel(random, longBands(index), shortBands(index), true);
        channel.pulse.reset();
        channel.tns.reset();
        BitWriter writer;
        reference::putChannel(writer, channel, bandsOf(channel, index), false, true);
        Stream stream(writer);
        Output out(index);
        out.info.pIcsInfo = nullptr;  // not looked at
        out.header.num_window_groups = Qor32s(channel.groups.size());
        std::copy(channel.groups.begin(), channel.groups.end(), out.header.window_group_length);
        const QorAACMainHeader before = out.header;
        ASSERT_EQ(out.decodeMpeg4(stream, channel.windowSequence, channel.maxSfb, 0, 1),
                  qorStsNoErr);
        EXPECT_EQ(stream.position(), writer.bits());
        EXPECT_TRUE(same(out.header, before));
        expectDecoded(channel, out, index, false);
        ASSERT_FALSE(HasFailure()) << "run " << run;
    }
}

TEST(NoiselessDecoding, WindowGroupsOfALayerThatDoNotFitAreRefused) {
    struct Case {
        Qor32s windowSequence, count, lengths[8];
    };
    for (const Case& c : {Case{0, 1, {2}}, Case{0, 2, {1, 1}}, Case{2, 2, {5, 4}}, Case{2, 9, {}},
                          Case{2, 1, {-1}}}) {
        BitWriter writer;
        writer.put(0, 64);
        Stream stream(writer);
        Output out(4);
        out.header.num_window_groups = c.count;
        std::copy(c.lengths, c.lengths + 8, out.header.window_group_length);
        EXPECT_EQ(out.decodeMpeg4(stream, c.windowSequence, 10, 0, 1), qorStsErr);
        EXPECT_EQ(stream.position(), 8u);
    }
}

// Windows that no group covers hold zeros like bands that no section covers.
TEST(NoiselessDecoding, WindowsOutsideTheGroupsAreZero) {
    BitWriter writer;
    writer.put(100, 8);
    Stream stream(writer);
    Output out(4);
    out.header.num_window_groups = 1;
    out.header.window_group_length[0] = 3;
    EXPECT_EQ(out.decodeMpeg4(stream, 2, 0, 0, 1), qorStsNoErr);
    EXPECT_THAT(out.spectrum.copy(), Each(0));
}

TEST(NoiselessDecoding, NoBands) {
    BitWriter writer;
    writer.put(77, 8);
    writer.put(0b0100, 4), writer.put(0, 4), writer.put(0b1110000, 7);
    writer.put(0, 3);
    for (const bool mpeg4 : {false, true}) {
        Stream stream(writer);
        Output out(4);
        EXPECT_EQ(mpeg4 ? out.decodeMpeg4(stream, 0, 0) : out.decodeLc(stream), qorStsNoErr);
        EXPECT_EQ(out.ics.num_window_groups, 5);
        EXPECT_THAT(out.spectrum.copy(), Each(0));
        EXPECT_THAT(out.info.sect_cb, Each(0x5A));
        EXPECT_EQ(stream.position(), writer.bits());
    }
}

// --- failures in the stream -------------------------------------------------------------------

// global_gain and a long ics_info.
void putLongStart(BitWriter& writer, int maxSfb) {
    writer.put(120, 8);
    writer.put(0, 4);
    writer.put(Qor32u(maxSfb), 6);
    writer.put(0, 1);
}

TEST(NoiselessFailures, BandsAboveTheCount) {
    for (const int maxSfb : {41, 42}) {
        BitWriter writer;
        putLongStart(writer, maxSfb);  // 96 kHz has 41 bands
        writer.put(0, 4), writer.put(31, 5), writer.put(Qor32u(maxSfb - 31), 5);
        const std::size_t sectionsEnd = writer.bits();
        writer.put(0, 3);
        Stream lc(writer);
        Output out(0);
        EXPECT_EQ(out.decodeLc(lc), maxSfb == 41 ? qorStsNoErr : qorStsAacMaxSfbErr);
        EXPECT_EQ(lc.position(), maxSfb == 41 ? writer.bits() : 19u);

        // The MPEG-4 decoder finds out when it comes to the coefficients.
        Stream mpeg4(writer);
        EXPECT_EQ(out.decodeMpeg4(mpeg4, 0, 0), maxSfb == 41 ? qorStsNoErr : qorStsErr);
        EXPECT_EQ(mpeg4.position(), sectionsEnd + 3);
    }
}

TEST(NoiselessFailures, PulsesInAShortBlockComeBehindTheScaleFactors) {
    BitWriter writer;
    writer.put(120, 8);
    writer.put(0b0100, 4), writer.put(1, 4), writer.put(0x7F, 7);
    writer.put(1, 4), writer.put(1, 3);
    reference::putDifference(writer, 9);
    writer.put(1, 1);
    const std::size_t flag = writer.bits();
    writer.put(0, 32);
    for (const bool mpeg4 : {false, true}) {
        Stream stream(writer);
        Output out(4);
        EXPECT_EQ(mpeg4 ? out.decodeMpeg4(stream, 0, 0) : out.decodeLc(stream), qorStsAacPulseErr);
        EXPECT_EQ(out.scaleFactor[0], 129);
        EXPECT_EQ(out.info.pulse_data_present, 1);
        EXPECT_EQ(out.info.tns_data_present, kStale);
        EXPECT_EQ(stream.position(), flag);
    }
}

TEST(NoiselessFailures, PulseBandAndPositionOutOfRange) {
    struct Case {
        int startSfb, offset;
        QorStatus status;
    };
    for (const Case& c : {Case{48, 31, qorStsNoErr}, Case{49, 0, qorStsAacPulseErr},
                          Case{52, 0, qorStsAacPulseErr}}) {
        BitWriter writer;
        putLongStart(writer, 0);
        writer.put(1, 1), writer.put(0, 2), writer.put(Qor32u(c.startSfb), 6);
        const std::size_t band = writer.bits();
        writer.put(Qor32u(c.offset), 5), writer.put(3, 4);
        const std::size_t pulses = writer.bits();
        writer.put(0, 2);
        Stream stream(writer);
        Output out(4);  // 49 bands
        EXPECT_EQ(out.decodeLc(stream), c.status);
        if (c.status == qorStsNoErr) {
            EXPECT_EQ(out.spectrum[959], -3);  // a zero goes negative
        } else {
            EXPECT_EQ(stream.position(), c.startSfb > 51 ? band : pulses);
        }
    }

    // Four pulses from the last band of 64 kHz, the fourth one of which lies behind the window.
    BitWriter writer;
    putLongStart(writer, 0);
    writer.put(1, 1), writer.put(3, 2), writer.put(46, 6);
    for (const int offset : {0, 31, 8, 1}) writer.put(Qor32u(offset), 5), writer.put(1, 4);
    writer.put(0, 2);
    Stream stream(writer);
    Output out(2);
    EXPECT_EQ(out.decodeLc(stream), qorStsAacPulseErr);
    EXPECT_EQ(out.spectrum[984], -1);
    EXPECT_EQ(out.spectrum[1015], -1);
    EXPECT_EQ(out.spectrum[1023], -1);
    EXPECT_EQ(stream.position(), writer.bits());
}

TEST(NoiselessFailures, TnsOrderAndGainControl) {
    for (const bool mpeg4 : {false, true}) {
        BitWriter tns;
        putLongStart(tns, 0);
        tns.put(0b01, 2), tns.put(1, 2), tns.put(0, 1), tns.put(0, 6), tns.put(13, 5);
        Stream tnsStream(tns);
        Output out(4);
        EXPECT_EQ(mpeg4 ? out.decodeMpeg4(tnsStream, 0, 0) : out.decodeLc(tnsStream),
                  qorStsAacTnsOrderErr);
        EXPECT_EQ(out.info.order[0], 13);
        EXPECT_EQ(tnsStream.position(), tns.bits());

        BitWriter gain;
        putLongStart(gain, 0);
        gain.put(0b001, 3);
        const std::size_t flag = gain.bits();
        gain.put(0, 32);
        Stream gainStream(gain);
        EXPECT_EQ(mpeg4 ? out.decodeMpeg4(gainStream, 0, 0) : out.decodeLc(gainStream),
                  qorStsAacGainControlErr);
        EXPECT_EQ(out.info.gain_control_data_present, 1);
        EXPECT_EQ(gainStream.position(), flag);
        EXPECT_THAT(out.spectrum.copy(), Each(kStale));
    }
}

// Code book 12 fails at its first band among the scale factors, and a section of it without bands
// among the coefficients.
TEST(NoiselessFailures, CodeBooks) {
    struct Case {
        int codeBook, length;
        bool mpeg4;
        QorStatus status;
        bool amongScaleFactors;
    };
    for (const Case& c :
         {Case{12, 1, false, qorStsAacCodebookErr, true},
          Case{12, 1, true, qorStsAacCodebookErr, true},
          Case{13, 1, false, qorStsAacCodebookErr, true}, Case{13, 1, true, qorStsNoErr, false},
          Case{12, 0, false, qorStsAacCodebookErr, false},
          Case{12, 0, true, qorStsAacCodebookErr, false}, Case{13, 0, false, qorStsNoErr, false}}) {
        BitWriter writer;
        putLongStart(writer, 1);
        writer.put(Qor32u(c.codeBook), 4), writer.put(Qor32u(c.length), 5);
        if (c.length == 0) writer.put(0, 4), writer.put(1, 5);
        const std::size_t sections = writer.bits();
        if (c.length == 1) writer.put(0x1FF, 9);
        writer.put(0, 3);
        Stream stream(writer);
        Output out(4);
        EXPECT_EQ(c.mpeg4 ? out.decodeMpeg4(stream, 0, 0) : out.decodeLc(stream), c.status);
        EXPECT_EQ(stream.position(), c.amongScaleFactors ? sections : writer.bits());
    }
}

// A failed escape leaves the sections before it and the cursor at the start of its own.
TEST(NoiselessFailures, Escapes) {
    BitWriter writer;
    putLongStart(writer, 2);
    writer.put(5, 4), writer.put(1, 5), writer.put(11, 4), writer.put(1, 5);
    reference::putDifference(writer, 0), reference::putDifference(writer, 0);
    writer.put(0, 3);
    const int pairs[] = {1, -2, 3, -4, 0, 0};
    reference::putTuple(writer, 5, pairs), reference::putTuple(writer, 5, pairs + 2);
    const std::size_t section = writer.bits();
    reference::putTuple(writer, 11, pairs + 4);
    reference::putCode(writer, kSpectrumCodes11[16]);
    writer.put(0, 1), writer.put(0x1FF, 9);
    for (const bool mpeg4 : {false, true}) {
        Stream stream(writer);
        Output out(4);
        EXPECT_EQ(mpeg4 ? out.decodeMpeg4(stream, 0, 0) : out.decodeLc(stream),
                  qorStsAacQuantMaxErr);
        EXPECT_EQ(stream.position(), section);
        EXPECT_THAT(out.spectrum.span().first(6), ElementsAre(1, -2, 3, -4, 0, 0));
        EXPECT_EQ(out.spectrum[8], kStale);
    }
}

// Whatever the bits say, the decoders stay inside their arrays and end.
TEST(NoiselessFailures, RandomBits) {
    Random random(3);
    Guarded<Qor8u> bytes(8192);
    int succeeded = 0;
    for (int run = 0; run < 20000; ++run) {
        if (run % 50 == 0)
            for (Qor8u& byte : bytes.span()) byte = Qor8u(random.integer(0, 255));
        const Qor32s index = Qor32s(random.integer(0, 11));
        Output out(index, 408);
        out.info.predSfbMax = 0;
        Qor8u* p = bytes.data() + run % 50;
        Qor32s offset = Qor32s(random.integer(0, 7));
        QorStatus status = 0;
        if (run % 3 == 0) {
            status = qorsNoiselessDecoder_LC_AAC(&p, &offset, 0, &out.info, out.scaleFactor.data(),
                                                 out.spectrum.data(), out.sfbCb.data(),
                                                 out.tnsCoef.data());
        } else {
            const Qor32s scaleFlag = run % 3 - 1;
            out.info.predSfbMax = Qor32s(random.integer(-5, 100));
            out.header.num_window_groups = Qor32s(random.integer(1, 8));
            for (Qor32s& length : out.header.window_group_length)
                length = Qor32s(random.integer(0, 2));
            status = qorsNoiselessDecode_AAC(
                &p, &offset, &out.header, out.scaleFactor.data(), out.spectrum.data(),
                out.sfbCb.data(), out.tnsCoef.data(), &out.info, Qor32s(random.integer(0, 3)),
                Qor32s(random.integer(0, 51)), 0, scaleFlag, Qor32s(random.integer(0, 16)));
        }
        succeeded += status == qorStsNoErr ? 1 : 0;
        EXPECT_GE(offset, 0);
        EXPECT_LE(offset, 7);
    }
    EXPECT_GT(succeeded, 20);
}

// --- argument checks --------------------------------------------------------------------------

TEST(NoiselessChecks, Lc) {
    Output out(4);
    Qor8u bytes[16]{};
    Qor8u* p = bytes;
    Qor8u* null = nullptr;
    Qor32s offset = 8;
    const QorAACIcsInfo untouchedIcs = out.ics;
    const auto call = [&](Qor8u** ppBitStream, Qor32s* pOffset, Qor32s commonWin,
                          QorAACChanInfo* pInfo, Qor16s* pScaleFactor, Qor32s* pSpectrum,
                          Qor8u* pSfbCb, Qor8s* pTnsCoef) {
        return qorsNoiselessDecoder_LC_AAC(ppBitStream, pOffset, commonWin, pInfo, pScaleFactor,
                                           pSpectrum, pSfbCb, pTnsCoef);
    };
    Qor16s* const sf = out.scaleFactor.data();
    Qor32s* const sp = out.spectrum.data();
    Qor8u* const cb = out.sfbCb.data();
    Qor8s* const tns = out.tnsCoef.data();
    EXPECT_EQ(call(nullptr, &offset, 2, &out.info, sf, sp, cb, tns), qorStsNullPtrErr);
    EXPECT_EQ(call(&null, &offset, 2, &out.info, sf, sp, cb, tns), qorStsNullPtrErr);
    EXPECT_EQ(call(&p, nullptr, 2, &out.info, sf, sp, cb, tns), qorStsNullPtrErr);
    EXPECT_EQ(call(&p, &offset, 2, nullptr, sf, sp, cb, tns), qorStsNullPtrErr);
    EXPECT_EQ(call(&p, &offset, 2, &out.info, nullptr, sp, cb, tns), qorStsNullPtrErr);
    EXPECT_EQ(call(&p, &offset, 2, &out.info, sf, nullptr, cb, tns), qorStsNullPtrErr);
    EXPECT_EQ(call(&p, &offset, 2, &out.info, sf, sp, nullptr, tns), qorStsNullPtrErr);
    EXPECT_EQ(call(&p, &offset, 2, &out.info, sf, sp, cb, nullptr), qorStsNullPtrErr);
    out.info.pIcsInfo = nullptr;
    EXPECT_EQ(call(&p, &offset, 2, &out.info, sf, sp, cb, tns), qorStsNullPtrErr);
    out.info.pIcsInfo = &out.ics;

    // Each check is reached only when those before it pass.
    out.info.samplingRateIndex = 12;
    out.info.predSfbMax = 5;
    const QorAACChanInfo untouched = out.info;
    EXPECT_EQ(call(&p, &offset, 2, &out.info, sf, sp, cb, tns), qorStsAacBitOffsetErr);
    offset = -1;
    EXPECT_EQ(call(&p, &offset, 2, &out.info, sf, sp, cb, tns), qorStsAacBitOffsetErr);
    offset = 3;
    EXPECT_EQ(call(&p, &offset, 2, &out.info, sf, sp, cb, tns), qorStsAacCommonWindowErr);
    EXPECT_EQ(call(&p, &offset, -1, &out.info, sf, sp, cb, tns), qorStsAacCommonWindowErr);
    EXPECT_EQ(call(&p, &offset, 0, &out.info, sf, sp, cb, tns), qorStsAacSampRateIdxErr);
    EXPECT_TRUE(same(out.info, untouched));
    out.info.samplingRateIndex = -1;
    EXPECT_EQ(call(&p, &offset, 0, &out.info, sf, sp, cb, tns), qorStsAacSampRateIdxErr);
    out.info.samplingRateIndex = 11;
    EXPECT_EQ(call(&p, &offset, 0, &out.info, sf, sp, cb, tns), qorStsAacPredSfbErr);
    EXPECT_EQ(p, bytes);
    EXPECT_EQ(offset, 3);
    EXPECT_TRUE(same(out.ics, untouchedIcs));
    EXPECT_EQ(out.info.global_gain, kStale);
    EXPECT_THAT(out.spectrum.copy(), Each(kStale));
}

TEST(NoiselessChecks, Mpeg4) {
    struct Arguments {
        Qor32s offset, windowSequence, maxSfb, commonWin, scaleFlag, objectType, rate;
    };
    Qor8u bytes[4]{};
    Output out(4);
    const auto call = [&](const Arguments& a) {
        Qor8u* p = bytes;
        Qor32s offset = a.offset;
        out.info.samplingRateIndex = a.rate;
        const QorAACChanInfo untouched = out.info;
        const QorStatus status = qorsNoiselessDecode_AAC(
            &p, &offset, nullptr, out.scaleFactor.data(), out.spectrum.data(), out.sfbCb.data(),
            out.tnsCoef.data(), &out.info, a.windowSequence, a.maxSfb, a.commonWin, a.scaleFlag,
            a.objectType);
        EXPECT_EQ(p, bytes);
        EXPECT_EQ(offset, a.offset);
        EXPECT_TRUE(same(out.info, untouched));
        return status;
    };
    // Every argument is bad; one after the other is mended, in the order of the checks.
    Arguments a{8, 4, 52, 2, 2, 17, 12};
    EXPECT_EQ(call(a), qorStsAacBitOffsetErr);
    a.offset = -1;
    EXPECT_EQ(call(a), qorStsAacBitOffsetErr);
    a.offset = 7;
    EXPECT_EQ(call(a), qorStsAacCommonWindowErr);
    a.commonWin = -1;
    EXPECT_EQ(call(a), qorStsAacCommonWindowErr);
    a.commonWin = 1;
    EXPECT_EQ(call(a), qorStsAacWinSeqErr);
    a.windowSequence = -1;
    EXPECT_EQ(call(a), qorStsAacWinSeqErr);
    a.windowSequence = 3;
    EXPECT_EQ(call(a), qorStsAacScaleFlagErr);
    a.scaleFlag = -1;
    EXPECT_EQ(call(a), qorStsAacScaleFlagErr);
    a.scaleFlag = 1;
    EXPECT_EQ(call(a), qorStsAacObjectTypeErr);
    a.objectType = -1;
    EXPECT_EQ(call(a), qorStsAacObjectTypeErr);
    a.objectType = 16;
    EXPECT_EQ(call(a), qorStsAacMaxSfbErr);
    a.maxSfb = -1;
    EXPECT_EQ(call(a), qorStsAacMaxSfbErr);
    a.maxSfb = 51;
    EXPECT_EQ(call(a), qorStsAacSampRateIdxErr);
    a.rate = -1;
    EXPECT_EQ(call(a), qorStsAacSampRateIdxErr);
    a.rate = 11;
    EXPECT_EQ(call(a), qorStsNullPtrErr);  // the main header, which scaleFlag needs
    a.scaleFlag = 0;
    out.info.pIcsInfo = nullptr;
    EXPECT_EQ(call(a), qorStsNullPtrErr);

    Qor8u* p = bytes;
    Qor8u* null = nullptr;
    Qor32s bad = 8;
    const auto pointers = [&](Qor8u** ppBitStream, Qor32s* pOffset, Qor16s* sf, Qor32s* sp,
                              Qor8u* cb, Qor8s* tns, QorAACChanInfo* info) {
        return qorsNoiselessDecode_AAC(ppBitStream, pOffset, nullptr, sf, sp, cb, tns, info, 4, 52,
                                       2, 2, 17);
    };
    Qor16s* const sf = out.scaleFactor.data();
    Qor32s* const sp = out.spectrum.data();
    Qor8u* const cb = out.sfbCb.data();
    Qor8s* const tns = out.tnsCoef.data();
    EXPECT_EQ(pointers(nullptr, &bad, sf, sp, cb, tns, &out.info), qorStsNullPtrErr);
    EXPECT_EQ(pointers(&null, &bad, sf, sp, cb, tns, &out.info), qorStsNullPtrErr);
    EXPECT_EQ(pointers(&p, nullptr, sf, sp, cb, tns, &out.info), qorStsNullPtrErr);
    EXPECT_EQ(pointers(&p, &bad, nullptr, sp, cb, tns, &out.info), qorStsNullPtrErr);
    EXPECT_EQ(pointers(&p, &bad, sf, nullptr, cb, tns, &out.info), qorStsNullPtrErr);
    EXPECT_EQ(pointers(&p, &bad, sf, sp, nullptr, tns, &out.info), qorStsNullPtrErr);
    EXPECT_EQ(pointers(&p, &bad, sf, sp, cb, nullptr, &out.info), qorStsNullPtrErr);
    EXPECT_EQ(pointers(&p, &bad, sf, sp, cb, tns, nullptr), qorStsNullPtrErr);
    EXPECT_EQ(pointers(&p, &bad, sf, sp, cb, tns, &out.info), qorStsAacBitOffsetErr);
}

// LTP data need the main header; a stream without them does not.
TEST(NoiselessChecks, AMissingMainHeader) {
    for (const int present : {0, 1}) {
        BitWriter writer;
        writer.put(120, 8);
        writer.put(0, 4), writer.put(0, 6), writer.put(Qor32u(present), 1);
        writer.put(0, 3);
        Stream stream(writer);
        Output out(4);
        EXPECT_EQ(
            qorsNoiselessDecode_AAC(&stream.p, &stream.offset, nullptr, out.scaleFactor.data(),
                                    out.spectrum.data(), out.sfbCb.data(), out.tnsCoef.data(),
                                    &out.info, 0, 0, 0, 0, 4),
            present != 0 ? qorStsNullPtrErr : qorStsNoErr);
        EXPECT_EQ(stream.position(), present != 0 ? 19u : 22u);
    }
}

// --- channel pair -----------------------------------------------------------------------------

TEST(ChannelPair, WithoutACommonWindowNothingElseIsRead) {
    BitWriter writer;
    writer.put(0, 1);
    for (const bool mpeg4 : {false, true}) {
        Stream stream(writer);
        auto ics = stale<QorAACIcsInfo>();
        auto pair = stale<QorAACChanPairElt>();
        auto header = stale<QorAACMainHeader>();
        EXPECT_EQ(mpeg4 ? qorsDecodeChanPairElt_MP4_AAC(&stream.p, &stream.offset, &ics, &pair,
                                                        &header, 0, 2)
                        : qorsDecodeChanPairElt_AAC(&stream.p, &stream.offset, &ics, &pair, 0),
                  qorStsNoErr);
        auto expected = stale<QorAACChanPairElt>();
        expected.common_window = 0;
        EXPECT_TRUE(same(pair, expected));
        EXPECT_TRUE(same(ics, stale<QorAACIcsInfo>()));
        EXPECT_TRUE(same(header, stale<QorAACMainHeader>()));
        EXPECT_EQ(stream.position(), 1u);
    }
}

TEST(ChannelPair, MaskOfEveryGroup) {
    Random random(5);
    for (int present = 0; present < 4; ++present) {
        for (const bool isShort : {false, true}) {
            BitWriter writer;
            writer.put(0, 3);
            writer.put(1, 1);
            if (isShort) {
                writer.put(0b0101, 4), writer.put(15, 4), writer.put(0b0110111, 7);
            } else {
                writer.put(0, 4), writer.put(51, 6), writer.put(0, 1);
            }
            writer.put(Qor32u(present), 2);
            auto expected = stale<QorAACChanPairElt>();
            expected.common_window = 1;
            expected.ms_mask_present = present;
            const int groups = isShort ? 3 : 1, bands = isShort ? 15 : 51;
            if (present == 1)
                for (int g = 0; g < groups; ++g)
                    for (int sfb = 0; sfb < bands; ++sfb)
                        writer.put(expected.ms_used[g][sfb] = Qor8u(random.integer(0, 1)), 1);
            for (const bool mpeg4 : {false, true}) {
                Stream stream(writer, 3);
                auto ics = stale<QorAACIcsInfo>();
                auto pair = stale<QorAACChanPairElt>();
                EXPECT_EQ(
                    mpeg4 ? qorsDecodeChanPairElt_MP4_AAC(&stream.p, &stream.offset, &ics, &pair,
                                                          nullptr, 51, 2)
                          : qorsDecodeChanPairElt_AAC(&stream.p, &stream.offset, &ics, &pair, 41),
                    qorStsNoErr);
                EXPECT_EQ(ics.num_window_groups, groups);
                EXPECT_TRUE(same(pair, expected));
                EXPECT_EQ(stream.position(), writer.bits());
            }
        }
    }
}

// With a common window the LTP data of both channels stand in the shared ics_info.
TEST(ChannelPair, LtpOfBothChannels) {
    BitWriter writer;
    writer.put(1, 1);
    writer.put(0, 4), writer.put(1, 6), writer.put(1, 1);
    writer.put(0, 1);
    writer.put(1, 1), writer.put(500, 11), writer.put(2, 3), writer.put(1, 1);
    writer.put(2, 2);
    Stream stream(writer);
    auto ics = stale<QorAACIcsInfo>();
    auto pair = stale<QorAACChanPairElt>();
    auto header = stale<QorAACMainHeader>();
    EXPECT_EQ(qorsDecodeChanPairElt_MP4_AAC(&stream.p, &stream.offset, &ics, &pair, &header, 0, 4),
              qorStsNoErr);
    EXPECT_EQ(header.ltp[0].ltp_data_present, 0);
    EXPECT_EQ(header.ltp[1].ltp_data_present, 1);
    EXPECT_EQ(header.ltp[1].ltp_lag, 500);
    EXPECT_EQ(header.ltp[1].ltp_coef, 13320);
    EXPECT_EQ(header.ltp[1].ltp_long_used[1], 1);
    EXPECT_EQ(pair.ms_mask_present, 2);
    EXPECT_EQ(stream.position(), writer.bits());
}

TEST(ChannelPair, AFailingIcsInfoIsHandedBack) {
    BitWriter writer;
    writer.put(1, 1), writer.put(0, 4), writer.put(63, 6), writer.put(0, 16);
    Stream stream(writer);
    auto ics = stale<QorAACIcsInfo>();
    auto pair = stale<QorAACChanPairElt>();
    EXPECT_EQ(qorsDecodeChanPairElt_AAC(&stream.p, &stream.offset, &ics, &pair, 0),
              qorStsAacMaxSfbErr);
    EXPECT_EQ(stream.position(), 11u);
    EXPECT_EQ(pair.ms_mask_present, kStale);
}

TEST(ChannelPair, ChecksInOrderAndTheLimitOfEachTwin) {
    Qor8u bytes[8]{};
    Qor8u* p = bytes;
    Qor8u* null = nullptr;
    Qor32s bad = 8, good = 0;
    QorAACIcsInfo ics{};
    auto pair = stale<QorAACChanPairElt>();
    const auto plain = [&](Qor8u** pp, Qor32s* offset, QorAACIcsInfo* pIcs,
                           QorAACChanPairElt* pPair, Qor32s max) {
        return qorsDecodeChanPairElt_AAC(pp, offset, pIcs, pPair, max);
    };
    const auto mp4 = [&](Qor8u** pp, Qor32s* offset, QorAACIcsInfo* pIcs, QorAACChanPairElt* pPair,
                         Qor32s max) {
        return qorsDecodeChanPairElt_MP4_AAC(pp, offset, pIcs, pPair, nullptr, max, 2);
    };
    const auto common = [&](const auto& parse) {
        EXPECT_EQ(parse(nullptr, &bad, &ics, &pair, 99), qorStsNullPtrErr);
        EXPECT_EQ(parse(&null, &bad, &ics, &pair, 99), qorStsNullPtrErr);
        EXPECT_EQ(parse(&p, nullptr, &ics, &pair, 99), qorStsNullPtrErr);
        EXPECT_EQ(parse(&p, &bad, nullptr, &pair, 99), qorStsNullPtrErr);
        EXPECT_EQ(parse(&p, &bad, &ics, nullptr, 99), qorStsNullPtrErr);
        EXPECT_EQ(parse(&p, &bad, &ics, &pair, 99), qorStsAacBitOffsetErr);
    };
    common(plain);
    common(mp4);
    for (const Qor32s max : {-1, 42})
        EXPECT_EQ(plain(&p, &good, &ics, &pair, max), qorStsAacPredSfbErr);
    for (const Qor32s max : {-1, 52})
        EXPECT_EQ(mp4(&p, &good, &ics, &pair, max), qorStsAacMaxSfbErr);
    EXPECT_EQ(p, bytes);
    EXPECT_EQ(pair.common_window, kStale);
    EXPECT_EQ(mp4(&p, &good, &ics, &pair, 42), qorStsNoErr);
}

// --- scalable main header ---------------------------------------------------------------------

// A main header with room for its mask; eight rows follow one another without a gap.
struct MainHeader {
    MainHeader() {
        record = stale<QorAACMainHeader>();
        std::memset(mask, 0x5A, sizeof mask);
        record.pMsUsed = mask;
    }
    QorAACMainHeader record;
    Qor8u mask[8][60];
};

TEST(MainHeader, LongBlockWithTnsAndLtpOfBothChannels) {
    for (const Qor32s flag : {0, 1}) {
        BitWriter writer;
        writer.put(0, 5);
        writer.put(3, 2), writer.put(1, 1), writer.put(4, 6);
        writer.put(1, 2), writer.put(0b1011, 4);
        writer.put(0, 1);  // no TNS
        writer.put(1, 1), writer.put(9, 11), writer.put(1, 3), writer.put(0b0110, 4);
        writer.put(1, 1), writer.put(1, 2), writer.put(1, 1);  // TNS
        writer.put(5, 6), writer.put(1, 5), writer.put(0b10, 2), writer.put(0b1001, 4);
        writer.put(0, 1);
        Stream stream(writer, 5);
        MainHeader h;
        // The status for mono layers below comes with the whole header read.
        EXPECT_EQ(qorsDecodeMainHeader_AAC(&stream.p, &stream.offset, &h.record, 2, flag),
                  flag != 0 ? qorStsNotSupportedModeErr : qorStsNoErr);
        EXPECT_EQ(stream.position(), writer.bits());
        EXPECT_EQ(h.record.window_sequence, 3);
        EXPECT_EQ(h.record.window_shape, 1);
        EXPECT_EQ(h.record.max_sfb, 4);
        EXPECT_EQ(h.record.scale_factor_grouping, kStale);
        EXPECT_EQ(h.record.num_window_groups, 1);
        EXPECT_THAT(h.record.window_group_length, ElementsAre(1, 0, 0, 0, 0, 0, 0, 0));
        EXPECT_EQ(h.record.ms_mask_present, 1);
        EXPECT_THAT(std::span(h.mask[0]).first(5), ElementsAre(1, 0, 1, 1, 0x5A));
        EXPECT_TRUE(same(h.record.tns[0], QorAACTnsInfo{}));
        EXPECT_EQ(h.record.ltp[0].ltp_lag, 9);
        EXPECT_THAT(std::span(h.record.ltp[0].ltp_long_used).first(6),
                    ElementsAre(1, 0, 1, 1, 0, 0));
        EXPECT_EQ(h.record.ltp[0].ltp_short_used[0], 0);  // cleared
        EXPECT_EQ(h.record.tns[1].tns_data_present, 1);
        EXPECT_EQ(h.record.tns[1].length[0], 5);
        EXPECT_EQ(h.record.tns[1].direction[0], 1);
        EXPECT_EQ(h.record.tns[1].coef[0], -7);
        EXPECT_TRUE(same(h.record.ltp[1], QorAACLtpInfo{}));
    }
}

TEST(MainHeader, OneChannelHasNoMaskAndNoSecondRecord) {
    BitWriter writer;
    writer.put(0, 2), writer.put(0, 1), writer.put(51, 6), writer.put(0, 2);
    Stream stream(writer);
    MainHeader h;
    EXPECT_EQ(qorsDecodeMainHeader_AAC(&stream.p, &stream.offset, &h.record, 1, 0), qorStsNoErr);
    EXPECT_EQ(stream.position(), writer.bits());
    EXPECT_EQ(h.record.ms_mask_present, kStale);
    EXPECT_EQ(h.mask[0][0], 0x5A);
    EXPECT_TRUE(same(h.record.tns[1], stale<QorAACTnsInfo>()));
    EXPECT_TRUE(same(h.record.ltp[1], stale<QorAACLtpInfo>()));
}

TEST(MainHeader, MaskKindsFillTheBandsOfEveryGroup) {
    for (const auto& [present, value] : {std::pair{0, 0}, {2, 1}, {3, 0}}) {
        BitWriter writer;
        writer.put(2, 2), writer.put(0, 1), writer.put(3, 4), writer.put(0b1111011, 7);
        writer.put(Qor32u(present), 2);
        writer.put(0, 4);
        Stream stream(writer);
        MainHeader h;
        EXPECT_EQ(qorsDecodeMainHeader_AAC(&stream.p, &stream.offset, &h.record, 2, 0),
                  qorStsNoErr);
        EXPECT_EQ(stream.position(), writer.bits());
        for (int row = 0; row < 8; ++row)
            for (int sfb = 0; sfb < 60; ++sfb)
                EXPECT_EQ(h.mask[row][sfb], row < 2 && sfb < 3 ? value : 0x5A);
    }
}

// 63 bands run three bytes into the second row.
TEST(MainHeader, AMaskOfMoreThanSixtyBands) {
    BitWriter writer;
    writer.put(0, 2), writer.put(0, 1), writer.put(63, 6), writer.put(2, 2), writer.put(0, 4);
    Stream stream(writer);
    MainHeader h;
    EXPECT_EQ(qorsDecodeMainHeader_AAC(&stream.p, &stream.offset, &h.record, 2, 0), qorStsNoErr);
    EXPECT_THAT(h.mask[0], Each(1));
    EXPECT_THAT(std::span(h.mask[1]).first(4), ElementsAre(1, 1, 1, 0x5A));
}

// The number of groups is right; lengths mean something only for a single group.
TEST(MainHeader, GroupsOfEveryGrouping) {
    for (Qor32u grouping = 0; grouping < 128; ++grouping) {
        BitWriter writer;
        writer.put(2, 2), writer.put(0, 1), writer.put(0, 4), writer.put(grouping, 7);
        writer.put(0, 2);
        Stream stream(writer);
        MainHeader h;
        for (Qor32s& length : h.record.window_group_length) length = 0;
        EXPECT_EQ(qorsDecodeMainHeader_AAC(&stream.p, &stream.offset, &h.record, 1, 0),
                  qorStsNoErr);
        EXPECT_EQ(h.record.num_window_groups, 8 - __builtin_popcount(grouping));
        EXPECT_EQ(h.record.scale_factor_grouping, Qor32s(grouping));

        Qor32s expected[8] = {(grouping >> 6 & 1) != 0 ? 2 : 1};
        int groups = (grouping >> 6 & 1) != 0 ? 1 : 2;
        for (int bit = 5; bit >= 0; --bit) {
            if ((grouping >> bit & 1) != 0) {
                ++expected[groups - 1];
            } else {
                expected[0] = 1;
                ++groups;
            }
        }
        EXPECT_TRUE(std::equal(expected, expected + 8, h.record.window_group_length));
        if (grouping == 127) {
            EXPECT_EQ(h.record.window_group_length[0], 8);
        }
    }
}

TEST(MainHeader, GoesOnBehindTnsDataThatAreRefused) {
    BitWriter writer;
    writer.put(0, 2), writer.put(0, 1), writer.put(1, 6);
    writer.put(1, 1), writer.put(1, 2), writer.put(0, 1), writer.put(0, 6), writer.put(20, 5);
    writer.put(1, 1), writer.put(33, 11), writer.put(0, 3), writer.put(1, 1);
    Stream stream(writer);
    MainHeader h;
    EXPECT_EQ(qorsDecodeMainHeader_AAC(&stream.p, &stream.offset, &h.record, 1, 0), qorStsNoErr);
    EXPECT_EQ(h.record.tns[0].order[0], 20);
    EXPECT_EQ(h.record.ltp[0].ltp_lag, 33);
    EXPECT_EQ(stream.position(), writer.bits());
}

TEST(MainHeader, ChecksInOrder) {
    Qor8u bytes[8]{};
    Qor8u* p = bytes;
    Qor8u* null = nullptr;
    Qor32s bad = -1, good = 0;
    MainHeader h;
    const QorAACMainHeader untouched = h.record;
    EXPECT_EQ(qorsDecodeMainHeader_AAC(nullptr, &bad, &h.record, 3, 2), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeMainHeader_AAC(&null, &bad, &h.record, 3, 2), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeMainHeader_AAC(&p, nullptr, &h.record, 3, 2), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeMainHeader_AAC(&p, &bad, nullptr, 3, 2), qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeMainHeader_AAC(&p, &bad, &h.record, 3, 2), qorStsAacBitOffsetErr);
    for (const Qor32s channels : {0, 3})
        EXPECT_EQ(qorsDecodeMainHeader_AAC(&p, &good, &h.record, channels, 2),
                  qorStsAacChannelsErr);
    for (const Qor32s flag : {-1, 2})
        EXPECT_EQ(qorsDecodeMainHeader_AAC(&p, &good, &h.record, 1, flag), qorStsAacMonoStereoErr);
    EXPECT_EQ(p, bytes);
    EXPECT_TRUE(same(h.record, untouched));
}

// --- scalable extension header ----------------------------------------------------------------

struct ExtHeader {
    ExtHeader() {
        record = stale<QorAACExtHeader>();
        std::memset(mask, 0x5A, sizeof mask);
        record.pMsUsed = mask;
    }
    QorStatus decode(Stream& stream, Qor32s monoStereo, Qor32s thisStereo, Qor32s monoLayer,
                     Qor32s preSfb, Qor32s limit, Qor32s windowSequence) {
        return qorsDecodeExtensionHeader_AAC(&stream.p, &stream.offset, &record, monoStereo,
                                             thisStereo, monoLayer, preSfb, limit, windowSequence);
    }
    QorAACExtHeader record;
    Qor8u mask[4][60];
};

TEST(ExtensionHeader, LimitOfMaxSfb) {
    for (const auto& [maxSfb, status] :
         {std::pair{60, qorStsNoErr}, {61, qorStsAacMaxSfbErr}, {63, qorStsAacMaxSfbErr}}) {
        BitWriter writer;
        writer.put(Qor32u(maxSfb), 6);
        Stream stream(writer);
        ExtHeader h;
        EXPECT_EQ(h.decode(stream, 0, 0, 0, 0, 0, 3), status);
        EXPECT_EQ(h.record.max_sfb, maxSfb);
        EXPECT_EQ(h.record.ms_mask_present, kStale);
        EXPECT_EQ(stream.position(), 6u);
    }
    BitWriter writer;
    writer.put(15, 4);
    Stream stream(writer);
    ExtHeader h;
    EXPECT_EQ(h.decode(stream, 0, 0, 0, 0, 0, 2), qorStsNoErr);
    EXPECT_EQ(h.record.max_sfb, 15);
    EXPECT_EQ(stream.position(), 4u);
}

TEST(ExtensionHeader, MaskOfTheNewBandsInOneRowOrFour) {
    for (const Qor32s windowSequence : {0, 2}) {
        const int rows = windowSequence == 2 ? 4 : 1;
        BitWriter writer;
        writer.put(7, windowSequence == 2 ? 4 : 6);
        writer.put(1, 2);
        for (int row = 0; row < rows; ++row) writer.put(Qor32u(row + 5), 4);
        Stream stream(writer);
        ExtHeader h;
        EXPECT_EQ(h.decode(stream, 0, 1, 0, 3, 51, windowSequence), qorStsNoErr);
        EXPECT_EQ(stream.position(), writer.bits());
        for (int row = 0; row < 4; ++row)
            for (int sfb = 0; sfb < 60; ++sfb)
                EXPECT_EQ(h.mask[row][sfb],
                          row < rows && sfb >= 3 && sfb < 7 ? (row + 5) >> (6 - sfb) & 1 : 0x5A);
    }
    for (const Qor32u present : {0u, 2u, 3u}) {
        BitWriter writer;
        writer.put(7, 6), writer.put(present, 2);
        Stream stream(writer);
        ExtHeader h;
        EXPECT_EQ(h.decode(stream, 0, 1, 0, 3, 51, 0), qorStsNoErr);
        EXPECT_EQ(stream.position(), 8u);
        EXPECT_EQ(h.mask[0][3], 0x5A);
    }
}

TEST(ExtensionHeader, TnsOfBothChannelsAndGoingOnBehindIt) {
    BitWriter writer;
    writer.put(2, 6);
    writer.put(1, 1), writer.put(1, 2), writer.put(0, 1), writer.put(0, 6), writer.put(13, 5);
    writer.put(0, 1);
    Stream stream(writer);
    ExtHeader h;
    EXPECT_EQ(h.decode(stream, 1, 0, 1, 0, 51, 1), qorStsNoErr);
    EXPECT_EQ(stream.position(), writer.bits());
    EXPECT_EQ(h.record.tns[0].tns_data_present, 1);
    EXPECT_EQ(h.record.tns[0].order[0], 13);
    EXPECT_EQ(h.record.tns[1].tns_data_present, 0);
    EXPECT_EQ(h.record.tns[1].n_filt[0], kStale);
    EXPECT_EQ(h.record.diff_control_lr[0][0], kStale);
}

// Bands from preSfb up to both limits, but not those in the mask's first row, packed.
TEST(ExtensionHeader, DiffControlOfALongBlock) {
    for (const auto& [limit, bands] : {std::pair{51, 6}, {8, 4}}) {
        BitWriter writer;
        writer.put(10, 6), writer.put(1, 2);
        writer.put(0b010100, 6);  // bands 4 to 9; 5 and 7 are M/S
        writer.put(bands == 6 ? 0b1011 : 0b10, bands == 6 ? 4 : 2);
        writer.put(bands == 6 ? 0b0110 : 0b01, bands == 6 ? 4 : 2);
        Stream stream(writer);
        ExtHeader h;
        EXPECT_EQ(h.decode(stream, 0, 1, 1, 4, limit, 0), qorStsNoErr);
        EXPECT_EQ(stream.position(), writer.bits());
        const auto left = std::span(h.record.diff_control_lr[0]).first(5);
        const auto right = std::span(h.record.diff_control_lr[1]).first(5);
        if (bands == 6) {
            EXPECT_THAT(left, ElementsAre(1, 0, 1, 1, kStale));
            EXPECT_THAT(right, ElementsAre(0, 1, 1, 0, kStale));
        } else {
            EXPECT_THAT(left, ElementsAre(1, 0, kStale, kStale, kStale));
            EXPECT_THAT(right, ElementsAre(0, 1, kStale, kStale, kStale));
        }
    }
}

TEST(ExtensionHeader, DiffControlOfAShortBlockStandsOnlyInTheFirstLayer) {
    for (const Qor32s preSfb : {0, 1}) {
        BitWriter writer;
        writer.put(4, 4), writer.put(0, 2);
        if (preSfb == 0) writer.put(0xA5, 8), writer.put(0x3C, 8);
        Stream stream(writer);
        ExtHeader h;
        EXPECT_EQ(h.decode(stream, 0, 1, 1, preSfb, 0, 2), qorStsNoErr);
        EXPECT_EQ(stream.position(), writer.bits());
        EXPECT_EQ(h.record.diff_control_lr[0][8], kStale);
        for (int w = 0; w < 8; ++w) {
            EXPECT_EQ(h.record.diff_control_lr[0][w], preSfb == 0 ? 0xA5 >> (7 - w) & 1 : kStale);
            EXPECT_EQ(h.record.diff_control_lr[1][w], preSfb == 0 ? 0x3C >> (7 - w) & 1 : kStale);
        }
    }
}

TEST(ExtensionHeader, ChecksInOrder) {
    struct Arguments {
        Qor32s offset, monoStereo, thisStereo, monoLayer, preSfb, limit, windowSequence;
    };
    Qor8u bytes[8]{};
    ExtHeader h;
    const QorAACExtHeader untouched = h.record;
    const auto call = [&](const Arguments& a) {
        Qor8u* p = bytes;
        Qor32s offset = a.offset;
        const QorStatus status =
            qorsDecodeExtensionHeader_AAC(&p, &offset, &h.record, a.monoStereo, a.thisStereo,
                                          a.monoLayer, a.preSfb, a.limit, a.windowSequence);
        EXPECT_EQ(p, bytes);
        EXPECT_EQ(offset, a.offset);
        return status;
    };
    Arguments a{8, 2, 2, 2, 52, 52, 4};
    EXPECT_EQ(call(a), qorStsAacBitOffsetErr);
    a.offset = 7;
    EXPECT_EQ(call(a), qorStsAacMonoStereoErr);
    a.monoStereo = -1;
    EXPECT_EQ(call(a), qorStsAacMonoStereoErr);
    a.monoStereo = 1;
    EXPECT_EQ(call(a), qorStsAacStereoLayerErr);
    a.thisStereo = -1;
    EXPECT_EQ(call(a), qorStsAacStereoLayerErr);
    a.thisStereo = 1;
    EXPECT_EQ(call(a), qorStsAacMonoLayerErr);
    a.monoLayer = -1;
    EXPECT_EQ(call(a), qorStsAacMonoLayerErr);
    a.monoLayer = 1;
    for (const Qor32s preSfb : {52, -1}) {
        a.preSfb = preSfb;
        EXPECT_EQ(call(a), qorStsAacMaxSfbErr);
    }
    a.preSfb = 51;
    for (const Qor32s limit : {52, -1}) {
        a.limit = limit;
        EXPECT_EQ(call(a), qorStsAacMaxSfbErr);
    }
    a.limit = 51;
    EXPECT_EQ(call(a), qorStsAacWinSeqErr);
    a.windowSequence = -1;
    EXPECT_EQ(call(a), qorStsAacWinSeqErr);
    EXPECT_TRUE(same(h.record, untouched));

    Qor8u* p = bytes;
    Qor8u* null = nullptr;
    Qor32s bad = 8;
    EXPECT_EQ(qorsDecodeExtensionHeader_AAC(nullptr, &bad, &h.record, 2, 2, 2, 52, 52, 4),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeExtensionHeader_AAC(&null, &bad, &h.record, 2, 2, 2, 52, 52, 4),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeExtensionHeader_AAC(&p, nullptr, &h.record, 2, 2, 2, 52, 52, 4),
              qorStsNullPtrErr);
    EXPECT_EQ(qorsDecodeExtensionHeader_AAC(&p, &bad, nullptr, 2, 2, 2, 52, 52, 4),
              qorStsNullPtrErr);
}

}  // namespace
}  // namespace qorac
