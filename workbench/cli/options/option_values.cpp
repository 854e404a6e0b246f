#include "workbench/cli/options/option_values.h"

#include <charconv>
#include <cmath>
#include <sstream>

namespace tonvale::workbench {

namespace {

std::string shown(double value) {
    std::ostringstream out;
    out.imbue(std::locale::classic());
    out.precision(12);
    out << value;
    return out.str();
}

} // namespace

std::optional<double> numberIn(const std::string &text) {
    const char *first = text.data();
    const char *last = first + text.size();
    if (text.starts_with('+') && !text.starts_with("+-"))
        ++first;
    double value = 0.0;
    const auto [end, error] = std::from_chars(first, last, value);
    if (error != std::errc() || end != last || !std::isfinite(value))
        return std::nullopt;
    return value;
}

CLI::Option *addNumber(CLI::App &command, const std::string &name, std::optional<double> &place,
                       double low, double high, const std::string &help, bool whole) {
    const auto take = [=, &place](const std::string &text) {
        const auto value = numberIn(text);
        if (value && *value >= low && *value <= high && (!whole || *value == std::floor(*value))) {
            place = value;
            return;
        }
        throw CLI::ValidationError(name, "'" + text + "' is no " +
                                             (whole ? "whole number" : "number") + " from " +
                                             shown(low) + " to " + shown(high));
    };
    return command.add_option_function<std::string>(name, take, help);
}

CLI::Option *addPositive(CLI::App &command, const std::string &name, double &place,
                         const std::string &help) {
    const auto take = [=, &place](const std::string &text) {
        const auto value = numberIn(text);
        if (!value || *value <= 0.0)
            throw CLI::ValidationError(name, "'" + text + "' is no number above 0");
        place = *value;
    };
    return command.add_option_function<std::string>(name, take, help);
}

} // namespace tonvale::workbench
