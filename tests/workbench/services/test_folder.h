#pragma once

#include "text/file_path.h"

#include <filesystem>
#include <random>
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

/// Ends a host object as its owner does.
struct Destroy {
    template <class Object>
    void operator()(Object *object) const {
        object->destroy(1);
    }
};

} // namespace tonvale::workbench
