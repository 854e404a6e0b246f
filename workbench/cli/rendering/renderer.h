#pragma once

#include "workbench/cli/options/chain_options.h"
#include "workbench/cli/options/settings_options.h"
#include "workbench/cli/progress_bar.h"
#include "workbench/cli/rendering/engine_lane.h"
#include "workbench/cli/sound/recording.h"
#include "workbench/cli/sound/sound_writer.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace tonvale::workbench {

/// What a user wants of a rendering, beside the chain and the settings.
struct RenderWishes {
    std::optional<int> block;
    std::optional<int> channels;
    std::optional<double> tail; ///< seconds
    bool isTrueStereo = false;
    bool keepsLead = false; ///< begin where the wet sound begins
};

/// Instances that are ready to render one recording together.
struct Rig {
    Rig() = default;
    Rig(Rig &&) = default;
    ~Rig();

    std::vector<EngineLane> lanes;
    std::vector<std::vector<int>> sources; ///< for each output the lanes' planes that make it up
    int64_t latency = 0;
    int64_t preverb = 0; ///< frames by which wet leads dry
    int64_t behind = 0;  ///< frames that are written behind the recording's end
};

/// Renders recordings through the plug-in, any number of them at the same time.
class Renderer {
  public:
    /// `chain` must be checked. Each recording is spread over at most `lanes` instances. All that
    /// is given must outlive this.
    Renderer(ChainOptions &chain, const SettingsOptions &settings, const RenderWishes &wishes,
             int lanes);

    /// Called with the first instance, its response's channels, and its settings as asked for.
    using Describe =
        std::function<void(Effect &effect, int responses, const std::string &settings)>;
    /// Makes the instances for a recording. One recording at a time, whatever the thread, as a host
    /// does that on its main thread. Throws Problem.
    Rig prepare(const Recording &recording, const Describe &describe);

    /// The plug-in's state with this chain and these settings. Throws Problem.
    std::vector<char> state(double sampleRate);

    /// The shape of what a recording becomes.
    SoundShape shapeOfOutput(const Recording &recording, const Rig &rig) const;

    /// Renders to the end and completes the writer. With `keepsPromise` the output is as long as
    /// its shape said, also where the recording ends early. Throws Problem.
    void render(Recording &recording, Rig &rig, SoundWriter &writer, bool keepsPromise,
                ProgressBar &bar) const;

  private:
    ChainOptions &chain;
    const SettingsOptions &settings;
    const RenderWishes &wishes;
    int mostLanes;

    std::unique_ptr<Effect> makeEffect(double sampleRate, std::string &settingsShown,
                                       const std::vector<std::string> &moreStages = {});
    std::vector<LaneRoute> plan(const Recording &recording, Effect &effect, int responses) const;
};

} // namespace tonvale::workbench
