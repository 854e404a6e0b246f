#pragma once

#include <cstddef>
#include <span>

namespace tonvale::workbench {

/// How a response dies away: the exponential that its late decay follows, and the noise that it
/// sinks into. Powers are mean squares of samples, places are samples of the whole response.
struct Decay {
    size_t peak = 0;  ///< the largest sample
    size_t knee = 0;  ///< where the decay sinks into the noise; `end` where no noise shows
    size_t end = 0;   ///< behind the last sample above silence
    double noise = 0; ///< power of the noise floor
    bool showsNoise = false;
    double kneePower = 0; ///< of the late decay at the knee
    double fall = 0;      ///< the late decay's power falls by exp(-fall) a sample; 0: no decay

    /// Power of the late decay, drawn out to this place.
    double powerAt(double place) const;
    /// Energy of the late decay behind the knee, which the noise hides: the correction term.
    double hiddenEnergy() const { return fall > 0 ? kneePower / fall : 0.0; }
};

/// Finds the noise floor and the late decay in turns, each from the other, until they agree:
/// A. Lundeby, T. E. Vigran, H. Bietz, M. Vorländer, "Uncertainties of measurements in room
/// acoustics", Acustica 81 (1995). What lies more than 160 dB under the peak behind all else is no
/// part of the response. `bandwidth` is that of the sound, Hz: a narrow one needs more time to show
/// its level. A response of silence alone has `end` 0.
Decay findDecay(std::span<const double> samples, double rate, double bandwidth);
inline Decay findDecay(std::span<const double> samples, double rate) {
    return findDecay(samples, rate, rate / 2);
}

/// Mean square; 0 of nothing.
double meanPower(std::span<const double> samples);

/// 10 lg of a power ratio; -400 for nothing.
double powerDb(double power);

} // namespace tonvale::workbench
