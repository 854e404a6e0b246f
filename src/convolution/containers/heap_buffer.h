#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <utility>

namespace tonvale {

/// A growable block of bytes that fails quietly: a request that can't be met leaves it as it was,
/// and a caller that must know compares getSize() with what it asked for. New bytes are not
/// initialised. At most 2^31 - 1 bytes. Not thread-safe.
class HeapBuffer {
  public:
    static constexpr int32_t defaultGranularity = 4096;

    explicit HeapBuffer(int32_t growthGranularity = defaultGranularity);
    ~HeapBuffer();
    HeapBuffer(const HeapBuffer &) = delete;
    HeapBuffer &operator=(const HeapBuffer &) = delete;

    /// Makes the size `newSize` bytes (below 0 counts as 0) and answers get(). Memory is given back
    /// only when `allowShrink` is set and much of it would lie idle.
    void *resize(int32_t newSize, bool allowShrink);

    /// Null when the size is 0.
    void *get() const { return size > 0 ? data : nullptr; }
    int32_t getSize() const { return size; }
    int32_t getCapacity() const { return capacity; }

    /// Exchanges all but the granularity, which both must have alike.
    void swap(HeapBuffer &other) {
        std::swap(data, other.data);
        std::swap(capacity, other.capacity);
        std::swap(size, other.size);
    }

  private:
    int32_t capacityFor(int32_t newSize) const;
    bool reallocate(int32_t newCapacity, int32_t newSize);

    void *data = nullptr;
    int32_t capacity = 0;
    int32_t size = 0;
    int32_t granularity;
};

/// A HeapBuffer seen as an array of T.
template <class T>
class TypedBuffer {
  public:
    /// As HeapBuffer::resize, by count. A count that no buffer can hold is a request that can't be
    /// met.
    T *resize(int32_t count, bool allowShrink) {
        if (count > maxCount)
            return get();
        return static_cast<T *>(
            buffer.resize(count < 0 ? 0 : count * static_cast<int32_t>(sizeof(T)), allowShrink));
    }
    T *get() const { return static_cast<T *>(buffer.get()); }
    int32_t getSize() const { return buffer.getSize() / static_cast<int32_t>(sizeof(T)); }

    void swap(TypedBuffer &other) { buffer.swap(other.buffer); }
    void fillZero() { std::fill_n(get(), getSize(), T{}); }

    static constexpr int32_t maxCount =
        std::numeric_limits<int32_t>::max() / static_cast<int32_t>(sizeof(T));

  private:
    HeapBuffer buffer;
};

using SampleBuffer = TypedBuffer<double>;
using ByteBuffer = TypedBuffer<uint8_t>;

/// The bytes that `samples` doubles take, held at the largest size: what is too much to count is
/// too much to allocate.
constexpr int32_t sampleBytes(int32_t samples) {
    constexpr int32_t width = sizeof(double);
    return samples > std::numeric_limits<int32_t>::max() / width
               ? std::numeric_limits<int32_t>::max()
               : samples * width;
}

} // namespace tonvale
