#pragma once

#include <CLI/CLI.hpp>

#include <optional>
#include <string>

namespace tonvale::workbench {

/// The number that all of `text` is; nothing for any other text, NaN and infinities.
std::optional<double> numberIn(const std::string &text);

/// Adds an option that takes a number from `low` to `high` into `place`; with `whole` only one
/// without a fraction. Anything else is wrong usage.
CLI::Option *addNumber(CLI::App &command, const std::string &name, std::optional<double> &place,
                       double low, double high, const std::string &help, bool whole = false);

/// Adds an option that takes any number above 0 into `place`. Anything else is wrong usage.
CLI::Option *addPositive(CLI::App &command, const std::string &name, double &place,
                         const std::string &help);

} // namespace tonvale::workbench
