#pragma once

#include "workbench/cli/plugin_module.h"

#include <functional>
#include <vector>

namespace tonvale::workbench {

/// Runs audio through an effect block by block and takes the reported latency out, so that output
/// sample n belongs to input sample n. A latency that grows on the way is taken out where it grows.
/// Memory doesn't depend on the length.
class AlignedStream {
  public:
    /// Asked for the next `frames` input samples: writes them into the plane of each of the
    /// `feeds` channels.
    using Feed = std::function<void(double *const *planes, int frames)>;
    /// Given the next `frames` output samples of every channel, which start at `offset`.
    using Drain = std::function<void(double **planes, int frames, int offset)>;

    /// The effect runs with `channels` channels, 1 to 128, in blocks of `blockFrames`; channel c
    /// hears feed channel c modulo `feeds`.
    AlignedStream(Effect &effect, int channels, int feeds, int blockFrames);

    /// Delivers exactly `frames` samples.
    void run(int64_t frames, const Feed &feed, const Drain &drain);

  private:
    Effect &effect;
    int block;
    std::vector<double> inputSamples;
    std::vector<double> outputSamples;
    std::vector<double *> feedPlanes;
    std::vector<double *> inputPlanes;
    std::vector<double *> outputPlanes;
};

} // namespace tonvale::workbench
