#pragma once

#include <cstddef>
#include <string>

namespace tonvale::workbench {

/// Appends a cell to a line of a list: at a column, which counts characters of UTF-8, or one blank
/// behind what reaches that far. An empty cell leaves the line as it is.
void appendAt(std::string &line, size_t column, const std::string &cell);

} // namespace tonvale::workbench
