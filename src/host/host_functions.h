#pragma once

#include "host/host_objects.h"

#include "platform/window_types.h"
#include <cstdint>

struct AEffect;

namespace tonvale {

/// The host's callback, in the platform's C convention.
using HostCallback = intptr_t (*)(AEffect *effect, int32_t opcode, int32_t index, intptr_t value,
                                  void *ptr, float opt);

/// The functions that the host lends the plug-in, one pointer a name. Required ones are never null
/// once an instance exists; every other one is tested before use. The names are the host's own.
struct HostFunctions {
    bool (*SetWindowAccessibilityString)(HWND, const char *text, int zero);
    double (*DB2SLIDER)(double);
    double (*SLIDER2DB)(double);
    void (*resolve_fn2)(const char *path, char *out, int outSize, const char *subfolder);
    MediaSource *(*PCM_Source_CreateFromFile)(const char *path);
    ResamplerHandle *(*Resampler_Create)();
    const char *(*plugin_getFilterList)();
    int (*plugin_register)(const char *name, void *record);
    const char *(*get_ini_file)();
    bool (*IsMediaExtension)(const char *extension, int zero);
    MediaSink *(*PCM_Sink_Create)(const char *path, const void *format, int formatSize,
                                  int channels, int rate, int zero);
    int (*GetWindowDPIScaling)(HWND);
    HostBitmap *(*GLYX_CreateBitmap)(int one, int width, int height);
    void (*GLYX_LineInt)(HostBitmap *, int x1, int y1, int x2, int y2, uint32_t colour, float alpha,
                         int mode, bool antialias);
    void (*GLYX_FillRect)(HostBitmap *, int x, int y, int w, int h, uint32_t colour, float alpha,
                          int mode);
    /// In place on n complex points as interleaved doubles; no direction scales; n is a power of
    /// two from 32 to 32768; the order of bins is the host's own but the same both ways.
    void (*ZUB_fft_8)(double *points, int n, int inverse);
    void (*ZUB_fft_real_8)(double *values, int n, int inverse);
    const int *(*ZUB_fft_permute_tab)(int pairs);
    const char *(*__localizeFunc)(const char *text, const char *section, int flags);
    void (*__localizeInitializeDialog)(HWND, const char *section);
    DLGPROC(*__localizePrepareDialog)
    (const char *prefix, HINSTANCE, const char *resource, DLGPROC, LPARAM, void **block, int five);
};

/// Module-wide: written by loadHostFunctions before the first instance exists, read-only after.
extern HostFunctions hostFunctions;

/// Fetches every function through `callback`. Answers false, and changes nothing, when a required
/// one is missing.
bool loadHostFunctions(HostCallback callback);

/// The lengths that ZUB_fft_8 takes, in points.
constexpr int32_t smallestTransform = 32;
constexpr int32_t largestTransform = 32768;

/// The opcode and the two indices by which the host is asked for a function or a context.
constexpr int32_t hostLookupOpcode = static_cast<int32_t>(0xDEADBEEF);
constexpr int32_t hostLookupFunction = static_cast<int32_t>(0xDEADF00D);
constexpr int32_t hostLookupContext = static_cast<int32_t>(0xDEADF00E);

} // namespace tonvale
