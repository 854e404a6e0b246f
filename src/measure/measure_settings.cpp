#include "measure/measure_settings.h"

#include "text/number_text.h"

#include <algorithm>
#include <cmath>
#include <iterator>

namespace tonvale {

MeasureState measureState;

void acceptMeasureNumber(const char *entry, double &setting) {
    const double value = readNumber(skipBlanks(entry));
    if (value != 0.0 && std::isfinite(value))
        setting = value;
}

void acceptBitDepth(const char *entry, int32_t &setting) {
    constexpr int32_t depths[] = {16, 24, 32, 64};
    const int32_t value = readInteger(skipBlanks(entry));
    if (std::find(std::begin(depths), std::end(depths), value) != std::end(depths))
        setting = value;
}

void acceptNoiseFloor(const char *entry, int32_t &setting) {
    const int32_t value = readInteger(skipBlanks(entry));
    if (value != 0 || entry[0] == '0' || entry[0] == '-')
        setting = value;
}

} // namespace tonvale
