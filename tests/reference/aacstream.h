// A plain model of one AAC channel: random channels, the bits that code them, and the arrays that a
// decoder must give back. Written from the syntax tables of ISO/IEC 13818-7 clause 6.3.
#pragma once

#include <algorithm>
#include <array>
#include <cstdlib>
#include <optional>
#include <span>
#include <vector>

#include "aac/aachufftbl.h"
#include "reference/bitwriter.h"
#include "support/random.h"

namespace qorac::reference {

// --- code books -------------------------------------------------------------------------------

struct SpectrumBook {
    std::span<const HuffmanCode> codes;
    int tupleSize;
    int lowest;
    int largest;
    bool isUnsigned() const { return lowest == 0; }
};

inline SpectrumBook spectrumBook(int codeBook) {
    switch (codeBook) {
        case 1:
            return {kSpectrumCodes1, 4, -1, 1};
        case 2:
            return {kSpectrumCodes2, 4, -1, 1};
        case 3:
            return {kSpectrumCodes3, 4, 0, 2};
        case 4:
            return {kSpectrumCodes4, 4, 0, 2};
        case 5:
            return {kSpectrumCodes5, 2, -4, 4};
        case 6:
            return {kSpectrumCodes6, 2, -4, 4};
        case 7:
            return {kSpectrumCodes7, 2, 0, 7};
        case 8:
            return {kSpectrumCodes8, 2, 0, 7};
        case 9:
            return {kSpectrumCodes9, 2, 0, 12};
        case 10:
            return {kSpectrumCodes10, 2, 0, 12};
        default:
            return {kSpectrumCodes11, 2, 0, 16};
    }
}

inline void putCode(BitWriter& out, const HuffmanCode& code) { out.put(code.word, code.length); }

inline void putDifference(BitWriter& out, int difference) {
    putCode(out, kScaleFactorCodes[difference + 60]);
}

inline void putEscape(BitWriter& out, int magnitude) {
    int log2 = 4;
    while (magnitude >> (log2 + 1) != 0) ++log2;
    for (int i = 4; i < log2; ++i) out.put(1, 1);
    out.put(0, 1);
    out.put(std::uint32_t(magnitude - (1 << log2)), log2);
}

inline void putTuple(BitWriter& out, int codeBook, const int* values) {
    const SpectrumBook book = spectrumBook(codeBook);
    const int base = book.largest - book.lowest + 1;
    int index = 0;
    for (int i = 0; i < book.tupleSize; ++i) {
        const int digit = book.isUnsigned() ? std::min(std::abs(values[i]), book.largest)
                                            : values[i] - book.lowest;
        index = index * base + digit;
    }
    putCode(out, book.codes[std::size_t(index)]);
    if (!book.isUnsigned()) return;
    for (int i = 0; i < book.tupleSize; ++i)
        if (values[i] != 0) out.put(values[i] < 0 ? 1 : 0, 1);
    if (codeBook == 11)
        for (int i = 0; i < 2; ++i)
            if (std::abs(values[i]) >= 16) putEscape(out, std::abs(values[i]));
}

// --- one channel ------------------------------------------------------------------------------

struct Section {
    int codeBook;
    int length;  // bands
};

struct TnsFilter {
    int length, order, direction, compress;
    std::vector<int> coef;
};

struct TnsWindow {
    int coefRes;  // 3 or 4
    std::vector<TnsFilter> filters;
};

struct Pulse {
    int startSfb;
    std::vector<int> offset, amp;
};

// Flags of bands; resetGroup 0 stands for no reset.
struct LinePrediction {
    int resetGroup;
    std::vector<int> used;
};

struct LongTermPrediction {
    int lag, coefIndex;
    std::vector<int> used;
};

struct Channel {
    int globalGain = 0;
    int windowSequence = 0;
    int windowShape = 0;
    int maxSfb = 0;
    std::vector<int> groups{1};                      // windows in each group
    std::vector<std::vector<Section>> sections{{}};  // of each group
    std::vector<int> gains;     // of each band, in the form that the decoder gives back
    std::vector<int> spectrum;  // grouped order, before the pulses
    std::optional<Pulse> pulse;
    std::optional<std::vector<TnsWindow>> tns;
    std::optional<LinePrediction> linePrediction;  // long blocks of object type 1
    std::optional<LongTermPrediction> longTerm;    // long blocks of other types

    bool isShort() const { return windowSequence == 2; }
};

// The band offsets are the caller's choice, so that a test can use its own.
using Bands = std::span<const Qor16s>;

// The code book of each band, group after group.
inline std::vector<int> bandBooks(const Channel& channel) {
    std::vector<int> books;
    for (const auto& group : channel.sections)
        for (const Section& section : group)
            books.insert(books.end(), std::size_t(section.length), section.codeBook);
    return books;
}

inline int grouping(const Channel& channel) {
    int bits = 0;
    for (std::size_t g = 0; g < channel.groups.size(); ++g) {
        if (g > 0) bits <<= 1;
        for (int w = 1; w < channel.groups[g]; ++w) bits = bits << 1 | 1;
    }
    return bits;
}

// A channel that every rule of the syntax allows; without noise bands for 13818-7.
inline Channel randomChannel(test::Random& random, Bands longBands, Bands shortBands,
                             bool withNoise) {
    Channel channel;
    const auto pick = [&](int low, int high) { return int(random.integer(low, high)); };
    channel.globalGain = pick(60, 200);
    channel.windowSequence = pick(0, 3);
    channel.windowShape = pick(0, 1);
    const Bands bands = channel.isShort() ? shortBands : longBands;
    channel.maxSfb = pick(0, int(std::min<std::size_t>(bands.size() - 1, 51)));
    if (channel.isShort() && channel.maxSfb > 15) channel.maxSfb = 15;
    if (channel.isShort()) {
        channel.groups.clear();
        for (int left = 8; left > 0; left -= channel.groups.back())
            channel.groups.push_back(pick(1, left));
    }

    channel.sections.assign(channel.groups.size(), {});
    int scaleFactor = channel.globalGain, position = 0;
    bool noiseSeen = false;
    for (std::size_t g = 0; g < channel.groups.size(); ++g) {
        int begin = 0;
        for (int sfb = 0; sfb < channel.maxSfb;) {
            Section section{pick(0, 15), pick(1, channel.maxSfb - sfb)};
            if (random.chance(0.7)) section.length = std::min(section.length, 3);
            if (section.codeBook == 12 || (section.codeBook == 13 && !withNoise))
                section.codeBook = 11;
            if (section.codeBook == 0 && random.chance(0.5)) section.codeBook = 1;
            for (int i = 0; i < section.length; ++i) {
                if (section.codeBook == 0) {
                    channel.gains.push_back(0);
                } else if (section.codeBook >= 14) {
                    channel.gains.push_back(position += pick(-60, 60));
                } else if (section.codeBook == 13 && !noiseSeen) {
                    noiseSeen = true;
                    scaleFactor = pick(0, std::min(255, channel.globalGain + 511 - 346));
                    channel.gains.push_back(scaleFactor);
                } else {
                    const int low = std::max(-60, -scaleFactor);
                    scaleFactor += pick(low, std::min(60, 255 - scaleFactor));
                    channel.gains.push_back(scaleFactor);
                }
            }
            sfb += section.length;
            const int end = bands[std::size_t(sfb)] * channel.groups[g];
            for (; begin < end; ++begin) {
                int value = 0;
                if (section.codeBook >= 1 && section.codeBook <= 10) {
                    const int largest = spectrumBook(section.codeBook).largest;
                    value = pick(-largest, largest);
                } else if (section.codeBook == 11) {
                    value = random.chance(0.2) ? int(random.wideInteger(13)) : pick(-16, 16);
                }
                channel.spectrum.push_back(std::clamp(value, -8191, 8191));
            }
            channel.sections[g].push_back(section);
        }
        channel.spectrum.insert(channel.spectrum.end(),
                                std::size_t(bands.back() * channel.groups[g] - begin), 0);
    }

    if (!channel.isShort() && random.chance(0.3)) {
        channel.pulse = Pulse{pick(0, int(bands.size()) - 2), {}, {}};
        int k = bands[std::size_t(channel.pulse->startSfb)];
        for (int i = pick(1, 4); i > 0; --i) {
            const int offset = std::min(pick(0, 31), 1023 - k);
            channel.pulse->offset.push_back(offset);
            channel.pulse->amp.push_back(pick(0, 15));
            k += offset;
        }
    }
    if (random.chance(0.4)) {
        channel.tns.emplace();
        for (int w = 0; w < (channel.isShort() ? 8 : 1); ++w) {
            TnsWindow window{pick(3, 4), {}};
            for (int f = pick(0, channel.isShort() ? 1 : 3); f > 0; --f) {
                TnsFilter filter{pick(0, channel.isShort() ? 15 : 63),
                                 pick(0, channel.isShort() ? 7 : 12),
                                 pick(0, 1),
                                 pick(0, 1),
                                 {}};
                const int half = 1 << (window.coefRes - filter.compress - 1);
                for (int i = 0; i < filter.order; ++i) filter.coef.push_back(pick(-half, half - 1));
                window.filters.push_back(filter);
            }
            channel.tns->push_back(window);
        }
    }
    return channel;
}

// --- writing ----------------------------------------------------------------------------------

inline void putFlags(BitWriter& out, const std::vector<int>& flags, int count) {
    for (int i = 0; i < std::min(count, int(flags.size())); ++i)
        out.put(std::uint32_t(flags[std::size_t(i)]), 1);
}

inline void putLongTerm(BitWriter& out, const Channel& channel) {
    out.put(channel.longTerm ? 1 : 0, 1);
    if (!channel.longTerm) return;
    out.put(std::uint32_t(channel.longTerm->lag), 11);
    out.put(std::uint32_t(channel.longTerm->coefIndex), 3);
    putFlags(out, channel.longTerm->used, channel.maxSfb);
}

// `second` is the right channel of a common window, whose long-term prediction stands here too.
inline void putIcsInfo(BitWriter& out, const Channel& channel, const Channel* second = nullptr) {
    out.put(0, 1);
    out.put(std::uint32_t(channel.windowSequence), 2);
    out.put(std::uint32_t(channel.windowShape), 1);
    if (channel.isShort()) {
        out.put(std::uint32_t(channel.maxSfb), 4);
        out.put(std::uint32_t(grouping(channel)), 7);
    } else {
        out.put(std::uint32_t(channel.maxSfb), 6);
        const bool longTerm = channel.longTerm || (second != nullptr && second->longTerm);
        out.put(channel.linePrediction || longTerm ? 1 : 0, 1);
        if (channel.linePrediction) {
            const int group = channel.linePrediction->resetGroup;
            out.put(group != 0 ? 1 : 0, 1);
            if (group != 0) out.put(std::uint32_t(group), 5);
            putFlags(out, channel.linePrediction->used, channel.maxSfb);
        } else if (longTerm) {
            putLongTerm(out, channel);
            if (second != nullptr) putLongTerm(out, *second);
        }
    }
}

inline void putSections(BitWriter& out, const Channel& channel) {
    const int width = channel.isShort() ? 3 : 5;
    const int escape = (1 << width) - 1;
    for (const auto& group : channel.sections) {
        for (const Section& section : group) {
            out.put(std::uint32_t(section.codeBook), 4);
            int left = section.length;
            for (; left >= escape; left -= escape) out.put(std::uint32_t(escape), width);
            out.put(std::uint32_t(left), width);
        }
    }
}

// How noise energies are coded: as the standard says, from one noise band to the next, or in one
// chain with the scale factors, as the noiseless decoder takes them.
enum class NoiseChain { own, shared };

inline void putGains(BitWriter& out, const Channel& channel, NoiseChain noiseChain) {
    const std::vector<int> books = bandBooks(channel);
    int scaleFactor = channel.globalGain, position = 0, ownEnergy = 0;
    int& energy = noiseChain == NoiseChain::own ? ownEnergy : scaleFactor;
    bool noiseSeen = false;
    for (std::size_t i = 0; i < books.size(); ++i) {
        const int gain = channel.gains[i];
        if (books[i] == 0) continue;
        if (books[i] >= 14) {
            putDifference(out, gain - position);
            position = gain;
        } else if (books[i] == 13 && !noiseSeen) {
            noiseSeen = true;
            out.put(std::uint32_t(gain - channel.globalGain + 346), 9);
            energy = gain;
        } else if (books[i] == 13) {
            putDifference(out, gain - energy);
            energy = gain;
        } else {
            putDifference(out, gain - scaleFactor);
            scaleFactor = gain;
        }
    }
}

inline void putPulse(BitWriter& out, const Pulse& pulse) {
    out.put(std::uint32_t(pulse.offset.size() - 1), 2);
    out.put(std::uint32_t(pulse.startSfb), 6);
    for (std::size_t i = 0; i < pulse.offset.size(); ++i) {
        out.put(std::uint32_t(pulse.offset[i]), 5);
        out.put(std::uint32_t(pulse.amp[i]), 4);
    }
}

inline void putTns(BitWriter& out, const std::vector<TnsWindow>& tns) {
    const bool isShort = tns.size() == 8;
    for (const TnsWindow& window : tns) {
        out.put(std::uint32_t(window.filters.size()), isShort ? 1 : 2);
        if (!window.filters.empty()) out.put(std::uint32_t(window.coefRes - 3), 1);
        for (const TnsFilter& filter : window.filters) {
            out.put(std::uint32_t(filter.length), isShort ? 4 : 6);
            out.put(std::uint32_t(filter.order), isShort ? 3 : 5);
            if (filter.order == 0) continue;
            out.put(std::uint32_t(filter.direction), 1);
            out.put(std::uint32_t(filter.compress), 1);
            for (int coef : filter.coef)
                out.put(std::uint32_t(coef), window.coefRes - filter.compress);
        }
    }
}

inline void putSpectrum(BitWriter& out, const Channel& channel, Bands bands) {
    std::size_t groupStart = 0;
    for (std::size_t g = 0; g < channel.groups.size(); ++g) {
        int sfb = 0;
        for (const Section& section : channel.sections[g]) {
            std::size_t k = groupStart + std::size_t(bands[std::size_t(sfb)] * channel.groups[g]);
            sfb += section.length;
            const std::size_t end =
                groupStart + std::size_t(bands[std::size_t(sfb)] * channel.groups[g]);
            if (section.codeBook == 0 || section.codeBook > 11) continue;
            const int tupleSize = spectrumBook(section.codeBook).tupleSize;
            for (; k < end; k += std::size_t(tupleSize))
                putTuple(out, section.codeBook, channel.spectrum.data() + k);
        }
        groupStart += std::size_t(bands.back() * channel.groups[g]);
    }
}

// individual_channel_stream; a layer of a scalable stream has neither ics_info nor tools.
inline void putChannel(BitWriter& out, const Channel& channel, Bands bands, bool commonWindow,
                       bool scalable = false, NoiseChain noiseChain = NoiseChain::shared) {
    out.put(std::uint32_t(channel.globalGain), 8);
    if (!commonWindow && !scalable) putIcsInfo(out, channel);
    putSections(out, channel);
    putGains(out, channel, noiseChain);
    if (!scalable) {
        out.put(channel.pulse ? 1 : 0, 1);
        if (channel.pulse) putPulse(out, *channel.pulse);
        out.put(channel.tns ? 1 : 0, 1);
        if (channel.tns) putTns(out, *channel.tns);
        out.put(0, 1);
    }
    putSpectrum(out, channel, bands);
}

// The spectrum with its pulses.
inline std::vector<int> decodedSpectrum(const Channel& channel, Bands bands) {
    std::vector<int> spectrum = channel.spectrum;
    if (!channel.pulse) return spectrum;
    std::size_t k = std::size_t(bands[std::size_t(channel.pulse->startSfb)]);
    for (std::size_t i = 0; i < channel.pulse->offset.size(); ++i) {
        k += std::size_t(channel.pulse->offset[i]);
        spectrum[k] += spectrum[k] > 0 ? channel.pulse->amp[i] : -channel.pulse->amp[i];
    }
    return spectrum;
}

}  // namespace qorac::reference
