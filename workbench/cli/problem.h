#pragma once

#include <exception>
#include <stdexcept>

namespace tonvale::workbench {

/// What went wrong with what, as one line for the user. The program prints it and ends with
/// status 1.
class Problem : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Prints "tonvale: TEXT" as one line on standard error, without any memory.
void complain(const char *text) noexcept;

/// Something went wrong that the user was told already. The program ends with status 1.
class ToldProblem : public std::exception {};

} // namespace tonvale::workbench
