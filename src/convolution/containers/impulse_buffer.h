#pragma once

#include "convolution/containers/pointer_list.h"

namespace tonvale {

/// The impulse response that the stages of a chain make and the engines consume: channels of equal
/// length in double precision. Not thread-safe.
class ImpulseBuffer {
  public:
    double sampleRate = 44100.0; ///< Hz

    ImpulseBuffer() = default;
    ~ImpulseBuffer();
    ImpulseBuffer(const ImpulseBuffer &) = delete;
    ImpulseBuffer &operator=(const ImpulseBuffer &) = delete;

    void swap(ImpulseBuffer &other) {
        std::swap(sampleRate, other.sampleRate);
        channels.swap(other.channels);
    }

    int32_t getNumChannels() const { return channels.getSize(); }
    /// Samples in each channel.
    int32_t getLength() const;

    /// The channel's samples, those of the first where there is no such channel; null without any
    /// channel, or at length 0. Read the count from getChannelLength().
    double *getChannel(int32_t index) const;
    /// The samples behind getChannel() of the same index.
    int32_t getChannelLength(int32_t index) const;

    /// Makes it `count` channels, at least 1. New ones are silent, or with `duplicateExisting`
    /// copies of the old ones in rotation.
    void setNumChannels(int32_t count, bool duplicateExisting);

    /// Makes each channel `length` samples long, new ones 0.0, and answers the length reached:
    /// where memory runs out, or all channels together would have more than SampleBuffer::maxCount
    /// samples, every channel ends empty and the answer is 0.
    int32_t setLength(int32_t length);

  private:
    SampleBuffer *channelOrFirst(int32_t index) const;

    PointerList<SampleBuffer> channels;
};

} // namespace tonvale
