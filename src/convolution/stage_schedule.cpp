#include "convolution/stage_schedule.h"

#include <algorithm>

namespace tonvale {

namespace {

/// The chunks behind those of `chunk` samples. Few stages with many parts each transform less than
/// many with few; but a block that fills a chunk goes whole to that stage, so there is one for each
/// of the usual lengths of blocks, and four times as long is still near enough.
int64_t nextChunk(int32_t chunk) {
    constexpr int32_t usualBlock = 1024;
    return int64_t{chunk < usualBlock ? 4 : 16} * chunk;
}

/// Chunks begin apart by multiples of this.
constexpr int32_t staggerStep = 64;

} // namespace

int32_t StageSchedule::stagger(int32_t index, int32_t count) const {
    if (!isStaggered)
        return 0;
    return static_cast<int32_t>(int64_t{latency} * index / count) / staggerStep * staggerStep;
}

StageSchedule directSchedule(int32_t length) {
    StageSchedule schedule;
    schedule.taps = length;
    return schedule;
}

StageSchedule uniformSchedule(int32_t length, int32_t chunk) {
    StageSchedule schedule;
    schedule.latency = chunk;
    schedule.isStaggered = true;
    if (length > 0)
        schedule.addStage({0, length, chunk});
    return schedule;
}

StageSchedule growingSchedule(int32_t length, int32_t firstChunk, int32_t largestChunk,
                              int32_t latency) {
    StageSchedule schedule;
    schedule.latency = latency;
    int32_t position = 0;
    if (latency == 0) {
        position = length <= 2 * firstChunk ? length : firstChunk;
        schedule.taps = position;
    }
    while (position < length) {
        const int32_t chunk = std::min(position > 0 ? position : latency, largestChunk);
        const bool last = chunk == largestChunk || schedule.stageCount + 1 == StageSchedule::most;
        const int64_t next = std::min<int64_t>(nextChunk(chunk), largestChunk);
        const int32_t end =
            last || next >= length ? length : std::max(static_cast<int32_t>(next), position);
        schedule.addStage({position, end - position, chunk});
        position = end;
    }
    return schedule;
}

} // namespace tonvale
