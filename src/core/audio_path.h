#pragma once

#include "core/dry_delay.h"
#include "core/main_engine.h"
#include "core/tail_worker.h"
#include "core/width_mix.h"

namespace tonvale {

/// The gains of wet and dry at the output. A change moves in a straight line over one block.
class OutputGains {
  public:
    struct Values {
        double dry = 0.0;
        double wetLeft = 0.0;  ///< even channels
        double wetRight = 0.0; ///< odd channels
    };

    /// Pan, -1 to 1, works on the wet signal alone, and only ever lowers a side.
    static Values target(double wet, double dry, double pan);
    /// The values at the end of the last block, which become `next`.
    Values moveTo(const Values &next);

  private:
    Values last;
};

/// One block of an instance, from its inputs to its outputs: a dry signal that leaves as late as
/// the host was told, and a wet one, with the worker's tail, that leads it by the Pre-verb. Knows
/// no host and no window. All of it, but prime() and the worker's start and stop, under the
/// instance's audioLock.
class AudioPath {
  public:
    /// What a block reads of the instance, once, at its start.
    struct Settings {
        int32_t channels; ///< 1 to maxChannels
        int32_t delay;    ///< reported latency: dry leaves so many samples after it came in
        int32_t preverb;  ///< by how many samples wet leads dry, at most `delay`
        double wet;       ///< linear gains
        double dry;
        double width; ///< -1 to 1
        double pan;   ///< -1 to 1
    };

    /// `frames` samples of each channel; a null input is silence, a null output goes without, and
    /// outputs may be the inputs. Allocates nothing once its buffers have their working size.
    void process(const double *const *inputs, double *const *outputs, int32_t frames,
                 const Settings &settings);

    /// Empties every signal path and takes latencies back to those of the present engines.
    void reset();
    /// The next block has neither ramp nor crossfade.
    void settleGains(const Settings &settings);

    /// Plays `samples` samples of silence through `next`, as much as wetPreroll() told a moment
    /// ago, and gets the memory that so many channels need with that much under way. Without the
    /// lock.
    static void prime(EngineSet &next, int32_t samples, int32_t channels);
    /// Swaps engines with `next`, in which prime() put `primed` samples. What comes back is freed
    /// by the caller, behind the lock. Where the tail's worker is at work it waits, or, without
    /// `isPatient`, answers false and changes nothing.
    bool exchange(EngineSet &next, int32_t primed, int32_t channels, bool isPatient);

    /// Samples of silence that were output in place of wet since the last reset, less those of wet
    /// that were dropped: how much the main engine has under way.
    int32_t wetPreroll() const { return preroll; }
    /// The largest of any main engine since the last reset.
    int32_t engineLatency() const { return largestLatency; }
    bool hasEngine() const { return static_cast<bool>(main); }

    TailWorker tail;

  private:
    struct Block;

    void feed(const Block &block);
    int32_t settleWetTiming(int32_t frames, const Settings &settings);
    void writeOutput(const Block &block, int32_t wetCount, const Settings &settings);

    MainEngine main;
    DryDelay dry;
    WidthMix width;
    OutputGains gains;
    int32_t preroll = 0;
    int32_t largestLatency = 0;
};

} // namespace tonvale
