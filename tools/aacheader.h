// Arithmetic of AAC streams that belongs to the caller of the library: ADTS headers, channel
// layouts and CRC words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "qorac.h"

// id_syn_ele of ISO/IEC 13818-7.
enum AacElementId { kSce, kCpe, kCce, kLfe, kDse, kPce, kFil, kEnd };

// A syntax element that carries channels, and the places of these in the order of WAV.
struct AacSlot {
    AacElementId id;
    int tag;  // -1: elements of one id come in the order of the slots
    int place[2];
};

struct AacLayout {
    int channels = 0;
    std::vector<AacSlot> slots;
};

// The layout of channel_configuration 1 to 7; nothing for other values.
std::optional<AacLayout> aacLayout(int channelConfiguration);
// The layout that a program configuration element describes; nothing for more than 8 channels, and
// for more channels in one direction than WAV has places for.
std::optional<AacLayout> aacLayout(const QorAACPrgCfgElt& pce);

int aacSampleRate(int samplingFrequencyIndex);

constexpr std::size_t kAdtsHeaderSize = 7;  // without CRC word

// Whether these bytes, at least kAdtsHeaderSize, can be the header of an ADTS frame.
bool adtsHeaderPlausible(std::span<const std::uint8_t> bytes);
QorAACAdtsHeader adtsReadHeader(std::span<const std::uint8_t> bytes);

// CRC-16 of ISO 11172-3 over some bits of a stream, most significant first.
class AacCrc {
  public:
    // Takes the bits from `begin` on; those from `end` up to `begin` + `padTo` count as 0.
    void add(const std::uint8_t* stream, std::size_t begin, std::size_t end, std::size_t padTo = 0);
    std::uint16_t value() const { return crc_; }

  private:
    std::uint16_t crc_ = 0xFFFF;
};
