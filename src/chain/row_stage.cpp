#include "chain/row_stage.h"

#include "text/number_text.h"

#include <algorithm>
#include <cstring>

namespace tonvale {

namespace {

constexpr int32_t valueSize = sizeof(float);

} // namespace

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

void RowStage::loadState(const char *, const void *data, int32_t size) {
    const int32_t present = size / valueSize;
    if (present < fewestValues)
        return;
    for (int32_t i = 0; i < std::min(present, rowCount); ++i) {
        float value;
        std::memcpy(&value, static_cast<const char *>(data) + i * valueSize, sizeof value);
        setting(i) = value;
    }
}

void RowStage::saveState(HeapBuffer &out) {
    out.resize(rowCount * valueSize, false);
    if (out.getSize() != rowCount * valueSize)
        return;
    for (int32_t i = 0; i < rowCount; ++i) {
        const float value = static_cast<float>(setting(i));
        std::memcpy(static_cast<char *>(out.get()) + i * valueSize, &value, sizeof value);
    }
}

void RowStage::saveText(char *text, int32_t size) {
    TextWriter writer(text, size);
    writer.add(getTypeKey());
    for (int32_t i = 0; i < rowCount; ++i) {
        writer.add(" ");
        writer.addFixed(setting(i), 6);
    }
}

bool RowStage::loadText(const char *text) {
    for (int32_t i = 0; i < rowCount; ++i) {
        text = skipBlanks(text);
        if (!*text)
            return false;
        setting(i) = readNumber(text);
        text = skipWord(text);
    }
    return true;
}

} // namespace tonvale
