#pragma once

#include "convolution/loaded_response.h"
#include "convolution/long_stage.h"
#include "convolution/short_stage.h"
#include "convolution/tap_line.h"

namespace tonvale {

/// Two channels, or one alone, on their way through a response. Not thread-safe.
///
/// Input goes to the taps and to every stage, each of which adds what it gives to the sums to come.
/// Where a stretch of a block fills a chunk, that chunk's stage plays it whole, and taps and
/// smaller stages hear silence meanwhile and fall asleep: so the work adapts to the blocks that the
/// host sends.
class ChannelPair {
  public:
    /// For pair `index` of `count`: channels 2 * index and the next one, or, where the response is
    /// prepared for channels alone, channel `index`. `loaded` outlives the pair. With a
    /// latency, so many frames of silence are in already of which `waiting` haven't come out.
    /// Answers false where memory is out.
    bool prepare(const LoadedResponse &loaded, int32_t index, int32_t count, int64_t in,
                 int32_t waiting);

    /// Plays `frames` frames of input, with a latency at most longestStep() at a time, and takes
    /// `ready` frames out, without latency as many. `work` holds 2 doubles for each point of the
    /// longest transform. Null channels are left out.
    void process(const double *input, int32_t frames, int32_t ready, double *left, double *right,
                 double *work);
    static int32_t longestStep();

    /// Forgets all input.
    void reset();

  private:
    /// One of the two, as its span asks for.
    struct Stage {
        bool isLong = false;
        ShortStage few;
        LongStage many;

        void reset(int32_t begun, int32_t turnsGone);
    };

    bool isSilent() const;
    bool isHeard(const double *input, int32_t frames) const;
    void align(int32_t block);
    void begin(int64_t in);
    ShortStage *leaderOf(int32_t frames);
    int32_t stepWithin(int32_t frames) const;
    void playStep(const double *input, int32_t frames, const ShortStage *leader, double *work);

    const LoadedResponse *response = nullptr;
    TapLine taps;
    Stage stages[StageSchedule::most];
    int32_t stageCount = 0;
    SumRing sums;
    int32_t width = 2;
    int32_t ownIndex = 0;
    int32_t indexCount = 1; ///< pairs of the convolver
    int32_t phase = 0;      ///< with a latency: frames of a chunk of the first stage that are in
};

} // namespace tonvale
