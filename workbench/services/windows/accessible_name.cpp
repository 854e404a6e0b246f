#include "text/wide_text.h"
#include "workbench/services/window_services.h"
#include "workbench/services/windows/accessible_object.h"

#include <windows.h>

#include <commctrl.h>
#include <memory>
#include <oleacc.h>

namespace tonvale::workbench {

namespace {

// Debian's import libraries have none of these.
constexpr GUID annotationClass{
    0xb5f8350b, 0x0548, 0x48b1, {0xa6, 0xee, 0x88, 0xbd, 0x00, 0xb4, 0xa5, 0xe7}};
constexpr GUID annotationInterface{
    0x6e26e776, 0x04f0, 0x495d, {0x80, 0xe4, 0x33, 0x30, 0x35, 0x2e, 0x31, 0x69}};
constexpr GUID nameProperty{
    0x608d3df8, 0x8128, 0x4aa7, {0xa4, 0x28, 0xf5, 0x5e, 0x49, 0x26, 0x72, 0x91}};

/// The system's service for names of other programs' controls; null where there is none, or where
/// the thread has not begun with COM.
IAccPropServices *annotations() {
    IAccPropServices *services = nullptr;
    const HRESULT made =
        CoCreateInstance(annotationClass, nullptr, CLSCTX_INPROC_SERVER, annotationInterface,
                         reinterpret_cast<void **>(&services));
    return SUCCEEDED(made) ? services : nullptr;
}

bool annotate(HWND window, const wchar_t *name) {
    IAccPropServices *services = annotations();
    if (!services)
        return false;
    const auto client = static_cast<DWORD>(OBJID_CLIENT);
    const HRESULT done =
        name ? services->SetHwndPropStr(window, client, CHILDID_SELF, nameProperty, name)
             : services->ClearHwndProps(window, client, CHILDID_SELF, &nameProperty, 1);
    services->Release();
    return SUCCEEDED(done);
}

// Where the service is missing, as on some systems that stand in for Windows, the control itself
// answers for its object.

constexpr UINT_PTR namingSubclass = 1;
constexpr wchar_t spokenProperty[] = L"TonvaleSpokenText";

const SpokenText *spokenOfNamed(HWND window) {
    return static_cast<const SpokenText *>(GetPropW(window, spokenProperty));
}

LRESULT CALLBACK namedProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam,
                                UINT_PTR id, DWORD_PTR spoken);

void unname(HWND window) {
    const std::unique_ptr<const SpokenText> spoken(spokenOfNamed(window));
    if (!spoken)
        return;
    RemovePropW(window, spokenProperty);
    RemoveWindowSubclass(window, namedProcedure, namingSubclass);
}

LRESULT CALLBACK namedProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam, UINT_PTR,
                                DWORD_PTR) {
    if (message == WM_NCDESTROY)
        unname(window);
    if (message == WM_GETOBJECT)
        if (const LRESULT answer = answerAccessibleObject(window, wParam, lParam, spokenOfNamed))
            return answer;
    return DefSubclassProc(window, message, wParam, lParam);
}

bool nameBySubclass(HWND window, const std::wstring &name) {
    auto spoken = std::make_unique<SpokenText>();
    spoken->name = name;
    unname(window);
    if (!SetPropW(window, spokenProperty, spoken.get()))
        return false;
    if (!SetWindowSubclass(window, namedProcedure, namingSubclass, 0)) {
        RemovePropW(window, spokenProperty);
        return false;
    }
    static_cast<void>(spoken.release());
    return true;
}

} // namespace

bool setAccessibleName(HWND window, const char *text, int) {
    if (!IsWindow(window))
        return false;
    bool isDone = false;
    if (text) {
        const std::wstring name = wideText(text);
        isDone = annotate(window, name.c_str()) || nameBySubclass(window, name);
    } else {
        unname(window);
        annotate(window, nullptr);
        isDone = true;
    }
    NotifyWinEvent(EVENT_OBJECT_NAMECHANGE, window, OBJID_CLIENT, CHILDID_SELF);
    return isDone;
}

} // namespace tonvale::workbench
