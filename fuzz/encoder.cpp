// The encoder on any PCM: each frame is made of a few of the fuzzer's samples, which are repeated,
// stretched and mixed, so that a short input is a loud and varied piece. The stream must decode
// without a concealed frame.
#include <array>
#include <cstdlib>

#include "audiodecoder.h"
#include "input.h"
#include "mp3encoder.h"

namespace {

using qorac::fuzz::Input;

constexpr std::array<int, 14> kBitRates = {32,  40,  48,  56,  64,  80,  96,
                                           112, 128, 160, 192, 224, 256, 320};
constexpr std::array<int, 3> kSampleRates = {32000, 44100, 48000};
constexpr int kFrames = 12;

std::int16_t sample(Input& input) {
    return static_cast<std::int16_t>(input.byte() << 8 | input.byte());
}

std::vector<std::int16_t> frame(Input& input, int channels) {
    std::array<std::int16_t, 8> shape;
    for (std::int16_t& value : shape) value = sample(input);
    const int stretch = 1 + input.byte(), shift = input.integer(0, 15);
    std::vector<std::int16_t> pcm(static_cast<std::size_t>(Mp3Encoder::kFrameSamples * channels));
    for (std::size_t i = 0; i < pcm.size(); ++i)
        pcm[i] = static_cast<std::int16_t>(
            shape[i / static_cast<std::size_t>(stretch) % shape.size()] >> shift);
    return pcm;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input input(data, size);
    Mp3EncoderSettings settings;
    settings.bitRate = kBitRates[static_cast<std::size_t>(input.integer(0, 13))];
    settings.sampleRate = kSampleRates[static_cast<std::size_t>(input.integer(0, 2))];
    settings.channels = input.integer(1, 2);
    settings.joint = input.flag();
    settings.crc = input.flag();
    Mp3Encoder encoder(settings);
    std::vector<std::uint8_t> stream;
    for (int i = 0; i < kFrames; ++i) encoder.encode(frame(input, settings.channels), stream);
    encoder.flush(stream);

    ByteSource source(std::move(stream));
    const auto decoder = makeAudioDecoder(source, {.strict = true});
    std::vector<std::int16_t> pcm;
    while (decoder->decode(pcm)) {
    }
    if (decoder->report().concealedFrames != 0 || decoder->report().frames != kFrames) std::abort();
    return 0;
}
