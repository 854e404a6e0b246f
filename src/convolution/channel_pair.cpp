#include "convolution/channel_pair.h"

#include <algorithm>

namespace tonvale {

namespace {

/// Input is looked at, and played by the taps, in steps of at most so many frames.
constexpr int32_t longestStep = 4096;
/// Chunks that are longer than a block begin at multiples of this.
constexpr int32_t staggerStep = 64;

} // namespace

bool ChannelPair::prepare(const LoadedResponse &loaded, int32_t index, int32_t count,
                          int32_t begun) {
    response = &loaded;
    width = loaded.frameWidth();
    ownIndex = index;
    indexCount = count;
    sinceFinished = begun;
    const StageSchedule &schedule = loaded.schedule();
    const int32_t left = width * index, right = left + width - 1;
    if (!taps.prepare(loaded.taps(left), loaded.taps(right), schedule.taps, width, longestStep))
        return false;

    stageCount = schedule.stageCount;
    int32_t reach = longestStep;
    int32_t longestChunk = longestStep;
    for (int32_t i = 0; i < stageCount; ++i) {
        const StageSpan &span = schedule.stages[i];
        Stage &stage = stages[i];
        stage.isLong = LongStage::isFor(span);
        const bool ready = stage.isLong
                               ? stage.many.prepare(loaded.part(i), span, left, right, width)
                               : stage.few.prepare(loaded.part(i), span, left, right, width);
        if (!ready)
            return false;
        reach = std::max(reach, span.offset + span.chunk);
        longestChunk = std::max(longestChunk, span.chunk);
    }
    if (!sums.prepare(reach + longestChunk + schedule.latency, width))
        return false;
    sums.advance(begun);
    if (schedule.latency > 0 && stageCount > 0)
        stages[0].reset(begun, 0);
    return true;
}

void ChannelPair::process(const double *input, int32_t frames, double *left, double *right,
                          double *work) {
    const bool hasLatency = response->schedule().latency > 0;
    int32_t given = 0;
    for (int32_t done = 0; done < frames;) {
        const double *block = input + int64_t{done} * width;
        int32_t step = std::min(frames - done, longestStep);
        const bool atRest = !hasLatency && isSilent();
        if (!atRest || isHeard(block, step)) {
            // With everything at rest chunks can begin anew, as the coming block asks for.
            if (atRest)
                align(frames - done);
            ShortStage *leader = leaderOf(frames - done);
            step = leader ? leader->chunk() : stepWithin(step);
            playStep(isHeard(block, step) ? block : nullptr, step, leader, work);
        }
        sums.advance(step);
        const int32_t ready = finishedBy(step);
        sums.take(ready, left ? left + given : nullptr, right ? right + given : nullptr);
        given += ready;
        done += step;
    }
}

bool ChannelPair::isHeard(const double *input, int32_t frames) const {
    return convolutionKernels().sample.isAudible(input, frames * width);
}

/// The largest stage whose chunk the next `frames` frames fill from its beginning.
ShortStage *ChannelPair::leaderOf(int32_t frames) {
    for (int32_t i = stageCount - 1; i >= 0; --i) {
        if (!stages[i].isLong && stages[i].few.wouldLead(frames))
            return &stages[i].few;
    }
    return nullptr;
}

/// Up to where a stage may lead, or frames are finished.
int32_t ChannelPair::stepWithin(int32_t frames) const {
    const int32_t latency = response->schedule().latency;
    if (latency > 0)
        frames = std::min(frames, latency - sinceFinished);
    for (int32_t i = 0; i < stageCount; ++i) {
        if (!stages[i].isLong)
            frames = stages[i].few.untilLead(frames);
    }
    return frames;
}

/// A `leader` plays a step as long as its chunk from the first frame on: what is ahead of it in the
/// response hears silence. Null input is silence.
void ChannelPair::playStep(const double *input, int32_t frames, const ShortStage *leader,
                           double *work) {
    bool isAhead = leader != nullptr;
    taps.play(isAhead ? nullptr : input, frames, sums);
    for (int32_t i = 0; i < stageCount; ++i) {
        Stage &stage = stages[i];
        if (stage.isLong) {
            stage.many.take(input, frames, sums, work);
        } else if (&stage.few == leader) {
            stage.few.lead(input, sums, work);
            isAhead = false;
        } else {
            stage.few.take(isAhead ? nullptr : input, frames, sums, work);
        }
    }
}

/// How many frames are finished once `step` more are in.
int32_t ChannelPair::finishedBy(int32_t step) {
    const int32_t latency = response->schedule().latency;
    if (latency == 0)
        return step;
    const int32_t in = sinceFinished + step;
    sinceFinished = in % latency;
    return in - sinceFinished;
}

void ChannelPair::Stage::reset(int32_t phase, int32_t turnsGone) {
    if (isLong)
        many.reset(phase, turnsGone);
    else
        few.reset(phase);
}

bool ChannelPair::isSilent() const {
    for (int32_t i = 0; i < stageCount; ++i) {
        if (!(stages[i].isLong ? stages[i].many.isSilent() : stages[i].few.isSilent()))
            return false;
    }
    return taps.isSilent();
}

/// Chunks that a block fills begin with the block. Those of other stages, and of other pairs, begin
/// apart, so that their transforms don't all fall into one block.
void ChannelPair::align(int32_t block) {
    for (int32_t i = 0; i < stageCount; ++i) {
        const int32_t chunk = response->schedule().stages[i].chunk;
        const bool isLast = i + 1 == stageCount;
        const int64_t apart = int64_t{chunk} * ownIndex / indexCount + (isLast ? 0 : chunk / 4);
        const int32_t phase = static_cast<int32_t>(apart % chunk) / staggerStep * staggerStep;
        const bool isFilled = chunk <= block && !stages[i].isLong;
        stages[i].reset(isFilled ? 0 : phase, ownIndex % turnsAPass);
    }
}

void ChannelPair::reset() {
    taps.reset();
    for (int32_t i = 0; i < stageCount; ++i) {
        stages[i].reset(0, 0);
    }
    sums.clear();
    sinceFinished = 0;
}

} // namespace tonvale
