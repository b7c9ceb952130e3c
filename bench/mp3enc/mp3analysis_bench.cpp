// Analysis of the MP3 encoder: the psychoacoustic model per frame, the filter bank per slot and per
// granule, on sounds that take the model through all block types. items_per_second counts samples
// of one channel, so that divided by the sampling frequency it is times real time per channel.
#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "qorac.h"

namespace {

constexpr int kGranule = 576;
constexpr int kFrames = 40;

// Chords with vibrato, noise and a click every 0.2 s.
const std::vector<Qor16s>& pcm() {
    static const std::vector<Qor16s> samples = [] {
        std::vector<Qor16s> x((kFrames + 2) * 2 * kGranule * 2);
        std::mt19937 engine(1);
        std::normal_distribution<double> noise(0, 300);
        for (std::size_t i = 0; i < x.size(); ++i) {
            const double t = double(i / 2) / 44100, vibrato = 3 * std::sin(30 * t);
            double value = noise(engine);
            for (const double f : {220.0, 554.0, 1318.0, 3520.0}) {
                value += 4000 * std::sin(2 * M_PI * f * t + vibrato + double(i % 2));
            }
            if (i / 2 % 8820 < 40) value += 12000;
            x[i] = Qor16s(std::fmax(-32768, std::fmin(32767, value)));
        }
        return x;
    }();
    return samples;
}

void psychoacousticModel(benchmark::State& bench) {
    const int mode = int(bench.range(0)), channels = mode == 3 ? 1 : 2;
    std::array<QorMP3PsychoState, 4> state{};
    std::array<QorMP3PsychoInfo, 4> info{};
    std::array<QorMP3SideInfo, 4> side{};
    std::array<Qor32s, 6> bound{};
    std::vector<Qor8u> work(25152);
    QorMP3FrameHeader header{};
    header.id = 1;
    header.bitrate_index = 9;
    header.mode = mode;
    int frame = 0;
    for (auto _ : bench) {
        qorsPsychoacousticModelTwo_MP3_16s(pcm().data() + frame * 2 * kGranule * channels,
                                           info.data(), bound.data(), side.data(), &header,
                                           state.data(), nullptr, work.data());
        frame = (frame + 1) % kFrames;
    }
    bench.SetItemsProcessed(bench.iterations() * 2 * kGranule * channels);
}
BENCHMARK(psychoacousticModel)->ArgName("mode")->Arg(0)->Arg(1)->Arg(3);

void analysisPqmf(benchmark::State& bench) {
    const int channels = int(bench.range(0));
    std::array<Qor32s, 32> out;
    int slot = 0;
    for (auto _ : bench) {
        qorsAnalysisPQMF_MP3_16s32s(pcm().data() + slot * 32 * channels, out.data(), channels);
        benchmark::DoNotOptimize(out);
        slot = (slot + 1) % 1000;
    }
    bench.SetItemsProcessed(bench.iterations() * 32);
}
BENCHMARK(analysisPqmf)->ArgName("channels")->Arg(1)->Arg(2);

void mdctForward(benchmark::State& bench) {
    std::array<Qor32s, 18 * 32> in, overlap{}, lines;
    for (int slot = 0; slot < 18; ++slot) {
        qorsAnalysisPQMF_MP3_16s32s(pcm().data() + slot * 64, &in[slot * 32], 2);
    }
    QorMP3FrameHeader header{};
    header.id = 1;
    for (auto _ : bench) {
        qorsMDCTFwd_MP3_32s(in.data(), lines.data(), int(bench.range(0)), 0, &header,
                            overlap.data());
        benchmark::DoNotOptimize(lines);
    }
    bench.SetItemsProcessed(bench.iterations() * kGranule);
}
BENCHMARK(mdctForward)->ArgName("blockType")->Arg(0)->Arg(2);

}  // namespace
