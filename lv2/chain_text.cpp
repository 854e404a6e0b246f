#include "lv2/chain_text.h"

#include <algorithm>
#include <cstring>

namespace tonvale::lv2 {

namespace {

constexpr std::string_view fileKey = "FILELDR";
constexpr std::string_view usualFlags = "60";
constexpr std::string_view blanks = " \t\r";

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(blanks) + 1 - first);
}

/// Takes the next line off the front of `rest`.
std::string_view takeLine(std::string_view &rest) {
    const size_t length = std::min(rest.find('\n'), rest.size());
    const std::string_view line = trimmed(rest.substr(0, length));
    rest.remove_prefix(std::min(length + 1, rest.size()));
    return line;
}

/// What a path stands between: quotes that it doesn't have, or nothing at all, or else quotes of
/// which the last one ends it. Null for a path that no line can hold.
const char *quoteFor(std::string_view path) {
    if (path.find('\n') != std::string_view::npos || path.find('\0') != std::string_view::npos)
        return nullptr;
    if (path.find('"') == std::string_view::npos)
        return "\"";
    if (path.find('\'') == std::string_view::npos)
        return "'";
    const bool stands = path.find_first_of(blanks) == std::string_view::npos &&
                        path.front() != '"' && path.front() != '\'';
    return stands ? "" : "\"";
}

/// Whether a closing quote can stand in front of `rest`: nothing is there, or the flags.
bool endsLine(std::string_view rest) {
    if (!rest.empty() && blanks.find(rest.front()) == std::string_view::npos)
        return false;
    return trimmed(rest).find_first_not_of("0123456789+-") == std::string_view::npos;
}

} // namespace

bool ChainText::set(std::string_view lines) {
    if (lines.size() > mostChainBytes)
        return false;
    size = 0;
    while (!lines.empty()) {
        const std::string_view line = takeLine(lines);
        if (line.empty())
            continue;
        if (size > 0)
            text[size++] = '\n';
        std::memmove(text + size, line.data(), line.size());
        size += line.size();
    }
    return true;
}

bool ChainText::setFile(std::string_view path) {
    const char *quote = quoteFor(path);
    if (!quote || path.size() > mostPathBytes)
        return false;
    size = 0;
    if (path.empty())
        return true;
    for (const std::string_view piece :
         {fileKey, std::string_view(" "), std::string_view(quote), path, std::string_view(quote),
          std::string_view(" "), usualFlags}) {
        std::memcpy(text + size, piece.data(), piece.size());
        size += piece.size();
    }
    return true;
}

std::vector<std::string> linesOf(std::string_view chain) {
    std::vector<std::string> lines;
    while (!chain.empty()) {
        if (const std::string_view line = takeLine(chain); !line.empty())
            lines.emplace_back(line);
    }
    return lines;
}

std::optional<FileLine> readFileLine(std::string_view line) {
    line = trimmed(line);
    FileLine file{.isBypassed = false, .isPlain = true, .path = {}, .flags = {}};
    file.isBypassed = line.starts_with('!');
    line.remove_prefix(file.isBypassed ? 1 : 0);
    if (!line.starts_with(fileKey))
        return std::nullopt;
    line.remove_prefix(fileKey.size());
    if (!line.empty() && line.front() != ' ' && line.front() != '\t')
        return std::nullopt;
    line = trimmed(line);
    if (line.empty())
        return file;
    const bool isQuoted = line.front() == '"' || line.front() == '\'';
    const char end = isQuoted ? line.front() : ' ';
    line.remove_prefix(isQuoted ? 1 : 0);
    const size_t next = std::min(line.find(end), line.size());
    size_t length = next;
    while (isQuoted && length < line.size() && !endsLine(line.substr(length + 1)))
        length = std::min(line.find(end, length + 1), line.size());
    // Where none can be the last one it is the next, as for the stage itself.
    if (length == line.size())
        length = next;
    file.isPlain = length == next;
    file.path = line.substr(0, length);
    file.flags = trimmed(line.substr(std::min(length + 1, line.size())));
    return file;
}

std::optional<std::string> fileLine(std::string_view path, std::string_view flags,
                                    bool isBypassed) {
    const char *quote = quoteFor(path);
    if (!quote)
        return std::nullopt;
    std::string line = isBypassed ? "!" : "";
    line.append(fileKey).append(" ").append(quote).append(path).append(quote);
    return line.append(" ").append(flags.empty() ? usualFlags : flags);
}

std::string_view lonePath(std::string_view chain) {
    if (chain.find('\n') != std::string_view::npos)
        return {};
    const auto file = readFileLine(chain);
    return file && !file->isBypassed ? file->path : std::string_view();
}

} // namespace tonvale::lv2
