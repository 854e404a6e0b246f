#pragma once

#include "convolution/channel_pair.h"
#include "convolution/containers/frame_queue.h"
#include "convolution/containers/pointer_list.h"

#include <memory>

namespace tonvale {

/// Plays the channels of a stream through a response that a schedule has cut: what both engines
/// share. Each channel has as many samples ready as any other at all times; one whose memory is out
/// is silent. No locks: one thread at a time.
class StreamConvolver {
  public:
    StreamConvolver() = default;
    ~StreamConvolver() { pairs.clear(true); }
    StreamConvolver(const StreamConvolver &) = delete;
    StreamConvolver &operator=(const StreamConvolver &) = delete;

    /// Takes samples of `impulse` from `offset` on, at most `limit` of them where that is above 0,
    /// cut by `schedule`; an impulse without samples there passes the input through. `expected` is
    /// how many channels are to come, 0 where that isn't known: an even number is played in pairs,
    /// which costs a little less. What is queued and what is ready stay.
    void load(const ImpulseBuffer &impulse, int32_t offset, int32_t limit,
              const StageSchedule &wanted, int32_t expected);

    /// Takes a copy of `length` samples of each of `channels` channels; a null channel is silence,
    /// and so is every one where `buffers` is null. The first call behind load(), or one with
    /// another count, gets the memory that the channels need, and what sounds in them is lost.
    void addSamples(const double *const *buffers, int32_t length, int32_t channels);

    /// Plays `length` samples of silence and gets all memory that is needed while as many samples
    /// stay ready and blocks are no longer than usualBlock.
    void prime(int32_t length, int32_t channels);

    /// Plays all that is queued. Answers how many samples each channel has ready.
    int32_t play();

    int32_t ready() const { return outputs.frameCount(); }
    int32_t channelCount() const { return channels; }
    double *output(int32_t channel) const { return outputs.frame(channel, 0); }
    void consume(int32_t length) { outputs.consume(length); }
    void addSilence(int32_t length);

    /// Forgets all signal and keeps the response.
    void reset();
    void dropQueued() { inputs.clear(); }

    /// The samples of the longest channel of the impulse, within offset and limit.
    static int32_t usableLength(const ImpulseBuffer &impulse, int32_t offset, int32_t limit);

  private:
    bool rebuild(int32_t count);
    void passQueued();
    void appendPassed(const double *const *buffers, int32_t length);
    void playSlice(int32_t frames, int32_t before, int32_t finished);
    int64_t finishedBy(int64_t frames) const;
    int32_t pairCount() const { return inputs.queueCount(); }

    std::unique_ptr<LoadedResponse> response; ///< null: none, or no memory for it
    PointerList<ChannelPair> pairs;
    AlignedBlock<double> work;
    FrameQueue inputs;  ///< a queue of frames for each pair, or each channel
    FrameQueue outputs; ///< one for each channel
    int32_t channels = 0;
    StageSchedule schedule;
    int64_t framesIn = 0;     ///< with a latency: frames since reset() ...
    int64_t framesOut = 0;    ///< ... and those that came out
    bool passes = true;       ///< there is no response
    bool needsRebuild = true; ///< the pairs don't fit response and channels
};

} // namespace tonvale
