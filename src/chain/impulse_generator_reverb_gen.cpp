#include "chain/impulse_generator_reverb_gen.h"

#include "chain/reverb_core.h"

#include <cmath>

namespace tonvale {

namespace {

constexpr StageRow rowTable[] = {
    {"Initial delay", "ms", 0.0, 0.0, 10000.0, 1074, 1005, 0, 3.0},
    {"Length", "ms", 1000.0, 0.0, 10000.0, 1025, 1029, 0, 3.0},
    {"Volume", "dB", 1.0, decibelRow, decibelRow, 1047, 1011, 1, 1.0},
    {"Room size", "", 50.0, 30.0, 98.0, 1075, 1006, 0, 2.0},
    {"Dampening", "", 50.0, 0.0, 100.0, 1072, 1003, 0, 2.0},
    {"Stereo width", "", 1.0, -1.0, 1.0, 1073, 1004, 2, 1.0},
};

[[maybe_unused]] const bool registered = registerStage<ImpulseGenerator_ReverbGen>();

/// A mono impulse stays mono up to this magnitude of the stereo width.
constexpr double monoWidth = 0.1;

} // namespace

ImpulseGenerator_ReverbGen::ImpulseGenerator_ReverbGen()
    : RowStage(rowTable, {&initialDelay, &length, &volume, &roomSize, &dampening, &stereoWidth},
               4) {
    setDefaults();
}

void ImpulseGenerator_ReverbGen::apply(ImpulseBuffer &impulse) {
    const double rate = impulse.sampleRate;
    const FrameSpan span(initialDelay, length, rate);
    if (span.isEmpty())
        return;

    const double width = stereoWidth;
    if (impulse.getNumChannels() == 1 && std::abs(width) > monoWidth)
        impulse.setNumChannels(2, true);
    if (!span.makeRoom(impulse))
        return;

    ReverbCore core;
    core.sampleRate = rate;
    core.roomSize = roomSize / 100.0;
    core.damp = dampening / 100.0;
    core.width = width;
    if (!core.prepare())
        return;
    double *right = impulse.getNumChannels() > 1 ? impulse.getChannel(1) + span.begin : nullptr;
    core.run(volume, impulse.getChannel(0) + span.begin, right, span.end - span.begin);
}

} // namespace tonvale
