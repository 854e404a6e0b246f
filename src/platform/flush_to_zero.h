#pragma once

#include <cstdint>

#if defined(__x86_64__) || defined(_M_X64)
#include <xmmintrin.h>
#endif

namespace tonvale {

/// While it lives, the calling thread flushes tiny results to zero and masks all floating-point
/// exceptions; the thread's former setting comes back at the end of the scope.
class FlushToZeroScope {
  public:
    FlushToZeroScope() {
        before = readControl();
        changed = (before & wantedBits) != wantedBits;
        if (changed)
            writeControl(before | wantedBits);
    }

    ~FlushToZeroScope() {
        if (changed)
            writeControl(before);
    }

    FlushToZeroScope(const FlushToZeroScope &) = delete;
    FlushToZeroScope &operator=(const FlushToZeroScope &) = delete;

  private:
#if defined(__x86_64__) || defined(_M_X64)
    using Control = unsigned int;
    static constexpr Control wantedBits = 0x8000 | 0x1F80; // flush to zero; all six masks

    static Control readControl() {
        return _mm_getcsr();
    }
    static void writeControl(Control value) {
        _mm_setcsr(value);
    }
#elif defined(__aarch64__)
    using Control = uint64_t;
    static constexpr Control wantedBits = uint64_t{1}
                                          << 24; // flush to zero; traps are off at reset

    static Control readControl() {
        Control value;
        asm volatile("mrs %0, fpcr" : "=r"(value));
        return value;
    }
    static void writeControl(Control value) {
        asm volatile("msr fpcr, %0" : : "r"(value));
    }
#else
#error "tell here how this processor flushes tiny results to zero"
#endif

    Control before;
    bool changed;
};

} // namespace tonvale
