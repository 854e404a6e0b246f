#pragma once

#include <CLI/CLI.hpp>

#include <string>

namespace tonvale::workbench {

/// Prints "tonvale: warning: TEXT" as one line on standard error, on a clean one where a progress
/// bar stands. Says the same text once only. For whatever makes a result doubtful, but can be
/// written all the same. Any thread.
void warn(const std::string &text);

/// Adds --strict to a command: what it warns of ends the program with status 1.
void addStrict(CLI::App &command);

/// The status of a command that came to its end: 1 where --strict was given and something was
/// warned of, else 0.
int statusAfterWarnings();

} // namespace tonvale::workbench
