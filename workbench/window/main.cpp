#include "text/wide_text.h"
#include "workbench/services/translation.h"
#include "workbench/window/editor_effect.h"
#include "workbench/window/editor_window.h"
#include "workbench/window/options.h"
#include "workbench/window/problem.h"

#include <cstdio>
#include <exception>
#include <shellapi.h>
#include <windows.h>

#include <objbase.h>

namespace {

using namespace tonvale;
using namespace tonvale::workbench;

constexpr int failed = 1;
constexpr int wrongUsage = 2;

std::vector<std::string> programWords() {
    int count = 0;
    wchar_t **words = CommandLineToArgvW(GetCommandLineW(), &count);
    std::vector<std::string> out;
    for (int i = 1; words && i < count; ++i)
        out.push_back(utf8Text(words[i]));
    LocalFree(words);
    return out;
}

void showEditor(const WindowOptions &options) {
    if (!options.language.empty() && !chooseLanguage(options.language))
        throw Problem("there is no language file for '" + options.language + "'");
    EditorEffect effect;
    if (!options.stateFile.empty())
        effect.loadState(options.stateFile);
    for (const std::string &line : options.stages)
        effect.addStage(line);
    if (!options.stages.empty())
        effect.finishStages();
    runEditorWindow(effect, options);
}

int complain(const std::exception &problem, int status) {
    std::fprintf(stderr, "tonvale-editor: %s\n", problem.what());
    return status;
}

} // namespace

int main() {
    // The system scales no window of this program: the editor is drawn for the screen as it is.
    SetProcessDPIAware();
    const HRESULT com = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    int status = 0;
    try {
        const WindowOptions options = readOptions(programWords());
        if (options.wantsHelp)
            std::fputs(optionsHelp(), stdout);
        else
            showEditor(options);
    } catch (const WrongUsage &problem) {
        status = complain(problem, wrongUsage);
    } catch (const std::exception &problem) {
        status = complain(problem, failed);
    }
    if (SUCCEEDED(com))
        CoUninitialize();
    return status;
}
