#include "aacstream.h"

#include <algorithm>

#include "aacheader.h"
#include "tag.h"

namespace {

constexpr std::size_t kMaxFrame = 8191;
constexpr std::size_t kWindow = 2 * kMaxFrame + 32;  // a frame, and what confirms it

std::size_t frameSize(std::span<const std::uint8_t> bytes) {
    return static_cast<std::size_t>(adtsReadHeader(bytes).aac_frame_length);
}

}  // namespace

// Whether a plausible header stands here that belongs to this stream: version, profile, sampling
// rate and channels stay the same.
bool AacStream::fitsStream(std::span<const std::uint8_t> bytes) const {
    if (!adtsHeaderPlausible(bytes)) return false;
    if (!first_) return true;
    constexpr std::array<std::uint8_t, 4> kFixed{0xFF, 0xFE, 0xFD, 0xC0};
    for (std::size_t i = 0; i < kFixed.size(); ++i)
        if (((bytes[i] ^ (*first_)[i]) & kFixed[i]) != 0) return false;
    return true;
}

// Bytes of the frame that starts here, 0 when none does. A frame is confirmed by the header of the
// next one, by a tag or by the end of the stream. In step with the stream an unconfirmed frame
// counts as well, up to where a confirmed one starts.
std::size_t AacStream::confirmedSize(std::span<const std::uint8_t> bytes, bool inStep) const {
    if (!fitsStream(bytes)) return 0;
    const std::size_t size = frameSize(bytes);
    const auto confirmed = [&](std::size_t position, std::size_t length) {
        if (bytes.size() == position + length) return true;
        if (bytes.size() < position + length) return false;
        const auto next = bytes.subspan(position + length);
        return fitsStream(next) || tagSize(next) > 0;
    };
    if (confirmed(0, size)) return size;
    if (!inStep) return 0;
    for (std::size_t position = 1; position < std::min(size, bytes.size()); ++position) {
        const auto candidate = bytes.subspan(position);
        if (fitsStream(candidate) && confirmed(position, frameSize(candidate))) return position;
    }
    return std::min(size, bytes.size());
}

std::optional<AacFrame> AacStream::next() {
    source_.skip(pending_);
    pending_ = 0;
    std::size_t skipped = 0;
    while (true) {
        if (const std::uint64_t tag = skipped == 0 ? tagSize(source_.look(32)) : 0; tag > 0) {
            source_.skipFar(tag);
            continue;
        }
        const auto bytes = source_.look(kWindow);
        if (bytes.size() < kAdtsHeaderSize) return std::nullopt;
        const std::size_t size = confirmedSize(bytes, first_ && skipped == 0);
        if (size != 0) {
            if (!first_) first_ = {bytes[0], bytes[1], bytes[2], bytes[3]};
            pending_ = size;
            return AacFrame{bytes.first(size), skipped};
        }
        const auto sync = std::find(bytes.begin() + 1, bytes.end(), 0xFF);
        const auto step = static_cast<std::size_t>(sync - bytes.begin());
        source_.skip(step);
        skipped += step;
    }
}

bool AacStream::detect(ByteSource& source, std::size_t mostJunk) {
    const AacStream probe(source);
    while (const std::uint64_t tag = tagSize(source.look(32))) source.skipFar(tag);
    const auto bytes = source.look(mostJunk + kWindow);
    for (std::size_t position = 0;
         position <= mostJunk && position + kAdtsHeaderSize <= bytes.size(); ++position) {
        const auto here = bytes.subspan(position, std::min(kWindow, bytes.size() - position));
        if (probe.confirmedSize(here, false) != 0) return true;
    }
    return false;
}
