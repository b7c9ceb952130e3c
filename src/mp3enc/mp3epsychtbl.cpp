#include "mp3enc/mp3epsychtbl.h"

#include "frame/constmath.h"
#include "frame/fixed.h"

namespace qorac {
namespace {

// A scale factor band begins in this partition; the share of the partition above the boundary in
// thousandths, as the standard prints it.
struct Boundary {
    int partition;
    int share;
};

// `count` partitions with the same value.
struct Run {
    Qor32s value;
    int count;
};

constexpr Qor16s pPsyPartitionTableLong44100[] = {
    0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,
    17,  19,  21,  23,  25,  27,  29,  31,  33,  35,  37,  39,  41,  44,  47,  50,
    53,  56,  59,  62,  66,  70,  74,  79,  84,  89,  95,  101, 108, 115, 122, 131,
    140, 149, 159, 169, 180, 194, 208, 223, 243, 263, 284, 311, 338, 374, 447, 465};
constexpr Qor16s pPsyPartitionTableLong48000[] = {
    0,   1,   2,   3,   4,   5,   6,   7,   8,   9,   10,  11,  12,  13,  14,  15,
    16,  18,  20,  22,  24,  26,  28,  30,  32,  34,  36,  38,  40,  42,  45,  48,
    51,  54,  57,  61,  65,  69,  73,  77,  82,  87,  92,  98,  105, 112, 120, 128,
    136, 146, 156, 166, 179, 192, 206, 224, 242, 262, 287, 312, 347, 414, 481};
constexpr Qor16s pPsyPartitionTableLong32000[] = {
    0,   2,   4,   6,   8,   10,  12,  14,  16,  18,  20,  22,  24,  26,  28,
    30,  32,  34,  36,  39,  42,  45,  48,  51,  54,  57,  60,  63,  67,  71,
    75,  80,  85,  90,  95,  100, 106, 112, 118, 126, 134, 142, 152, 162, 172,
    184, 196, 209, 223, 237, 253, 273, 293, 316, 343, 370, 402, 439, 476, 488};
constexpr Qor16s pPsyPartitionTableShort44100[] = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
    21, 23, 25, 27, 29, 31, 34, 37, 40, 43, 46, 50, 54, 59, 64, 69, 76, 83, 90, 109};
constexpr Qor16s pPsyPartitionTableShort48000[] = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19,
    21, 23, 25, 27, 29, 31, 33, 36, 39, 42, 46, 50, 55, 60, 65, 72, 79, 90, 107};
constexpr Qor16s pPsyPartitionTableShort32000[] = {
    0,  1,  2,  3,  4,  5,  6,  7,  8,  9,  10, 11, 12, 13, 14, 15, 16, 17, 18, 19,  21, 23,
    25, 27, 29, 31, 33, 35, 38, 41, 44, 47, 50, 54, 58, 62, 67, 72, 78, 85, 92, 100, 110};

constexpr Qor64s pQuietThresholdLong44100[] = {
    893292, 893292, 34683, 6653,  2742,   1566,    1061,     795,       637,  533,   461,
    408,    367,    336,   310,   544,    489,     446,      412,       384,  360,   338,
    318,    300,    282,   265,   248,    231,     310,      274,       240,  209,   180,
    155,    134,    149,   128,   114,    133,     133,      139,       189,  240,   372,
    522,    705,    1159,  1490,  1854,   2562,    3319,     4788,      8144, 11155, 14876,
    22639,  25430,  33739, 73905, 241511, 1775830, 78371400, 3490730000};
constexpr Qor64s pQuietThresholdLong48000[] = {
    893292, 893292, 23467, 5015,   2191,    1298,      902,        689,  559,   473,   413,
    368,    334,    307,   285,    267,     477,       434,        400,  371,   347,   324,
    304,    284,    265,   247,    229,     211,       194,        253,  217,   185,   158,
    134,    147,    125,   112,    106,     106,       138,        159,  197,   306,   490,
    685,    1027,   1312,  1621,   2501,    3311,      4447,       7692, 10524, 14045, 20530,
    23021,  32362,  71205, 241043, 1939620, 104272000, 12993300000};
constexpr Qor64s pQuietThresholdLong32000[] = {
    1786580, 46934, 7243,  3022,  1804,  1278,  998,   827,   712,    631,    570,    523,
    485,     454,   428,   405,   385,   367,   514,   481,   451,    422,    394,    366,
    339,     312,   286,   337,   295,   256,   268,   224,   190,    164,    147,    162,
    160,     161,   230,   275,   354,   588,   828,   1108,  1682,   2116,   2823,   3835,
    5012,    7546,  12706, 17173, 23985, 31695, 36021, 57212, 134177, 506989, 1032010};
constexpr Qor64s pQuietThresholdShort44100[] = {
    25181, 77, 18, 10, 8, 6,  5,  5,  4,  4,  3,  3,   2,   2,   2,   1,   1,    1,    1,     2,
    2,     2,  3,  4,  6, 12, 16, 21, 29, 40, 72, 100, 152, 172, 204, 424, 1232, 6377, 154800};
constexpr Qor64s pQuietThresholdShort48000[] = {
    25181, 62, 16, 9, 7, 6, 5,  4,  4,  3,  3,  2,   2,   2,   1,   1,   1,    1,     1,
    2,     2,  3,  4, 6, 8, 10, 19, 26, 38, 70, 100, 154, 175, 220, 522, 2020, 23840, 3443830};
constexpr Qor64s pQuietThresholdShort32000[] = {
    25181, 210, 32, 16, 11, 8, 7, 6, 6,  5,  5,  4,  4,  4,  3,  3,   3,   2,   2,   3,   2,
    2,     2,   2,  2,  2,  2, 5, 7, 10, 13, 16, 26, 35, 48, 82, 113, 170, 228, 258, 391, 966};

constexpr Boundary kBoundariesLong44100[] = {
    {0, 1000}, {4, 944},  {7, 389},  {11, 833}, {14, 278}, {17, 861}, {18, 83},  {21, 417},
    {24, 750}, {27, 194}, {30, 426}, {33, 463}, {36, 180}, {40, 900}, {43, 532}, {46, 376},
    {49, 550}, {52, 448}, {55, 597}, {57, 357}, {59, 278}, {61, 40}};
constexpr Boundary kBoundariesLong48000[] = {
    {0, 1000}, {4, 944},  {7, 389},  {11, 833}, {14, 278}, {17, 361}, {19, 583}, {22, 917},
    {24, 250}, {27, 583}, {30, 352}, {33, 389}, {36, 375}, {40, 856}, {43, 611}, {46, 840},
    {49, 783}, {52, 816}, {54, 114}, {57, 687}, {59, 548}, {60, 92}};
constexpr Boundary kBoundariesLong32000[] = {
    {0, 1000}, {2, 472},  {4, 694},  {6, 917},  {7, 139},  {9, 361},  {11, 583}, {14, 917},
    {16, 250}, {19, 130}, {22, 167}, {26, 611}, {30, 522}, {34, 967}, {37, 83},  {41, 383},
    {44, 5},   {48, 726}, {51, 519}, {54, 739}, {56, 116}, {58, 0}};
constexpr Boundary kBoundariesShort44100[] = {{0, 1000}, {3, 833},  {5, 167},  {8, 500},  {11, 833},
                                              {15, 833}, {20, 750}, {23, 417}, {27, 944}, {30, 625},
                                              {33, 700}, {36, 833}, {38, 0}};
constexpr Boundary kBoundariesShort48000[] = {{0, 1000}, {3, 833},  {5, 167}, {8, 500}, {11, 833},
                                              {15, 833}, {19, 417}, {22, 83}, {26, 55}, {30, 958},
                                              {32, 433}, {35, 833}, {37, 382}};
constexpr Boundary kBoundariesShort32000[] = {{0, 1000}, {3, 833},  {5, 167},  {8, 500},  {11, 833},
                                              {15, 833}, {20, 750}, {24, 750}, {29, 944}, {33, 625},
                                              {37, 528}, {40, 62},  {41, 0}};

constexpr Run kSmrShort44100[] = {{322053827, 10}, {386570678, 10}, {429466664, 10},
                                  {536946073, 4},  {644212882, 4},  {0, 1}};
constexpr Run kSmrShort48000[] = {{322053827, 10}, {386570678, 10}, {429466664, 10},
                                  {536946073, 4},  {644212882, 3},  {0, 1}};
constexpr Run kSmrShort32000[] = {{322053827, 10}, {386570678, 10}, {429466664, 10}, {536946073, 4},
                                  {644212882, 4},  {751675111, 2},  {858875347, 1},  {0, 1}};

// Position of a frequency on the Bark scale.
constexpr long double bark(long double frequency) {
    const long double ratio = frequency / 7500;
    return 13 * constmath::atan(0.00076L * frequency) + 3.5L * constmath::atan(ratio * ratio);
}

// Mean of the positions of the first and the last line of a partition of a spectrum of `size`
// samples.
template <std::size_t count>
constexpr std::array<long double, count - 1> positions(const Qor16s (&partition)[count],
                                                       int frequency, int size) {
    std::array<long double, count - 1> z{};
    for (std::size_t b = 0; b + 1 < count; ++b) {
        const long double line = static_cast<long double>(frequency) / size;
        z[b] = (bark(partition[b] * line) + bark((partition[b + 1] - 1) * line)) / 2;
    }
    return z;
}

// Q31 of a fraction below 1, truncated.
constexpr Qor32s q31(long double x) { return static_cast<Qor32s>(x * 0x1p31L); }

// Level in dB at which a tone that lies d Bark above (d < 0: below) a partition masks it.
constexpr long double spreadingLevel(long double d) {
    const long double x = d >= 0 ? 3 * d : 1.5L * d;
    const long double dip = (x - 0.5L) * (x - 0.5L) - 2 * (x - 0.5L);
    const long double y = x + 0.474L;
    return 8 * (dip < 0 ? dip : 0) + 15.811389L + 7.5L * y - 17.5L * constmath::sqrt(1 + y * y);
}

// Rows of the spreading function down to -60 dB, each divided by its sum.
template <std::size_t count, std::size_t boundSize, std::size_t packedSize>
constexpr void spread(const std::array<long double, count>& z, std::array<Qor16s, boundSize>& bound,
                      std::array<Qor32s, packedSize>& packed) {
    constexpr long double kLowestLevel = -60;
    std::size_t used = 0;
    for (std::size_t b = 0; b < count; ++b) {
        std::size_t lo = 0;
        while (spreadingLevel(z[lo] - z[b]) < kLowestLevel) ++lo;
        std::array<long double, count> row{};
        long double sum = 0;
        std::size_t hi = lo;
        for (; hi < count; ++hi) {
            const long double level = spreadingLevel(z[hi] - z[b]);
            if (level < kLowestLevel) break;
            row[hi] = constmath::exp10(level / 10);
            sum += row[hi];
        }
        for (std::size_t j = lo; j < hi; ++j) packed[used++] = q31(row[j] / sum);
        bound[2 * b] = static_cast<Qor16s>(lo);
        bound[2 * b + 1] = static_cast<Qor16s>(hi);
    }
}

// 10^(1.5 (1 - cos(pi z / 15.5)) - 3) below 15.5 Bark, 1 from there on.
template <std::size_t count, std::size_t size>
constexpr void maskingDifference(const std::array<long double, count>& z,
                                 std::array<Qor32s, size>& ratio) {
    constexpr long double kEnd = 15.5L;
    for (std::size_t b = 0; b < count; ++b) {
        const auto steps = static_cast<long long>(z[b] / kEnd * 0x1p60L);
        const long double cosine = constmath::cosPi(steps, 1ll << 60);
        ratio[b] = z[b] < kEnd ? q31(constmath::exp10(1.5L * (1 - cosine) - 3)) : kMax32s;
    }
}

template <std::size_t count, std::size_t size, typename T>
constexpr void copy(const T (&from)[count], std::array<T, size>& to) {
    for (std::size_t i = 0; i < count; ++i) to[i] = from[i];
}

template <std::size_t count>
constexpr void boundaries(const Boundary (&list)[count], std::array<Qor8u, count>& partition,
                          std::array<Qor32s, count>& share) {
    for (std::size_t s = 0; s < count; ++s) {
        partition[s] = static_cast<Qor8u>(list[s].partition);
        share[s] = list[s].share == 1000 ? kMax32s : q31(list[s].share / 1000.0L);
    }
}

template <std::size_t count, std::size_t size>
constexpr void runs(const Run (&list)[count], std::array<Qor32s, size>& to) {
    std::size_t b = 0;
    for (const Run& run : list) {
        for (int i = 0; i < run.count; ++i) to[b++] = run.value;
    }
}

template <std::size_t longCount, std::size_t shortCount, std::size_t runCount>
constexpr PsyTables makeTables(int frequency, const Qor16s (&partitionLong)[longCount],
                               const Qor16s (&partitionShort)[shortCount],
                               const Qor64s (&quietLong)[longCount - 1],
                               const Qor64s (&quietShort)[shortCount - 1],
                               const Boundary (&boundariesLong)[kSfbLong + 1],
                               const Boundary (&boundariesShort)[kSfbShort + 1],
                               const Run (&smrShort)[runCount]) {
    PsyTables t{};
    copy(partitionLong, t.pPsyPartitionTableLong);
    copy(partitionShort, t.pPsyPartitionTableShort);
    t.numPartLong = longCount - 1;
    t.numPartShort = shortCount - 1;
    const auto zLong = positions(partitionLong, frequency, 1024);
    const auto zShort = positions(partitionShort, frequency, 256);
    spread(zLong, t.pSprdngBoundLong, t.pSprdngPackedLong);
    spread(zShort, t.pSprdngBoundShort, t.pSprdngPackedShort);
    maskingDifference(zLong, t.pBMLDRatioLong);
    maskingDifference(zShort, t.pBMLDRatioShort);
    copy(quietLong, t.pQuietThresholdLong);
    copy(quietShort, t.pQuietThresholdShort);
    boundaries(boundariesLong, t.pPartToSfbBuoLong, t.pPartToSfbWeightLong);
    boundaries(boundariesShort, t.pPartToSfbBuoShort, t.pPartToSfbWeightShort);
    runs(smrShort, t.pSMRShort);
    return t;
}

// 32768 sin^2, half a sample off the edge.
template <std::size_t size>
constexpr std::array<Qor16s, size> hannWindow() {
    return constmath::makeTable<Qor16s, size>([](int i) {
        const long long w = constmath::round(16384 * (1 - constmath::cosPi(2 * i + 1, size)));
        return w > 32767 ? 32767 : w;
    });
}

}  // namespace

constexpr std::array<PsyTables, 3> _qor_pPsyTables_MP3 = {
    makeTables(44100, pPsyPartitionTableLong44100, pPsyPartitionTableShort44100,
               pQuietThresholdLong44100, pQuietThresholdShort44100, kBoundariesLong44100,
               kBoundariesShort44100, kSmrShort44100),
    makeTables(48000, pPsyPartitionTableLong48000, pPsyPartitionTableShort48000,
               pQuietThresholdLong48000, pQuietThresholdShort48000, kBoundariesLong48000,
               kBoundariesShort48000, kSmrShort48000),
    makeTables(32000, pPsyPartitionTableLong32000, pPsyPartitionTableShort32000,
               pQuietThresholdLong32000, pQuietThresholdShort32000, kBoundariesLong32000,
               kBoundariesShort32000, kSmrShort32000),
};

constexpr std::array<Qor16s, 1024> pHannWinLong_MP3 = hannWindow<1024>();
constexpr std::array<Qor16s, 256> pHannWinShort_MP3 = hannWindow<256>();

constexpr std::array<Qor32s, 9> pIsSfbBoundTableLong = {13, 12, 13, 15, 15, 16, 18, 18, 18};
constexpr std::array<Qor32s, 9> pIsSfbBoundTableShort = {6, 6, 7, 8, 8, 8, 10, 10, 10};

}  // namespace qorac
