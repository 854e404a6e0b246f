#pragma once

#include "convolution/chunk_input.h"
#include "convolution/response_part.h"
#include "convolution/stage_schedule.h"
#include "convolution/sum_ring.h"

namespace tonvale {

/// A stage of many parts, of one channel pair: partitioned overlap-add whose load is even. Turns,
/// one a chunk, come in groups of turnsAPass. What the spectra before a group add to each of its
/// turns is summed up in one pass over them, a few bins with every block, while the group's first
/// chunk comes in; a complete chunk then costs its own transforms and the products of at most
/// turnsAPass fresh spectra. Not thread-safe.
class LongStage {
  public:
    /// Whether a stage has so many parts that this pays.
    static bool isFor(const StageSpan &span);

    /// `part` outlives the stage; it is loaded with turnsAPass spare pieces. It plays channels
    /// `left` and `right`. Answers false where memory is out.
    bool prepare(const ResponsePart &part, const StageSpan &span, int32_t left, int32_t right,
                 int32_t frameWidth);

    /// Takes `count` frames, null being silence, and adds what they give once their chunk is
    /// complete. `work` holds 2 doubles a point.
    void take(const double *frames, int32_t count, SumRing &sums, double *work);

    /// Forgets all input. The next chunk has `phase` frames of silence gathered already, and its
    /// group of turns had `turnsGone` turns.
    void reset(int32_t phase, int32_t turnsGone);
    bool isSilent() const { return silentTurns >= rememberedTurns && !input.isAudible(); }

  private:
    void finishChunk(int64_t begin, SumRing &sums, double *work);
    void playTurn(int64_t begin, SumRing &sums, double *work);
    void nextGroup();
    void advancePass();

    const ResponsePart *response = nullptr;
    StageSpan place{};
    ChunkInput input;
    AlignedBlock<double> history; ///< [channel][group][slot][8]
    AlignedBlock<double> fresh;   ///< [channel][turn][group][8]
    AlignedBlock<double> sums;    ///< as `fresh`
    LongProduct product{};
    int32_t width = 2;
    int32_t turn = 0;     ///< within its group
    int32_t passDone = 0; ///< bin groups
    bool passDue = false;
    int32_t rememberedTurns = 0; ///< after as many silent ones nothing is heard
    int32_t silentTurns = 0;
};

} // namespace tonvale
