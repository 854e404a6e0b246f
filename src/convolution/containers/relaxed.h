#pragma once

#include <atomic>

namespace tonvale {

/// A plain value that threads share without a lock: each access is whole, and orders nothing.
template <class T>
class Relaxed {
  public:
    Relaxed() = default;
    explicit Relaxed(T initial)
        : value(initial) {}
    Relaxed(const Relaxed &) = delete;
    Relaxed &operator=(const Relaxed &) = delete;

    operator T() const { return value.load(std::memory_order_relaxed); }
    T operator=(T next) {
        value.store(next, std::memory_order_relaxed);
        return next;
    }
    /// Sets bits and loses none that another thread sets meanwhile.
    void setBits(T bits) { value.fetch_or(bits, std::memory_order_relaxed); }
    /// Stores `next` and answers what was there, with no loss between.
    T exchange(T next) { return value.exchange(next, std::memory_order_relaxed); }

  private:
    std::atomic<T> value{};
};

/// The same for a field of a record whose layout others fix.
template <class T>
T loadRelaxed(T &field) {
    return std::atomic_ref<T>(field).load(std::memory_order_relaxed);
}

template <class T>
void storeRelaxed(T &field, T next) {
    std::atomic_ref<T>(field).store(next, std::memory_order_relaxed);
}

} // namespace tonvale
