#pragma once

#include "host/host_objects.h"

namespace tonvale::workbench {

/// A resampler that the caller owns. It is used by one thread at a time.
///
/// SetRates: Hz; neither more than 1000 times the other. With other rates Prepare and Out answer 0.
/// Like Reset, it begins a new stream; so does a Prepare with another channel count.
///
/// Prepare answers 0 while converted frames wait to be taken and when the input has ended. In all
/// other cases Out must follow with the frames that were asked for. Fewer, or none, mean that the
/// input has ended: Out then gives all that is left, so that n input frames become about
/// n * out / in frames altogether, without delay. What Out has no room for waits for the next Out.
///
/// A caller can also do without that: it fills the last room up with silence, stops when its input
/// is in, and asks for 1024 frames at a time, or for the rest where that is less. It gets all its
/// output below a ratio of 16, since no more than 48 frames are held back.
///
/// Extended(resamplerSetMode, mode): 0, as it is without this call, holds little back; 4 converts
/// as exactly as can be, and holds hundreds of frames back. It begins a new stream and answers 1;
/// 0 for any other call or mode.
ResamplerHandle *createResampler();

} // namespace tonvale::workbench
