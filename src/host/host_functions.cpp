#include "host/host_functions.h"

#include <cstddef>
#include <cstring>
#include <iterator>

namespace tonvale {

HostFunctions hostFunctions{};

namespace {

// Functions that this program never calls still have to be there: a host that lacks one is too old
// for the rest of its kind.
constexpr size_t notKept = static_cast<size_t>(-1);

struct HostFunctionRow {
    const char *name;
    bool required;
    size_t offset;
};

constexpr HostFunctionRow hostFunctionRows[] = {
    {"SetWindowAccessibilityString", false, offsetof(HostFunctions, SetWindowAccessibilityString)},
    {"DB2SLIDER", true, offsetof(HostFunctions, DB2SLIDER)},
    {"SLIDER2DB", true, offsetof(HostFunctions, SLIDER2DB)},
    {"resolve_fn2", false, offsetof(HostFunctions, resolve_fn2)},
    {"relative_fn", false, notKept},
    {"PCM_Source_CreateFromFile", true, offsetof(HostFunctions, PCM_Source_CreateFromFile)},
    {"Resampler_Create", false, offsetof(HostFunctions, Resampler_Create)},
    {"plugin_getFilterList", false, offsetof(HostFunctions, plugin_getFilterList)},
    {"plugin_register", false, offsetof(HostFunctions, plugin_register)},
    {"get_ini_file", false, offsetof(HostFunctions, get_ini_file)},
    {"IsMediaExtension", false, offsetof(HostFunctions, IsMediaExtension)},
    {"PCM_Sink_Create", false, offsetof(HostFunctions, PCM_Sink_Create)},
    {"GetWindowDPIScaling", false, offsetof(HostFunctions, GetWindowDPIScaling)},
    {"GLYX_CreateBitmap", true, offsetof(HostFunctions, GLYX_CreateBitmap)},
    {"GLYX_GetPixel", true, notKept},
    {"GLYX_PutPixel", true, notKept},
    {"GLYX_LineInt", true, offsetof(HostFunctions, GLYX_LineInt)},
    {"GLYX_Line", true, notKept},
    {"GLYX_ThickFLine", true, notKept},
    {"GLYX_Circle", true, notKept},
    {"GLYX_FillCircle", true, notKept},
    {"GLYX_FillRect", true, offsetof(HostFunctions, GLYX_FillRect)},
    {"GLYX_DrawRect", true, notKept},
    {"GLYX_BorderedRect", true, notKept},
    {"GLYX_Clear", true, notKept},
    {"GLYX_Blit", true, notKept},
    {"GLYX_RotatedBlit", true, notKept},
    {"GLYX_DrawGlyph", true, notKept},
    {"GLYX_CreateFont", true, notKept},
    {"GLYX_FillTriangle", true, notKept},
    {"GLYX_Arc", true, notKept},
    {"GLYX_FillTrapezoid", true, notKept},
    {"GLYX_FillConvexPolygon", true, notKept},
    {"GLYX_Copy", true, notKept},
    {"GLYX_ScaledBlit", true, notKept},
    {"GLYX_MeasureText", false, notKept},
    {"GLYX_DrawText", false, notKept},
    {"ZUB_fft_8", true, offsetof(HostFunctions, ZUB_fft_8)},
    {"ZUB_fft_real_8", false, offsetof(HostFunctions, ZUB_fft_real_8)},
    {"ZUB_fft_complexmul_8", true, notKept},
    {"ZUB_fft_complexmul2_8", true, notKept},
    {"ZUB_fft_complexmul3_8", true, notKept},
    {"ZUB_fft_permute_tab", false, offsetof(HostFunctions, ZUB_fft_permute_tab)},
    {"vac_createGroupsFromTab", false, notKept},
    {"__localizeFunc", false, offsetof(HostFunctions, __localizeFunc)},
    {"__localizeMenu", false, notKept},
    {"__localizeInitializeDialog", false, offsetof(HostFunctions, __localizeInitializeDialog)},
    {"__localizePrepareDialog", false, offsetof(HostFunctions, __localizePrepareDialog)},
};

/// The rows up to here are fetched, and tested, ahead of all others.
constexpr size_t firstGroup = 3;

intptr_t lookUp(HostCallback callback, const char *name) {
    return callback(nullptr, hostLookupOpcode, hostLookupFunction, 0, const_cast<char *>(name),
                    0.0f);
}

} // namespace

bool loadHostFunctions(HostCallback callback) {
    HostFunctions fetched{};
    bool complete = true;
    for (size_t i = 0; i < std::size(hostFunctionRows); ++i) {
        if (i == firstGroup && !complete)
            return false;
        const HostFunctionRow &row = hostFunctionRows[i];
        const intptr_t address = lookUp(callback, row.name);
        if (row.required && address == 0)
            complete = false;
        if (row.offset != notKept)
            std::memcpy(reinterpret_cast<char *>(&fetched) + row.offset, &address, sizeof address);
    }
    if (complete)
        hostFunctions = fetched;
    return complete;
}

} // namespace tonvale
