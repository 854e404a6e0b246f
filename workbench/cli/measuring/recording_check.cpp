#include "workbench/cli/measuring/recording_check.h"

#include "workbench/analysis/noise_floor.h"
#include "workbench/cli/warnings.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <span>

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
constexpr double gapJump = 3;

constexpr double endSeconds = 0.05;
constexpr double leastEndSeconds = 0.01;
constexpr double aheadSeconds = 0.02;  // that a sound may begin before its direct sound
constexpr double steadySeconds = 0.25; // in which any decay falls
constexpr double kneeSeconds = 0.1;    // behind where a decay ends
constexpr double aboveNoise = 10.0;    // 20 dB
constexpr double underPeak = 0.01;     // -40 dB
constexpr double leastDecay = 1e-3;    // -60 dB

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

/// The smallest difference of two neighbours that aren't equal.
double smallestStep(Channel samples) {
    double smallest = INFINITY;
    for (size_t i = 1; i < samples.size(); ++i) {
        if (const double step = std::fabs(samples[i] - samples[i - 1]); step > 0.0)
            smallest = std::min(smallest, step);
    }
    return smallest;
}

/// The first sample of a gap inside of sound, which isn't its clipped peak; the length where there
/// is none.
size_t firstGap(Channel samples, double peak) {
    for (size_t start = 0, end = 0; start < samples.size(); start = end) {
        end = endOfRun(samples, start);
        if (end - start < gapRun || std::fabs(samples[start]) == peak || start < gapSurroundings ||
            samples.size() - end < gapSurroundings)
            continue;
        const Channel before = samples.subspan(start - gapSurroundings, gapSurroundings);
        const Channel after = samples.subspan(end, gapSurroundings);
        const double threshold = gapSilence * peak;
        if (!isLively(before, threshold) || !isLively(after, threshold))
            continue;
        // Where a slow wave turns it stands still in whole numbers, and goes on by small steps.
        const double jump = std::max(std::fabs(samples[start] - before.back()),
                                     std::fabs(after.front() - samples[start]));
        if (jump > gapJump * std::min(smallestStep(before), smallestStep(after)))
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

/// The level of what a sound sinks into, for long enough to be no decay; 0 where that doesn't show.
double noiseBehind(Channel samples, double rate) {
    const Decay decay = findDecay(samples, rate);
    const bool sinks = decay.fall > 0;
    const auto length = static_cast<double>(samples.size() - (sinks ? decay.knee : 0));
    const bool shows = decay.showsNoise && length > rate * (sinks ? kneeSeconds : steadySeconds);
    return shows ? std::sqrt(decay.noise) : 0.0;
}

/// The level of the quietest part above silence; 0 where there is none.
double noiseAhead(Channel samples, double rate) {
    const auto block = static_cast<size_t>(std::ceil(endSeconds * rate));
    double least = INFINITY;
    for (size_t start = 0; start + block <= samples.size(); start += block) {
        const double level = rms(samples.subspan(start, block));
        if (level > silentPeak)
            least = std::min(least, level);
    }
    return least < INFINITY ? least : 0.0;
}

/// The level of the noise before the tone sounds or behind it; 0 where neither shows it.
double noiseOf(Channel samples, double rate, const ToneSpan &tone) {
    const auto place = [&](int64_t sample) {
        return static_cast<size_t>(
            std::clamp<int64_t>(sample, 0, static_cast<int64_t>(samples.size())));
    };
    const int64_t ahead = tone.start - std::llround(aheadSeconds * rate);
    // Whoever edits a recording may put silence ahead, with the dither of whole numbers.
    return std::max(noiseAhead(samples.first(place(ahead)), rate),
                    noiseBehind(samples.subspan(place(tone.end)), rate));
}

/// The level of the loudest 50 ms.
double loudestLevel(Channel samples, double rate) {
    const auto block = static_cast<size_t>(std::ceil(endSeconds * rate));
    double loudest = 0.0;
    for (size_t start = 0; start + block <= samples.size(); start += block)
        loudest = std::max(loudest, rms(samples.subspan(start, block)));
    return loudest;
}

/// Whether the end is still loud: against the noise where that shows, else against the loudest, of
/// which a recording that ends with its tone has the tone's own end alone.
bool stopsBeforeDecay(Channel samples, double rate, const ToneSpan &tone) {
    const auto length = static_cast<int64_t>(samples.size());
    const int64_t block = std::llround(std::ceil(endSeconds * rate));
    if (length < block)
        return false;
    const int64_t end = std::clamp(tone.end, block, length);
    // A short room has died away within less than that.
    const int64_t shortest = std::llround(leastEndSeconds * rate);
    const int64_t share = std::clamp((length - end) / 4, shortest, block);
    const double last = rms(samples.last(static_cast<size_t>(share)));
    if (const double noise = noiseOf(samples, rate, tone); noise > 0.0)
        return last > aboveNoise * noise;
    const bool endsWithTone = static_cast<double>(length - end) < steadySeconds * rate;
    const Channel compared = samples.subspan(static_cast<size_t>(endsWithTone ? end - block : 0),
                                             static_cast<size_t>(endsWithTone ? block : length));
    return last > underPeak * loudestLevel(compared, rate);
}

/// Whether the response sounds on behind its peak, as it doesn't where the tone came back by a
/// cable: such a recording may end with the tone.
bool hasDecay(Channel response, double rate) {
    const Decay decay = findDecay(response, rate);
    const size_t behind = decay.peak + static_cast<size_t>(std::ceil(endSeconds * rate));
    return behind < decay.knee && peakOf(response.subspan(behind, decay.knee - behind)) >
                                      leastDecay * std::fabs(response[decay.peak]);
}

} // namespace

void checkRecording(const MeasuredSound &recording, const MeasuredSound &response,
                    const std::optional<ToneSpan> &tone, const std::string &name) {
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
        isLoudAtEnd = isLoudAtEnd || (tone && c < response.channels.size() &&
                                      hasDecay(response.channels[c], response.rate) &&
                                      stopsBeforeDecay(channel, recording.rate, *tone));
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
