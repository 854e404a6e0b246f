#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tonvale::workbench {

/// What one instance of the plug-in renders of a sound: its channel i hears input `inputs[i]`, and
/// what it answers counts to output `outputs[i]`.
struct LaneRoute {
    std::vector<int> inputs;
    std::vector<int> outputs;
    /// Stages behind the chain, as texts, that leave the response channels of this lane.
    std::vector<std::string> selection;
    bool hasDry = true;
    /// The lane's first channel is a right one, so that left and right are exchanged in it.
    bool isMirrored = false;
};

/// What is to be spread over instances.
struct ChannelRequest {
    int inputs;
    int outputs;
    int responses;     ///< channels of the impulse response
    bool staysInPairs; ///< channels 2k and 2k + 1 hear each other
    int lanes;         ///< at most so many
};

/// Lanes that render each output channel c once, of input c modulo their number, through response c
/// modulo theirs: as many as are asked for where there are channels enough.
std::vector<LaneRoute> planChannels(const ChannelRequest &request);

/// The two lanes of a true stereo response (left to left, left to right, right to left, right to
/// right): each adds to both outputs. A single input is both left and right.
std::vector<LaneRoute> planTrueStereo(int inputs);

} // namespace tonvale::workbench
