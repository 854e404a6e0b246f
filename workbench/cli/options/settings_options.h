#pragma once

#include "workbench/cli/plugin_module.h"

#include <CLI/CLI.hpp>

#include <map>
#include <string>

namespace tonvale::workbench {

/// The options of a command that set the plug-in's parameters. What isn't given stays as the
/// plug-in, or the state that it loaded, has it.
class SettingsOptions {
  public:
    /// Adds the options. This must stay in its place while `command` parses.
    void addTo(CLI::App &command);

    void applyTo(Effect &effect) const;
    /// Whether one was given that says how the plug-in convolves, not how it sounds.
    bool choosesEngine() const;

  private:
    std::map<int, double> given; ///< normalised values by parameter index
};

/// All parameters with their present values, in one line.
std::string settingsText(Effect &effect);

/// The option that sets a parameter, empty for one without.
const char *settingOption(int parameter);

} // namespace tonvale::workbench
