#pragma once

#include "convolution/containers/heap_buffer.h"

#include <array>

namespace tonvale {

/// A reverberator of the Schroeder-Moorer kind: on each side ten damped feedback comb filters side
/// by side, then six all-pass filters in series; the two sides differ by 23 samples in each line.
/// Set the fields, call prepare(), then run() any number of blocks of any length.
class ReverbCore {
  public:
    double width = 1.0;          ///< -1: sides exchanged, 0: the same mix on both, 1: apart
    double roomSize = 0.5;       ///< feedback of the combs
    double damp = 0.5;           ///< 0: bright; 1: 0.4 of the last value stays in a comb's low-pass
    double sampleRate = 44100.0; ///< Hz

    ReverbCore() = default;
    ReverbCore(const ReverbCore &) = delete;
    ReverbCore &operator=(const ReverbCore &) = delete;

    /// Gives each line its length at `sampleRate`, at most maxLineLength; a line whose length
    /// changes starts from silence. Answers false where memory ran out: then run() is not allowed.
    bool prepare();

    /// Sends a click through at the first of `frames` frames, and adds what comes out to `left`
    /// and, where it isn't null, `right`. A click of 0 lets it ring on.
    void run(double click, double *left, double *right, int32_t frames);

    static constexpr int32_t maxLineLength = 1 << 20;

  private:
    struct DelayLine {
        SampleBuffer buffer;
        int32_t index = 0;

        bool setLength(int32_t length);
    };
    struct CombLine : DelayLine {
        double filterStore = 0.0;

        void addOutput(double click, double feedback, double damping, double *sum, int32_t frames);
    };
    struct AllPassLine : DelayLine {
        void process(double *signal, int32_t frames);
    };

    static constexpr size_t combCount = 10;
    static constexpr size_t allPassCount = 6;

    // Entry 2i is the left line of filter i, entry 2i + 1 the right one.
    std::array<AllPassLine, 2 * allPassCount> allPass;
    std::array<CombLine, 2 * combCount> comb;
};

} // namespace tonvale
