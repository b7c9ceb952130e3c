// Writes an MP3 file: an ID3v2 tag, the Info frame that tells players the length, and the frames of
// the encoder.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "outputfile.h"
#include "qorac.h"

// What the Info frame tells. `header` is that of the stream's frames.
struct Mp3StreamLength {
    std::uint64_t samples = 0;  // per channel, without delay and padding
    std::uint64_t frames = 0;   // of audio
    std::uint64_t bytes = 0;    // of audio frames
    int delay = 0;              // samples that the encoder put before the music
};

class Mp3Writer {
  public:
    Mp3Writer(const std::string& path, const QorMP3FrameHeader& header);

    // Call in this order, all but write() at most once. A stream whose length is not known when it
    // begins, and that cannot be rewritten, has no Info frame. On a pipe the checksum of the music,
    // which is known at the end only, is 0.
    void writeTag(const std::vector<std::pair<std::string, std::string>>& textFields);
    void writeInfo(const Mp3StreamLength& expected);
    void write(std::span<const std::uint8_t> frames);
    void finish(const Mp3StreamLength& length);

    bool canRewrite() const { return file_.canRewrite(); }

  private:
    std::vector<std::uint8_t> infoFrame(const Mp3StreamLength& length) const;

    OutputFile file_;
    QorMP3FrameHeader header_;
    long infoPosition_ = 0;
    bool hasInfo_ = false;
    std::uint16_t musicCrc_ = 0;
};
