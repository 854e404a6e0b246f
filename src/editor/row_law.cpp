#include "editor/row_law.h"

#include "chain/decibels.h"
#include "chain/fader_curve.h"
#include "convolution/containers/bounded_integer.h"
#include "core/parameters.h"
#include "host/host_functions.h"
#include "text/number_text.h"

#include <algorithm>
#include <limits>

namespace tonvale {

namespace {

constexpr double faderSteps = 1000.0;

double skewedSteps(double fraction, double skew) {
    const double linear = fraction * faderSteps;
    return skew > 1.0 ? applySkew(linear, 1, skew) : linear;
}

bool isDecibels(int32_t row) {
    return paramRow(row)->minValue == decibelRow;
}

/// "-i", as "-inf" begins.
bool meansSilence(const char *text) {
    return text[0] == '-' && (text[1] == 'i' || text[1] == 'I');
}

} // namespace

int32_t positionOfFraction(double fraction, double skew) {
    return boundedInteger(skewedSteps(fraction, skew), INT32_MIN, INT32_MAX);
}

double fractionOfPosition(int32_t position, double skew) {
    return (skew > 1.0 ? applySkew(position, -1, skew) : position) / faderSteps;
}

int32_t defaultPositionOfFraction(double fraction, double skew) {
    return boundedInteger(std::clamp(skewedSteps(fraction, skew), 0.0, faderSteps) + 0.5, 0, 1000);
}

int32_t positionOfDecibels(double decibels) {
    return boundedInteger(hostFunctions.DB2SLIDER(decibels), INT32_MIN, INT32_MAX);
}

double gainOfPosition(int32_t position) {
    return static_cast<float>(decibelsToFactor(hostFunctions.SLIDER2DB(position)));
}

int32_t ParameterLaw::positionOf(int32_t row, double value) const {
    if (isDecibels(row))
        return positionOfDecibels(paramToPlain(row, value));
    return positionOfFraction(value, paramRow(row)->skew);
}

double ParameterLaw::valueOf(int32_t row, int32_t position) const {
    if (isDecibels(row))
        return gainOfPosition(position);
    return fractionOfPosition(position, paramRow(row)->skew);
}

void ParameterLaw::textOf(int32_t row, double value, char *text) const {
    paramDisplayText(row, value, text);
}

double ParameterLaw::valueOfText(int32_t row, const char *text) const {
    if (isDecibels(row) && meansSilence(text))
        return 0.0;
    const double value = plainToParam(row, readNumber(skipBlanks(text)));
    return std::min(value, static_cast<double>(std::numeric_limits<float>::max()));
}

int32_t ParameterLaw::defaultPosition(int32_t row) const {
    if (isDecibels(row))
        return decibelDefaultPosition;
    const ParamRow &params = *paramRow(row);
    return defaultPositionOfFraction(plainToParam(row, params.defaultValue), params.skew);
}

} // namespace tonvale
