#include "chain/impulse_generator_chan_tool.h"

#include "chain/stage_values.h"
#include "convolution/convolution_engine.h"

#include <algorithm>
#include <iterator>

namespace tonvale {

namespace {

[[maybe_unused]] const bool registered = registerStage<ImpulseGenerator_ChanTool>();

constexpr int32_t maxGroup = ImpulseGenerator_ChanTool::maxGroup;

// Blocks of the convolution: fed, fed as silence at the end, and asked for.
constexpr int32_t inputBlock = 8192;
constexpr int32_t silenceBlock = 1024;
constexpr int32_t outputBlock = 65536;
/// More than an engine ever holds back: one that still answers nothing has run out of memory.
constexpr int64_t mostHeldBack = 65536;

/// A run of channels, with null for each that doesn't exist.
struct ChannelGroup {
    double *samples[maxGroup] = {};
    int32_t length = 0; ///< of the longest

    ChannelGroup(const ImpulseBuffer &impulse, int32_t first, int32_t count) {
        for (int32_t i = 0; i < count; ++i) {
            const int64_t channel = int64_t{first} + i;
            if (channel < 0 || channel >= impulse.getNumChannels())
                continue;
            const int32_t index = static_cast<int32_t>(channel);
            samples[i] = impulse.getChannel(index);
            length = std::max(length, impulse.getChannelLength(index));
        }
    }
};

// One pair of channels at one frame: the places are null for channels that don't exist, and `held`
// is what the source was before any pair of the frame was touched.

void swapFrame(double *from, double *to, double held) {
    if (from)
        *from = to ? *to : 0.0;
    if (to)
        *to = held;
}

void copyFrame(double *, double *to, double held) {
    if (to)
        *to = held;
}

void addFrame(double *, double *to, double held) {
    if (to)
        *to += held;
}

void subtractFrame(double *, double *to, double held) {
    if (to)
        *to -= held;
}

using FrameAction = void (*)(double *from, double *to, double held);

/// Goes frame by frame, so overlapping groups behave as if the source were copied aside first.
template <FrameAction run>
void runFrames(const ChannelGroup &from, const ChannelGroup &to, int32_t count, int32_t length) {
    double held[maxGroup];
    for (int32_t frame = 0; frame < length; ++frame) {
        for (int32_t i = 0; i < count; ++i)
            held[i] = from.samples[i] ? from.samples[i][frame] : 0.0;
        for (int32_t i = 0; i < count; ++i) {
            run(from.samples[i] ? from.samples[i] + frame : nullptr,
                to.samples[i] ? to.samples[i] + frame : nullptr, held[i]);
        }
    }
}

/// By ChannelAction, up to the convolution.
constexpr void (*groupActions[])(const ChannelGroup &, const ChannelGroup &, int32_t, int32_t) = {
    runFrames<swapFrame>, runFrames<copyFrame>, runFrames<addFrame>, runFrames<subtractFrame>};

bool copyAside(const ChannelGroup &from, int32_t count, int32_t length, ImpulseBuffer &out) {
    out.setNumChannels(count, true);
    if (out.setLength(length) != length || out.getNumChannels() != count)
        return false;
    for (int32_t i = 0; i < count && length > 0; ++i) {
        if (from.samples[i])
            std::copy_n(from.samples[i], length, out.getChannel(i));
    }
    return true;
}

/// Convolves the first `inputLength` frames of `to` with `from`, each channel with its own, and
/// writes `length` frames over `to`. Output stays behind the point up to which input was read.
void convolve(const ChannelGroup &from, int32_t sourceLength, const ChannelGroup &to,
              int32_t inputLength, int32_t count, int32_t length) {
    ImpulseBuffer kernel;
    if (!copyAside(from, count, sourceLength, kernel))
        return;
    ConvolutionEngine engine;
    engine.setImpulse(kernel, -1, 0, 0, false);

    int64_t fed = 0;
    int32_t written = 0;
    while (written < length) {
        // Feed the destination, then silence that brings the tail out.
        if (fed < inputLength) {
            const int32_t offset = static_cast<int32_t>(fed);
            const int32_t block = std::min(inputLength - offset, inputBlock);
            const double *inputs[maxGroup];
            for (int32_t i = 0; i < count; ++i)
                inputs[i] = to.samples[i] ? to.samples[i] + offset : nullptr;
            engine.addSamples(inputs, block, count);
            fed += block;
        } else {
            engine.addSamples(nullptr, silenceBlock, count);
            fed += silenceBlock;
        }

        const int32_t ready = std::min(engine.samplesAvailable(outputBlock), length - written);
        if (ready < 1) {
            if (fed - written > mostHeldBack)
                return;
            continue;
        }

        // Write what is ready over what was read.
        double *const *outputs = engine.outputPointers();
        for (int32_t i = 0; outputs && i < count; ++i) {
            if (!to.samples[i] || !outputs[i])
                continue;
            std::copy_n(outputs[i], std::min(ready, engine.samplesReady(i)),
                        to.samples[i] + written);
        }
        engine.advanceOutput(ready);
        written += ready;
    }
}

} // namespace

void ImpulseGenerator_ChanTool::loadState(const char *, const void *data, int32_t size) noexcept {
    loadValues<int32_t>(SettingList<int32_t>(values), data, size, 0);
}

void ImpulseGenerator_ChanTool::saveState(HeapBuffer &out) noexcept {
    saveValues<int32_t>(SettingList<int32_t>(values), out);
}

void ImpulseGenerator_ChanTool::saveText(char *text, int32_t size) noexcept {
    saveValuesText(SettingList<int32_t>(values), typeKey, text, size);
}

bool ImpulseGenerator_ChanTool::loadText(const char *text) noexcept {
    return loadValuesText(SettingList<int32_t>(values), text);
}

void ImpulseGenerator_ChanTool::apply(ImpulseBuffer &impulse) {
    const int32_t channels = std::min<int32_t>(count, maxGroup);
    if (channels > 0)
        moveGroup(impulse, channels);
    const int32_t wanted = total;
    if (wanted > 0 && wanted <= maxGroup)
        impulse.setNumChannels(wanted, true);
}

void ImpulseGenerator_ChanTool::moveGroup(ImpulseBuffer &impulse, int32_t channels) const {
    const int32_t from = source;
    const int32_t to = destination;
    const auto wanted = ChannelAction{int32_t{action}};
    const bool convolves = wanted == ChannelAction::convolve;

    // Make room for the group that has to exist.
    const int32_t highest = wanted == ChannelAction::swap ? std::max(from, to) : to;
    const int64_t room = std::min<int64_t>(int64_t{highest} + channels, maxGroup);
    if (room > impulse.getNumChannels())
        impulse.setNumChannels(static_cast<int32_t>(room), false);

    // Make the channels long enough for the result.
    const int32_t sourceLength = ChannelGroup(impulse, from, channels).length;
    const int32_t inputLength = ChannelGroup(impulse, to, channels).length;
    const int64_t needed =
        convolves ? int64_t{sourceLength} + inputLength : std::max(sourceLength, inputLength);
    if (needed > SampleBuffer::maxCount)
        return;
    if (impulse.getLength() < needed)
        impulse.setLength(static_cast<int32_t>(needed));
    const int32_t length = impulse.getLength();
    if (length < 1)
        return;

    const ChannelGroup sources(impulse, from, channels);
    const ChannelGroup destinations(impulse, to, channels);
    const auto index = static_cast<size_t>(wanted);
    if (convolves && sourceLength < 1) {
        // No source channel exists, so all of them count as silent.
        for (int32_t i = 0; i < channels; ++i) {
            if (destinations.samples[i])
                std::fill_n(destinations.samples[i], length, 0.0);
        }
    } else if (convolves) {
        convolve(sources, sourceLength, destinations, inputLength, channels, length);
    } else if (index < std::size(groupActions)) {
        groupActions[index](sources, destinations, channels, length);
    }
}

} // namespace tonvale
