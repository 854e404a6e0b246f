#include "workbench/services/drawing.h"
#include "workbench/services/fader_law.h"
#include "workbench/services/host.h"
#include "workbench/services/media.h"
#include "workbench/services/media_types.h"
#include "workbench/services/path_resolver.h"
#include "workbench/services/project_registry.h"
#include "workbench/services/resampler.h"
#include "workbench/services/settings_file.h"
#include "workbench/services/transforms.h"
#include "workbench/services/translation.h"
#include "workbench/services/window_services.h"

#include <algorithm>
#include <iterator>
#include <string_view>
#include <type_traits>

namespace tonvale::workbench {

namespace {

/// Stands for every function that a plug-in only looks for.
void notCalled() {}

struct FunctionRow {
    std::string_view name;
    intptr_t address;
};

/// A row whose function has the shape by which plug-ins call the name.
template <class Function>
FunctionRow row(std::string_view name, Function *HostFunctions::*,
                std::type_identity_t<Function *> function) {
    return {name, reinterpret_cast<intptr_t>(function)};
}

FunctionRow idleRow(std::string_view name) {
    return {name, reinterpret_cast<intptr_t>(&notCalled)};
}

const FunctionRow *findRow(std::string_view name) {
    using F = HostFunctions;
    static const FunctionRow rows[] = {
        row("SetWindowAccessibilityString", &F::SetWindowAccessibilityString, setAccessibleName),
        row("DB2SLIDER", &F::DB2SLIDER, decibelsToPosition),
        row("SLIDER2DB", &F::SLIDER2DB, positionToDecibels),
        row("resolve_fn2", &F::resolve_fn2, resolvePath),
        idleRow("relative_fn"),
        row("PCM_Source_CreateFromFile", &F::PCM_Source_CreateFromFile, createMediaSource),
        row("Resampler_Create", &F::Resampler_Create, createResampler),
        row("plugin_getFilterList", &F::plugin_getFilterList, mediaFilterList),
        row("plugin_register", &F::plugin_register, pluginRegister),
        row("get_ini_file", &F::get_ini_file, settingsFile),
        row("IsMediaExtension", &F::IsMediaExtension, isMediaExtension),
        row("PCM_Sink_Create", &F::PCM_Sink_Create, createMediaSink),
        row("GetWindowDPIScaling", &F::GetWindowDPIScaling, displayScale),
        row("GLYX_CreateBitmap", &F::GLYX_CreateBitmap, createBitmap),
        row("GLYX_LineInt", &F::GLYX_LineInt, drawLine),
        row("GLYX_FillRect", &F::GLYX_FillRect, fillRect),
        idleRow("GLYX_GetPixel"),
        idleRow("GLYX_PutPixel"),
        idleRow("GLYX_Line"),
        idleRow("GLYX_ThickFLine"),
        idleRow("GLYX_Circle"),
        idleRow("GLYX_FillCircle"),
        idleRow("GLYX_DrawRect"),
        idleRow("GLYX_BorderedRect"),
        idleRow("GLYX_Clear"),
        idleRow("GLYX_Blit"),
        idleRow("GLYX_RotatedBlit"),
        idleRow("GLYX_DrawGlyph"),
        idleRow("GLYX_CreateFont"),
        idleRow("GLYX_FillTriangle"),
        idleRow("GLYX_Arc"),
        idleRow("GLYX_FillTrapezoid"),
        idleRow("GLYX_FillConvexPolygon"),
        idleRow("GLYX_Copy"),
        idleRow("GLYX_ScaledBlit"),
        idleRow("GLYX_MeasureText"),
        idleRow("GLYX_DrawText"),
        row("ZUB_fft_8", &F::ZUB_fft_8, fft),
        row("ZUB_fft_real_8", &F::ZUB_fft_real_8, fftReal),
        idleRow("ZUB_fft_complexmul_8"),
        idleRow("ZUB_fft_complexmul2_8"),
        idleRow("ZUB_fft_complexmul3_8"),
        row("ZUB_fft_permute_tab", &F::ZUB_fft_permute_tab, fftPermutation),
        idleRow("vac_createGroupsFromTab"),
        row("__localizeFunc", &F::__localizeFunc, localise),
        idleRow("__localizeMenu"),
        row("__localizeInitializeDialog", &F::__localizeInitializeDialog, initialiseDialog),
        row("__localizePrepareDialog", &F::__localizePrepareDialog, prepareDialog),
    };
    const auto *found = std::find_if(std::begin(rows), std::end(rows),
                                     [&](const FunctionRow &entry) { return entry.name == name; });
    return found == std::end(rows) ? nullptr : found;
}

} // namespace

intptr_t hostFunction(const char *name) {
    if (!name)
        return 0;
    const FunctionRow *found = findRow(name);
    if (!found)
        return 0;
    prepareWindows();
    if (found->name.starts_with("ZUB_fft"))
        prepareTransforms();
    return found->address;
}

} // namespace tonvale::workbench
