#pragma once

#include "chain/impulse_generator.h"
#include "platform/critical_section.h"
#include "platform/window_handle.h"

namespace tonvale {

/// A stage that shows what came in and what went out: the frame that every such process() shares.
class StatusStage : public ImpulseGenerator {
  public:
    static constexpr int32_t statusSize = 256;

    CriticalSection lock; ///< held for a whole process(); guards the two texts
    char inputStatus[statusSize] = "";
    char outputStatus[statusSize] = "";
    WindowHandle dialog; ///< the stage's open dialog

    void process(ImpulseBuffer &impulse) noexcept final;

  protected:
    /// The stage's work on `impulse`, under `lock`. May throw where memory is out.
    virtual void apply(ImpulseBuffer &impulse) = 0;
    virtual void formatOutputStatus(const ImpulseBuffer &impulse) noexcept;
};

/// The translation of a status text's format; the format itself where memory is out.
const char *statusFormat(const char *format) noexcept;

/// The three arguments of a status text, in the order of its format.
struct ImpulseSummary {
    explicit ImpulseSummary(const ImpulseBuffer &impulse);

    double seconds;
    int32_t kilohertz;
    int32_t channels;
};

void scaleChannel(ImpulseBuffer &impulse, int32_t channel, double factor);

/// The frames that a generator writes, told by a start and a length in milliseconds.
struct FrameSpan {
    FrameSpan(double startMilliseconds, double lengthMilliseconds, double rate);

    /// Whether there is nothing to write, or more than a channel can hold.
    bool isEmpty() const { return begin >= end || end > SampleBuffer::maxCount; }
    /// Makes every channel long enough. False where memory is out.
    bool makeRoom(ImpulseBuffer &impulse) const;

    int32_t begin; ///< at least 0
    int32_t end;   ///< counted from a start that may lie below 0
};

/// milliseconds * rate / 1000, truncated and held inside what a frame count can be.
int32_t framesOfMilliseconds(double milliseconds, double rate);

} // namespace tonvale
