#pragma once

#include <cstddef>
#include <soxr.h>
#include <vector>

namespace tonvale::workbench {

/// How well a RateConverter suppresses what lies beyond the lower rate's band, as soxr grades it:
/// quick, low (16 bit), medium (16 bit, steeper), high (20 bit), very high (28 bit).
enum class ConversionQuality { quick, low, medium, high, veryHigh };

/// Interleaved frames that wait to be read, oldest first.
class FrameQueue {
  public:
    void clear(int channelCount);
    size_t frames() const;
    /// Makes room for `count` more frames and answers it; keep() tells how many became valid.
    double *grow(size_t count);
    void keep(size_t count);
    /// Moves up to `count` frames to `out`, or drops them where `out` is null; answers how many.
    size_t take(double *out, size_t count);

  private:
    std::vector<double> samples;
    size_t channels = 1;
    size_t start = 0; ///< samples taken already
    size_t end = 0;   ///< samples that are valid
};

/// Converts a stream of interleaved doubles from one sample rate to another, without delay: output
/// frame k lies at the time k / outRate of the input. What the filter can't tell before it has seen
/// more input comes with a later push, or with finish. One thread at a time. start allocates, the
/// others as their queue grows.
class RateConverter {
  public:
    RateConverter() = default;
    ~RateConverter();
    RateConverter(const RateConverter &) = delete;
    RateConverter &operator=(const RateConverter &) = delete;

    /// Begins a new stream. False, and no stream, for rates that aren't positive and finite, for a
    /// ratio beyond 1000 either way and for channels outside 1 to 1024.
    bool start(double inRate, double outRate, int channels, ConversionQuality quality);
    void stop();
    bool isRunning() const { return stream != nullptr; }

    /// Takes `frames` frames and adds what they complete to `out`.
    void push(const double *in, size_t frames, FrameQueue &out);
    /// Ends the stream: adds what it still holds to `out`. Only start may follow.
    void finish(FrameQueue &out);

  private:
    size_t pull(const double *in, size_t frames, size_t &consumed, FrameQueue &out);

    soxr_t stream = nullptr;
    size_t channelCount = 1;
};

/// Whether RateConverter can go from one rate to the other.
bool isConvertible(double inRate, double outRate);

constexpr int mostMediaChannels = 1024;

} // namespace tonvale::workbench
