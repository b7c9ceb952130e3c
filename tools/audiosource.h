// Reads an audio file as interleaved 16-bit PCM of a wanted sampling rate and channel count.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

struct AudioSourceFormat {
    int sampleRate = 0;
    int channels = 0;
    std::uint64_t samples = 0;  // per channel as the file declares it, 0 when it does not
    std::string description;
};

class AudioSource {
  public:
    // `path` is "-" for standard input. Throws std::runtime_error when there is no audio.
    explicit AudioSource(const std::string& path);
    ~AudioSource();

    // The file as messages call it.
    const std::string& name() const { return name_; }
    // What the file holds.
    const AudioSourceFormat& format() const { return format_; }
    // Text fields of the file that have an ID3 frame: its name and the text.
    std::vector<std::pair<std::string, std::string>> textFields() const;

    // Sets what read() delivers; before the first read(). One channel is the mean of two, two are
    // copies of one.
    void deliver(int sampleRate, int channels);
    // Samples per channel that are to come in all, at the rate of delivery; 0 when not known.
    std::uint64_t declaredSamples() const;

    // Up to `samples` samples per channel at the end of `pcm`; returns how many, 0 at the end.
    std::size_t read(std::vector<std::int16_t>& pcm, std::size_t samples);

  private:
    struct Reader;
    std::unique_ptr<Reader> reader_;
    std::string name_;
    AudioSourceFormat format_;
};
