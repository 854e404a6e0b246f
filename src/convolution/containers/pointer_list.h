#pragma once

#include "convolution/containers/heap_buffer.h"
#include "convolution/containers/raw_memory.h"

#include <cstring>

namespace tonvale {

/// A list of pointers. It owns its items only where an operation says so: nothing is deleted with
/// the list itself. Not thread-safe.
template <class T>
class PointerList {
  public:
    using Dispose = void (*)(T *item);

    int32_t getSize() const { return pointers.getSize(); }

    /// Null when `index` is out of range.
    T *get(int32_t index) const {
        if (static_cast<uint32_t>(index) >= static_cast<uint32_t>(getSize()))
            return nullptr;
        return pointers.get()[index];
    }

    /// Appends `item`. Answers false when memory is out: then the caller keeps it.
    bool add(T *item) { return insert(getSize(), item); }

    /// Puts `item` in front of the one at `index`, which is 0 to getSize(). As add().
    bool insert(int32_t index, T *item) {
        const int32_t before = getSize();
        pointers.resize(before + 1, false);
        if (getSize() != before + 1)
            return false;
        T **place = pointers.get() + index;
        std::memmove(place + 1, place, static_cast<size_t>(before - index) * sizeof(T *));
        *place = item;
        return true;
    }

    /// Makes it the same list. Answers false, and stays as it was, when memory is out.
    bool copyFrom(const PointerList &other) {
        const int32_t count = other.getSize();
        pointers.resize(count, false);
        if (getSize() != count)
            return false;
        std::copy_n(other.pointers.get(), count, pointers.get());
        return true;
    }

    void swap(PointerList &other) { pointers.swap(other.pointers); }

    /// The place of `item`, or -1.
    int32_t find(const T *item) const {
        for (int32_t i = 0; i < getSize(); ++i) {
            if (get(i) == item)
                return i;
        }
        return -1;
    }

    /// Takes the item at `index` out; with `freeItem` it goes to `dispose`, or is deleted where
    /// there is none. An index out of range does nothing. No memory is given back.
    void remove(int32_t index, bool freeItem = false, Dispose dispose = nullptr) {
        const int32_t before = getSize();
        if (index < 0 || index >= before)
            return;
        T **place = pointers.get() + index;
        if (freeItem)
            disposeOf(*place, dispose);
        for (int32_t i = index + 1; i < before; ++i, ++place)
            place[0] = place[1];
        pointers.resize(before - 1, false);
    }

    /// Removes all items, the last first. The allocation stays.
    void clear(bool freeItems, Dispose dispose = nullptr) {
        while (getSize() > 0)
            remove(getSize() - 1, freeItems, dispose);
    }

    /// Deletes items from the end until at most `count` are left.
    void truncate(int32_t count) {
        while (getSize() > count && getSize() > 0)
            remove(getSize() - 1, true);
    }

    /// Appends default-made items until there are `count`, as far as memory goes.
    void growTo(int32_t count) {
        while (getSize() < count) {
            std::unique_ptr<T> item = tryMake<T>();
            if (!item || !add(item.get()))
                return;
            static_cast<void>(item.release());
        }
    }

  private:
    static void disposeOf(T *item, Dispose dispose) {
        if (dispose)
            dispose(item);
        else
            delete item;
    }

    TypedBuffer<T *> pointers;
};

} // namespace tonvale
