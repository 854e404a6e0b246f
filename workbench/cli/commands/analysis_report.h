#pragma once

#include "workbench/analysis/interaural.h"

#include <string>
#include <vector>

namespace tonvale::workbench {

/// A response and what was found out about it.
struct ResponseFile {
    std::string name; ///< as given
    double rate;
    std::vector<std::vector<double>> samples; ///< of each channel
    std::vector<ChannelFigures> channels;
    Interaural ears;
};

/// Prints a table for people, "-" where there is no figure.
void printTable(const ResponseFile &file);

/// Prints an array with an object a file, null where there is no figure.
void printJson(const std::vector<ResponseFile> &files);

} // namespace tonvale::workbench
