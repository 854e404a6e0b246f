#pragma once

#include <cstdint>

namespace tonvale {

struct TestToneSettings {
    double toneLengthSeconds = 4.0; ///< seconds; 0 or less gives a file without samples
    double toneSampleRate = 44100.0;
    int32_t toneBitDepth = 32; ///< 16, 24: PCM; 32, 64: floating point
};

struct DeconvolveSettings {
    int32_t noiseFloorDb = -120; ///< silence below it is trimmed; -150 or lower trims nothing
    int32_t deconvolveBitDepth = 32;
};

/// What the measurement dialogs remember from one run to the next.
struct MeasureState {
    TestToneSettings tone;
    DeconvolveSettings deconvolver;

    // UTF-8 paths. The tone just written is the one offered to the deconvolver.
    char toneFilePath[1024] = "";
    char recordingPath[2048] = "";
    char impulseOutputPath[2048] = "";
};

/// Module-wide, shared by all instances, saved nowhere. Only dialog code reads or writes it, on the
/// host's user interface thread, so it has no lock.
extern MeasureState measureState;

// What was typed into a control becomes a setting, or leaves it as it was.

/// Takes any finite number but 0, negative ones too.
void acceptMeasureNumber(const char *entry, double &setting);

/// Takes 16, 24, 32 and 64.
void acceptBitDepth(const char *entry, int32_t &setting);

/// Takes any integer. Letters leave the setting, but a lone minus sign is a zero.
void acceptNoiseFloor(const char *entry, int32_t &setting);

} // namespace tonvale
