#include "measure/measure_outcome.h"

namespace tonvale {

namespace {

struct MessageRow {
    MeasureOutcome outcome;
    const char *text;
};

constexpr MessageRow messageRows[] = {
    {MeasureOutcome::toneFileFailed, "Error creating test tone file"},
    {MeasureOutcome::recordingFailed, "Error opening file to be deconvolved"},
    {MeasureOutcome::toneFailed, "Error opening test tone"},
    {MeasureOutcome::ratesDiffer,
     "Sample rate mismatch between file to be deconvolved and test tone"},
    {MeasureOutcome::silent, "One or both files silent"},
    {MeasureOutcome::outOfMemory, "Error allocating memory"},
    {MeasureOutcome::decodingFailed, "Error decoding media"},
    {MeasureOutcome::outputFailed, "Error creating output file"},
};

} // namespace

const char *measureMessage(MeasureOutcome outcome) {
    for (const MessageRow &row : messageRows) {
        if (row.outcome == outcome)
            return row.text;
    }
    return nullptr;
}

} // namespace tonvale
