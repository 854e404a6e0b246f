#pragma once

#include <cstdint>

namespace tonvale {

/// The part of a response that one stage plays, and how. A chunk's sums begin `offset` samples
/// behind its first sample, so a chunk that is no longer than that is complete in time; with an
/// offset of 0 the stage is late by its chunk.
struct StageSpan {
    int32_t offset; ///< of its first sample in the response
    int32_t length; ///< samples
    int32_t chunk;  ///< samples a transform takes in; a power of two
};

/// How a response is cut into a beginning that is played sample by sample and stages of growing
/// chunks behind it (Gardner 1995).
struct StageSchedule {
    static constexpr int32_t most = 8;

    int32_t taps = 0; ///< samples played one by one
    int32_t stageCount = 0;
    StageSpan stages[most] = {};
    int32_t latency = 0; ///< samples
    /// With a latency: whether channel pairs may finish their chunks at different times, so that
    /// their work doesn't all fall into one block. A sample is ready no later than `latency`
    /// samples behind its input either way.
    bool isStaggered = false;

    /// The frames of silence with which pair `index` of `count` begins its first chunk.
    int32_t stagger(int32_t index, int32_t count) const;

    void addStage(const StageSpan &span) { stages[stageCount++] = span; }
};

/// All of `length` samples one by one.
StageSchedule directSchedule(int32_t length);
/// One stage, late by its chunk.
StageSchedule uniformSchedule(int32_t length, int32_t chunk);

/// Stages of growing chunks up to `largestChunk`. With `latency` 0 the first `firstChunk` samples
/// are taps; otherwise the first stage is late by `latency`, and `firstChunk` isn't asked for.
StageSchedule growingSchedule(int32_t length, int32_t firstChunk, int32_t largestChunk,
                              int32_t latency);

} // namespace tonvale
