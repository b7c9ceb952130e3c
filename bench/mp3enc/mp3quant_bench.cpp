// Quantization, joint stereo and packing of frames of music-like lines.
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "qorac.h"

namespace {

// A stereo frame at 44100 Hz: lines that fall with frequency, and ratios as the model gives them.
struct Frame {
    QorMP3FrameHeader header{};
    std::vector<Qor32s> xs = std::vector<Qor32s>(4 * 576);
    std::array<Qor8s, 160> scaleFactor{};
    std::array<Qor32s, 8> scfsi{};
    std::array<Qor32s, 4> count1Len{}, hufBits{};
    std::array<QorMP3SideInfo, 4> side{};
    std::array<QorMP3PsychoInfo, 4> psy{};
    std::array<QorMP3PsychoState, 2> state{};
    QorMP3BitReservoir reservoir{2000, 4088};
    std::array<Qor32s, 6> bound{};
    std::array<Qor32s, 1152> work{};

    Frame() {
        header.id = 1;
        header.layer = 1;
        header.mode = 1;
        header.mode_extension = 2;
        std::mt19937 random(1);
        std::normal_distribution<double> normal;
        for (int i = 0; i < 4; ++i) {
            for (int k = 0; k < 576; ++k)
                xs[static_cast<std::size_t>(576 * i + k)] = static_cast<Qor32s>(
                    normal(random) * 3e6 * std::exp(-k / 60.0) + normal(random) * 2e4);
            auto& psy_i = psy[static_cast<std::size_t>(i)];
            psy_i.pe = 450;
            for (int b = 0; b < 36; ++b) psy_i.ratio[b] = 30000000 + b * 8000000;
        }
    }
    void quantize(Qor32s meanBits) {
        qorsQuantize_MP3_32s_I(xs.data(), scaleFactor.data(), scfsi.data(), count1Len.data(),
                               hufBits.data(), &header, side.data(), psy.data(), state.data(),
                               &reservoir, meanBits, bound.data(), work.data());
    }
};

void Quantize(benchmark::State& state) {
    const Frame source;
    for (auto _ : state) {
        Frame frame = source;
        frame.quantize(static_cast<Qor32s>(state.range(0)) * 26);
        benchmark::DoNotOptimize(frame.side);
    }
}
BENCHMARK(Quantize)->ArgName("kbit/s")->Arg(64)->Arg(128)->Arg(192)->Arg(320);

void JointStereo(benchmark::State& state) {
    Frame frame;
    frame.header.mode_extension = static_cast<Qor32s>(state.range(0));
    std::array<Qor8u, 40> positions{};
    for (auto _ : state) {
        qorsJointStereoEncode_MP3_32s_I(frame.xs.data(), frame.xs.data() + 576, positions.data(),
                                        &frame.header, frame.side.data(), frame.bound.data());
        benchmark::DoNotOptimize(frame.xs.data());
    }
}
BENCHMARK(JointStereo)->ArgName("mode_extension")->Arg(1)->Arg(2);

void PackScaleFactors(benchmark::State& state) {
    Frame frame;
    frame.quantize(3300);
    std::array<Qor8u, 64> out{};
    for (auto _ : state) {
        Qor8u* p = out.data();
        Qor32s offset = 0;
        qorsPackScaleFactors_MP3_8s1u(frame.scaleFactor.data(), &p, &offset, &frame.header,
                                      frame.side.data(), frame.scfsi.data(), 0, 0);
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(PackScaleFactors);

void HuffmanEncode(benchmark::State& state) {
    Frame frame;
    frame.quantize(static_cast<Qor32s>(state.range(0)) * 26);
    std::array<Qor8u, 1024> out{};
    for (auto _ : state) {
        Qor8u* p = out.data();
        Qor32s offset = 0;
        qorsHuffmanEncode_MP3_32s1u(frame.xs.data(), &p, &offset, &frame.header, frame.side.data(),
                                    frame.count1Len[0], frame.hufBits[0]);
        benchmark::DoNotOptimize(out);
    }
    state.counters["bits"] = frame.hufBits[0];
}
BENCHMARK(HuffmanEncode)->ArgName("kbit/s")->Arg(128)->Arg(320);

void PackSideInfo(benchmark::State& state) {
    Frame frame;
    frame.quantize(3300);
    std::array<Qor8u, 64> out{};
    for (auto _ : state) {
        Qor8u* p = out.data();
        qorsPackFrameHeader_MP3(&frame.header, &p);
        qorsPackSideInfo_MP3(frame.side.data(), &p, 0, 0, frame.scfsi.data(), &frame.header);
        benchmark::DoNotOptimize(out);
    }
}
BENCHMARK(PackSideInfo);

}  // namespace
