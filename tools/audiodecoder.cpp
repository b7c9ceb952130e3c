#include "audiodecoder.h"

#include <stdexcept>

#include "mp3audio.h"

std::unique_ptr<AudioDecoder> makeAudioDecoder(ByteSource& source, const DecodeOptions& options) {
    if (Mp3Stream::detect(source)) return std::make_unique<Mp3Audio>(source, options);
    throw std::runtime_error("no MP3 audio found");
}
