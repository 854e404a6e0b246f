#include "workbench/services/transform_wisdom.h"

#include "workbench/services/user_folders.h"

#include <algorithm>
#include <cstdint>
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

/// The first line of the file, which ties it to the text behind it (FNV-1a, 64 bits).
std::string sealOf(const std::string &wisdom) {
    uint64_t hash = 14695981039346656037u;
    for (const char c : wisdom)
        hash = (hash ^ static_cast<unsigned char>(c)) * 1099511628211u;
    return "tonvale fft wisdom " + std::to_string(hash) + "\n";
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
    if (text.empty())
        return {};
    const std::string wisdom = text.substr(std::min(text.find('\n'), text.size() - 1) + 1);
    return text.starts_with(sealOf(wisdom)) ? wisdom : "";
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
    out << sealOf(wisdom) << wisdom;
    out.close();
    if (out)
        fs::rename(draft, path, error);
    if (!out || error)
        fs::remove(draft, error);
}

} // namespace tonvale::workbench
