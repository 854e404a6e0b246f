#include "workbench/cli/rendering/renderer.h"

#include "workbench/cli/options/chain_warnings.h"
#include "workbench/cli/problem.h"
#include "workbench/cli/rendering/block_pipeline.h"
#include "workbench/cli/sound/impulse_response.h"

#include <algorithm>
#include <cmath>
#include <mutex>
#include <utility>

namespace tonvale::workbench {

namespace {

constexpr int preverbParameter = 2;
constexpr int widthParameter = 4;
constexpr int trueStereoResponses = 4;

// What is quickest where nobody waits for a sample: one engine with the longest transforms.
constexpr std::pair<int, double> quickest[] = {
    {3, 1.0}, // max FFT size
    {6, 0.0}, // zero latency mode
    {7, 0.0}, // low latency mode
};

/// Held while instances are made or end.
std::recursive_mutex hostThread;

/// How far the wet sound leads, which the plug-in tells as a part of its latency.
int64_t preverbFrames(Effect &effect) {
    const double wanted = effect.parameter(preverbParameter);
    const int64_t whole = effect.latency();
    effect.setParameter(preverbParameter, 0.0);
    effect.reset();
    const int64_t without = effect.latency();
    effect.setParameter(preverbParameter, wanted);
    effect.reset();
    return whole - without;
}

std::vector<std::vector<int>> sourcesOf(const std::vector<LaneRoute> &plan) {
    std::vector<std::vector<int>> sources;
    int plane = 0;
    for (const LaneRoute &route : plan) {
        for (const int output : route.outputs) {
            sources.resize(std::max(sources.size(), static_cast<size_t>(output) + 1));
            sources[static_cast<size_t>(output)].push_back(plane++);
        }
    }
    return sources;
}

} // namespace

Rig::~Rig() {
    const std::scoped_lock held(hostThread);
    lanes.clear();
}

Renderer::Renderer(ChainOptions &chainOptions, const SettingsOptions &settingsOptions,
                   const RenderWishes &renderWishes, int lanes)
    : chain(chainOptions)
    , settings(settingsOptions)
    , wishes(renderWishes)
    , mostLanes(lanes) {}

/// With the chain and the settings, and, where no engine is asked for, with the quickest one.
std::unique_ptr<Effect> Renderer::makeEffect(double sampleRate, std::string &settingsShown,
                                             const std::vector<std::string> &moreStages) {
    auto effect = std::make_unique<Effect>(sampleRate);
    chain.loadState(*effect);
    settings.applyTo(*effect);
    settingsShown = settingsText(*effect);
    if (!settings.choosesEngine()) {
        for (const auto &[parameter, value] : quickest)
            effect->setParameter(parameter, value);
    }
    chain.loadStages(*effect, moreStages);
    return effect;
}

std::vector<char> Renderer::state(double sampleRate) {
    const std::scoped_lock held(hostThread);
    Effect effect(sampleRate);
    chain.loadState(effect);
    settings.applyTo(effect);
    chain.loadStages(effect);
    return effect.chunk();
}

std::vector<LaneRoute> Renderer::plan(const Recording &recording, Effect &effect,
                                      int responses) const {
    const int inputs = recording.channels();
    if (wishes.isTrueStereo) {
        if (inputs > 2) {
            throw Problem(recording.shownName() + ": has " + std::to_string(inputs) +
                          " channels; true stereo takes one or two");
        }
        if (responses != trueStereoResponses) {
            throw Problem("true stereo takes a response of 4 channels; the chain's has " +
                          std::to_string(responses));
        }
        return planTrueStereo(inputs);
    }
    const int outputs = wishes.channels.value_or(std::max(inputs, responses));
    return planChannels(
        {inputs, outputs, responses, effect.parameter(widthParameter) < 1.0, mostLanes});
}

Rig Renderer::prepare(const Recording &recording, const Describe &describe) {
    const std::scoped_lock held(hostThread);
    std::string shown;
    auto first = makeEffect(recording.sampleRate(), shown);
    const int responses = responseChannels(*first);
    warnOfEmptyChain(*first);
    describe(*first, responses, shown);

    const std::vector<LaneRoute> routes = plan(recording, *first, responses);
    Rig rig;
    for (const LaneRoute &route : routes) {
        auto effect = std::exchange(first, nullptr);
        if (!effect || !route.selection.empty()) {
            effect.reset();
            effect = makeEffect(recording.sampleRate(), shown, route.selection);
        }
        rig.lanes.emplace_back(std::move(effect), route, wishes.block.value_or(0));
    }
    rig.sources = sourcesOf(routes);
    Effect &effect = rig.lanes.front().instance();
    rig.latency = effect.latency();
    for (EngineLane &lane : rig.lanes) {
        if (lane.instance().latency() != rig.latency)
            throw Problem("the plug-in's instances don't agree on their latency");
    }
    rig.preverb = preverbFrames(effect);
    rig.behind =
        wishes.tail ? std::llround(*wishes.tail * recording.sampleRate()) : effect.tailFrames() - 1;
    return rig;
}

SoundShape Renderer::shapeOfOutput(const Recording &recording, const Rig &rig) const {
    SoundShape shape = shapeOf(recording.sampleRate(), static_cast<int>(rig.sources.size()));
    if (shape.channels == recording.channels())
        shape.speakers = recording.speakers();
    const int64_t lead = wishes.keepsLead ? rig.preverb : 0;
    if (recording.frames())
        shape.frames = lead + *recording.frames() + rig.behind;
    shape.mayBeLarge = true;
    return shape;
}

void Renderer::render(Recording &recording, Rig &rig, SoundWriter &writer, bool keepsPromise,
                      ProgressBar &bar) const {
    std::vector<int> widths;
    std::vector<BlockPipeline::Worker> workers;
    for (EngineLane &lane : rig.lanes) {
        widths.push_back(lane.width());
        workers.push_back([&lane](double *const *in, double *const *out, int frames) {
            lane.process(in, out, frames);
        });
    }
    std::vector<const double *> planes(rig.sources.size());
    const auto drain = [&](double *const *made, int frames, int offset) {
        for (size_t c = 0; c < planes.size(); ++c) {
            const std::vector<int> &sources = rig.sources[c];
            double *sum = made[sources.front()];
            planes[c] = sum;
            for (size_t i = 1; i < sources.size(); ++i) {
                const double *more = made[sources[i]];
                for (int n = offset; n < offset + frames; ++n)
                    sum[n] += more[n];
            }
        }
        writer.write(planes.data(), frames, offset);
        bar.advance(frames);
    };
    const auto source = [&](double *const *in, int frames) { return recording.read(in, frames); };
    const int64_t lead = wishes.keepsLead ? rig.preverb : 0;
    const StreamSpan span{rig.latency - lead, lead + rig.behind,
                          keepsPromise ? recording.frames().value_or(0) : 0};
    BlockPipeline(recording.channels(), widths).run(source, workers, drain, span);
    writer.finish();
}

} // namespace tonvale::workbench
