#include "workbench/cli/commands/settings_options.h"

#include "chain/decibels.h"
#include "workbench/cli/commands/option_values.h"

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
};

constexpr Setting settings[] = {
    {0, "--wet", "DB", Law::decibels, -150, 60, "Level of the reverberated signal, or -inf"},
    {1, "--dry", "DB", Law::decibels, -150, 60, "Level of the untreated signal, or -inf"},
    {2, "--pre-verb", "MS", Law::linear, 0, 3000, "How far the wet signal leads the dry one"},
    {4, "--width", "W", Law::linear, -1, 1, "Stereo width at the input: 1 as it is, 0 mono"},
    {5, "--pan", "P", Law::linear, -1, 1, "Balance of the wet signal, -1 is left"},
    {3, "--max-fft", "N", Law::linear, 32, 16384, "Largest FFT of the engines"},
    {6, "--zl", "on|off", Law::toggle, 0, 1, "Zero latency mode"},
    {7, "--ll", "on|off", Law::toggle, 0, 1, "Low latency mode: a thread for the late part"},
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
