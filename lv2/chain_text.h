#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tonvale::lv2 {

// The chain of stages as text, a stage a line, as a host holds it.

constexpr size_t mostChainBytes = 32768;
constexpr size_t mostPathBytes = 4096;

/// A chain, within room of its own. Allocates nothing.
class ChainText {
  public:
    /// Takes lines without blanks around them and without empty ones. False, and unchanged, where
    /// it is too long.
    bool set(std::string_view lines);
    /// One File stage; no stage for an empty path. False, and unchanged, where no line can hold it.
    bool setFile(std::string_view path);
    std::string_view view() const { return {text, size}; }

  private:
    char text[mostChainBytes];
    size_t size = 0;
};

std::vector<std::string> linesOf(std::string_view chain);

/// A line of a File stage.
struct FileLine {
    bool isBypassed;
    bool isPlain; ///< a stage reads it alike; for it, a path ends at the next quote
    std::string_view path;
    std::string_view flags; ///< as it stands, empty for the usual ones
};
std::optional<FileLine> readFileLine(std::string_view line);
/// Nothing for a path that no line can hold, since it has a line's end in it.
std::optional<std::string> fileLine(std::string_view path, std::string_view flags, bool isBypassed);

/// The path of a chain that is just one File stage in use; empty for any other.
std::string_view lonePath(std::string_view chain);

} // namespace tonvale::lv2
