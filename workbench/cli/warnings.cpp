#include "workbench/cli/warnings.h"

#include <algorithm>
#include <cstdio>
#include <mutex>
#include <set>
#include <unistd.h>

namespace tonvale::workbench {

namespace {

// What the program has warned of so far: on any thread, under its lock.
std::mutex lock;
std::set<std::string> said;

// Written while the words of the command line are read, on the main thread.
bool isStrict = false;

constexpr char emptyLine[] = "\r\033[K";

} // namespace

void warn(const std::string &text) {
    std::string line = text;
    std::replace(line.begin(), line.end(), '\n', ' ');
    const std::scoped_lock held(lock);
    if (!said.insert(line).second)
        return;
    // What was printed before comes before it, where both go to one place.
    std::fflush(stdout);
    line = "tonvale: warning: " + line + "\n";
    if (isatty(STDERR_FILENO))
        line = emptyLine + line;
    std::fputs(line.c_str(), stderr);
}

void addStrict(CLI::App &command) {
    command.add_flag("--strict", isStrict, "End with status 1 after a warning");
}

int statusAfterWarnings() {
    const std::scoped_lock held(lock);
    return isStrict && !said.empty() ? 1 : 0;
}

} // namespace tonvale::workbench
