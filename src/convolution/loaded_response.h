#pragma once

#include "convolution/response_part.h"
#include "convolution/stage_schedule.h"

namespace tonvale {

/// A response as a convolver keeps it: cut by a schedule, its beginning as taps, the rest as
/// spectra. Loaded once, then read by every channel pair; channel c plays response channel c modulo
/// their number.
class LoadedResponse {
  public:
    /// Takes what `wanted` says of `source`, which has at least one channel, but for what is silent
    /// at its end. With `isAlone` it is prepared for channels alone, otherwise for pairs. Answers
    /// false where memory is out.
    bool load(const ResponseSource &source, const StageSchedule &wanted, bool isAlone);

    /// Stages that have anything to play.
    const StageSchedule &schedule() const { return plan; }
    const ResponsePart &part(int32_t stage) const { return parts[stage]; }
    /// The taps of a channel.
    const float *taps(int32_t channel) const {
        return tapBlock.get() + int64_t{plan.taps} * (channel % distinct);
    }
    /// 1 where it is prepared for channels alone, 2 for pairs.
    int32_t frameWidth() const { return width; }
    /// Points of the longest transform.
    int32_t mostPoints() const;

  private:
    StageSchedule plan;
    ResponsePart parts[StageSchedule::most];
    AlignedBlock<float> tapBlock;
    int32_t distinct = 1;
    int32_t width = 2;
};

} // namespace tonvale
