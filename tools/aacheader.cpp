#include "aacheader.h"

#include <algorithm>
#include <array>

namespace {

// Places of loudspeakers in the order in which WAV counts channels.
enum Speaker {
    kFrontLeft,
    kFrontRight,
    kFrontCenter,
    kLowFrequency,
    kBackLeft,
    kBackRight,
    kFrontLeftOfCenter,
    kFrontRightOfCenter,
    kBackCenter,
    kSideLeft,
    kSideRight
};

// Turns the speakers in the slots into places: the rank of each among those in use.
std::optional<AacLayout> ranked(std::vector<AacSlot> slots) {
    std::vector<int> speakers;
    for (const AacSlot& slot : slots)
        speakers.insert(speakers.end(), slot.place, slot.place + (slot.id == kCpe ? 2 : 1));
    std::sort(speakers.begin(), speakers.end());
    const bool unique = std::adjacent_find(speakers.begin(), speakers.end()) == speakers.end();
    if (!unique || speakers.empty() || speakers.size() > 8) return std::nullopt;
    for (AacSlot& slot : slots)
        for (int& place : slot.place)
            place = static_cast<int>(std::lower_bound(speakers.begin(), speakers.end(), place) -
                                     speakers.begin());
    return AacLayout{static_cast<int>(speakers.size()), std::move(slots)};
}

// The channels of one direction of a program configuration, in stream order.
struct Direction {
    Qor32s count;
    const Qor32s* isCpe;
    const Qor32s* tag;

    int channels() const {
        int n = 0;
        for (Qor32s i = 0; i < count; ++i) n += isCpe[i] ? 2 : 1;
        return n;
    }
    // Gives the channels the speakers one by one.
    void assign(std::vector<AacSlot>& slots, const int* speakers) const {
        for (Qor32s i = 0; i < count; ++i) {
            const int left = *speakers++;
            slots.push_back(
                {isCpe[i] ? kCpe : kSce, tag[i], {left, isCpe[i] ? *speakers++ : left}});
        }
    }
};

}  // namespace

std::optional<AacLayout> aacLayout(int channelConfiguration) {
    constexpr AacSlot kCenter{kSce, -1, {kFrontCenter, kFrontCenter}};
    constexpr AacSlot kFront{kCpe, -1, {kFrontLeft, kFrontRight}};
    constexpr AacSlot kInner{kCpe, -1, {kFrontLeftOfCenter, kFrontRightOfCenter}};
    constexpr AacSlot kBack{kCpe, -1, {kBackLeft, kBackRight}};
    constexpr AacSlot kBackMono{kSce, -1, {kBackCenter, kBackCenter}};
    constexpr AacSlot kSub{kLfe, -1, {kLowFrequency, kLowFrequency}};
    switch (channelConfiguration) {
        case 1:
            return ranked({kCenter});
        case 2:
            return ranked({kFront});
        case 3:
            return ranked({kCenter, kFront});
        case 4:
            return ranked({kCenter, kFront, kBackMono});
        case 5:
            return ranked({kCenter, kFront, kBack});
        case 6:
            return ranked({kCenter, kFront, kBack, kSub});
        case 7:
            return ranked({kCenter, kInner, kFront, kBack, kSub});
        default:
            return std::nullopt;
    }
}

std::optional<AacLayout> aacLayout(const QorAACPrgCfgElt& pce) {
    const Direction front{pce.num_front_channel_elements, pce.front_element_is_cpe,
                          pce.front_element_tag_select};
    const Direction side{pce.num_side_channel_elements, pce.side_element_is_cpe,
                         pce.side_element_tag_select};
    const Direction back{pce.num_back_channel_elements, pce.back_element_is_cpe,
                         pce.back_element_tag_select};
    // From the centre outwards and to the back; an odd channel is the one in the middle.
    constexpr int kFronts[6][5] = {
        {},
        {kFrontCenter},
        {kFrontLeft, kFrontRight},
        {kFrontCenter, kFrontLeft, kFrontRight},
        {kFrontLeftOfCenter, kFrontRightOfCenter, kFrontLeft, kFrontRight},
        {kFrontCenter, kFrontLeftOfCenter, kFrontRightOfCenter, kFrontLeft, kFrontRight}};
    constexpr int kSides[3][2] = {{}, {}, {kSideLeft, kSideRight}};
    constexpr int kBacks[4][3] = {
        {}, {kBackCenter}, {kBackLeft, kBackRight}, {kBackLeft, kBackRight, kBackCenter}};
    if (front.channels() > 5 || side.channels() > 2 || side.channels() == 1 ||
        back.channels() > 3 || pce.num_lfe_channel_elements > 1)
        return std::nullopt;
    std::vector<AacSlot> slots;
    front.assign(slots, kFronts[front.channels()]);
    side.assign(slots, kSides[side.channels()]);
    back.assign(slots, kBacks[back.channels()]);
    if (pce.num_lfe_channel_elements == 1)
        slots.push_back({kLfe, pce.lfe_element_tag_select[0], {kLowFrequency, kLowFrequency}});
    return ranked(std::move(slots));
}

int aacSampleRate(int samplingFrequencyIndex) {
    constexpr int kRates[12] = {96000, 88200, 64000, 48000, 44100, 32000,
                                24000, 22050, 16000, 12000, 11025, 8000};
    return kRates[samplingFrequencyIndex];
}

bool adtsHeaderPlausible(std::span<const std::uint8_t> bytes) {
    if (bytes.size() < kAdtsHeaderSize || bytes[0] != 0xFF || (bytes[1] & 0xF6) != 0xF0)
        return false;
    const QorAACAdtsHeader header = adtsReadHeader(bytes);
    const int headerSize = static_cast<int>(kAdtsHeaderSize) + (header.protection_absent ? 0 : 2);
    return header.sampling_frequency_index < 12 && header.aac_frame_length > headerSize;
}

QorAACAdtsHeader adtsReadHeader(std::span<const std::uint8_t> bytes) {
    // The library reads up to three bytes behind the last bit that it uses.
    std::array<Qor8u, 9 + 3> head{};
    std::copy_n(bytes.begin(), std::min(bytes.size(), head.size()), head.begin());
    Qor8u* stream = head.data();
    QorAACAdtsHeader header{};
    qorsUnpackADTSFrameHeader_AAC(&stream, &header);
    return header;
}

void AacCrc::add(const std::uint8_t* stream, std::size_t begin, std::size_t end,
                 std::size_t padTo) {
    const std::size_t last = padTo == 0 ? end : begin + padTo;
    for (std::size_t i = begin; i < last; ++i) {
        const int bit = i < end ? stream[i / 8] >> (7 - i % 8) & 1 : 0;
        const bool feedback = (crc_ >> 15 ^ bit) & 1;
        crc_ = static_cast<std::uint16_t>(crc_ << 1 ^ (feedback ? 0x8005 : 0));
    }
}
