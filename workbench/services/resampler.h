#pragma once

#include "host/host_objects.h"

namespace tonvale::workbench {

/// A resampler that the caller owns. It is used by one thread at a time.
///
/// SetRates: Hz; the ratio from 1/256 to 256. With other rates Prepare and Out answer 0. Like
/// Reset, it begins a new stream; so does a Prepare with another channel count.
///
/// Prepare answers 0 while converted frames wait to be taken and when the input has ended. In all
/// other cases Out must follow with the frames that were asked for. Fewer, or none, mean that the
/// input has ended: Out then gives all that is left, so that n input frames become about
/// n * out / in frames altogether, without delay. What Out has no room for waits for the next Out.
/// A caller that stops without that loses what the filter holds; so Prepare asks in small steps,
/// and for all that `outFrames` need when they are fewer than before, as at the end of a stretch.
///
/// Extended(resamplerSetMode, mode): quality 0 to 4, quick to very high; 3 until it is called.
/// It begins a new stream and answers 1; 0 for any other call or mode.
ResamplerHandle *createResampler();

} // namespace tonvale::workbench
