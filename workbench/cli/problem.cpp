#include "workbench/cli/problem.h"

#include <cstdio>

namespace tonvale::workbench {

void complain(const char *text) noexcept {
    std::fflush(stdout);
    std::fputs("tonvale: ", stderr);
    for (; *text; ++text)
        std::fputc(*text == '\n' ? ' ' : *text, stderr);
    std::fputc('\n', stderr);
}

} // namespace tonvale::workbench
