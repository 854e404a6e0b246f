#include "workbench/cli/commands/settings_options.h"

#include "chain/decibels.h"
#include "workbench/cli/commands/option_values.h"

#include <algorithm>
#include <iterator>
#include <limits>
#include <optional>

namespace tonvale::workbench {

namespace {

enum class Law { decibels, linear, toggle };

struct Setting {
    int parameter;
    const char *option;
    const char *type;
    Law law;
    double low; ///< plain values that the option takes
    double high;
    const char *help;
    bool isEngine = false; ///< how the plug-in convolves, which isn't heard
};

constexpr double noFloor = -std::numeric_limits<double>::infinity();

constexpr Setting settings[] = {
    {0, "--wet", "DB", Law::decibels, noFloor, 6, "Level of the reverberated signal, or -inf"},
    {1, "--dry", "DB", Law::decibels, noFloor, 6, "Level of the untreated signal, or -inf"},
    {2, "--pre-verb", "MS", Law::linear, 0, 3000, "How far the wet signal leads the dry one"},
    {4, "--width", "W", Law::linear, -1, 1, "Stereo width at the input: 1 as it is, 0 mono"},
    {5, "--pan", "P", Law::linear, -1, 1, "Balance of the wet signal, -1 is left"},
    {3, "--max-fft", "N", Law::linear, 32, 16384, "Largest FFT of the engines", true},
    {6, "--zl", "on|off", Law::toggle, 0, 1, "Zero latency mode", true},
    {7, "--ll", "on|off", Law::toggle, 0, 1, "Low latency mode: a thread for the late part", true},
};

double normalised(const Setting &setting, double plain) {
    if (setting.law == Law::decibels)
        return decibelsToFactor(plain);
    return (plain - setting.low) / (setting.high - setting.low);
}

/// Nothing for a text that the setting can't be.
std::optional<double> settingValue(const Setting &setting, const std::string &text) {
    if (setting.law == Law::toggle) {
        if (text == "on" || text == "off")
            return text == "on" ? 1.0 : 0.0;
        return std::nullopt;
    }
    if (setting.law == Law::decibels && text == "-inf")
        return 0.0;
    const auto plain = numberIn(text);
    if (!plain || *plain < setting.low || *plain > setting.high)
        return std::nullopt;
    return normalised(setting, *plain);
}

std::string expectation(const Setting &setting) {
    if (setting.law == Law::toggle)
        return "neither on nor off";
    if (setting.law == Law::decibels)
        return "no level from -inf to +" + std::to_string(static_cast<int>(setting.high)) + " dB";
    return "no number from " + std::to_string(static_cast<int>(setting.low)) + " to " +
           std::to_string(static_cast<int>(setting.high));
}

} // namespace

void SettingsOptions::addTo(CLI::App &command) {
    for (const Setting &setting : settings) {
        const auto take = [this, &setting](const std::string &text) {
            const auto value = settingValue(setting, text);
            if (!value) {
                throw CLI::ValidationError(setting.option,
                                           "'" + text + "' is " + expectation(setting));
            }
            given[setting.parameter] = *value;
        };
        command.add_option_function<std::string>(setting.option, take, setting.help)
            ->type_name(setting.type)
            ->group("Settings");
    }
}

void SettingsOptions::applyTo(Effect &effect) const {
    for (const auto &[parameter, value] : given)
        effect.setParameter(parameter, value);
}

bool SettingsOptions::choosesEngine() const {
    return std::any_of(std::begin(settings), std::end(settings), [this](const Setting &setting) {
        return setting.isEngine && given.contains(setting.parameter);
    });
}

std::string settingsText(Effect &effect) {
    std::string line;
    for (int i = 0; i < effect.parameterCount(); ++i) {
        const std::string unit = effect.parameterUnit(i);
        line += (i ? ", " : "") + effect.parameterName(i) + " " + effect.parameterDisplay(i) +
                (unit.empty() ? "" : " " + unit);
    }
    return line;
}

const char *settingOption(int parameter) {
    for (const Setting &setting : settings) {
        if (setting.parameter == parameter)
            return setting.option;
    }
    return "";
}

} // namespace tonvale::workbench
