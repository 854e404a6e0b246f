#pragma once

#include "convolution/containers/raw_memory.h"

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <utility>

namespace tonvale {

/// Zeroed memory of one size for plain values, aligned for the widest vectors. It fails quietly, as
/// all containers do. Not thread-safe.
template <class T>
class AlignedBlock {
  public:
    AlignedBlock() = default;
    ~AlignedBlock() { freeRaw(block); }
    AlignedBlock(const AlignedBlock &) = delete;
    AlignedBlock &operator=(const AlignedBlock &) = delete;

    /// Holds `count` zeros in place of what it held. Answers false, and is empty then, where memory
    /// is out. At most 4 GiB: a system that promises more than it has would end the process.
    bool allocate(int64_t count) {
        freeRaw(block);
        block = nullptr;
        values = nullptr;
        constexpr int64_t most = (int64_t{1} << 32) / int64_t{sizeof(T)};
        if (count < 0 || count > most) {
            noteLostRequest();
            return false;
        }
        const size_t bytes = static_cast<size_t>(count) * sizeof(T);
        block = allocateRaw(bytes + alignment);
        if (!block)
            return false;
        const auto address = reinterpret_cast<uintptr_t>(block);
        const uintptr_t past = address % alignment;
        values = reinterpret_cast<T *>(static_cast<char *>(block) + (alignment - past));
        std::memset(static_cast<void *>(values), 0, bytes);
        return true;
    }

    T *get() const { return values; }

    void swap(AlignedBlock &other) {
        std::swap(block, other.block);
        std::swap(values, other.values);
    }

  private:
    static constexpr size_t alignment = 64;

    void *block = nullptr;
    T *values = nullptr;
};

} // namespace tonvale
