#include "aacprediction.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>

namespace {

constexpr Qor32s kShortWindows = 2;
constexpr int kShortLines = 128;

Qor32s saturated(double value) {
    return static_cast<Qor32s>(std::clamp<double>(value, std::numeric_limits<Qor32s>::min(),
                                                  std::numeric_limits<Qor32s>::max()));
}

}  // namespace

// --- lines ----------------------------------------------------------------------------------------

void AacLinePredictor::run(AacChannel& channel) {
    constexpr Qor32s kResetGroups = 30;
    if (!state_) {
        QorsFDPState_32f* state = nullptr;
        if (qorsFDPInitAlloc_32f(&state, AacChannel::kPredictedLines) != qorStsNoErr)
            throw std::bad_alloc();
        state_.reset(state);
    }
    if (channel.isShort()) {
        qorsFDPReset_32f(state_.get());
        return;
    }

    constexpr double kQ3 = 8;
    const std::span<const Qor32s> offsets = aacPredictedBands(channel.info.samplingRateIndex);
    const auto bands = static_cast<Qor32s>(offsets.size() - 1);
    const QorAACIcsInfo& ics = channel.ics;
    std::array<Qor8u, 41> used{}, noise{};
    if (ics.predictor_data_present != 0) std::copy_n(ics.prediction_used, bands, used.begin());
    qorsFDPInv_32f_I(channel.exactLines.data(), offsets.data(), bands, used.data(), state_.get());
    for (Qor32s b = 0; b < bands; ++b)
        for (Qor32s k = offsets[b]; used[b] != 0 && k < offsets[b + 1]; ++k)
            channel.spectrum[k] = saturated(std::nearbyint(channel.exactLines[k] * kQ3));

    if (ics.predictor_data_present != 0 && ics.predictor_reset != 0)
        qorsFDPResetGroup_32f(kResetGroups, ics.predictor_reset_group_number - 1, state_.get());
    // Nothing can be learnt from noise.
    for (Qor32s b = 0; b < std::min(bands, ics.max_sfb); ++b)
        noise[b] = channel.codeBook[b] == AacChannel::kNoiseBook;
    qorsFDPResetSfb_32f(offsets.data(), bands, noise.data(), state_.get());
}

// --- long term ------------------------------------------------------------------------------------

void AacLongTermPredictor::run(AacChannel& channel, Qor32s previousShape) const {
    const QorAACLtpInfo& ltp = channel.ltp;
    if (ltp.ltp_data_present == 0) return;
    const QorAACIcsInfo& ics = channel.ics;
    std::array<Qor32s, 2048> estimate{}, work;
    std::array<Qor32s, AacChannel::kLines> spectrum;
    qorsLongTermPredict_AAC_32s(history_.data(), estimate.data(), &ltp, ics.window_sequence);
    if (channel.isShort()) {
        for (int w = 0; w < 8; ++w)
            qorsMDCTFwd_AAC_32s(&estimate[2 * kShortLines * w], &spectrum[kShortLines * w],
                                history_.data(), kShortWindows, ics.window_shape,
                                w == 0 ? previousShape : ics.window_shape, work.data());
    } else {
        qorsMDCTFwd_AAC_32s(estimate.data(), spectrum.data(), history_.data(), ics.window_sequence,
                            ics.window_shape, previousShape, work.data());
    }
    // The channel's spectrum is still without the shape of its noise.
    channel.flattenNoise(spectrum.data());
    qorsLongTermReconstruct_AAC_32s(spectrum.data(), channel.spectrum.data(),
                                    channel.isShort() ? ltp.ltp_short_used : ltp.ltp_long_used,
                                    ics.window_sequence, channel.info.samplingRateIndex);
}

void AacLongTermPredictor::update(const Qor32s* spectrum, Qor32s windowSequence, Qor32s windowShape,
                                  Qor32s previousShape) {
    std::array<Qor32s, 6144> work;
    if (windowSequence != kShortWindows || windowShape == previousShape) {
        qorsLtpUpdate_AAC_32s(spectrum, history_.data(), windowSequence, windowShape, previousShape,
                              work.data());
        return;
    }
    // The library lets all eight windows rise with the previous shape, as only the first one does:
    // the others are transformed by themselves.
    std::array<Qor32s, AacChannel::kLines> first{}, others{};
    std::array<Qor32s, 3072> contribution{};
    std::copy_n(spectrum, kShortLines, first.begin());
    std::copy(spectrum + kShortLines, spectrum + AacChannel::kLines, others.begin() + kShortLines);
    qorsLtpUpdate_AAC_32s(first.data(), history_.data(), windowSequence, windowShape, previousShape,
                          work.data());
    qorsLtpUpdate_AAC_32s(others.data(), contribution.data(), windowSequence, windowShape,
                          windowShape, work.data());
    for (std::size_t i = 0; i < history_.size(); ++i)
        history_[i] = saturated(double(history_[i]) + contribution[i]);
}
