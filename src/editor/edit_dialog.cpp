#include "editor/edit_dialog.h"

#include "chain/impulse_generator_edit.h"
#include "editor/resources/resource.h"
#include "host/localized_text.h"
#include "text/window_text.h"

#include <cstdio>

namespace tonvale {

namespace {

constexpr int32_t forecastSize = 512;

/// The gain changes no length, and is not heard before its fader is let go.
bool forecastLength(RowStage &stage, HWND dialog, int32_t row) {
    const auto &edit = static_cast<const ImpulseGenerator_Edit &>(stage);
    if (stage.getRows()[row].controlId == EDIT_GAIN_FADER)
        return false;
    char forecast[forecastSize];
    std::snprintf(forecast, sizeof forecast,
                  localizedText("new length will be %.2fs", "tonvale", localizeFormat),
                  edit.forecastSeconds());
    // The next run writes what came of it over this.
    setControlText(dialog, STAGE_OUTPUT_STATUS, forecast);
    return true;
}

} // namespace

const RowDialogHooks editDialogHooks{nullptr, forecastLength, nullptr};

} // namespace tonvale
