// Both decoders of qordec on a whole stream: what it is shows in its content.
#include <stdexcept>

#include "audiodecoder.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0) return 0;
    ByteSource source(std::vector<std::uint8_t>(data + 1, data + size));
    try {
        const auto decoder = makeAudioDecoder(source, {.strict = (data[0] & 1) != 0});
        std::vector<std::int16_t> pcm;
        while (decoder->decode(pcm)) {
        }
        decoder->report();
    } catch (const std::runtime_error&) {
        // There is no audio in the stream.
    }
    return 0;
}
