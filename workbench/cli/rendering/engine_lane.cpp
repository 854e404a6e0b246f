#include "workbench/cli/rendering/engine_lane.h"

#include <algorithm>

namespace tonvale::workbench {

namespace {

constexpr int dryParameter = 1;
constexpr int panParameter = 5;

} // namespace

EngineLane::EngineLane(std::unique_ptr<Effect> wholeEffect, const LaneRoute &route, int block)
    : effect(std::move(wholeEffect))
    , inputs(route.inputs)
    , largestBlock(block)
    , from(inputs.size())
    , to(inputs.size()) {
    if (!route.hasDry)
        effect->setParameter(dryParameter, 0.0);
    if (route.isMirrored)
        effect->setParameter(panParameter, 1.0 - effect->parameter(panParameter));
    effect->setChannels(width());
    effect->answerIdleRequest();
    effect->reset();
}

void EngineLane::process(double *const *in, double *const *out, int frames) {
    const int most = largestBlock > 0 ? largestBlock : frames;
    for (int done = 0; done < frames;) {
        const int count = std::min(most, frames - done);
        for (size_t c = 0; c < inputs.size(); ++c) {
            from[c] = in[inputs[c]] + done;
            to[c] = out[c] + done;
        }
        effect->process(from.data(), to.data(), count);
        done += count;
    }
}

} // namespace tonvale::workbench
