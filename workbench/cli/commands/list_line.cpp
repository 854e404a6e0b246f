#include "workbench/cli/commands/list_line.h"

#include <algorithm>

namespace tonvale::workbench {

void appendAt(std::string &line, size_t column, const std::string &cell) {
    if (cell.empty())
        return;
    const auto beginsCharacter = [](unsigned char byte) { return (byte & 0xC0) != 0x80; };
    const auto length =
        static_cast<size_t>(std::count_if(line.begin(), line.end(), beginsCharacter));
    line.append(std::max(column, length + 1) - length, ' ');
    line += cell;
}

} // namespace tonvale::workbench
