#include "chain/status_stage.h"

#include "chain/window_messages.h"
#include "convolution/containers/bounded_integer.h"
#include "host/localized_text.h"

#include <algorithm>
#include <cstdio>

namespace tonvale {

void StatusStage::process(ImpulseBuffer &impulse) {
    CriticalScope scope(lock);
    const ImpulseSummary input(impulse);
    std::snprintf(inputStatus, sizeof inputStatus,
                  localizedText("Input: %.2fs %dkHz %dch", "tonvale", localizeFormat),
                  input.seconds, input.kilohertz, input.channels);
    apply(impulse);
    formatOutputStatus(impulse);
    dialog.post(stageStatusMessage);
}

void StatusStage::formatOutputStatus(const ImpulseBuffer &impulse) {
    const ImpulseSummary output(impulse);
    std::snprintf(outputStatus, sizeof outputStatus,
                  localizedText("Output: %.2fs %dkHz %dch", "tonvale", localizeFormat),
                  output.seconds, output.kilohertz, output.channels);
}

ImpulseSummary::ImpulseSummary(const ImpulseBuffer &impulse)
    : seconds(impulse.getLength() / impulse.sampleRate)
    , kilohertz(boundedInteger((impulse.sampleRate + 0.5) / 1000.0, INT32_MIN, INT32_MAX))
    , channels(impulse.getNumChannels()) {}

void scaleChannel(ImpulseBuffer &impulse, int32_t channel, double factor) {
    double *samples = impulse.getChannel(channel);
    for (int32_t i = 0; i < impulse.getChannelLength(channel); ++i)
        samples[i] *= factor;
}

FrameSpan::FrameSpan(double startMilliseconds, double lengthMilliseconds, double rate) {
    const int32_t first = framesOfMilliseconds(startMilliseconds, rate);
    begin = std::max(first, 0);
    end = boundedInteger(lengthMilliseconds * rate * 0.001 + first, INT32_MIN, INT32_MAX);
}

bool FrameSpan::makeRoom(ImpulseBuffer &impulse) const {
    return impulse.setLength(std::max(end, impulse.getLength())) > 0;
}

int32_t framesOfMilliseconds(double milliseconds, double rate) {
    return boundedInteger(milliseconds * rate * 0.001, INT32_MIN, INT32_MAX);
}

} // namespace tonvale
