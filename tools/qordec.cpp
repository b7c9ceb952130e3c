// qordec: decodes an audio file to WAV through libqoracn8.
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>

#include "CLI/CLI.hpp"
#include "audiodecoder.h"
#include "bytesource.h"
#include "outputfile.h"
#include "qorac.h"
#include "wavwriter.h"

namespace {

std::string clock(double seconds) {
    char text[32];
    const int whole = static_cast<int>(seconds);
    std::snprintf(text, sizeof text, "%d:%02d.%03d", whole / 60, whole % 60,
                  static_cast<int>((seconds - whole) * 1000));
    return text;
}

// A line on a terminal that tells how far the work is, once it has taken a while.
class Progress {
  public:
    explicit Progress(const ByteSource& source)
        : source_(source),
          shown_(isatty(STDERR_FILENO) != 0),
          start_(Clock::now()),
          last_(start_) {}

    double elapsed() const { return seconds(start_, Clock::now()); }

    void update(double audioSeconds) {
        constexpr double kFirst = 1.0, kInterval = 0.2;
        const auto now = Clock::now();
        if (!shown_ || seconds(start_, now) < kFirst || seconds(last_, now) < kInterval) return;
        last_ = now;
        drawn_ = true;
        std::fprintf(stderr, "\r%s decoded, %.0f times real time", clock(audioSeconds).c_str(),
                     audioSeconds / elapsed());
        if (source_.size() > 0)
            std::fprintf(stderr, ", %3.0f %%",
                         100.0 * static_cast<double>(source_.position()) /
                             static_cast<double>(source_.size()));
        std::fprintf(stderr, "   ");
    }

    void clear() const {
        if (drawn_) std::fprintf(stderr, "\r%78s\r", "");
    }

  private:
    using Clock = std::chrono::steady_clock;
    static double seconds(Clock::time_point from, Clock::time_point to) {
        return std::chrono::duration<double>(to - from).count();
    }

    const ByteSource& source_;
    bool shown_;
    bool drawn_ = false;
    Clock::time_point start_, last_;
};

void run(const std::string& input, const std::string& output, const DecodeOptions& options,
         bool quiet) {
    ByteSource source(input);
    Progress progress(source);
    const auto decoder = makeAudioDecoder(source, options);
    std::unique_ptr<WavWriter> writer;
    std::vector<std::int16_t> pcm;
    std::uint64_t samples = 0;
    double audioSeconds = 0;
    while (decoder->decode(pcm)) {
        const AudioFormat format = decoder->format();
        if (!writer) writer = WavWriter::open(output, format.sampleRate, format.channels);
        writer->write(pcm);
        samples += pcm.size() / static_cast<std::size_t>(format.channels);
        audioSeconds = static_cast<double>(samples) / format.sampleRate;
        progress.update(audioSeconds);
    }
    if (!writer) throw std::runtime_error("no audio frame found");
    writer->finish();
    progress.clear();
    if (quiet) return;

    const bool toStandardOutput = OutputFile::isStandardOutput(output);
    std::FILE* const out = toStandardOutput ? stderr : stdout;
    const DecodeReport report = decoder->report();
    std::fprintf(out, "%s\n", report.codec.c_str());
    std::fprintf(out, "%s in %llu frames, %llu concealed\n", clock(audioSeconds).c_str(),
                 static_cast<unsigned long long>(report.frames),
                 static_cast<unsigned long long>(report.concealedFrames));
    for (const std::string& note : report.notes) std::fprintf(out, "%s\n", note.c_str());
    std::fprintf(out, "%.0f times real time\n", audioSeconds / progress.elapsed());
    if (!toStandardOutput) std::fprintf(out, "written to %s\n", output.c_str());
}

}  // namespace

int main(int argc, char** argv) try {
    CLI::App app{"Decodes an MP3 or AAC file to 16-bit WAV."};
    std::string input, output;
    DecodeOptions options;
    bool quiet = false;
    app.add_option("input", input, "file to decode, - for standard input")->required();
    app.add_option("output", output, "WAV file to write, - for standard output")->required();
    app.add_flag("--strict", options.strict, "check CRC words; a wrong one makes a frame damaged");
    app.add_flag("-q,--quiet", quiet, "no summary");
    app.set_version_flag("--version", std::string("qordec ") + qoracGetLibVersion()->version,
                         "show the version");
    app.set_help_flag("-h,--help", "show the options");
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& end) {  // help and version end here as well
        constexpr int kWrongUse = 2;
        return app.exit(end) == 0 ? 0 : kWrongUse;
    }

    run(input, output, options, quiet);
    return 0;
} catch (const std::exception& error) {
    std::fprintf(stderr, "qordec: %s\n", error.what());
    return 1;
}
