#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace tonvale::workbench {

/// A file that is written under a temporary name beside its place and takes its place only when it
/// is complete. An exception, and a signal that ends the program, remove what was written; the
/// former file, if there was one, then stays as it was.
class OutputFile {
  public:
    /// Makes the temporary file, so a folder that can't be written shows at once. A symbolic link
    /// is followed. Throws Problem when there is no such folder, or when something that is no
    /// ordinary file has the name.
    explicit OutputFile(const std::string &name);
    ~OutputFile();
    OutputFile(const OutputFile &) = delete;
    OutputFile &operator=(const OutputFile &) = delete;

    /// Where to write until commit().
    std::string temporaryPath() const { return temporary.string(); }
    /// Replaces the content; for files that are written in one piece.
    void write(const std::vector<char> &bytes);
    void commit();

  private:
    std::string name;
    std::filesystem::path place;
    std::filesystem::path temporary;
    int slot;
};

/// Throws Problem when `output` is the file `input`, by whatever names.
void refuseOverwriting(const std::string &output, const std::string &input);

} // namespace tonvale::workbench
