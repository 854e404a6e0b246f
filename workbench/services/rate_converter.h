#pragma once

#include "workbench/services/frame_queue.h"

#include <cstddef>
#include <memory>

namespace tonvale::workbench {

/// Converts one stream of interleaved doubles from one sample rate to another, without delay:
/// output frame k lies at the time k / outRate of the input. What the filter can't tell before it
/// has seen more input comes with a later push, or with finish. One thread at a time; push and
/// finish allocate as the queue grows.
class RateConverter {
  public:
    virtual ~RateConverter() = default;

    /// Takes `frames` frames and adds what they complete to `out`.
    virtual void push(const double *in, size_t frames, FrameQueue &out) = 0;
    /// Ends the stream: adds what it still holds to `out`. Nothing may follow.
    virtual void finish(FrameQueue &out) = 0;
    /// How many input frames behind an output frame's time are sure to complete it.
    virtual double heldBack() const = 0;
};

/// Whether createFineConverter can go from one rate to the other: both are positive and finite and
/// neither is more than 1000 times the other.
bool isConvertible(double inRate, double outRate);

/// A converter that is as exact as can be, for whoever reads a stream to its end: flat to 0.91
/// of the lower rate's band, images and aliases below -178 dB. It holds about 400 to 1500 frames
/// back. Null where the rates aren't convertible and for channels outside 1 to 1024.
std::unique_ptr<RateConverter> createFineConverter(double inRate, double outRate, int channels);

/// A converter that holds back 47 input frames, or 47 output frames where those are fewer, for
/// callers that don't ask for what is left. Null as above, and for a ratio beyond 256 either way.
std::unique_ptr<RateConverter> createPromptConverter(double inRate, double outRate, int channels);

} // namespace tonvale::workbench
