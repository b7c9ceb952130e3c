#include "mp3writer.h"

#include <algorithm>
#include <array>

#include "mp3header.h"

namespace {

// CRC-16 with polynomial x^16 + x^15 + x^2 + 1, least significant bit first, as the Info frame's
// extension has it.
constexpr std::array<std::uint16_t, 256> kInfoCrcTable = [] {
    std::array<std::uint16_t, 256> table{};
    for (unsigned byte = 0; byte < table.size(); ++byte) {
        unsigned crc = byte;
        for (int bit = 0; bit < 8; ++bit) crc = crc & 1 ? crc >> 1 ^ 0xA001 : crc >> 1;
        table[byte] = static_cast<std::uint16_t>(crc);
    }
    return table;
}();

std::uint16_t updateInfoCrc(std::uint16_t crc, std::span<const std::uint8_t> bytes) {
    for (const std::uint8_t byte : bytes)
        crc = static_cast<std::uint16_t>(crc >> 8 ^ kInfoCrcTable[(crc ^ byte) & 255]);
    return crc;
}

// Appends numbers and text to a run of bytes, most significant byte first.
class ByteWriter {
  public:
    explicit ByteWriter(std::vector<std::uint8_t>& bytes) : bytes_(bytes) {}
    void number(std::uint64_t value, int count) {
        for (int i = count - 1; i >= 0; --i)
            bytes_.push_back(static_cast<std::uint8_t>(value >> 8 * i));
    }
    // ID3v2's sizes: seven bits to the byte.
    void size(std::size_t value) {
        for (int i = 3; i >= 0; --i)
            bytes_.push_back(static_cast<std::uint8_t>(value >> 7 * i & 127));
    }
    void text(const std::string& value) { bytes_.insert(bytes_.end(), value.begin(), value.end()); }

  private:
    std::vector<std::uint8_t>& bytes_;
};

constexpr std::size_t kInfoBytes = 156;  // from "Info" to the end of the extension
constexpr std::uint64_t kMost32 = 0xFFFFFFFF;
constexpr int kMostDelay = 4095;

}  // namespace

Mp3Writer::Mp3Writer(const std::string& path, const QorMP3FrameHeader& header)
    : file_(path), header_(header) {}

void Mp3Writer::writeTag(const std::vector<std::pair<std::string, std::string>>& textFields) {
    if (textFields.empty()) return;
    std::vector<std::uint8_t> frames;
    ByteWriter out(frames);
    for (const auto& [id, text] : textFields) {
        // A comment has a language and a short description before the text.
        const std::string lead = id == "COMM" ? std::string("und\0", 4) : std::string();
        out.text(id);
        out.size(1 + lead.size() + text.size());
        out.number(0, 2);  // flags
        out.number(3, 1);  // UTF-8
        out.text(lead + text);
    }
    std::vector<std::uint8_t> tag;
    ByteWriter head(tag);
    head.text("ID3");
    head.number(0x040000, 3);  // version 2.4.0, no flags
    head.size(frames.size());
    tag.insert(tag.end(), frames.begin(), frames.end());
    file_.write(tag);
    infoPosition_ = static_cast<long>(tag.size());
}

// An empty Layer III frame whose main data are the fields that players look for behind the side
// information: length, seek table, delay and padding.
std::vector<std::uint8_t> Mp3Writer::infoFrame(const Mp3StreamLength& length) const {
    QorMP3FrameHeader header = header_;
    header.protection_bit = 1;
    header.padding_bit = 0;
    header.mode_extension = 0;
    header.bitrate_index = 1;
    while (mp3FrameSize(header) < mp3HeadSize(header) + kInfoBytes) ++header.bitrate_index;
    const std::size_t frameSize = mp3FrameSize(header), headSize = mp3HeadSize(header);

    std::vector<std::uint8_t> frame(8);
    Qor8u* stream = frame.data();
    qorsPackFrameHeader_MP3(&header, &stream);
    frame.resize(4);
    frame.resize(headSize);  // side information of zeros: silence
    ByteWriter out(frame);
    out.text("Info");
    out.number(15, 4);  // all four fields follow
    out.number(std::min(length.frames, kMost32), 4);
    out.number(std::min(length.bytes + frameSize, kMost32), 4);
    for (int percent = 0; percent < 100; ++percent)
        out.number(static_cast<std::uint64_t>(percent * 256 / 100), 1);
    out.number(0, 4);  // quality, not told
    // The first four letters name the layout of what follows; players look for them.
    out.text("LAMEqorac");
    out.number(1, 1);  // constant bit rate
    out.number(0, 1);  // low-pass, not told
    out.number(0, 4);  // peak
    out.number(0, 4);  // gains
    out.number(0, 1);  // flags
    out.number(static_cast<std::uint64_t>(std::min(mp3BitRate(header_), 255)), 1);
    const std::uint64_t whole = length.frames * 1152;
    const std::uint64_t music = length.samples + static_cast<std::uint64_t>(length.delay);
    const std::uint64_t padding =
        std::min<std::uint64_t>(whole > music ? whole - music : 0, kMostDelay);
    out.number(static_cast<std::uint64_t>(length.delay) << 12 | padding, 3);
    out.number(0, 1);  // noise shaping, stereo mode, source
    out.number(0, 1);  // gain
    out.number(0, 2);  // preset
    out.number(std::min(length.bytes + frameSize, kMost32), 4);
    out.number(musicCrc_, 2);
    out.number(updateInfoCrc(0, frame), 2);
    frame.resize(frameSize);
    return frame;
}

void Mp3Writer::writeInfo(const Mp3StreamLength& expected) {
    if (!file_.canRewrite() && expected.frames == 0) return;
    file_.write(infoFrame(expected));
    hasInfo_ = true;
}

void Mp3Writer::write(std::span<const std::uint8_t> frames) {
    file_.write(frames);
    musicCrc_ = updateInfoCrc(musicCrc_, frames);
}

void Mp3Writer::finish(const Mp3StreamLength& length) {
    if (hasInfo_ && file_.canRewrite()) file_.rewrite(infoPosition_, infoFrame(length));
    file_.finish();
}
