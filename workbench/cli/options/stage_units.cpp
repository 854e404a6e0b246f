#include "workbench/cli/options/stage_units.h"

#include "workbench/cli/problem.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

namespace tonvale::workbench {

namespace {

struct Unit {
    StageQuantity quantity;
    const char *name;
    double scale; ///< of what a number without a unit counts; of Hz for frequencies
};

constexpr Unit units[] = {
    {StageQuantity::level, "dB", 1},         {StageQuantity::time, "ms", 1},
    {StageQuantity::time, "s", 1000},        {StageQuantity::frequency, "Hz", 1},
    {StageQuantity::frequency, "kHz", 1000},
};

bool sameUnit(std::string_view a, std::string_view b) {
    return std::ranges::equal(
        a, b, [](unsigned char x, unsigned char y) { return std::tolower(x) == std::tolower(y); });
}

/// Null for a unit that `quantity` hasn't.
const Unit *findUnit(StageQuantity quantity, std::string_view name) {
    for (const Unit &unit : units) {
        if (unit.quantity == quantity && sameUnit(unit.name, name))
            return &unit;
    }
    return nullptr;
}

/// Whether what stands behind a number's digits is meant as a unit, and not as more of the number.
bool looksLikeUnit(std::string_view text) {
    return !text.empty() && text.find_first_of("0123456789.,+-") == std::string_view::npos;
}

} // namespace

std::string wantedUnits(StageQuantity quantity) {
    std::string names;
    for (const Unit &unit : units) {
        if (unit.quantity == quantity)
            names += (names.empty() ? "" : " or ") + std::string(unit.name);
    }
    return names.empty() ? "no unit" : names;
}

StageNumber::StageNumber(const std::string &word, StageQuantity quantity,
                         const std::string &subject) {
    const auto refuse = [&](const std::string &reason) -> void {
        throw Problem(subject + " " + reason + ": '" + word + "'");
    };
    const char *first = word.data();
    const char *last = first + word.size();
    if (word.starts_with('+') && !word.starts_with("+-"))
        ++first;
    const auto [end, error] = std::from_chars(first, last, value);
    const std::string_view name(end, static_cast<size_t>(last - end));
    if (error != std::errc() || std::isnan(value) || (!name.empty() && !looksLikeUnit(name)))
        refuse("is no number");

    if (!name.empty()) {
        const Unit *unit = findUnit(quantity, name);
        if (!unit)
            refuse("takes " + wantedUnits(quantity));
        // Minus infinity is a level, and its factor is 0.
        value =
            quantity == StageQuantity::level ? std::pow(10.0, value / 20.0) : value * unit->scale;
        isHertz = quantity == StageQuantity::frequency;
    }
    if (!std::isfinite(value))
        refuse("is no number");
    constexpr double most = std::numeric_limits<int>::max();
    if (quantity == StageQuantity::count && (value != std::floor(value) || std::fabs(value) > most))
        refuse("is no whole number");
}

double StageNumber::at(double rate) const {
    constexpr double most = std::numeric_limits<double>::max();
    return isHertz ? std::clamp(value / (rate / 2.0), -most, most) : value;
}

std::string plainNumber(double value) {
    // The least double has 324 digits behind its point, the largest 309 in front of it, and none
    // has more than 17 that count.
    char digits[400];
    const auto [end, error] =
        std::to_chars(digits, digits + sizeof digits, value, std::chars_format::fixed);
    return {digits, end};
}

} // namespace tonvale::workbench
