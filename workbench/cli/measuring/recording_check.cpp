#include "workbench/cli/measuring/recording_check.h"

#include "workbench/cli/warnings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <span>
#include <vector>

namespace tonvale::workbench {

namespace {

using Channel = std::span<const double>;

constexpr double silentPeak = 1e-6; // -120 dBFS

constexpr size_t clippedRun = 3;
constexpr int clippedPlaces = 3;
// A slow sine in whole numbers has runs at its peaks too, but leaves them by steps of a few of the
// smallest 16-bit steps.
constexpr double clippedStep = 2.5e-4;

constexpr size_t gapRun = 32;
constexpr size_t gapSurroundings = 128;
// In whole numbers slow and quiet sound often stands still.
constexpr double mostEqualPairs = 0.25;
constexpr double gapSilence = 1e-3;

constexpr double endSeconds = 0.05;
constexpr size_t quietBlocks = 3;
constexpr double noNoise = 1e-4; // 80 dB under the loudest
constexpr double loudestNoise = 0.25;
constexpr double aboveNoise = 10.0; // 20 dB
constexpr double underPeak = 0.01;  // -40 dB
constexpr double leastDecay = 1e-3; // -60 dB

double peakOf(Channel samples) {
    double peak = 0.0;
    for (const double sample : samples)
        peak = std::max(peak, std::fabs(sample));
    return peak;
}

/// Where the samples that are equal to the one at `start` end.
size_t endOfRun(Channel samples, size_t start) {
    size_t end = start + 1;
    while (end < samples.size() && samples[end] == samples[start])
        ++end;
    return end;
}

bool isClipped(Channel samples, double peak) {
    int places = 0;
    for (size_t start = 0; start < samples.size();) {
        if (std::fabs(samples[start]) != peak) {
            ++start;
            continue;
        }
        const size_t end = endOfRun(samples, start);
        const auto leaves = [&](size_t neighbour) {
            return neighbour < samples.size() &&
                   std::fabs(samples[neighbour] - samples[start]) > clippedStep * peak;
        };
        if (end - start >= clippedRun && (leaves(start - 1) || leaves(end)))
            ++places;
        start = end;
    }
    return places >= clippedPlaces;
}

/// Whether a sound goes on in these samples that hardly stands still.
bool isLively(Channel samples, double threshold) {
    size_t equal = 0;
    for (size_t i = 1; i < samples.size(); ++i)
        equal += samples[i] == samples[i - 1] ? 1 : 0;
    return peakOf(samples) > threshold &&
           static_cast<double>(equal) < mostEqualPairs * static_cast<double>(samples.size());
}

/// The first sample of a gap inside of sound, which isn't its clipped peak; the length where there
/// is none.
size_t firstGap(Channel samples, double peak) {
    for (size_t start = 0, end = 0; start < samples.size(); start = end) {
        end = endOfRun(samples, start);
        if (end - start < gapRun || std::fabs(samples[start]) == peak || start < gapSurroundings ||
            samples.size() - end < gapSurroundings)
            continue;
        const double threshold = gapSilence * peak;
        if (isLively(samples.subspan(start - gapSurroundings, gapSurroundings), threshold) &&
            isLively(samples.subspan(end, gapSurroundings), threshold))
            return start;
    }
    return samples.size();
}

double rms(Channel samples) {
    double sum = 0.0;
    for (const double sample : samples)
        sum += sample * sample;
    return std::sqrt(sum / static_cast<double>(samples.size()));
}

/// Whether the end is still loud: against the quietest part where that shows noise, else against
/// the loudest.
bool stopsBeforeDecay(Channel samples, double rate) {
    const auto block = static_cast<size_t>(std::ceil(endSeconds * rate));
    if (samples.size() < block)
        return false;
    std::vector<double> levels;
    for (size_t start = 0; start + block <= samples.size(); start += block)
        levels.push_back(rms(samples.subspan(start, block)));
    std::sort(levels.begin(), levels.end());
    const double loudest = levels.back();
    const double quiet = levels[std::min(levels.size(), quietBlocks) - 1];
    // Noise is much the same in several blocks; a decay passes through each level but once.
    const bool showsNoise =
        quiet < 2.0 * levels[0] && quiet > noNoise * loudest && quiet < loudestNoise * loudest;
    return rms(samples.last(block)) > (showsNoise ? aboveNoise * quiet : underPeak * loudest);
}

/// Whether anything follows the response's peak, as it doesn't where the tone came back by a cable:
/// such a recording may end with the tone.
bool hasDecay(Channel response, double rate) {
    const auto peak = std::max_element(response.begin(), response.end(), [](double a, double b) {
        return std::fabs(a) < std::fabs(b);
    });
    const auto behind = static_cast<size_t>(peak - response.begin()) +
                        static_cast<size_t>(std::ceil(endSeconds * rate));
    return behind < response.size() &&
           peakOf(response.subspan(behind)) > leastDecay * std::fabs(*peak);
}

} // namespace

void checkRecording(const MeasuredSound &recording, const MeasuredSound &response,
                    const std::string &name) {
    double peak = 0.0;
    for (const auto &channel : recording.channels)
        peak = std::max(peak, peakOf(channel));

    bool isCut = false, isLoudAtEnd = false, hasGap = false;
    for (size_t c = 0; c < recording.channels.size(); ++c) {
        const Channel channel = recording.channels[c];
        if (peakOf(channel) < silentPeak) {
            warn(name + ": channel " + std::to_string(c + 1) + " is silent");
            continue;
        }
        isCut = isCut || isClipped(channel, peak);
        isLoudAtEnd = isLoudAtEnd || (c < response.channels.size() &&
                                      hasDecay(response.channels[c], response.rate) &&
                                      stopsBeforeDecay(channel, recording.rate));
        const size_t gap = hasGap ? channel.size() : firstGap(channel, peak);
        if (gap < channel.size()) {
            hasGap = true;
            char place[32];
            std::snprintf(place, sizeof place, "%.3f s", static_cast<double>(gap) / recording.rate);
            warn(name + " has a drop-out at " + place);
        }
    }
    if (isCut)
        warn(name + " is clipped: record it again at a lower level");
    if (isLoudAtEnd)
        warn(name + " stops before the room has died away: what is missing of the decay is "
                    "missing from the response");
}

} // namespace tonvale::workbench
