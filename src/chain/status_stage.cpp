#include "chain/status_stage.h"

#include "chain/as_memory_allows.h"
#include "chain/window_messages.h"
#include "convolution/containers/bounded_integer.h"
#include "host/localized_text.h"

#include <algorithm>
#include <cstdio>

namespace tonvale {

void StatusStage::process(ImpulseBuffer &impulse) noexcept {
    CriticalScope scope(lock);
    const ImpulseSummary input(impulse);
    std::snprintf(inputStatus, sizeof inputStatus, statusFormat("Input: %.2fs %dkHz %dch"),
                  input.seconds, input.kilohertz, input.channels);
    asMemoryAllows([&] { apply(impulse); });
    formatOutputStatus(impulse);
    dialog.post(stageStatusMessage);
}

void StatusStage::formatOutputStatus(const ImpulseBuffer &impulse) noexcept {
    const ImpulseSummary output(impulse);
    std::snprintf(outputStatus, sizeof outputStatus, statusFormat("Output: %.2fs %dkHz %dch"),
                  output.seconds, output.kilohertz, output.channels);
}

const char *statusFormat(const char *format) noexcept {
    const char *translated = format;
    asMemoryAllows([&] { translated = localizedText(format, "tonvale", localizeFormat); });
    return translated;
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
