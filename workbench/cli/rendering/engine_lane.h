#pragma once

#include "workbench/cli/plugin_module.h"
#include "workbench/cli/rendering/channel_plan.h"

#include <memory>
#include <vector>

namespace tonvale::workbench {

/// An instance of the plug-in that renders some channels of a sound. It is set up on one thread and
/// then processes on any other.
class EngineLane {
  public:
    /// Takes an instance with the chain of the route and the settings of the whole sound. `block`
    /// is the most frames that the plug-in gets at once, 0 for no limit. Throws Problem.
    EngineLane(std::unique_ptr<Effect> effect, const LaneRoute &route, int block);

    Effect &instance() { return *effect; }
    int width() const { return static_cast<int>(inputs.size()); }
    /// `in` are the planes of all inputs, `out` those of this lane.
    void process(double *const *in, double *const *out, int frames);

  private:
    std::unique_ptr<Effect> effect;
    std::vector<int> inputs;
    int largestBlock;
    std::vector<double *> from;
    std::vector<double *> to;
};

} // namespace tonvale::workbench
