#pragma once

#include "workbench/cli/file_handle.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace tonvale::workbench {

/// A file that takes its place only when it is complete: until then it has no name at all, where
/// the file system can do that, so that nothing stays of a program that was killed. Elsewhere it
/// has a temporary name beside its place, which exceptions and signals that end the program remove.
/// The former file, if there was one, stays as it was until commit().
///
/// The name "-" is standard output, which isn't taken back: what was written went on. All that is
/// printed from then on goes to standard error. One such file a process.
///
/// Any thread, but one at a time.
class OutputFile {
  public:
    /// Makes the file, so a folder that can't be written shows at once. A symbolic link is
    /// followed. Throws Problem when there is no such folder, or when something that is no ordinary
    /// file has the name.
    explicit OutputFile(const std::string &name);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    const std::string &shownName() const { return name; }
    /// What to write to until commit().
    int descriptor() const { return handle.number(); }
    /// The same, as a path for those that take nothing else. Not for standard output.
    std::string temporaryPath() const;
    /// False for standard output, where what was written can't be written again.
    bool isRewritable() const { return !isStandardOutput; }

    /// Appends. Throws Problem, with the reason.
    void write(const void *bytes, size_t size);
    void write(const std::vector<char> &bytes) { write(bytes.data(), bytes.size()); }
    /// Writes over the first bytes.
    void rewriteStart(const void *bytes, size_t size);
    void commit();

  private:
    std::string name;
    std::filesystem::path place;
    std::filesystem::path temporary; ///< empty while the file has no name
    FileHandle handle;
    int slot = -1; ///< of the temporary name, for the signal handler
    bool isStandardOutput = false;

    void findPlace();
    void openTemporary();
    void openNamed();
    void nameUnnamed();
    void takeFreeName(const std::function<bool(const std::filesystem::path &)> &take);
    bool linkTo(const std::filesystem::path &path) const;
    std::string descriptorPath() const;
    [[noreturn]] void fail(int error) const;
};

/// The name that stands for standard input and standard output.
constexpr const char *pipeName = "-";

/// Throws Problem when `output` is the file `input`, by whatever names.
void refuseOverwriting(const std::string &output, const std::string &input);

} // namespace tonvale::workbench
