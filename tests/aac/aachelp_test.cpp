#include "aac/aachelp.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "gmock/gmock.h"
#include "reference/aacstream.h"
#include "reference/bitwriter.h"
#include "support/bitstream.h"
#include "support/memory.h"
#include "support/random.h"

namespace qorac {
namespace {

using reference::BitWriter;
using test::Guarded;
using test::Random;
using test::Stream;
using testing::Each;
using testing::ElementsAre;

// --- tables -----------------------------------------------------------------------------------

TEST(BandTables, CountsAndEnds) {
    EXPECT_THAT(_pAACNumSwbTableLong, ElementsAre(41, 41, 47, 49, 49, 51, 47, 47, 43, 43, 43, 40));
    EXPECT_THAT(_pAACNumSwbTableShort, ElementsAre(12, 12, 12, 14, 14, 14, 15, 15, 15, 15, 15, 15));
    for (std::size_t i = 0; i < 12; ++i) {
        const auto rising = [](const Qor16s* offsets, int bands, int length) {
            EXPECT_EQ(offsets[0], 0);
            EXPECT_EQ(offsets[bands], length);
            for (int sfb = 0; sfb < bands; ++sfb) {
                EXPECT_LT(offsets[sfb], offsets[sfb + 1]);
                EXPECT_EQ(offsets[sfb] % 4, 0);  // a band holds whole quadruples
            }
        };
        rising(_pAACSwbOffsetTableLong[i], _pAACNumSwbTableLong[i], 1024);
        rising(_pAACSwbOffsetTableShort[i], _pAACNumSwbTableShort[i], 128);
    }
    // One band of each table that tells it from its neighbours.
    EXPECT_EQ(_pAACSwbOffsetTableLong[0][40], 960);
    EXPECT_EQ(_pAACSwbOffsetTableLong[2][46], 984);
    EXPECT_EQ(_pAACSwbOffsetTableLong[4][48], 928);
    EXPECT_EQ(_pAACSwbOffsetTableLong[5][50], 992);
    EXPECT_EQ(_pAACSwbOffsetTableLong[7][30], 260);
    EXPECT_EQ(_pAACSwbOffsetTableLong[9][20], 196);
    EXPECT_EQ(_pAACSwbOffsetTableLong[11][20], 268);
    EXPECT_EQ(_pAACSwbOffsetTableShort[1][10], 64);
    EXPECT_EQ(_pAACSwbOffsetTableShort[5][10], 68);
    EXPECT_EQ(_pAACSwbOffsetTableShort[6][10], 52);
    EXPECT_EQ(_pAACSwbOffsetTableShort[10][8], 32);
    EXPECT_EQ(_pAACSwbOffsetTableShort[11][8], 36);
}

TEST(BandTables, BandsOfTns) {
    const Qor32s expected[12][2] = {{31, 9},  {31, 9},  {34, 10}, {40, 14}, {42, 14}, {51, 14},
                                    {46, 14}, {46, 14}, {42, 14}, {42, 14}, {42, 14}, {39, 14}};
    for (int i = 0; i < 12; ++i)
        EXPECT_THAT(_pAACTnsMaxBandTable[i], ElementsAre(expected[i][0], expected[i][1]));
}

// --- ics_info ---------------------------------------------------------------------------------

// The fields up to max_sfb and, for a long block, the predictor flag.
void putLong(BitWriter& writer, int windowSequence, int maxSfb, int predictor) {
    writer.put(1, 1);
    writer.put(Qor32u(windowSequence), 2);
    writer.put(1, 1);
    writer.put(Qor32u(maxSfb), 6);
    writer.put(Qor32u(predictor), 1);
}

QorAACIcsInfo staleIcs() {
    QorAACIcsInfo ics;
    std::memset(&ics, 0x5A, sizeof ics);
    return ics;
}
constexpr Qor32s kStale = 0x5A5A5A5A;

TEST(IcsInfo, LongWindows) {
    for (const int windowSequence : {0, 1, 3}) {
        for (int start = 0; start < 8; ++start) {
            BitWriter writer;
            writer.put(0, start);
            putLong(writer, windowSequence, 51, 0);
            Stream stream(writer, start);
            QorAACIcsInfo ics = staleIcs();
            EXPECT_EQ(ownsUnpackIcsInfo_AAC(&stream.p, &stream.offset, &ics, 41), qorStsNoErr);
            EXPECT_EQ(ics.ics_reserved_bit, 1);
            EXPECT_EQ(ics.window_sequence, windowSequence);
            EXPECT_EQ(ics.window_shape, 1);
            EXPECT_EQ(ics.max_sfb, 51);
            EXPECT_EQ(ics.predictor_data_present, 0);
            EXPECT_EQ(ics.predictor_reset, 0);
            EXPECT_EQ(ics.num_window_groups, 1);
            EXPECT_EQ(ics.window_group_length[0], 1);
            EXPECT_EQ(ics.scale_factor_grouping, kStale);
            EXPECT_EQ(ics.prediction_used[0], 0x5A);
            EXPECT_EQ(stream.position(), writer.bits());
        }
    }
}

TEST(IcsInfo, EveryGroupingOfShortWindows) {
    for (Qor32u grouping = 0; grouping < 128; ++grouping) {
        BitWriter writer;
        writer.put(0b0100, 4);  // reserved bit, eight short, sine
        writer.put(15, 4);
        writer.put(grouping, 7);
        Stream stream(writer);
        QorAACIcsInfo ics = staleIcs();
        EXPECT_EQ(ownsUnpackIcsInfo_AAC(&stream.p, &stream.offset, &ics, 0), qorStsNoErr);
        std::vector<int> groups{1};
        for (int window = 1; window < 8; ++window) {
            if ((grouping >> (7 - window) & 1) != 0)
                ++groups.back();
            else
                groups.push_back(1);
        }
        EXPECT_EQ(ics.max_sfb, 15);
        EXPECT_EQ(ics.scale_factor_grouping, Qor32s(grouping));
        EXPECT_EQ(ics.predictor_data_present, 0);
        EXPECT_EQ(ics.predictor_reset, kStale);
        ASSERT_EQ(ics.num_window_groups, Qor32s(groups.size()));
        EXPECT_TRUE(std::equal(groups.begin(), groups.end(), ics.window_group_length));
        EXPECT_EQ(stream.position(), 15u);
    }
}

TEST(IcsInfo, ARefusedMaxSfbIsStored) {
    BitWriter writer;
    putLong(writer, 0, 52, 1);
    for (const bool mpeg4 : {false, true}) {
        Stream stream(writer);
        QorAACIcsInfo ics = staleIcs();
        const QorStatus status =
            mpeg4 ? ownsUnpackIcsInfo_MP4_AAC(&stream.p, &stream.offset, nullptr, &ics, 0, 2, 0)
                  : ownsUnpackIcsInfo_AAC(&stream.p, &stream.offset, &ics, 0);
        EXPECT_EQ(status, qorStsAacMaxSfbErr);
        EXPECT_EQ(ics.max_sfb, 52);
        EXPECT_EQ(ics.predictor_data_present, 0);
        EXPECT_EQ(ics.num_window_groups, kStale);
        EXPECT_EQ(stream.position(), 10u);
    }
}

// Flags are read below the smaller of max_sfb and predSfbMax, zeros follow up to predSfbMax, and
// neither passes the 41 entries.
TEST(IcsInfo, PredictorData) {
    struct Case {
        int maxSfb, predSfbMax, read;
    };
    for (const Case& c :
         {Case{20, 41, 20}, Case{41, 30, 30}, Case{51, 51, 51}, Case{30, 51, 30}, Case{10, 0, 0}}) {
        for (const bool reset : {false, true}) {
            BitWriter writer;
            putLong(writer, 1, c.maxSfb, 1);
            writer.put(reset ? 1 : 0, 1);
            if (reset) writer.put(29, 5);
            for (int i = 0; i < c.read; ++i) writer.put(i % 3 == 0 ? 1 : 0, 1);
            for (const bool mpeg4 : {false, true}) {
                Stream stream(writer);
                QorAACIcsInfo ics = staleIcs();
                const QorStatus status =
                    mpeg4 ? ownsUnpackIcsInfo_MP4_AAC(&stream.p, &stream.offset, nullptr, &ics,
                                                      c.predSfbMax, 1, 1)
                          : ownsUnpackIcsInfo_AAC(&stream.p, &stream.offset, &ics, c.predSfbMax);
                EXPECT_EQ(status, qorStsNoErr);
                EXPECT_EQ(stream.position(), writer.bits());
                EXPECT_EQ(ics.predictor_data_present, 1);
                EXPECT_EQ(ics.predictor_reset, reset ? 1 : 0);
                EXPECT_EQ(ics.predictor_reset_group_number, reset ? 29 : kStale);
                for (int i = 0; i < 41; ++i) {
                    const int expected = i < c.read         ? (i % 3 == 0 ? 1 : 0)
                                         : i < c.predSfbMax ? 0
                                                            : 0x5A;
                    EXPECT_EQ(ics.prediction_used[i], expected) << i;
                }
                EXPECT_EQ(ics.num_window_groups, 1);  // the field behind the flags
            }
        }
    }
}

// --- LTP --------------------------------------------------------------------------------------

TEST(Ltp, LongBlock) {
    const Qor32s coefs[] = {9352, 11413, 13320, 14931, 16137, 17496, 19572, 22438};
    for (const int maxSfb : {0, 1, 39, 40, 51}) {
        for (int index = 0; index < 8; ++index) {
            const int flags = std::min(maxSfb, 40);
            BitWriter writer;
            writer.put(0x5A3, 11);
            writer.put(Qor32u(index), 3);
            for (int i = 0; i < flags; ++i) writer.put(i % 2 == 0 ? 1 : 0, 1);
            Stream stream(writer);
            QorAACMainHeader header{};
            header.max_sfb = maxSfb;
            QorAACLtpInfo ltp;
            std::memset(&ltp, 0x5A, sizeof ltp);
            ltp.ltp_data_present = 1;
            ownsDecodeLtpData_AAC(&stream.p, &stream.offset, &header, &ltp);
            EXPECT_EQ(ltp.ltp_lag, 0x5A3);
            EXPECT_EQ(ltp.ltp_coef, coefs[index]);
            EXPECT_EQ(ltp.ltp_long_used[0], 1);
            for (int sfb = 0; sfb < 40; ++sfb)
                EXPECT_EQ(ltp.ltp_long_used[sfb + 1], sfb < flags && sfb % 2 == 0 ? 1 : 0);
            EXPECT_THAT(ltp.reserved, Each(kStale));
            EXPECT_THAT(ltp.ltp_short_used, Each(kStale));
            EXPECT_EQ(stream.position(), writer.bits());
        }
    }
}

TEST(Ltp, ShortBlock) {
    BitWriter writer;
    writer.put(100, 11);
    writer.put(0, 3);
    writer.put(0, 1);                        // window 0 unused
    writer.put(1, 1);                        // window 1: the first one has the lag itself
    writer.put(0b11, 2), writer.put(0, 5);   // window 2: 100 - 0 + 16
    writer.put(0b10, 2);                     // window 3: the lag of window 2
    writer.put(0, 2);                        // windows 4, 5 unused
    writer.put(0b11, 2), writer.put(31, 5);  // window 6: 116 - 31 + 16
    writer.put(0, 1);                        // window 7 unused
    Stream stream(writer);
    QorAACMainHeader header{};
    header.window_sequence = 2;
    header.max_sfb = 12;
    QorAACLtpInfo ltp;
    std::memset(&ltp, 0x5A, sizeof ltp);
    ownsDecodeLtpData_AAC(&stream.p, &stream.offset, &header, &ltp);
    EXPECT_THAT(ltp.ltp_short_used, ElementsAre(0, 1, 1, 1, 0, 0, 1, 0));
    EXPECT_THAT(ltp.ltp_short_lag_present, ElementsAre(kStale, 0, 1, 0, kStale, kStale, 1, kStale));
    EXPECT_THAT(ltp.ltp_short_lag, ElementsAre(100, 100, 116, 116, kStale, kStale, 101, kStale));
    EXPECT_THAT(ltp.ltp_long_used, Each(kStale));
    EXPECT_EQ(stream.position(), writer.bits());
}

// In every object type but 1 the predictor flag announces LTP data: of one channel, or of two.
TEST(Ltp, InsideIcsInfo) {
    for (const int commonWin : {0, 1}) {
        for (const int objectType : {0, 2, 4, 16}) {
            BitWriter writer;
            putLong(writer, 3, 2, 1);
            writer.put(1, 1);  // ltp_data_present of channel 0
            writer.put(77, 11);
            writer.put(7, 3);
            writer.put(0b01, 2);
            if (commonWin != 0) writer.put(0, 1);
            Stream stream(writer);
            QorAACIcsInfo ics = staleIcs();
            QorAACMainHeader header{};
            header.ltp[0].ltp_data_present = header.ltp[1].ltp_data_present = 5;
            EXPECT_EQ(ownsUnpackIcsInfo_MP4_AAC(&stream.p, &stream.offset, &header, &ics, 40,
                                                objectType, commonWin),
                      qorStsNoErr);
            EXPECT_EQ(header.max_sfb, 2);
            EXPECT_EQ(header.window_sequence, 3);
            EXPECT_EQ(header.ltp[0].ltp_data_present, 1);
            EXPECT_EQ(header.ltp[0].ltp_lag, 77);
            EXPECT_EQ(header.ltp[0].ltp_long_used[2], 1);
            EXPECT_EQ(header.ltp[1].ltp_data_present, 0);
            EXPECT_EQ(ics.prediction_used[0], 0x5A);
            EXPECT_EQ(stream.position(), writer.bits());
        }
    }
}

TEST(Ltp, AMissingMainHeaderIsToldOnlyWhenNeeded) {
    for (const int present : {0, 1}) {
        BitWriter writer;
        putLong(writer, 0, 2, present);
        writer.put(0, 32);
        Stream stream(writer);
        QorAACIcsInfo ics = staleIcs();
        EXPECT_EQ(ownsUnpackIcsInfo_MP4_AAC(&stream.p, &stream.offset, nullptr, &ics, 40, 2, 1),
                  present != 0 ? qorStsNullPtrErr : qorStsNoErr);
        EXPECT_EQ(stream.position(), 11u);
    }
}

// --- sections ---------------------------------------------------------------------------------

struct Sections {
    QorStatus status;
    Qor8u codeBook[120], end[120];
    Qor32s count[8];
    std::vector<Qor8u> bandBook;
    std::size_t bits;
};

Sections decodeSections(const BitWriter& writer, Qor32s maxSfb, Qor32s windowSequence,
                        Qor32s groups) {
    Sections s;
    std::memset(&s.codeBook, 0x5A, sizeof s.codeBook);
    std::memset(&s.end, 0x5A, sizeof s.end);
    std::fill_n(s.count, 8, kStale);
    Guarded<Qor8u> bandBook(std::size_t(maxSfb * groups));  // not an entry more
    std::fill(bandBook.span().begin(), bandBook.span().end(), Qor8u(0x5A));
    Stream stream(writer);
    s.status = ownsDecodeSectData_AAC(&stream.p, &stream.offset, maxSfb, windowSequence, groups,
                                      s.codeBook, s.end, s.count, bandBook.data());
    s.bandBook = bandBook.copy();
    s.bits = stream.position();
    return s;
}

TEST(Sections, NoBandsNoSections) {
    const Sections s = decodeSections(BitWriter(), 0, 2, 3);
    EXPECT_EQ(s.status, qorStsNoErr);
    EXPECT_THAT(s.count, ElementsAre(0, 0, 0, kStale, kStale, kStale, kStale, kStale));
    EXPECT_EQ(s.bits, 0u);
}

TEST(Sections, AnEscapeValueNeedsAnotherLengthField) {
    BitWriter writer;
    writer.put(4, 4), writer.put(31, 5), writer.put(0, 5);
    writer.put(9, 4), writer.put(9, 5);
    const Sections s = decodeSections(writer, 40, 0, 1);
    EXPECT_EQ(s.status, qorStsNoErr);
    EXPECT_EQ(s.count[0], 2);
    EXPECT_EQ(s.end[0], 31);
    EXPECT_EQ(s.end[1], 40);
    EXPECT_THAT(std::span(s.bandBook).first(31), Each(4));
    EXPECT_THAT(std::span(s.bandBook).last(9), Each(9));
    EXPECT_EQ(s.bits, writer.bits());
}

TEST(Sections, ArraysRunOnAcrossGroupsAndEndsBeginAnew) {
    BitWriter writer;
    writer.put(1, 4), writer.put(7, 3), writer.put(1, 3);  // group 0: 8 bands
    writer.put(2, 4), writer.put(3, 3);                    // group 1: 3 + 5
    writer.put(15, 4), writer.put(5, 3);
    const Sections s = decodeSections(writer, 8, 2, 2);
    EXPECT_EQ(s.status, qorStsNoErr);
    EXPECT_THAT(std::span(s.count).first(3), ElementsAre(1, 2, kStale));
    EXPECT_THAT(std::span(s.codeBook).first(4), ElementsAre(1, 2, 15, 0x5A));
    EXPECT_THAT(std::span(s.end).first(4), ElementsAre(8, 3, 8, 0x5A));
    EXPECT_THAT(s.bandBook, ElementsAre(1, 1, 1, 1, 1, 1, 1, 1, 2, 2, 2, 15, 15, 15, 15, 15));
}

TEST(Sections, AnOverrunStopsAndKeepsTheBandsSoFar) {
    BitWriter writer;
    writer.put(3, 4), writer.put(10, 5);
    writer.put(5, 4), writer.put(31, 5), writer.put(31, 5);  // 10 + 31 > 20: no third field
    writer.put(0, 32);
    const Sections s = decodeSections(writer, 20, 0, 1);
    EXPECT_EQ(s.status, qorStsAacSectionErr);
    EXPECT_THAT(std::span(s.bandBook).first(10), Each(3));
    EXPECT_THAT(std::span(s.bandBook).last(10), Each(5));
    EXPECT_EQ(s.end[1], 41);
    EXPECT_EQ(s.count[0], kStale);
    EXPECT_EQ(s.bits, 9u + 9u);
}

// A further length field is read while the sum still fits, the last band included.
TEST(Sections, EscapesGoOnUpToTheLastBand) {
    BitWriter writer;
    writer.put(3, 4), writer.put(31, 5), writer.put(31, 5), writer.put(0, 32);
    EXPECT_EQ(decodeSections(writer, 31, 0, 1).bits, 14u);
    EXPECT_EQ(decodeSections(writer, 31, 0, 1).status, qorStsAacSectionErr);
    EXPECT_EQ(decodeSections(writer, 30, 0, 1).bits, 9u);
}

TEST(Sections, EmptySectionsAreLegalUpToOneHundredAndTwentyInAll) {
    for (const int empty : {118, 119}) {
        BitWriter writer;
        writer.put(0, 4), writer.put(1, 5);
        for (int i = 0; i < empty; ++i) writer.put(7, 4), writer.put(0, 5);
        writer.put(6, 4), writer.put(1, 5);
        const Sections s = decodeSections(writer, 2, 0, 1);
        EXPECT_EQ(s.status, empty == 118 ? qorStsNoErr : qorStsAacSectionErr);
        EXPECT_EQ(s.bits, 120u * 9);
        EXPECT_EQ(s.count[0], empty == 118 ? 120 : kStale);
        EXPECT_EQ(s.bandBook[1], empty == 118 ? 6 : 0x5A);
    }
}

// --- pulses -----------------------------------------------------------------------------------

TEST(Pulses, FieldsAndStartBand) {
    for (const int startSfb : {0, 51, 52, 63}) {
        BitWriter writer;
        writer.put(2, 2);
        writer.put(Qor32u(startSfb), 6);
        for (const auto& [offset, amp] : {std::pair{31, 15}, {0, 1}, {7, 0}})
            writer.put(Qor32u(offset), 5), writer.put(Qor32u(amp), 4);
        Stream stream(writer);
        Qor32s number = -1, start = -1;
        std::array<Qor32s, 4> offsets{-1, -1, -1, -1}, amps{-1, -1, -1, -1};
        const QorStatus status = ownsDecodePulseData_AAC(&stream.p, &stream.offset, &number, &start,
                                                         offsets.data(), amps.data());
        EXPECT_EQ(number, 3);
        EXPECT_EQ(start, startSfb);
        if (startSfb > 51) {
            EXPECT_EQ(status, qorStsAacPulseErr);
            EXPECT_EQ(stream.position(), 8u);
            EXPECT_THAT(offsets, Each(-1));
        } else {
            EXPECT_EQ(status, qorStsNoErr);
            EXPECT_EQ(stream.position(), writer.bits());
            EXPECT_THAT(offsets, ElementsAre(31, 0, 7, -1));
            EXPECT_THAT(amps, ElementsAre(15, 1, 0, -1));
        }
    }
}

TEST(Pulses, AddAwayFromZeroAndBelowIt) {
    std::vector<Qor32s> spectrum(1024);
    spectrum[932] = 5;
    spectrum[933] = -5;
    const Qor32s offset[] = {4, 1, 1, 0}, amp[] = {3, 3, 3, 2};
    EXPECT_EQ(
        ownsAddPulseData_AAC(spectrum.data(), 4, 48, offset, amp, _pAACSwbOffsetTableLong[3], 1024),
        qorStsNoErr);
    EXPECT_EQ(spectrum[932], 8);
    EXPECT_EQ(spectrum[933], -8);
    EXPECT_EQ(spectrum[934], -5);  // 0 goes to -3, and that to -5
}

TEST(Pulses, BehindTheLastCoefficient) {
    std::vector<Qor32s> spectrum(1024);
    const Qor32s offset[] = {31, 31, 2, 0}, amp[] = {1, 2, 3, 4};
    EXPECT_EQ(
        ownsAddPulseData_AAC(spectrum.data(), 4, 40, offset, amp, _pAACSwbOffsetTableLong[0], 1024),
        qorStsAacPulseErr);
    EXPECT_EQ(spectrum[991], -1);
    EXPECT_EQ(spectrum[1022], -2);
    EXPECT_EQ(spectrum[1023], 0);
}

// --- TNS --------------------------------------------------------------------------------------

struct Tns {
    Tns() { std::memset(&info, 0x5A, sizeof info); }
    QorAACTnsInfo info;
};

QorStatus decodeTns(Stream& stream, Qor32s windowSequence, QorAACTnsInfo& tns) {
    return ownsDecodeTnsData_AAC(&stream.p, &stream.offset, windowSequence, tns.n_filt,
                                 tns.coef_res, tns.length, tns.order, tns.direction, tns.coef);
}

TEST(TnsData, OrderLimits) {
    struct Case {
        int windowSequence, order;
        bool fits;
    };
    for (const Case& c : {Case{0, 12, true}, Case{0, 13, false}, Case{3, 31, false},
                          Case{2, 7, true}, Case{1, 12, true}}) {
        BitWriter writer;
        const bool isShort = c.windowSequence == 2;
        writer.put(1, isShort ? 1 : 2);
        writer.put(0, 1);
        writer.put(3, isShort ? 4 : 6);
        writer.put(Qor32u(c.order), isShort ? 3 : 5);
        const std::size_t refused = writer.bits();
        writer.put(0b10, 2);
        for (int i = 0; i < c.order; ++i) writer.put(0b100, 3);
        if (isShort) writer.put(0, 7);
        Stream stream(writer);
        Tns tns;
        EXPECT_EQ(decodeTns(stream, c.windowSequence, tns.info),
                  c.fits ? qorStsNoErr : qorStsAacTnsOrderErr);
        EXPECT_EQ(tns.info.order[0], c.order);
        EXPECT_EQ(tns.info.direction[0], c.fits ? 1 : kStale);
        EXPECT_EQ(tns.info.coef[0], c.fits ? -4 : 0x5A);
        EXPECT_EQ(stream.position(), c.fits ? writer.bits() : refused);
    }
}

TEST(TnsData, ArraysArePackedFilterByFilter) {
    BitWriter writer;
    writer.put(3, 2), writer.put(1, 1);  // three filters of 4-bit coefficients
    writer.put(10, 6), writer.put(2, 5), writer.put(0b00, 2);
    writer.put(0b1000, 4), writer.put(0b0111, 4);
    writer.put(20, 6), writer.put(0, 5);  // no direction, no coefficients
    writer.put(30, 6), writer.put(3, 5), writer.put(0b11, 2);
    writer.put(0b111, 3), writer.put(0b011, 3), writer.put(0b100, 3);
    Stream stream(writer);
    Tns tns;
    EXPECT_EQ(decodeTns(stream, 0, tns.info), qorStsNoErr);
    EXPECT_EQ(tns.info.n_filt[0], 3);
    EXPECT_EQ(tns.info.coef_res[0], 4);
    EXPECT_THAT(std::span(tns.info.length).first(4), ElementsAre(10, 20, 30, kStale));
    EXPECT_THAT(std::span(tns.info.order).first(4), ElementsAre(2, 0, 3, kStale));
    EXPECT_THAT(std::span(tns.info.direction).first(3), ElementsAre(0, 1, kStale));
    EXPECT_THAT(std::span(tns.info.coef).first(6), ElementsAre(-8, 7, -1, 3, -4, 0x5A));
    EXPECT_EQ(stream.position(), writer.bits());
}

TEST(TnsData, RandomDataOfAllKindsReadBack) {
    Random random(7);
    for (int run = 0; run < 400; ++run) {
        const bool isShort = run % 2 == 0;
        reference::Channel channel;
        do {
            channel = reference::randomChannel(random, std::span(_pAACSwbOffsetTableLong[3], 50),
                                               std::span(_pAACSwbOffsetTableShort[3], 15), false);
        } while (!channel.tns || channel.isShort() != isShort);
        BitWriter writer;
        const int start = run % 8;
        writer.put(0, start);
        reference::putTns(writer, *channel.tns);
        Stream stream(writer, start);
        Tns tns;
        EXPECT_EQ(decodeTns(stream, channel.windowSequence, tns.info), qorStsNoErr);
        EXPECT_EQ(stream.position(), writer.bits());
        std::size_t filters = 0, directions = 0, coefs = 0;
        for (std::size_t w = 0; w < channel.tns->size(); ++w) {
            const reference::TnsWindow& window = (*channel.tns)[w];
            EXPECT_EQ(tns.info.n_filt[w], Qor32s(window.filters.size()));
            EXPECT_EQ(tns.info.coef_res[w], window.filters.empty() ? kStale : window.coefRes);
            for (const reference::TnsFilter& filter : window.filters) {
                EXPECT_EQ(tns.info.length[filters], filter.length);
                EXPECT_EQ(tns.info.order[filters++], filter.order);
                if (filter.order > 0) {
                    EXPECT_EQ(tns.info.direction[directions++], filter.direction);
                }
                for (const int coef : filter.coef) EXPECT_EQ(tns.info.coef[coefs++], coef);
            }
        }
    }
}

}  // namespace
}  // namespace qorac
