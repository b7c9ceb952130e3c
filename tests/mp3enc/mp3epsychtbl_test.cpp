#include "mp3enc/mp3epsychtbl.h"

#include <cmath>
#include <numeric>
#include <span>
#include <vector>

#include "gmock/gmock.h"

namespace qorac {
namespace {

using testing::ElementsAre;

constexpr int kRate[3] = {44100, 48000, 32000};

double bark(double f) { return 13 * std::atan(0.00076 * f) + 3.5 * std::atan(f / 7500 * f / 7500); }

// One block length of one rate, as plain vectors.
struct Block {
    int rate, size;
    std::vector<int> partition, bound;
    std::vector<Qor32s> packed, bmld;
    std::vector<Qor64s> quiet;
    std::vector<double> z;
};

std::vector<Block> blocks() {
    std::vector<Block> all;
    for (int f = 0; f < 3; ++f) {
        const PsyTables& t = _qor_pPsyTables_MP3[f];
        const auto add = [&](int size, int n, const auto& partition, const auto& bound,
                             const auto& packed, const auto& bmld, const auto& quiet) {
            Block b{kRate[f], size, {}, {}, {packed.begin(), packed.end()}, {}, {}, {}};
            b.partition.assign(partition.begin(), partition.begin() + n + 1);
            b.bound.assign(bound.begin(), bound.begin() + 2 * n);
            b.bmld.assign(bmld.begin(), bmld.begin() + n);
            b.quiet.assign(quiet.begin(), quiet.begin() + n);
            for (int i = 0; i < n; ++i) {
                const double line = double(kRate[f]) / size;
                b.z.push_back((bark(partition[i] * line) + bark((partition[i + 1] - 1) * line)) /
                              2);
            }
            all.push_back(b);
        };
        add(1024, t.numPartLong, t.pPsyPartitionTableLong, t.pSprdngBoundLong, t.pSprdngPackedLong,
            t.pBMLDRatioLong, t.pQuietThresholdLong);
        add(256, t.numPartShort, t.pPsyPartitionTableShort, t.pSprdngBoundShort,
            t.pSprdngPackedShort, t.pBMLDRatioShort, t.pQuietThresholdShort);
    }
    return all;
}

TEST(PsyTables, PartitionsAscendToTheirLastLine) {
    const int count[6] = {63, 39, 62, 38, 59, 42}, end[6] = {465, 109, 481, 107, 488, 110};
    const auto all = blocks();
    for (int i = 0; i < 6; ++i) {
        const Block& b = all[i];
        EXPECT_EQ(b.partition.size(), count[i] + 1u);
        EXPECT_EQ(b.partition.front(), 0);
        EXPECT_EQ(b.partition.back(), end[i]);
        for (int k = 0; k < count[i]; ++k) EXPECT_LT(b.partition[k], b.partition[k + 1]);
    }
}

// The rule in double precision, truncated, gives every stored coefficient.
TEST(PsyTables, SpreadingFollowsTheStandardsFunction) {
    const std::size_t entries[6] = {699, 321, 683, 313, 650, 361};
    const auto all = blocks();
    for (int i = 0; i < 6; ++i) {
        const Block& block = all[i];
        const int n = static_cast<int>(block.z.size());
        std::size_t used = 0;
        for (int b = 0; b < n; ++b) {
            std::vector<double> row(n);
            for (int j = 0; j < n; ++j) {
                const double d = block.z[j] - block.z[b], x = d >= 0 ? 3 * d : 1.5 * d;
                const double s = 8 * std::min((x - 0.5) * (x - 0.5) - 2 * (x - 0.5), 0.0) +
                                 15.811389 + 7.5 * (x + 0.474) -
                                 17.5 * std::sqrt(1 + (x + 0.474) * (x + 0.474));
                row[j] = s >= -60 ? std::pow(10, s / 10) : 0;
            }
            const double sum = std::accumulate(row.begin(), row.end(), 0.0);
            for (int j = 0; j < n; ++j) {
                const bool inBound = block.bound[2 * b] <= j && j < block.bound[2 * b + 1];
                ASSERT_EQ(row[j] != 0, inBound) << i << ' ' << b << ' ' << j;
                if (!inBound) continue;
                ASSERT_EQ(block.packed[used], std::floor(row[j] / sum * 0x1p31));
                ++used;
            }
        }
        EXPECT_EQ(used, entries[i]);
    }
    EXPECT_THAT(std::span(all[0].packed).first(6),
                ElementsAre(2024987635, 81759271, 38111388, 2466894, 149530, 8927));
}

TEST(PsyTables, MaskingLevelDifferenceFollowsItsRule) {
    for (const Block& block : blocks()) {
        for (std::size_t b = 0; b < block.z.size(); ++b) {
            const double z = block.z[b];
            const double exact = std::pow(10, 1.5 * (1 - std::cos(M_PI * z / 15.5)) - 3) * 0x1p31;
            EXPECT_EQ(block.bmld[b], z < 15.5 ? std::floor(exact) : 0x7FFFFFFF);
        }
    }
    EXPECT_EQ(_qor_pPsyTables_MP3[0].pBMLDRatioLong[0], 2147483);
    EXPECT_EQ(_qor_pPsyTables_MP3[2].pBMLDRatioLong[0], 2151117);
}

TEST(PsyTables, ListedValues) {
    const PsyTables& t = _qor_pPsyTables_MP3[0];
    EXPECT_THAT(std::span(t.pQuietThresholdLong).last(3),
                ElementsAre(1775830, 78371400, 3490730000));
    EXPECT_EQ(_qor_pPsyTables_MP3[1].pQuietThresholdLong[61], 12993300000);
    EXPECT_EQ(_qor_pPsyTables_MP3[2].pQuietThresholdShort[41], 966);
    EXPECT_THAT(std::span(t.pPartToSfbBuoShort),
                ElementsAre(0, 3, 5, 8, 11, 15, 20, 23, 27, 30, 33, 36, 38));
    EXPECT_THAT(std::span(t.pPartToSfbWeightLong).first(4),
                ElementsAre(2147483647, 2027224563, 835371139, 1788853878));
    EXPECT_EQ(_qor_pPsyTables_MP3[2].pPartToSfbWeightLong[16], 10737418);
    for (const PsyTables& table : _qor_pPsyTables_MP3) {
        EXPECT_EQ(table.pSMRShort[0], 322053827);
        EXPECT_EQ(table.pSMRShort[10], 386570678);
        EXPECT_EQ(table.pSMRShort[20], 429466664);
        EXPECT_EQ(table.pSMRShort[30], 536946073);
        EXPECT_EQ(table.pSMRShort[34], 644212882);
        EXPECT_EQ(table.pSMRShort[table.numPartShort - 2],
                  table.numPartShort == 42 ? 858875347 : 644212882);
        EXPECT_EQ(table.pSMRShort[table.numPartShort - 1], 0);
        EXPECT_LT(table.pPartToSfbBuoLong[kSfbLong], table.numPartLong);
        EXPECT_LT(table.pPartToSfbBuoShort[kSfbShort], table.numPartShort);
    }
}

TEST(PsyTables, HannWindowsStandHalfASampleOffTheEdge) {
    for (int i = 0; i < 1024; ++i) {
        const double w = std::round(16384 * (1 - std::cos(2 * M_PI * (i + 0.5) / 1024)));
        EXPECT_EQ(pHannWinLong_MP3[i], std::min(w, 32767.0)) << i;
    }
    for (int i = 0; i < 256; ++i) {
        const double w = std::round(16384 * (1 - std::cos(2 * M_PI * (i + 0.5) / 256)));
        EXPECT_EQ(pHannWinShort_MP3[i], std::min(w, 32767.0)) << i;
    }
}

}  // namespace
}  // namespace qorac
