#pragma once

#include <stdexcept>

namespace tonvale::workbench {

/// What went wrong with what, as one line for the user.
class Problem : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

/// Words that the program doesn't understand.
class WrongUsage : public Problem {
  public:
    using Problem::Problem;
};

} // namespace tonvale::workbench
