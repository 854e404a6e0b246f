#pragma once

#include <string>
#include <vector>

namespace tonvale::workbench {

// The plug-in doesn't tell a host how many channels a response has beyond the second. It shows once
// each response channel sounds in a way of its own: an engine gives channel c the response channel
// c modulo their number, so the output repeats itself from channel to channel with just that
// period.

/// Stages that cut the response to nothing and write a train of echoes with a random spacing of its
/// own into each channel, at `rate` Hz: enough of them, far enough apart and spread by as much
/// again, that no two patterns agree. In order, for the end of a chain.
std::vector<std::string> channelMarks(double rate);

/// The period of `channels`, at least `least`: their number where they don't repeat themselves.
int channelPeriod(const std::vector<std::vector<double>> &channels, int least);

} // namespace tonvale::workbench
