#include "editor/filter_dialog.h"

#include "chain/impulse_generator_filter.h"
#include "editor/stage_law.h"
#include "text/number_text.h"
#include "text/window_text.h"

namespace tonvale {

namespace {

double hertzOfOne(const RowStage &stage) {
    return 0.5 * static_cast<const ImpulseGenerator_Filter &>(stage).lastRate;
}

/// The rate may be a new one, but a number under the user's hands is not written over.
void followRate(RowStage &stage, const RowControls &controls) {
    const StageLaw law({stage.getRows(), static_cast<size_t>(stage.getRowCount())},
                       hertzOfOne(stage));
    for (int32_t row = 0; row < stage.getRowCount(); ++row) {
        char text[rowTextSize];
        law.textOf(row, stage.setting(row), text);
        const std::string shown = windowText(controls.edit(row));
        if (readInteger(text) != readInteger(skipBlanks(shown.c_str())))
            setWindowText(controls.edit(row), text);
    }
}

} // namespace

const RowDialogHooks filterDialogHooks{hertzOfOne, nullptr, followRate};

} // namespace tonvale
