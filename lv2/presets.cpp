#include "lv2/presets.h"

namespace tonvale::lv2 {

namespace {

// Their last stage brings each to the same loudness: noise comes out of them equally strong.
constexpr Preset rows[] = {
    {"drum-room", "Drum Room", "A tight wooden room: short, bright, close.", -9, 0,
     "VERBGEN 4 450 1 38 25 0.8\nFILT 0.7 0.004\nNORM 0.0671"},
    {"vocal-plate", "Vocal Plate", "A bright plate behind a delay of 25 ms.", -9, 0,
     "VERBGEN 25 1800 1 72 8 1\nFILT 1 0.01\nNORM 0.0613"},
    {"vocal-booth", "Vocal Booth", "Early sound of a small treated room; thickens, hardly rings.",
     -9, 0, "ECHOGEN 2 60 5 0.5 0.03 6 0.5\nFILT 0.35 0.006\nNORM 0.5376"},
    {"chamber", "Echo Chamber", "A tiled chamber, even and warm.", -9, 0,
     "VERBGEN 12 1400 1 62 35 1\nFILT 0.4 0.006\nNORM 0.0655"},
    {"studio", "Large Studio", "A live room with a wooden floor.", -9, 0,
     "VERBGEN 15 900 1 50 45 1\nFILT 0.5 0.003\nNORM 0.0734"},
    {"concert-hall", "Concert Hall", "A long, dark hall with its first sound after 35 ms.", -9, 0,
     "VERBGEN 35 3200 1 84 55 1\nFILT 0.3 0.003\nNORM 0.0538"},
    {"cathedral", "Cathedral", "Seven seconds of stone.", -9, 0,
     "VERBGEN 50 7000 1 95 40 1\nFILT 0.25 0.002\nNORM 0.0317"},
    {"gated", "Gated Snare", "Dense, and cut off after 220 ms.", -9, 0,
     "VERBGEN 0 220 1 90 10 0.6\nFILT 0.8 0.008\nNORM 0.0529"},
    {"slap", "Slapback", "Three echoes, softer each time, 110 ms apart.", -9, 0,
     "ECHOGEN 110 250 110 0.5 0.1 0 0.5\nFILT 0.25 0.008\nNORM 0.5584"},
    {"swell", "Reverse Swell", "A reverb that rises into the next beat.", -9, 0,
     "VERBGEN 0 900 1 70 30 1\nREVERSE 1 0 0\nFILT 0.5 0.006\nNORM 0.0674"},
};

} // namespace

std::span<const Preset> presets() {
    return rows;
}

} // namespace tonvale::lv2
