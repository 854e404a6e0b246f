#include "workbench/window/editor_effect.h"

#include "host/host_functions.h"
#include "host/vendor_protocol.h"
#include "text/file_path.h"
#include "workbench/services/host.h"
#include "workbench/services/program_folder.h"
#include "workbench/window/problem.h"

#include <fstream>
#include <iterator>

namespace tonvale::workbench {

namespace {

constexpr float sampleRate = 48000.0f;
constexpr size_t largestState = size_t{16} << 20;

using EntryPoint = AEffect *(*)(HostCallback);

EntryPoint pluginEntry() {
    const auto path = programFolder() / "tonvale.dll";
    const HMODULE module = LoadLibraryW(path.c_str());
    if (!module)
        throw Problem(pathText(path) + " can't be loaded");
    const auto entry = reinterpret_cast<EntryPoint>(
        reinterpret_cast<void *>(GetProcAddress(module, "VSTPluginMain")));
    if (!entry)
        throw Problem(pathText(path) + " is no plug-in: it has no VSTPluginMain");
    return entry;
}

} // namespace

EditorEffect::EditorEffect()
    : effect(pluginEntry()(hostCallback)) {
    if (!effect)
        throw Problem("the plug-in refuses to run in this host");
    call(effOpen);
    call(effSetSampleRate, 0, 0, nullptr, sampleRate);
    call(effMainsChanged, 0, 1);
}

EditorEffect::~EditorEffect() {
    call(effClose);
}

intptr_t EditorEffect::call(int32_t opcode, int32_t index, intptr_t value, void *ptr, float opt) {
    return effect->dispatcher(effect, opcode, index, value, ptr, opt);
}

void EditorEffect::addStage(const std::string &line) {
    std::string item = "ITEM" + std::to_string(stageCount);
    std::string text = line;
    if (call(effVendorSpecific, vendorChangeChain, reinterpret_cast<intptr_t>(item.data()),
             text.data()) != vendorChainAnswer)
        throw Problem("the plug-in takes no stage '" + line + "'");
    ++stageCount;
}

void EditorEffect::finishStages() {
    char done[] = "DONE", unused[] = "";
    call(effVendorSpecific, vendorChangeChain, reinterpret_cast<intptr_t>(done), unused);
}

void EditorEffect::loadState(const std::string &file) {
    std::ifstream in(filePath(file), std::ios::binary);
    std::vector<char> state(largestState + 1);
    in.read(state.data(), static_cast<std::streamsize>(state.size()));
    state.resize(static_cast<size_t>(in.gcount()));
    if (state.empty() || state.size() > largestState)
        throw Problem(file + ": no state that can be read");
    call(effSetChunk, 0, static_cast<intptr_t>(state.size()), state.data());
}

void EditorEffect::openEditor(HWND window) {
    if (!call(effEditOpen, 0, 0, window))
        throw Problem("the plug-in has no editor");
}

void EditorEffect::closeEditor() {
    call(effEditClose);
}

void EditorEffect::answerIdleRequest() {
    if (takeIdleRequest(effect))
        call(effIdle);
}

} // namespace tonvale::workbench
