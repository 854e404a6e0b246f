#pragma once

#include <filesystem>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tonvale::test {

/// A folder of its own for one test, gone at its end.
class TemporaryFolder {
  public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder &) = delete;
    TemporaryFolder &operator=(const TemporaryFolder &) = delete;

    std::string operator/(const std::string &name) const { return (path / name).string(); }
    /// Names of everything in it, sorted.
    std::vector<std::string> names() const;

  private:
    std::filesystem::path path;
};

struct ProgramResult {
    int status; ///< -1 when a signal ended it
    std::string output;
    std::string errors;
};

using Words = std::vector<std::string>;

/// Runs `tonvale` with these words and waits for it.
ProgramResult runProgram(const Words &words);

/// Starts `tonvale` with its outputs thrown away.
pid_t startProgram(const Words &words);

} // namespace tonvale::test
