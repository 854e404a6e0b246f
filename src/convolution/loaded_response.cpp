#include "convolution/loaded_response.h"

#include "convolution/long_stage.h"
#include "convolution/short_stage.h"

#include <algorithm>
#include <cmath>

namespace tonvale {

bool LoadedResponse::load(const ResponseSource &source, const StageSchedule &wanted, bool isAlone) {
    distinct = source.distinct;
    width = isAlone ? 1 : 2;
    plan = {};
    plan.latency = wanted.latency;
    plan.isStaggered = wanted.isStaggered;
    const int32_t audible = source.audibleLength();

    if (!tapBlock.allocate(int64_t{wanted.taps} * distinct))
        return false;
    plan.taps = wanted.taps;
    for (int32_t channel = 0; channel < distinct; ++channel) {
        float *to = tapBlock.get() + int64_t{plan.taps} * channel;
        const int32_t own = std::min(plan.taps, source.length(channel));
        // Nothing of infinities and NaNs is kept, as in the spectra.
        for (int32_t i = 0; i < own; ++i) {
            const auto tap = static_cast<float>(source.samples(channel)[i]);
            to[i] = std::isfinite(tap) ? tap : 0.0f;
        }
    }

    for (int32_t i = 0; i < wanted.stageCount; ++i) {
        StageSpan span = wanted.stages[i];
        span.length = std::min(span.length, audible - span.offset);
        if (span.length < 1)
            break;
        // A stage that can lead plays from the response's first sample on.
        const bool isLong = LongStage::isFor(span);
        const int32_t first = !isLong && ShortStage::canLead(span) ? 0 : span.offset;
        if (!parts[i].load(source, first, span.offset + span.length - first, span.chunk, isAlone,
                           isLong ? turnsAPass : 0))
            return false;
        plan.addStage(span);
    }
    return true;
}

int32_t LoadedResponse::mostPoints() const {
    int32_t most = 0;
    for (int32_t i = 0; i < plan.stageCount; ++i)
        most = std::max(most, parts[i].points());
    return most;
}

} // namespace tonvale
