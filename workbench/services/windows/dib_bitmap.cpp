#include "workbench/services/window_services.h"

#include <memory>

namespace tonvale::workbench {

namespace {

constexpr int largestSide = 16384;
constexpr int setScaleCall = 8194;

/// Pixels that the system draws to as well.
class Surface {
  public:
    /// Null where it can't be made.
    static std::unique_ptr<Surface> create(int width, int height) {
        auto made = std::make_unique<Surface>();
        // Always some pixels of room at the end of a row, and whole groups of four.
        made->span = (width + 8) & ~3;
        BITMAPINFO info{};
        info.bmiHeader.biSize = sizeof info.bmiHeader;
        info.bmiHeader.biWidth = made->span;
        info.bmiHeader.biHeight = -(height + 1); // from the top down, and never empty
        info.bmiHeader.biPlanes = 1;
        info.bmiHeader.biBitCount = 32;
        info.bmiHeader.biCompression = BI_RGB;
        void *bits = nullptr;
        made->section = CreateDIBSection(nullptr, &info, DIB_RGB_COLORS, &bits, nullptr, 0);
        made->context = CreateCompatibleDC(nullptr);
        if (!made->section || !made->context)
            return nullptr;
        made->before = SelectObject(made->context, made->section);
        made->pixels = static_cast<uint32_t *>(bits);
        return made;
    }

    Surface() = default;
    ~Surface() {
        if (before)
            SelectObject(context, before);
        if (context)
            DeleteDC(context);
        if (section)
            DeleteObject(section);
    }
    Surface(const Surface &) = delete;
    Surface &operator=(const Surface &) = delete;

    uint32_t *pixels = nullptr;
    int span = 0;
    HDC context = nullptr;

  private:
    HBITMAP section = nullptr;
    HGDIOBJ before = nullptr;
};

class DibBitmap final : public HostBitmap {
  public:
    void destroy(int) override { delete this; }

    uint32_t *pixels() override {
        // What the system was asked to draw has to be there before anyone looks.
        GdiFlush();
        return surface->pixels;
    }
    int width() override { return columns; }
    int height() override { return rows; }
    int rowSpan() override { return surface->span; }
    int reserved() override { return 0; }
    void *deviceContext() override { return surface->context; }

    bool resize(int newWidth, int newHeight) override {
        if (newWidth < 0 || newHeight < 0 || newWidth > largestSide || newHeight > largestSide)
            return false;
        if (surface && newWidth == columns && newHeight == rows)
            return true;
        auto made = Surface::create(newWidth, newHeight);
        if (!made)
            return false;
        surface = std::move(made);
        columns = newWidth;
        rows = newHeight;
        return true;
    }

    /// The scale is kept for those who ask with a null scale: what is drawn here is drawn in
    /// pixels.
    int extended(int call, void *argument) override {
        if (call != setScaleCall)
            return 0;
        if (argument)
            scale = *static_cast<const int *>(argument);
        return scale;
    }

  private:
    std::unique_ptr<Surface> surface; ///< never null once it is handed out
    int columns = 0;
    int rows = 0;
    int scale = 256;
};

} // namespace

HostBitmap *createBitmap(int, int width, int height) {
    auto bitmap = std::make_unique<DibBitmap>();
    return bitmap->resize(width, height) ? bitmap.release() : nullptr;
}

} // namespace tonvale::workbench
