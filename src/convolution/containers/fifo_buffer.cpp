#include "convolution/containers/fifo_buffer.h"

#include <algorithm>
#include <cstring>

namespace tonvale {

void *FifoBuffer::add(const void *data, int32_t bytes) {
    if (buffer.getSize() <= readPosition)
        clear();
    const int32_t before = buffer.getSize();
    if (bytes < 0 || bytes > std::numeric_limits<int32_t>::max() - before)
        return nullptr;
    buffer.resize(before + bytes, false);
    if (buffer.getSize() != before + bytes || !buffer.get())
        return nullptr;
    void *place = static_cast<char *>(buffer.get()) + before;
    if (data)
        std::memcpy(place, data, static_cast<size_t>(bytes));
    return place;
}

void *FifoBuffer::get() const {
    if (readPosition < 0 || readPosition >= buffer.getSize())
        return nullptr;
    return static_cast<char *>(buffer.get()) + readPosition;
}

void FifoBuffer::advance(int32_t bytes) {
    const int64_t position = int64_t{readPosition} + bytes;
    readPosition = static_cast<int32_t>(std::clamp<int64_t>(position, 0, buffer.getSize()));
}

void FifoBuffer::compact(bool allowShrink, bool force) {
    const int32_t limit = force ? 0 : buffer.getSize() / 2;
    if (readPosition <= limit)
        return;
    const int32_t unread = getAvailable();
    if (unread > 0)
        std::memmove(buffer.get(), get(), static_cast<size_t>(unread));
    buffer.resize(unread, allowShrink);
    readPosition = 0;
}

void FifoBuffer::clear() {
    readPosition = 0;
    buffer.resize(0, false);
}

void FifoBuffer::reserve(int32_t bytes) {
    if (buffer.getCapacity() >= bytes)
        return;
    const int32_t before = buffer.getSize();
    buffer.resize(bytes, false);
    buffer.resize(before, false);
}

double *FifoBuffer::addSamples(const double *data, int32_t samples) {
    return static_cast<double *>(add(data, sampleBytes(samples)));
}

void FifoBuffer::consumeSamples(int32_t samples) {
    advance(sampleBytes(samples));
    compact(false, false);
}

} // namespace tonvale
