// The two predictors of AAC, which make part of a channel's spectrum from what was decoded before
// it: line by line in the Main profile (ISO/IEC 13818-7), from the sound in object type LTP (ISO/IEC
// 14496-3). Each keeps what one channel of the output needs from block to block.
#pragma once

#include <array>
#include <memory>

#include "aacchannel.h"
#include "qorac.h"

class AacLinePredictor {
  public:
    // Predicts a channel that is dequantized, behind M/S and before intensity stereo, and adapts.
    void run(AacChannel& channel);

  private:
    struct Free {
        void operator()(QorsFDPState_32f* state) const { qorsFDPFree_32f(state); }
    };
    std::unique_ptr<QorsFDPState_32f, Free> state_;
};

class AacLongTermPredictor {
  public:
    // Adds the prediction to a channel in window order, behind noise and before TNS.
    void run(AacChannel& channel, Qor32s previousShape) const;
    // Appends a block to the history: its final spectrum, window order.
    void update(const Qor32s* spectrum, Qor32s windowSequence, Qor32s windowShape,
                Qor32s previousShape);

  private:
    std::array<Qor32s, 3072> history_{};
};
