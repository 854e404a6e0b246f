#include "workbench/cli/measuring/whole_response.h"

#include "workbench/analysis/direct_sound.h"
#include "workbench/cli/measuring/division.h"
#include "workbench/cli/measuring/drift.h"

#include <algorithm>
#include <cmath>
#include <new>

namespace tonvale::workbench {

namespace {

constexpr int uncutFloor = -150;
constexpr double leastLead = 0.1;     // seconds
constexpr double silentSample = 1e-6; // -120 dBFS

size_t leadOf(const MeasuredSound &tone) {
    const double smear = largestDrift * 1e-6 * static_cast<double>(tone.length());
    return static_cast<size_t>(std::ceil(leastLead * tone.rate + 2.0 * smear));
}

} // namespace

MeasuredSound behindSilence(const MeasuredSound &recording, const MeasuredSound &tone) {
    MeasuredSound delayed = recording;
    for (auto &samples : delayed.channels)
        samples.insert(samples.begin(), leadOf(tone), 0.0);
    return delayed;
}

MeasuredSound wholeResponse(const MeasuredSound &delayed, const MeasuredSound &tone) {
    MeasuredSound response;
    if (divideSounds(delayed, tone, uncutFloor, {}, response) != MeasureOutcome::done)
        throw std::bad_alloc();
    return response;
}

std::optional<ToneSpan> findTone(const MeasuredSound &whole, const MeasuredSound &tone) {
    const auto &samples = whole.channels[0];
    const auto direct = findDirectSound(samples, findDecay(samples, whole.rate));
    if (!direct)
        return std::nullopt;
    const int64_t start = static_cast<int64_t>(*direct) - static_cast<int64_t>(leadOf(tone));
    const auto &played = tone.channels[0];
    const auto last = std::find_if(played.rbegin(), played.rend(),
                                   [](double sample) { return std::fabs(sample) > silentSample; });
    return ToneSpan{start, start + (played.rend() - last)};
}

} // namespace tonvale::workbench
