#include "workbench/services/windows/accessible_object.h"

#include <atomic>
#include <new>
#include <oleacc.h>

namespace tonvale::workbench {

namespace {

bool isSelf(const VARIANT &child) {
    return child.vt == VT_I4 && child.lVal == CHILDID_SELF;
}

// The system's interfaces have no virtual destructor: an object ends with its last reference.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

/// The system's own object of a window, but for what is spoken of the window itself.
class SpeakingObject final : public IAccessible {
  public:
    /// Takes over one reference to `standard`.
    SpeakingObject(HWND ownWindow, IAccessible *standard, SpokenTextOf ownSpokenOf)
        : window(ownWindow)
        , system(standard)
        , spokenOf(ownSpokenOf) {}
    SpeakingObject(const SpeakingObject &) = delete;
    SpeakingObject &operator=(const SpeakingObject &) = delete;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID id, void **out) override {
        if (!out)
            return E_POINTER;
        const bool isOurs =
            id == __uuidof(IUnknown) || id == __uuidof(IDispatch) || id == __uuidof(IAccessible);
        *out = isOurs ? this : nullptr;
        if (!isOurs)
            return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --references;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE get_accName(VARIANT child, BSTR *out) override {
        return speak(child, &SpokenText::name, out) ? S_OK : system->get_accName(child, out);
    }
    HRESULT STDMETHODCALLTYPE get_accValue(VARIANT child, BSTR *out) override {
        return speak(child, &SpokenText::value, out) ? S_OK : system->get_accValue(child, out);
    }
    HRESULT STDMETHODCALLTYPE get_accRole(VARIANT child, VARIANT *out) override {
        const SpokenText *spoken = isSelf(child) ? spokenOf(window) : nullptr;
        if (!out || !spoken || spoken->role == 0)
            return system->get_accRole(child, out);
        out->vt = VT_I4;
        out->lVal = spoken->role;
        return S_OK;
    }

    // All else is the system's.
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT *count) override {
        return system->GetTypeInfoCount(count);
    }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID locale, ITypeInfo **out) override {
        return system->GetTypeInfo(index, locale, out);
    }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID id, LPOLESTR *names, UINT count, LCID locale,
                                            DISPID *out) override {
        return system->GetIDsOfNames(id, names, count, locale, out);
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID member, REFIID id, LCID locale, WORD flags,
                                     DISPPARAMS *arguments, VARIANT *result, EXCEPINFO *exception,
                                     UINT *wrong) override {
        return system->Invoke(member, id, locale, flags, arguments, result, exception, wrong);
    }
    HRESULT STDMETHODCALLTYPE get_accParent(IDispatch **out) override {
        return system->get_accParent(out);
    }
    HRESULT STDMETHODCALLTYPE get_accChildCount(LONG *out) override {
        return system->get_accChildCount(out);
    }
    HRESULT STDMETHODCALLTYPE get_accChild(VARIANT child, IDispatch **out) override {
        return system->get_accChild(child, out);
    }
    HRESULT STDMETHODCALLTYPE get_accDescription(VARIANT child, BSTR *out) override {
        return system->get_accDescription(child, out);
    }
    HRESULT STDMETHODCALLTYPE get_accState(VARIANT child, VARIANT *out) override {
        return system->get_accState(child, out);
    }
    HRESULT STDMETHODCALLTYPE get_accHelp(VARIANT child, BSTR *out) override {
        return system->get_accHelp(child, out);
    }
    HRESULT STDMETHODCALLTYPE get_accHelpTopic(BSTR *file, VARIANT child, LONG *out) override {
        return system->get_accHelpTopic(file, child, out);
    }
    HRESULT STDMETHODCALLTYPE get_accKeyboardShortcut(VARIANT child, BSTR *out) override {
        return system->get_accKeyboardShortcut(child, out);
    }
    HRESULT STDMETHODCALLTYPE get_accFocus(VARIANT *out) override {
        return system->get_accFocus(out);
    }
    HRESULT STDMETHODCALLTYPE get_accSelection(VARIANT *out) override {
        return system->get_accSelection(out);
    }
    HRESULT STDMETHODCALLTYPE get_accDefaultAction(VARIANT child, BSTR *out) override {
        return system->get_accDefaultAction(child, out);
    }
    HRESULT STDMETHODCALLTYPE accSelect(LONG flags, VARIANT child) override {
        return system->accSelect(flags, child);
    }
    HRESULT STDMETHODCALLTYPE accLocation(LONG *left, LONG *top, LONG *width, LONG *height,
                                          VARIANT child) override {
        return system->accLocation(left, top, width, height, child);
    }
    HRESULT STDMETHODCALLTYPE accNavigate(LONG direction, VARIANT start, VARIANT *out) override {
        return system->accNavigate(direction, start, out);
    }
    HRESULT STDMETHODCALLTYPE accHitTest(LONG x, LONG y, VARIANT *out) override {
        return system->accHitTest(x, y, out);
    }
    HRESULT STDMETHODCALLTYPE accDoDefaultAction(VARIANT child) override {
        return system->accDoDefaultAction(child);
    }
    HRESULT STDMETHODCALLTYPE put_accName(VARIANT child, BSTR text) override {
        return system->put_accName(child, text);
    }
    HRESULT STDMETHODCALLTYPE put_accValue(VARIANT child, BSTR text) override {
        return system->put_accValue(child, text);
    }

  private:
    ~SpeakingObject() { system->Release(); }

    bool speak(const VARIANT &child, std::wstring SpokenText::*part, BSTR *out) const {
        const SpokenText *spoken = isSelf(child) ? spokenOf(window) : nullptr;
        if (!out || !spoken || (spoken->*part).empty())
            return false;
        *out = SysAllocString((spoken->*part).c_str());
        return *out != nullptr;
    }

    std::atomic<ULONG> references{1};
    HWND window;
    IAccessible *system;
    SpokenTextOf spokenOf;
};

#pragma GCC diagnostic pop

} // namespace

LRESULT answerAccessibleObject(HWND window, WPARAM wParam, LPARAM lParam, SpokenTextOf spokenOf) {
    if (static_cast<LONG>(lParam) != static_cast<LONG>(OBJID_CLIENT) || !spokenOf(window))
        return 0;
    IAccessible *standard = nullptr;
    if (FAILED(CreateStdAccessibleObject(window, static_cast<LONG>(OBJID_CLIENT),
                                         __uuidof(IAccessible),
                                         reinterpret_cast<void **>(&standard))))
        return 0;
    auto *object = new (std::nothrow) SpeakingObject(window, standard, spokenOf);
    if (!object) {
        standard->Release();
        return 0;
    }
    const LRESULT answer = LresultFromObject(__uuidof(IAccessible), wParam, object);
    object->Release();
    return answer;
}

} // namespace tonvale::workbench
