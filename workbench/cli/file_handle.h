#pragma once

#include <unistd.h>
#include <utility>

namespace tonvale::workbench {

/// The number of an open file, or of none, which is closed at the end.
class FileHandle {
  public:
    explicit FileHandle(int opened = -1)
        : value(opened) {}
    FileHandle(FileHandle &&other) noexcept
        : value(std::exchange(other.value, -1)) {}
    FileHandle &operator=(FileHandle &&other) noexcept {
        std::swap(value, other.value);
        return *this;
    }
    ~FileHandle() {
        if (value >= 0)
            close(value);
    }

    int number() const { return value; }
    bool isOpen() const { return value >= 0; }

  private:
    int value;
};

} // namespace tonvale::workbench
