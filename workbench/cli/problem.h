#pragma once

#include <stdexcept>

namespace tonvale::workbench {

/// What went wrong with what, as one line for the user. The program prints it and ends with
/// status 1.
class Problem : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

} // namespace tonvale::workbench
