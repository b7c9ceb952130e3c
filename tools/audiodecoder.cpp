#include "audiodecoder.h"

#include <stdexcept>

#include "aacaudio.h"
#include "mp3audio.h"

std::unique_ptr<AudioDecoder> makeAudioDecoder(ByteSource& source, const DecodeOptions& options) {
    if (AdifAudio::detect(source)) return std::make_unique<AdifAudio>(source, options);
    // Junk before the first frame makes a guess of what the frames are; those of the very start
    // come first.
    constexpr std::size_t kNoJunk = 0, kMostJunk = 1 << 20;
    if (AacStream::detect(source, kNoJunk)) return std::make_unique<AdtsAudio>(source, options);
    if (Mp3Stream::detect(source)) return std::make_unique<Mp3Audio>(source, options);
    if (AacStream::detect(source, kMostJunk)) return std::make_unique<AdtsAudio>(source, options);
    throw std::runtime_error("no MP3 or AAC audio found");
}
