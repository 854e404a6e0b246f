#pragma once

#include "text/file_path.h"

#include <filesystem>
#include <fstream>
#include <random>
#include <stdexcept>
#include <string>

namespace tonvale::workbench {

/// An empty folder of its own for each object, gone with it.
class TestFolder {
  public:
    TestFolder()
        : path(std::filesystem::temp_directory_path() /
               ("tonvale-test-" + std::to_string(std::random_device()()))) {
        std::filesystem::create_directory(path);
    }
    ~TestFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    TestFolder(const TestFolder &) = delete;
    TestFolder &operator=(const TestFolder &) = delete;

    std::string file(const std::string &name) const { return pathText(path / filePath(name)); }

    const std::filesystem::path path;
};

/// All bytes of a file; none where there is no such file.
inline std::string contents(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

} // namespace tonvale::workbench
