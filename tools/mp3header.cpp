#include "mp3header.h"

#include <array>

namespace {

constexpr int kBitRates[2][15] = {
    {0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160},     // low sampling frequencies
    {0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320}  // MPEG-1
};
constexpr int kSampleRates[2][3] = {{22050, 24000, 16000}, {44100, 48000, 32000}};

// Boundaries of ISO 13818-3 Table B.2 and ISO 11172-3 Table B.8 in the order of kSampleRates.
constexpr int kLongBand20[2][3] = {{464, 464, 464}, {342, 330, 448}};
constexpr int kShortBand11[2][3] = {{132, 136, 134}, {106, 100, 138}};
constexpr int kShortBand12[2][3] = {{174, 180, 174}, {136, 126, 180}};

// CRC-16 with polynomial x^16 + x^15 + x^2 + 1.
std::uint16_t updateCrc(std::uint16_t crc, std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes) {
        crc = static_cast<std::uint16_t>(crc ^ byte << 8);
        for (int bit = 0; bit < 8; ++bit)
            crc = static_cast<std::uint16_t>(crc & 0x8000 ? crc << 1 ^ 0x8005 : crc << 1);
    }
    return crc;
}

}  // namespace

bool mp3HeaderPlausible(std::span<const std::uint8_t> bytes) {
    return bytes.size() >= 4 && bytes[0] == 0xFF && (bytes[1] & 0xF6) == 0xF2 &&
           bytes[2] >> 4 != 15 && (bytes[2] >> 2 & 3) != 3 && (bytes[3] & 3) != 2;
}

QorMP3FrameHeader mp3ReadHeader(std::span<const std::uint8_t> bytes) {
    std::array<Qor8u, 6> copy{};
    for (std::size_t i = 0; i < copy.size() && i < bytes.size(); ++i) copy[i] = bytes[i];
    Qor8u* stream = copy.data();
    QorMP3FrameHeader header{};
    qorsUnpackFrameHeader_MP3(&stream, &header);
    return header;
}

int mp3SampleRate(const QorMP3FrameHeader& header) {
    return kSampleRates[header.id][header.sampling_frequency];
}

int mp3Channels(const QorMP3FrameHeader& header) { return header.mode == 3 ? 1 : 2; }

int mp3SamplesPerChannel(const QorMP3FrameHeader& header) { return header.id == 1 ? 1152 : 576; }

int mp3BitRate(const QorMP3FrameHeader& header) {
    return kBitRates[header.id][header.bitrate_index];
}

std::size_t mp3FrameSize(const QorMP3FrameHeader& header) {
    if (header.bitrate_index == 0) return 0;
    const int slots = mp3SamplesPerChannel(header) / 8 * 1000 * mp3BitRate(header);
    return static_cast<std::size_t>(slots / mp3SampleRate(header) + header.padding_bit);
}

std::size_t mp3HeadSize(const QorMP3FrameHeader& header) {
    const bool mono = header.mode == 3;
    const std::size_t sideInfo = header.id == 1 ? (mono ? 17 : 32) : (mono ? 9 : 17);
    return 4 + (header.protection_bit == 0 ? 2 : 0) + sideInfo;
}

std::uint16_t mp3Crc(std::span<const std::uint8_t> frame, const QorMP3FrameHeader& header) {
    const std::uint16_t crc = updateCrc(0xFFFF, frame.subspan(2, 2));
    return updateCrc(crc, frame.subspan(6, mp3HeadSize(header) - 6));
}

bool mp3CrcMatches(std::span<const std::uint8_t> frame, const QorMP3FrameHeader& header) {
    if (header.protection_bit != 0) return true;
    return frame.size() >= mp3HeadSize(header) && mp3Crc(frame, header) == header.CRCWord;
}

int mp3LongBand20(const QorMP3FrameHeader& header) {
    return kLongBand20[header.id][header.sampling_frequency];
}

int mp3ShortBand11(const QorMP3FrameHeader& header) {
    return kShortBand11[header.id][header.sampling_frequency];
}

int mp3ShortBand12(const QorMP3FrameHeader& header) {
    return kShortBand12[header.id][header.sampling_frequency];
}
