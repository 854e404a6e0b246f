#include "text/file_chooser.h"

#include "text/wide_text.h"

#include <algorithm>
#include <cderr.h>
#include <cstring>

namespace tonvale {

namespace {

/// A list of texts with their terminators, up to the empty one at its end.
std::wstring wideList(const char *list) {
    if (!list)
        return {};
    const char *end = list;
    while (*end)
        end += std::strlen(end) + 1;
    return wideText({list, end});
}

const wchar_t *orNull(const std::wstring &text) {
    return text.empty() ? nullptr : text.c_str();
}

using Show = BOOL(WINAPI *)(OPENFILENAMEW *);

/// The wide texts of one call, and the record that points to them.
class ChooserCall {
  public:
    explicit ChooserCall(const FileChooser &chooser)
        : title(wideText(chooser.title))
        , filters(wideList(chooser.filters))
        , folder(wideText(chooser.folder))
        , extension(wideText(chooser.extension))
        , path(wideText(chooser.path)) {
        path.resize(chooser.longestPath + 1); // cuts an offered path that is longer
        path.back() = 0;
        record.lStructSize = sizeof record;
        record.hwndOwner = chooser.owner;
        record.hInstance = chooser.module;
        record.lpstrFilter = orNull(filters);
        record.lpstrFile = path.data();
        record.nMaxFile = static_cast<DWORD>(path.size());
        record.lpstrInitialDir = orNull(folder);
        record.lpstrTitle = orNull(title);
        record.Flags = chooser.flags;
        record.lpstrDefExt = orNull(extension);
        record.lCustData = chooser.hookParameter;
        record.lpfnHook = chooser.hook;
        record.lpTemplateName = MAKEINTRESOURCEW(chooser.templateId);
    }
    ChooserCall(const ChooserCall &) = delete;
    ChooserCall &operator=(const ChooserCall &) = delete;

    bool run(Show show) {
        if (show(&record))
            return true;
        if (CommDlgExtendedError() != FNERR_INVALIDFILENAME)
            return false;
        std::fill(path.begin(), path.end(), 0);
        return show(&record);
    }

    std::string chosen() const { return utf8Text(path.c_str()); }

  private:
    std::wstring title, filters, folder, extension, path;
    OPENFILENAMEW record{};
};

std::optional<std::string> choose(const FileChooser &chooser, Show show) {
    ChooserCall call(chooser);
    if (!call.run(show))
        return std::nullopt;
    return call.chosen();
}

} // namespace

std::optional<std::string> chooseFileToOpen(const FileChooser &chooser) {
    return choose(chooser, GetOpenFileNameW);
}

std::optional<std::string> chooseFileToSave(const FileChooser &chooser) {
    return choose(chooser, GetSaveFileNameW);
}

} // namespace tonvale
