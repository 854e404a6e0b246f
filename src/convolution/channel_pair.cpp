#include "convolution/channel_pair.h"

#include <algorithm>

namespace tonvale {

namespace {

/// Input is looked at, and played by the taps, in steps of at most so many frames.
constexpr int32_t mostFrames = 4096;
/// Chunks that are longer than a block begin at multiples of this.
constexpr int32_t staggerStep = 64;

} // namespace

bool ChannelPair::prepare(const LoadedResponse &loaded, int32_t index, int32_t count, int64_t in,
                          int32_t waiting) {
    response = &loaded;
    width = loaded.frameWidth();
    ownIndex = index;
    indexCount = count;
    const StageSchedule &schedule = loaded.schedule();
    const int32_t left = width * index, right = left + width - 1;
    if (!taps.prepare(loaded.taps(left), loaded.taps(right), schedule.taps, width, mostFrames))
        return false;

    stageCount = schedule.stageCount;
    int32_t reach = mostFrames;
    int32_t longestChunk = mostFrames;
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
    // What is finished waits for other pairs as long as the latency at most.
    if (!sums.prepare(reach + longestChunk + 2 * schedule.latency, width))
        return false;
    sums.advance(waiting);
    begin(in);
    return true;
}

int32_t ChannelPair::longestStep() {
    return mostFrames;
}

void ChannelPair::process(const double *input, int32_t frames, int32_t ready, double *left,
                          double *right, double *work) {
    const bool hasLatency = response->schedule().latency > 0;
    for (int32_t done = 0; done < frames;) {
        const double *block = input + int64_t{done} * width;
        int32_t step = std::min(frames - done, mostFrames);
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
        if (hasLatency)
            phase = (phase + step) % response->schedule().latency;
        else
            sums.take(step, left ? left + done : nullptr, right ? right + done : nullptr);
        done += step;
    }
    if (hasLatency)
        sums.take(ready, left, right);
}

/// With a latency: `in` frames of silence are in.
void ChannelPair::begin(int64_t in) {
    const StageSchedule &schedule = response->schedule();
    if (schedule.latency == 0)
        return;
    phase = static_cast<int32_t>((in + schedule.stagger(ownIndex, indexCount)) % schedule.latency);
    if (stageCount > 0)
        stages[0].reset(phase, ownIndex % turnsAPass);
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
        frames = std::min(frames, latency - phase);
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

void ChannelPair::Stage::reset(int32_t begun, int32_t turnsGone) {
    if (isLong)
        many.reset(begun, turnsGone);
    else
        few.reset(begun);
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
        const int32_t begun = static_cast<int32_t>(apart % chunk) / staggerStep * staggerStep;
        const bool isFilled = chunk <= block && !stages[i].isLong;
        stages[i].reset(isFilled ? 0 : begun, ownIndex % turnsAPass);
    }
}

void ChannelPair::reset() {
    taps.reset();
    for (int32_t i = 0; i < stageCount; ++i) {
        stages[i].reset(0, 0);
    }
    sums.clear();
    begin(0);
}

} // namespace tonvale
