#include "workbench/window/picture_file.h"

#include "text/wide_text.h"
#include "workbench/window/problem.h"

// The drawing library's headers need what the leaner ones leave out, and names without a prefix.
#include <algorithm>
#include <objidl.h>
using std::max;
using std::min;
#include <gdiplus.h>

namespace tonvale::workbench {

namespace {

constexpr CLSID pngEncoder{
    0x557cf406, 0x1a04, 0x11d3, {0x9a, 0x73, 0x00, 0x00, 0xf8, 0x1e, 0xf3, 0x2e}};

/// The pixels of a window on the screen; the caller's.
HBITMAP capture(HWND window) {
    RedrawWindow(window, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
    RECT area{};
    GetClientRect(window, &area);
    const HDC source = GetDC(window);
    const HDC target = CreateCompatibleDC(source);
    const HBITMAP bitmap = CreateCompatibleBitmap(source, area.right, area.bottom);
    const HGDIOBJ before = SelectObject(target, bitmap);
    BitBlt(target, 0, 0, area.right, area.bottom, source, 0, 0, SRCCOPY);
    SelectObject(target, before);
    DeleteDC(target);
    ReleaseDC(window, source);
    return bitmap;
}

bool save(HBITMAP bitmap, const std::wstring &file) {
    using namespace Gdiplus;
    const GdiplusStartupInput input;
    ULONG_PTR token = 0;
    if (GdiplusStartup(&token, &input, nullptr) != Ok)
        return false;
    bool isSaved = false;
    {
        Bitmap image(bitmap, nullptr);
        isSaved = image.Save(file.c_str(), &pngEncoder, nullptr) == Ok;
    }
    GdiplusShutdown(token);
    return isSaved;
}

} // namespace

void writePicture(HWND window, const std::string &file) {
    const HBITMAP bitmap = capture(window);
    const bool isSaved = bitmap && save(bitmap, wideText(file));
    DeleteObject(bitmap);
    if (!isSaved)
        throw Problem(file + ": the picture can't be written");
}

} // namespace tonvale::workbench
