// The MP3 chain against the reference PCM of the conformance streams.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "chain/streams.h"
#include "gtest/gtest.h"
#include "mp3decoder.h"
#include "mp3stream.h"

namespace qorac::test {
namespace {

struct Decoded {
    std::vector<std::int16_t> pcm;  // each frame with the channels that it has
    int concealed = 0;
    int lastFrameSamples = 0;
};

Decoded decodeAll(const std::filesystem::path& path) {
    ByteSource source(readFile(path));
    Mp3Stream stream(source);
    Mp3Decoder decoder;
    Decoded result;
    while (const auto frame = stream.next()) {
        std::int16_t pcm[Mp3Decoder::kMaxSamples];
        if (decoder.decodeFrame(frame->bytes, true, pcm) != Mp3Decoder::Result::decoded)
            ++result.concealed;
        result.lastFrameSamples = decoder.channels() * decoder.samplesPerChannel();
        result.pcm.insert(result.pcm.end(), pcm, pcm + result.lastFrameSamples);
    }
    return result;
}

TEST(Mp3Conformance, StreamsMeetTheirReferencePcm) {
    const auto streams = conformanceStreams("mp3", ".bit");
    if (streams.empty()) GTEST_SKIP() << "QORAC_VECTORS names no folder with MP3 streams";
    for (const auto& path : streams) {
        SCOPED_TRACE(path.filename());
        const auto bytes = readFile(std::filesystem::path(path).replace_extension(".pcm"));
        std::vector<std::int16_t> reference(bytes.size() / 2);
        std::memcpy(reference.data(), bytes.data(), 2 * reference.size());
        ASSERT_FALSE(reference.empty());

        const Decoded decoded = decodeAll(path);
        EXPECT_EQ(decoded.concealed, 0);
        // Some references leave the last frame out.
        EXPECT_TRUE(decoded.pcm.size() == reference.size() ||
                    decoded.pcm.size() - decoded.lastFrameSamples == reference.size())
            << decoded.pcm.size() << " against " << reference.size();

        const std::size_t count = std::min(decoded.pcm.size(), reference.size());
        int largest = 0;
        double squares = 0;
        for (std::size_t i = 0; i < count; ++i) {
            const int difference = decoded.pcm[i] - reference[i];
            largest = std::max(largest, std::abs(difference));
            squares += static_cast<double>(difference) * difference;
        }
        const double rms = std::sqrt(squares / static_cast<double>(count));
        EXPECT_LE(largest, 1);
        EXPECT_LT(rms, 0.35);
        std::printf("%-24s maximum %d, RMS %.4f\n", path.filename().c_str(), largest, rms);
    }
}

}  // namespace
}  // namespace qorac::test
