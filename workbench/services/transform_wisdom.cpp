#include "workbench/services/transform_wisdom.h"

#include "workbench/services/user_folders.h"

#include <fstream>
#include <unistd.h>

namespace tonvale::workbench {

namespace {

namespace fs = std::filesystem;

constexpr std::streamsize largestWisdom = 4 << 20;

fs::path wisdomFile() {
    const fs::path folder = cacheFolder();
    return folder.empty() ? folder : folder / "fft-wisdom";
}

} // namespace

std::string readWisdom() {
    const fs::path path = wisdomFile();
    std::error_code error;
    if (!fs::is_regular_file(path, error))
        return {};
    std::ifstream in(path, std::ios::binary);
    std::string text(largestWisdom, '\0');
    in.read(text.data(), largestWisdom);
    text.resize(static_cast<size_t>(in.gcount()));
    return text;
}

void writeWisdom(const std::string &wisdom) {
    const fs::path path = wisdomFile();
    if (path.empty())
        return;
    std::error_code error;
    fs::create_directories(path.parent_path(), error);
    // The name is this process's own, so that two that start together don't write into one file.
    fs::path draft = path;
    draft += "." + std::to_string(getpid()) + ".tmp";
    std::ofstream out(draft, std::ios::binary | std::ios::trunc);
    out << wisdom;
    out.close();
    if (out)
        fs::rename(draft, path, error);
    if (!out || error)
        fs::remove(draft, error);
}

} // namespace tonvale::workbench
