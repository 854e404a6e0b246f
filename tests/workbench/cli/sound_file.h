#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tonvale::test {

using Samples = std::vector<double>;

/// A sound as it lies in a file: one vector a channel, all of one length.
struct Sound {
    int rate = 48000;
    std::vector<Samples> channels;

    size_t frames() const { return channels.empty() ? 0 : channels[0].size(); }
};

/// Writes a WAV file of 64-bit floats.
void writeSound(const std::string &path, const Sound &sound);
/// Fails the running test when there is no such file.
Sound readSound(const std::string &path);

/// Noise that is the same for the same seed, from -1 to 1.
Samples noise(size_t frames, uint32_t seed);

/// sum over k of a[k] b[n - k], of length a + b - 1.
Samples convolved(const Samples &a, const Samples &b);

/// The largest difference between two channels; infinite when their lengths differ.
double largestDifference(const Samples &a, const Samples &b);

/// `sound` must have these channels, to within `error`.
void expectSound(const Sound &sound, const std::vector<Samples> &channels, double error);

} // namespace tonvale::test
