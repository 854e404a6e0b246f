#include "convolution/containers/impulse_buffer.h"

#include <algorithm>

namespace tonvale {

namespace {

/// A length that can't be had leaves no channel with any other.
int32_t emptyAll(PointerList<SampleBuffer> &channels) {
    for (int32_t i = 0; i < channels.getSize(); ++i)
        channels.get(i)->resize(0, true);
    return 0;
}

} // namespace

ImpulseBuffer::~ImpulseBuffer() {
    channels.clear(true);
}

SampleBuffer *ImpulseBuffer::channelOrFirst(int32_t index) const {
    SampleBuffer *channel = channels.get(index);
    return channel ? channel : channels.get(0);
}

int32_t ImpulseBuffer::getLength() const {
    return getChannelLength(0);
}

double *ImpulseBuffer::getChannel(int32_t index) const {
    const SampleBuffer *channel = channelOrFirst(index);
    return channel ? channel->get() : nullptr;
}

int32_t ImpulseBuffer::getChannelLength(int32_t index) const {
    const SampleBuffer *channel = channelOrFirst(index);
    return channel ? channel->getSize() : 0;
}

void ImpulseBuffer::setNumChannels(int32_t count, bool duplicateExisting) {
    count = std::max(count, 1);
    const int32_t before = getNumChannels();
    if (count <= before) {
        channels.truncate(count);
        return;
    }

    channels.growTo(count);
    const int32_t length = before > 0 ? setLength(getLength()) : 0;
    if (!duplicateExisting || length < 1)
        return;
    for (int32_t i = before; i < getNumChannels(); ++i)
        std::copy_n(getChannel((i - before) % before), length, getChannel(i));
}

int32_t ImpulseBuffer::setLength(int32_t length) {
    length = std::max(length, 0);
    // A system that promises more memory than it has would end the process, and a few bytes of a
    // state can ask for 2 GiB in each of hundreds of channels.
    if (int64_t{length} * getNumChannels() > SampleBuffer::maxCount)
        return emptyAll(channels);
    for (int32_t i = 0; i < getNumChannels(); ++i) {
        SampleBuffer *channel = channels.get(i);
        const int32_t before = channel->getSize();
        channel->resize(length, false);
        if (channel->getSize() != length)
            return emptyAll(channels);
        if (length > before)
            std::fill(channel->get() + before, channel->get() + length, 0.0);
    }
    return getLength();
}

} // namespace tonvale
