// qorenc: encodes an audio file to MP3 through libqoracn8.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "CLI/CLI.hpp"
#include "audiosource.h"
#include "mp3encoder.h"
#include "mp3header.h"
#include "mp3writer.h"
#include "outputfile.h"
#include "qorac.h"

namespace {

enum class Mode { automatic, stereo, joint, mono };

struct Options {
    std::string input, output;
    int bitRate = 128;
    Mode mode = Mode::automatic;
    bool crc = false;
    bool quiet = false;
};

// The decoder's filter bank is late by this much, which players know.
constexpr int kDecoderDelay = 529;

// The file's own rate where MPEG-1 has it, else one in a simple proportion to it, else 44100 Hz.
int encodedRate(int sampleRate) {
    for (const int rate : {32000, 44100, 48000})
        if (rate >= sampleRate && rate % sampleRate == 0) return rate;
    for (const int rate : {48000, 44100, 32000})
        if (sampleRate % rate == 0) return rate;
    return 44100;
}

using Clock = std::chrono::steady_clock;
double secondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

// A line on a terminal that tells how far the work is, once it has taken a while.
class Progress {
  public:
    explicit Progress(double totalSeconds)
        : shown_(isatty(STDERR_FILENO) != 0), total_(totalSeconds), start_(Clock::now()) {}

    double elapsed() const { return secondsSince(start_); }

    void update(double audioSeconds) {
        constexpr double kFirst = 1.0, kInterval = 0.2;
        if (!shown_ || elapsed() < kFirst || elapsed() - last_ < kInterval) return;
        last_ = elapsed();
        drawn_ = true;
        std::fprintf(stderr, "\r%.0f s encoded, %.0f times real time", audioSeconds,
                     audioSeconds / elapsed());
        if (total_ > 0) std::fprintf(stderr, ", %3.0f %%", 100 * audioSeconds / total_);
        std::fprintf(stderr, "   ");
    }

    void clear() const {
        if (drawn_) std::fprintf(stderr, "\r%78s\r", "");
    }

  private:
    bool shown_;
    bool drawn_ = false;
    double total_;
    Clock::time_point start_;
    double last_ = 0;
};

std::uint64_t framesFor(std::uint64_t samples) {
    constexpr auto kFrame = static_cast<std::uint64_t>(Mp3Encoder::kFrameSamples);
    return (samples + Mp3Encoder::kDelay + kDecoderDelay + kFrame - 1) / kFrame;
}

double percent(std::uint64_t part, std::uint64_t whole) {
    return whole == 0 ? 0 : 100.0 * static_cast<double>(part) / static_cast<double>(whole);
}

void printSummary(const Options& options, const AudioSource& source, const Mp3Encoder& encoder,
                  const Mp3StreamLength& length, double seconds) {
    const bool toStandardOutput = OutputFile::isStandardOutput(options.output);
    std::FILE* const out = toStandardOutput ? stderr : stdout;
    const QorMP3FrameHeader& header = encoder.header();
    const Mp3EncoderStatistics& s = encoder.statistics();
    const double audio = static_cast<double>(length.samples) / mp3SampleRate(header);
    const char* const modes[] = {"stereo", "joint stereo", "dual channel", "mono"};
    std::fprintf(out, "%s, %d Hz, %d %s -> MPEG-1 Layer III, %d Hz, %s, %d kbit/s\n",
                 source.format().description.c_str(), source.format().sampleRate,
                 source.format().channels, source.format().channels == 1 ? "channel" : "channels",
                 mp3SampleRate(header), modes[header.mode], mp3BitRate(header));
    std::fprintf(out, "%.3f s in %llu frames, %llu bytes, mean bit rate %.3f kbit/s\n", audio,
                 static_cast<unsigned long long>(length.frames),
                 static_cast<unsigned long long>(length.bytes),
                 static_cast<double>(length.bytes) * 8 * mp3SampleRate(header) /
                     (1152e3 * static_cast<double>(length.frames)));
    std::fprintf(out, "blocks: all long, %.1f %% silent; transients seen in %.1f %%\n",
                 percent(s.silentGranules, s.granules), percent(s.shortDecisions, s.granules));
    if (header.mode == 1)
        std::fprintf(out, "stereo: mid/side in %.1f %% of the frames, left/right in the others\n",
                     percent(s.midSideFrames, s.frames));
    std::fprintf(out, "reservoir: %.0f of %d bytes on average, %llu bytes of ancillary data\n",
                 static_cast<double>(s.reservoirBytes) / static_cast<double>(s.frames),
                 encoder.reservoirLimit(), static_cast<unsigned long long>(s.ancillaryBytes));
    std::fprintf(out, "%.0f times real time\n", audio / seconds);
    if (!toStandardOutput) std::fprintf(out, "written to %s\n", options.output.c_str());
}

void run(const Options& options) {
    AudioSource source(options.input);
    Mp3EncoderSettings settings;
    settings.sampleRate = encodedRate(source.format().sampleRate);
    settings.bitRate = options.bitRate;
    settings.crc = options.crc;
    const bool mono = options.mode == Mode::mono ||
                      (options.mode == Mode::automatic && source.format().channels == 1);
    settings.channels = mono ? 1 : 2;
    settings.joint = options.mode != Mode::stereo;
    source.deliver(settings.sampleRate, settings.channels);
    Mp3Encoder encoder(settings);

    const auto nch = static_cast<std::size_t>(settings.channels);
    std::vector<std::int16_t> pcm;
    std::size_t got = source.read(pcm, Mp3Encoder::kFrameSamples);
    if (got == 0) throw std::runtime_error("no audio in " + source.name());

    Mp3Writer writer(options.output, encoder.header());
    writer.writeTag(source.textFields());
    Mp3StreamLength length;
    length.delay = Mp3Encoder::kDelay;
    // A file's length is told at the end; a stream's, where the source declares it, up front.
    const std::uint64_t promised = writer.canRewrite() ? 0 : source.declaredSamples();
    Mp3StreamLength expected = length;
    if (promised > 0) {
        expected.samples = promised;
        expected.frames = framesFor(promised);
        expected.bytes = expected.frames * 144000 * static_cast<std::uint64_t>(settings.bitRate) /
                         static_cast<std::uint64_t>(settings.sampleRate);
    }
    writer.writeInfo(expected);

    Progress progress(static_cast<double>(source.declaredSamples()) / settings.sampleRate);
    std::vector<std::uint8_t> stream;
    const auto encode = [&] {
        pcm.resize(Mp3Encoder::kFrameSamples * nch);
        encoder.encode(pcm, stream);
        pcm.clear();
        ++length.frames;
        writer.write(stream);
        length.bytes += stream.size();
        stream.clear();
    };
    while (got > 0) {
        length.samples += got;
        encode();
        progress.update(static_cast<double>(length.samples) / settings.sampleRate);
        got = source.read(pcm, Mp3Encoder::kFrameSamples);
    }
    // The filters are late: silence behind the music brings out its end.
    while (length.frames < framesFor(length.samples)) encode();
    encoder.flush(stream);
    writer.write(stream);
    length.bytes += stream.size();
    writer.finish(length);
    progress.clear();
    if (!options.quiet) printSummary(options, source, encoder, length, progress.elapsed());
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app{"Encodes an audio file to MP3 (MPEG-1 Layer III, constant bit rate)."};
    Options options;
    app.add_option("input", options.input, "WAV, FLAC, AIFF, ... to encode, - for standard input")
        ->required();
    app.add_option("output", options.output, "MP3 file to write, - for standard output")
        ->required();
    // Compared as text: only what the help shows is taken.
    const std::vector<std::string> rates = {"32",  "40",  "48",  "56",  "64",  "80",  "96",
                                            "112", "128", "160", "192", "224", "256", "320"};
    std::string rate = "128";
    app.add_option("-b,--bitrate", rate, "kbit/s; default: 128")->check(CLI::IsMember(rates));
    const std::map<std::string, Mode> modes = {{"auto", Mode::automatic},
                                               {"stereo", Mode::stereo},
                                               {"joint", Mode::joint},
                                               {"mono", Mode::mono}};
    std::string mode = "auto";
    app.add_option("-m,--mode", mode, "default: auto, mono for one channel, else joint")
        ->check(CLI::IsMember(modes))
        ->option_text("stereo|joint|mono|auto");
    app.add_flag("--crc", options.crc, "put a CRC word behind each frame header");
    app.add_flag("-q,--quiet", options.quiet, "no summary");
    app.set_version_flag("--version", std::string("qorenc ") + qoracGetLibVersion()->version,
                         "show the version");
    app.set_help_flag("-h,--help", "show the options");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {  // help and version end here as well
        constexpr int kWrongUse = 2;
        return app.exit(end) == 0 ? 0 : kWrongUse;
    }
    options.bitRate = std::stoi(rate);
    options.mode = modes.at(mode);

    run(options);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "qorenc: %s\n", error.what());
    return 1;
}
