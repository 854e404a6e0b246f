#pragma once

#include <functional>

namespace tonvale {

/// How a run of a measurement tool ended.
enum class MeasureOutcome {
    done,
    cancelled,   ///< by the progress callback; no file is left behind
    unavailable, ///< the host can't write files, so nothing was done
    toneFileFailed,
    recordingFailed,
    toneFailed,
    ratesDiffer,
    silent,
    outOfMemory,
    decodingFailed,
    outputFailed,
};

/// The title of the message box that shows a failure, untranslated.
inline constexpr const char *measureErrorTitle = "Tonvale Error";

/// The text that tells the user of a failure, untranslated; null where there is nothing to tell.
/// Lives as long as the module.
const char *measureMessage(MeasureOutcome outcome);

/// Called on the thread of the run with the share of the work that is done, rising from 0 to 1.
/// Answers false to end the run. May be empty.
using MeasureProgress = std::function<bool(double fraction)>;

} // namespace tonvale
