#pragma once

#include <string>
#include <vector>

namespace tonvale::workbench {

/// What a user asks of the program by its words.
struct WindowOptions {
    std::vector<std::string> stages; ///< one-line forms, in order
    std::string stateFile;
    std::string language;
    int shownStage = 0;       ///< from 1; 0 for the last one
    std::vector<int> presses; ///< buttons to press, one after the other
    std::string picture;      ///< file to write what is to be seen to, and then end
    bool wantsHelp = false;
};

/// Throws WrongUsage.
WindowOptions readOptions(const std::vector<std::string> &words);

/// One line for each option.
const char *optionsHelp();

} // namespace tonvale::workbench
