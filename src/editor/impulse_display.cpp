#include "editor/impulse_display.h"

#include "chain/decibels.h"
#include "convolution/containers/bounded_integer.h"
#include "core/reverb_plugin.h"
#include "editor/response_picture.h"
#include "host/host_functions.h"
#include "host/localized_text.h"
#include "text/drawn_text.h"

#include <cstdio>
#include <exception>
#include <limits>

namespace tonvale {

namespace {

constexpr wchar_t className[] = L"ImpDisp";

constexpr int fullScale = 256; ///< 100 % in the host's measure
constexpr int bitmapSetScale = 8194;
constexpr int fontHeight = 14; ///< pixels at 100 %
constexpr uint32_t black = 0x000000;
constexpr COLORREF textColour = RGB(0xC0, 0xC0, 0xC0);
constexpr COLORREF shadowColour = RGB(0, 0, 0);

/// Module-wide: kept from paint to paint. User interface thread.
SpectrumScratch spectrumScratch;

class PaintScope {
  public:
    explicit PaintScope(HWND ownWindow)
        : window(ownWindow)
        , context(BeginPaint(window, &paint)) {}
    ~PaintScope() { EndPaint(window, &paint); }
    PaintScope(const PaintScope &) = delete;
    PaintScope &operator=(const PaintScope &) = delete;

    void copyFrom(HDC source) const {
        const RECT &part = paint.rcPaint;
        BitBlt(context, part.left, part.top, part.right - part.left, part.bottom - part.top, source,
               part.left, part.top, SRCCOPY);
    }

  private:
    HWND window;
    PAINTSTRUCT paint{};
    HDC context;
};

/// While it lives a font, which it owns, is that of a device context.
class FontScope {
  public:
    FontScope(HDC onContext, HFONT ownFont)
        : context(onContext)
        , font(ownFont)
        , before(SelectObject(context, font)) {}
    ~FontScope() {
        SelectObject(context, before);
        DeleteObject(font);
    }
    FontScope(const FontScope &) = delete;
    FontScope &operator=(const FontScope &) = delete;

  private:
    HDC context;
    HFONT font;
    HGDIOBJ before;
};

ReverbPlugin *pluginOf(HWND window) {
    return reinterpret_cast<ReverbPlugin *>(GetWindowLongPtrW(GetParent(window), GWLP_USERDATA));
}

/// The bitmap that all is drawn to, which stays from paint to paint; null where the host has none.
HostBitmap *preparedBitmap(ReverbPlugin &plugin, const RECT &client) {
    auto &bitmap = plugin.editor.displayBitmap;
    if (!bitmap && hostFunctions.GLYX_CreateBitmap)
        bitmap.reset(hostFunctions.GLYX_CreateBitmap(1, client.right, client.bottom));
    return bitmap.get();
}

int windowScale(HWND window, HostBitmap &bitmap) {
    if (!hostFunctions.GetWindowDPIScaling)
        return fullScale;
    int scale = hostFunctions.GetWindowDPIScaling(window);
    bitmap.extended(bitmapSetScale, &scale);
    return scale;
}

void drawBands(const ImpulseBuffer &response, HostBitmap &bitmap, const RECT &client) {
    if (bitmap.width() < client.right || bitmap.height() < client.bottom)
        return;
    if (uint32_t *pixels = bitmap.pixels())
        drawSpectra(response, {pixels, client.right, client.bottom, bitmap.rowSpan()},
                    spectrumScratch);
}

void drawStatus(const ImpulseBuffer &response, HDC context, RECT place, int scale) {
    const double length = shownLength(response);
    const int32_t kilohertz = boundedInteger((response.sampleRate + 0.5) / 1000.0, 0,
                                             std::numeric_limits<int32_t>::max());
    char text[512];
    std::snprintf(text, sizeof text,
                  localizedText("%.2fs %dkHz %dch max: %.1fdB", "tonvale", localizeFormat),
                  length / response.sampleRate, kilohertz, response.getNumChannels(),
                  factorToDecibels(responsePeak(response)));

    const FontScope font(context, makeFont(scale * fontHeight / fullScale, "Arial"));
    SetBkMode(context, TRANSPARENT);
    place.right -= 1;
    place.top += 5;
    SetTextColor(context, shadowColour);
    drawText(context, text, place, DT_RIGHT | DT_SINGLELINE);
    place.right -= 1;
    place.top -= 1;
    SetTextColor(context, textColour);
    drawText(context, text, place, DT_RIGHT | DT_SINGLELINE);
}

void draw(ReverbPlugin &plugin, HostBitmap &bitmap, const RECT &client, int scale) {
    const ImpulseBuffer &response = plugin.impulse;
    const DrawLine line = [&bitmap](int32_t x1, int32_t y1, int32_t x2, int32_t y2,
                                    uint32_t colour) {
        hostFunctions.GLYX_LineInt(&bitmap, x1, y1, x2, y2, colour, 1.0f, 0, false);
    };
    hostFunctions.GLYX_FillRect(&bitmap, 0, 0, client.right, client.bottom, black, 1.0f, 0);
    drawBands(response, bitmap, client);
    drawWaveforms(response, client.right, client.bottom, line);
    drawStatus(response, static_cast<HDC>(bitmap.deviceContext()), client, scale);
    drawDelayLine(response, plugin.preverbSamples, client.right, client.bottom, line);
}

void paint(HWND window) {
    RECT client{};
    GetClientRect(window, &client);
    const PaintScope painting(window);
    ReverbPlugin *plugin = pluginOf(window);
    if (!plugin)
        return;
    CriticalScope rebuildScope(plugin->rebuildLock);
    HostBitmap *bitmap = preparedBitmap(*plugin, client);
    if (!bitmap)
        return;
    const int scale = windowScale(window, *bitmap);
    bitmap->resize(client.right, client.bottom);
    draw(*plugin, *bitmap, client, scale);
    painting.copyFrom(static_cast<HDC>(bitmap->deviceContext()));
}

LRESULT handle(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    switch (message) {
    case WM_PAINT:
        paint(window);
        return 0;
    case WM_SIZE:
        InvalidateRect(window, nullptr, FALSE);
        return 0;
    case WM_ERASEBKGND:
    case WM_MOUSEMOVE:
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
    case WM_RBUTTONDOWN:
    case WM_RBUTTONUP:
        return 0;
    default:
        return DefWindowProcW(window, message, wParam, lParam);
    }
}

LRESULT CALLBACK windowProcedure(HWND window, UINT message, WPARAM wParam, LPARAM lParam) {
    try {
        return handle(window, message, wParam, lParam);
    } catch (const std::exception &) {
        // A picture that memory didn't suffice for; the next one may come out.
        return 0;
    }
}

} // namespace

void registerImpulseDisplay(HINSTANCE module) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = windowProcedure;
    windowClass.hInstance = module;
    windowClass.hCursor = LoadCursorW(nullptr, reinterpret_cast<LPCWSTR>(IDC_ARROW));
    windowClass.lpszClassName = className;
    RegisterClassW(&windowClass);
}

void unregisterImpulseDisplay(HINSTANCE module) {
    UnregisterClassW(className, module);
}

} // namespace tonvale
