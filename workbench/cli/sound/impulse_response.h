#pragma once

#include "workbench/cli/plugin_module.h"
#include "workbench/cli/sound/aligned_stream.h"

namespace tonvale::workbench {

/// How many channels the impulse response of `effect` has, 1 to 128. A plug-in that doesn't tell is
/// sounded out with a second instance.
int responseChannels(Effect &effect);

/// Whether the chain makes a response without a single sample, which the tail that a plug-in tells
/// doesn't show.
bool responseIsEmpty(Effect &effect);

/// Makes `effect` give its bare impulse response: wet alone at 0 dB, neither width nor pan nor
/// pre-verb, and zero latency without the worker.
void soloResponse(Effect &effect);

/// Sends a unit impulse into each of the `channels` channels and gives `drain` the first `frames`
/// samples of what comes back.
void captureResponse(Effect &effect, int channels, int64_t frames,
                     const AlignedStream::Drain &drain);

} // namespace tonvale::workbench
