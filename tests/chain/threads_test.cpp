// Many decoders and encoders at once on contexts of their own, and one spec in many threads. The
// build with ThreadSanitizer reports any memory that they share by mistake.
#include <atomic>
#include <functional>
#include <thread>

#include "audiodecoder.h"
#include "gtest/gtest.h"
#include "mp3encoder.h"

namespace {

using Pcm = std::vector<std::int16_t>;
using Bytes = std::vector<std::uint8_t>;

constexpr int kThreads = 4;

// All threads must give what one gives.
template <typename Result>
void expectSameInThreads(const std::function<Result()>& run) {
    const Result alone = run();
    std::atomic<int> different = 0;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back([&] { different += run() != alone; });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(different, 0);
}

// The first blocks of a stream, interleaved.
Pcm decode(const std::string& path, int blocks) {
    ByteSource source(path);
    const auto decoder = makeAudioDecoder(source, {});
    Pcm all, pcm;
    while (blocks-- > 0 && decoder->decode(pcm)) all.insert(all.end(), pcm.begin(), pcm.end());
    return all;
}

Bytes encode(const Pcm& pcm) {
    constexpr std::size_t kFrame = 2 * Mp3Encoder::kFrameSamples;
    Mp3Encoder encoder({});
    Bytes stream;
    for (std::size_t at = 0; at + kFrame <= pcm.size(); at += kFrame)
        encoder.encode(std::span(pcm).subspan(at, kFrame), stream);
    encoder.flush(stream);
    return stream;
}

TEST(Threads, DecodersDoNotMeet) {
    for (const char* const file : {QORAC_DEMO_FILE, QORAC_AAC_FILE})
        expectSameInThreads<Pcm>([&] { return decode(file, 60); });
}

TEST(Threads, EncodersDoNotMeet) {
    const Pcm pcm = decode(QORAC_DEMO_FILE, 40);
    expectSameInThreads<Bytes>([&] { return encode(pcm); });
}

// With short, middle and blocked FFTs below the MDCT.
TEST(Threads, AnMdctSpecIsShared) {
    for (const Qor32s len : {12, 36, 64, 2048, 1 << 20}) {
        QorsMDCTFwdSpec_32f* forward = nullptr;
        QorsMDCTInvSpec_32f* inverse = nullptr;
        ASSERT_EQ(qorsMDCTFwdInitAlloc_32f(&forward, len), qorStsNoErr);
        ASSERT_EQ(qorsMDCTInvInitAlloc_32f(&inverse, len), qorStsNoErr);
        expectSameInThreads<std::vector<Qor32f>>([&] {
            std::vector<Qor32f> block(static_cast<std::size_t>(len));
            for (std::size_t n = 0; n < block.size(); ++n)
                block[n] = static_cast<Qor32f>(n * n % 1009) - 504;
            qorsMDCTFwd_32f_I(block.data(), forward, nullptr);
            qorsMDCTInv_32f_I(block.data(), inverse, nullptr);
            return block;
        });
        qorsMDCTFwdFree_32f(forward);
        qorsMDCTInvFree_32f(inverse);
    }
}

TEST(Threads, A16BitMdctSpecIsShared) {
    constexpr Qor32s kLen = 2048;
    QorsMDCTFwdSpec_16s* spec = nullptr;
    ASSERT_EQ(qorsMDCTFwdInitAlloc_16s(&spec, kLen), qorStsNoErr);
    expectSameInThreads<std::vector<Qor16s>>([&] {
        std::vector<Qor16s> block(kLen), lines(kLen / 2);
        for (std::size_t n = 0; n < block.size(); ++n)
            block[n] = static_cast<Qor16s>(n * n % 30011);
        qorsMDCTFwd_16s_Sfs(block.data(), lines.data(), spec, 4, nullptr);
        return lines;
    });
    qorsMDCTFwdFree_16s(spec);
}

}  // namespace
