#include "chain/row_stage.h"

#include <algorithm>

namespace tonvale {

RowStage::RowStage(const StageRow *table, std::initializer_list<Relaxed<double> *> fields,
                   int32_t fewest)
    : rows(table)
    , rowCount(static_cast<int32_t>(std::min(fields.size(), maxRows)))
    , fewestValues(fewest) {
    std::copy_n(fields.begin(), rowCount, settings.begin());
}

void RowStage::setDefaults() {
    for (int32_t i = 0; i < rowCount; ++i)
        setting(i) = rows[i].defaultValue;
}

void RowStage::loadState(const char *, const void *data, int32_t size) noexcept {
    loadValues<float>(list(), data, size, fewestValues);
}

void RowStage::saveState(HeapBuffer &out) noexcept {
    saveValues<float>(list(), out);
}

void RowStage::saveText(char *text, int32_t size) noexcept {
    saveValuesText(list(), getTypeKey(), text, size);
}

bool RowStage::loadText(const char *text) noexcept {
    return loadValuesText(list(), text);
}

} // namespace tonvale
