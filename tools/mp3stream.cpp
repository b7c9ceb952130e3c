#include "mp3stream.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "mp3header.h"
#include "tag.h"

namespace {

constexpr std::size_t kMaxFrame = 8192;
constexpr std::size_t kWindow = 3 * kMaxFrame;  // a frame, and what confirms it
constexpr std::size_t kMaxJunkBeforeFirst = 1 << 20;

bool startsWith(std::span<const std::uint8_t> bytes, std::string_view text) {
    return bytes.size() >= text.size() && std::memcmp(bytes.data(), text.data(), text.size()) == 0;
}

std::uint32_t bigEndian32(std::span<const std::uint8_t> p) {
    return std::uint32_t{p[0]} << 24 | p[1] << 16 | p[2] << 8 | p[3];
}

// Reads a Xing or Info header with its encoder extension, or a VBRI header.
std::optional<Mp3InfoTag> readInfoTag(std::span<const std::uint8_t> frame,
                                      const QorMP3FrameHeader& header) {
    constexpr std::size_t kVbriPosition = 36;
    if (frame.size() >= kVbriPosition + 18 && startsWith(frame.subspan(kVbriPosition), "VBRI"))
        return Mp3InfoTag{.frames = bigEndian32(frame.subspan(kVbriPosition + 14))};

    // The header stands behind the side information; some writers count a CRC word and some do not.
    const std::size_t headSize = mp3HeadSize(header);
    for (const std::size_t position : {headSize, headSize - (header.protection_bit ? 0 : 2)}) {
        if (frame.size() < position + 8) continue;
        const auto tag = frame.subspan(position);
        if (!startsWith(tag, "Xing") && !startsWith(tag, "Info")) continue;
        Mp3InfoTag info;
        const std::uint32_t flags = bigEndian32(tag.subspan(4));
        std::size_t at = 8;
        if ((flags & 1) && tag.size() >= at + 4) info.frames = bigEndian32(tag.subspan(at));
        at +=
            (flags & 1 ? 4 : 0) + (flags & 2 ? 4 : 0) + (flags & 4 ? 100 : 0) + (flags & 8 ? 4 : 0);
        constexpr std::size_t kDelays = 21;  // behind name, version, filter, gains, flags, bit rate
        if (tag.size() >= at + kDelays + 3 && tag[at] != 0) {
            const auto delays = tag.subspan(at + kDelays, 3);
            info.hasDelays = true;
            info.encoderDelay = delays[0] << 4 | delays[1] >> 4;
            info.encoderPadding = (delays[1] & 15) << 8 | delays[2];
        }
        return info;
    }
    return std::nullopt;
}

}  // namespace

bool Mp3Stream::skipTag() {
    const std::uint64_t size = tagSize(source_.look(32));
    source_.skipFar(size);
    return size > 0;
}

// Whether a plausible header stands here that belongs to this stream.
bool Mp3Stream::fitsStream(std::span<const std::uint8_t> bytes) const {
    if (!mp3HeaderPlausible(bytes)) return false;
    if (!first_) return true;
    const QorMP3FrameHeader header = mp3ReadHeader(bytes);
    return header.id == first_->id && header.sampling_frequency == first_->sampling_frequency &&
           (header.bitrate_index == 0) == (first_->bitrate_index == 0);
}

// The distance to the next header of the same kind at which a third one follows as well.
std::size_t Mp3Stream::freeFormatSizeAt(std::span<const std::uint8_t> bytes) const {
    const QorMP3FrameHeader header = mp3ReadHeader(bytes);
    const auto same = [&](std::size_t position) {
        return bytes.size() >= position + 4 && bytes[position] == bytes[0] &&
               bytes[position + 1] == bytes[1] && (bytes[position + 2] & 0xFC) == (bytes[2] & 0xFC);
    };
    for (std::size_t size = mp3HeadSize(header); size < kMaxFrame; ++size) {
        if (!same(size)) continue;
        const std::size_t base = size - static_cast<std::size_t>(header.padding_bit);
        const std::size_t nextSize = base + (bytes[size + 2] >> 1 & 1);
        if (same(size + nextSize) || bytes.size() == size + nextSize) return base;
    }
    return 0;
}

std::size_t Mp3Stream::frameSizeAt(std::span<const std::uint8_t> bytes) const {
    const QorMP3FrameHeader header = mp3ReadHeader(bytes);
    if (header.bitrate_index != 0) return mp3FrameSize(header);
    const std::size_t base = freeFormatSize_ ? freeFormatSize_ : freeFormatSizeAt(bytes);
    return base == 0 ? 0 : base + static_cast<std::size_t>(header.padding_bit);
}

// Bytes of the frame that starts here, 0 when none does. A frame is confirmed by the header of the
// next one, by a tag or by the end of the stream. In step with the stream an unconfirmed frame
// counts as well, up to where a confirmed one starts.
std::size_t Mp3Stream::confirmedSize(std::span<const std::uint8_t> bytes, bool inStep) const {
    if (!fitsStream(bytes)) return 0;
    const std::size_t size = frameSizeAt(bytes);
    if (size == 0) return 0;
    const auto confirmed = [&](std::size_t position, std::size_t length) {
        if (bytes.size() == position + length) return true;
        if (bytes.size() < position + length) return false;
        const auto next = bytes.subspan(position + length);
        return fitsStream(next) || tagSize(next) > 0;
    };
    if (confirmed(0, size)) return size;
    if (!inStep) return 0;
    for (std::size_t position = 4; position < std::min(size, bytes.size()); ++position) {
        const auto candidate = bytes.subspan(position);
        if (fitsStream(candidate) && frameSizeAt(candidate) != 0 &&
            confirmed(position, frameSizeAt(candidate)))
            return position;
    }
    return std::min(size, bytes.size());
}

std::optional<Mp3Frame> Mp3Stream::next() {
    source_.skip(pending_);
    pending_ = 0;
    std::size_t skipped = 0;
    while (true) {
        if (skipped == 0 && skipTag()) continue;
        const auto bytes = source_.look(kWindow);
        if (bytes.size() < 4) return std::nullopt;
        const std::size_t size = confirmedSize(bytes, first_ && skipped == 0);
        if (size == 0) {
            // On to the next byte that can start a header or a tag.
            const auto end = std::find_if(bytes.begin() + 1, bytes.end(), [](std::uint8_t byte) {
                return byte == 0xFF || byte == 'I' || byte == 'A' || byte == 'T';
            });
            const auto step = static_cast<std::size_t>(end - bytes.begin());
            source_.skip(step);
            skipped += step;
            const auto rest = source_.look(32);
            if (const std::uint64_t tag = tagSize(rest); tag > 128) source_.skipFar(tag);
            continue;
        }
        const Mp3Frame frame{mp3ReadHeader(bytes), bytes.first(size), skipped};
        pending_ = size;
        if (!first_) {
            first_ = frame.header;
            if (frame.header.bitrate_index == 0)
                freeFormatSize_ = size - static_cast<std::size_t>(frame.header.padding_bit);
            infoTag_ = readInfoTag(frame.bytes, frame.header);
            if (infoTag_) {
                source_.skip(pending_);
                pending_ = 0;
                skipped = 0;
                continue;
            }
        }
        return frame;
    }
}

bool Mp3Stream::detect(ByteSource& source) {
    Mp3Stream probe(source);
    while (probe.skipTag()) {
    }
    const auto bytes = source.look(kMaxJunkBeforeFirst);
    for (std::size_t position = 0; position + 4 <= bytes.size(); ++position) {
        const auto here = bytes.subspan(position, std::min(kWindow, bytes.size() - position));
        if (probe.confirmedSize(here, false) != 0) return true;
    }
    return false;
}
