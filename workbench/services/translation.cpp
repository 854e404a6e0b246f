#include "workbench/services/translation.h"

#include "text/file_path.h"
#include "workbench/services/program_folder.h"
#include "workbench/services/user_folders.h"

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <list>
#include <mutex>
#include <optional>

namespace tonvale::workbench {

namespace {

namespace fs = std::filesystem;

constexpr size_t largestFile = 1 << 20;

std::string_view trimmed(std::string_view text) {
    const auto isBlank = [](char c) { return c == ' ' || c == '\t' || c == '\r'; };
    while (!text.empty() && isBlank(text.front()))
        text.remove_prefix(1);
    while (!text.empty() && isBlank(text.back()))
        text.remove_suffix(1);
    return text;
}

/// Takes a text in quotes off the front of `rest`.
std::optional<std::string> takeQuoted(std::string_view &rest) {
    if (!rest.starts_with('"'))
        return std::nullopt;
    std::string text;
    for (size_t i = 1; i < rest.size(); ++i) {
        char c = rest[i];
        if (c == '"') {
            rest.remove_prefix(i + 1);
            return text;
        }
        if (c == '\\' && ++i < rest.size())
            c = rest[i] == 'n' ? '\n' : rest[i] == 'r' ? '\r' : rest[i];
        text += c;
    }
    return std::nullopt;
}

/// The conversions of a printf format, as in "%.2f%d". The percent sign itself is none.
std::string conversionsOf(std::string_view format) {
    std::string all;
    for (size_t i = 0; i < format.size(); ++i) {
        if (format[i] != '%')
            continue;
        const size_t end = format.find_first_not_of("+-# 0123456789.*hlLjzt", i + 1);
        if (end == std::string_view::npos)
            return all + "%";
        if (format[end] != '%')
            all += format.substr(i, end + 1 - i);
        i = end;
    }
    return all;
}

struct Entry {
    std::string text;
    std::string translated;
};

/// "text" = "translated". Otherwise what is wrong with it.
std::optional<Entry> readEntry(std::string_view line, const char *&problem) {
    std::string_view rest = line;
    auto text = takeQuoted(rest);
    rest = trimmed(rest);
    const bool hasSign = rest.starts_with('=');
    rest = trimmed(rest.substr(hasSign ? 1 : 0));
    auto translated = takeQuoted(rest);
    problem = "is no section, and no pair of texts in quotes with = between them";
    if (!text || !hasSign || !translated || !trimmed(rest).empty())
        return std::nullopt;
    problem = "has other % conversions than its original";
    if (conversionsOf(*text) != conversionsOf(*translated))
        return std::nullopt;
    return Entry{std::move(*text), std::move(*translated)};
}

/// tonvale for tonvale_DLG_101; empty for a section that is none of a dialog.
std::string_view sectionBehind(std::string_view section) {
    const size_t at = section.find("_DLG_");
    return at == std::string_view::npos ? std::string_view() : section.substr(0, at);
}

std::optional<std::string> readFile(const fs::path &path) {
    std::error_code error;
    if (path.empty() || !fs::is_regular_file(path, error) ||
        fs::file_size(path, error) > largestFile)
        return std::nullopt;
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return std::nullopt;
    return std::string(std::istreambuf_iterator<char>(in), {});
}

bool isName(const std::string &language) {
    return !language.empty() && language.size() <= 16 &&
           std::all_of(language.begin(), language.end(),
                       [](unsigned char c) { return std::isalnum(c) || c == '_' || c == '-'; });
}

std::optional<std::string> readLanguage(const std::string &nameOrPath) {
    if (!isName(nameOrPath))
        return readFile(filePath(nameOrPath));
    const fs::path file = fs::path("languages") / (nameOrPath + ".txt");
    for (const fs::path &folder : {configFolder(), programFolder()})
        if (auto text = folder.empty() ? std::nullopt : readFile(folder / file))
            return text;
    return std::nullopt;
}

/// Process-wide: the language on show, null for English, and all that ever were, since what they
/// gave out is kept. Written by the thread that chooses, read by any.
std::atomic<const Translation *> present{nullptr};
std::once_flag chosen;

bool choose(const std::string &nameOrPath) {
    if (nameOrPath == "en") {
        present = nullptr;
        return true;
    }
    const auto text = readLanguage(nameOrPath);
    if (!text)
        return false;
    static std::list<Translation> all;
    all.push_back(Translation::parse(*text, nullptr));
    present = &all.back();
    return true;
}

const Translation *presentTranslation() {
    std::call_once(chosen, [] {
        if (const char *language = std::getenv("TONVALE_LANGUAGE"))
            choose(language);
    });
    return present;
}

} // namespace

Translation Translation::parse(std::string_view file, std::vector<std::string> *problems) {
    Translation out;
    Texts *section = nullptr;
    if (file.starts_with("\xEF\xBB\xBF"))
        file.remove_prefix(3);
    for (size_t number = 1; !file.empty(); ++number) {
        const size_t length = std::min(file.find('\n'), file.size());
        const std::string_view line = trimmed(file.substr(0, length));
        file.remove_prefix(std::min(length + 1, file.size()));
        if (line.empty() || line.starts_with('#'))
            continue;
        if (line.size() > 2 && line.front() == '[' && line.back() == ']') {
            section = &out.sections[std::string(line.substr(1, line.size() - 2))];
            continue;
        }
        const char *problem = "stands before the first section";
        auto entry = section ? readEntry(line, problem) : std::nullopt;
        if (entry)
            (*section)[std::move(entry->text)] = std::move(entry->translated);
        else if (problems)
            problems->push_back("line " + std::to_string(number) + " " + problem);
    }
    return out;
}

const char *Translation::find(std::string_view section, std::string_view text) const {
    for (; !section.empty(); section = sectionBehind(section)) {
        const auto texts = sections.find(section);
        if (texts == sections.end())
            continue;
        const auto found = texts->second.find(text);
        if (found != texts->second.end())
            return found->second.c_str();
    }
    return nullptr;
}

size_t Translation::size() const {
    size_t count = 0;
    for (const auto &section : sections)
        count += section.second.size();
    return count;
}

bool chooseLanguage(const std::string &nameOrPath) {
    presentTranslation();
    return choose(nameOrPath);
}

bool isTranslating() {
    return presentTranslation() != nullptr;
}

const char *localise(const char *text, const char *section, int) {
    const Translation *translation = presentTranslation();
    if (!translation || !text || !section)
        return text;
    const char *found = translation->find(section, text);
    return found ? found : text;
}

} // namespace tonvale::workbench
