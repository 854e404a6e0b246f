#pragma once

#include "convolution/chunk_input.h"
#include "convolution/response_part.h"
#include "convolution/stage_schedule.h"
#include "convolution/sum_ring.h"

namespace tonvale {

/// A stage of few parts, of one channel pair: uniformly partitioned overlap-add (Stockham 1966;
/// Kulp 1988) with the spectra of its input in a ring, so that each chunk costs one transform
/// either way.
///
/// Where its chunk is as long as its part of the response is late, it can also lead: a chunk that
/// comes in one piece is played by this stage from its first sample on, with one more part, and
/// neither taps nor smaller stages need to hear it. What the chunks so far still owe to the next
/// one is then added in that one's own inverse transform. Not thread-safe.
class ShortStage {
  public:
    /// Whether a stage so placed can lead, and needs a part more for it.
    static bool canLead(const StageSpan &span) { return span.offset == span.chunk; }

    /// `part` outlives the stage, and begins at sample 0 of the response where the stage can lead.
    /// It plays channels `left` and `right`. Answers false where memory is out.
    bool prepare(const ResponsePart &part, const StageSpan &span, int32_t left, int32_t right,
                 int32_t frameWidth);

    /// Whether the next `frames` frames fill a chunk that can be led.
    bool wouldLead(int32_t frames) const {
        return leads && input.gathered() == 0 && frames >= input.chunk();
    }
    /// Frames until a chunk ends, for a stage that can lead; none for others.
    int32_t untilLead(int32_t frames) const {
        return leads && input.missing() < frames ? input.missing() : frames;
    }
    int32_t chunk() const { return input.chunk(); }

    /// Plays a chunk from its first sample on: adds to `sums` from the present on. `work` holds 2
    /// doubles a point.
    void lead(const double *frames, SumRing &sums, double *work);
    /// Takes `count` frames, null being silence, and adds what they give once their chunk is
    /// complete.
    void take(const double *frames, int32_t count, SumRing &sums, double *work);

    /// Forgets all input. The next chunk has `phase` frames of silence gathered already.
    void reset(int32_t phase);
    /// Whether nothing of the input is heard any more.
    bool isSilent() const { return endAge == 0 && !input.isAudible() && !owes; }

  private:
    void finishChunk(int64_t begin, SumRing &sums, double *work);
    void turn(double *work);
    void settle(SumRing &sums, double *work);
    bool play(int32_t firstPart, bool fresh, double *work);

    const ResponsePart *response = nullptr;
    StageSpan place{};
    ChunkInput input;
    AlignedBlock<double> history;
    ShortProduct product{};
    bool leads = false;
    bool owes = false; ///< what the last chunk, which this stage led, gives to the next ones
    int32_t width = 2;
    // Spectra of ages from firstAge up to, without it, endAge can be heard.
    int32_t firstAge = 0;
    int32_t endAge = 0;
};

} // namespace tonvale
