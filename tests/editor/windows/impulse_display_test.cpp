#include "core/reverb_plugin.h"
#include "editor/picture_model.h"
#include "host/host_functions.h"
#include "host/host_object_ptr.h"
#include "test_host/effect_driver.h"

#include <gtest/gtest.h>

#include <windows.h>

#include <algorithm>
#include <cstdio>

namespace tonvale::test {

namespace {

/// A display in a window of its own, over an instance whose response a test writes.
class ImpulseDisplay : public testing::Test {
  protected:
    ImpulseDisplay()
        : plugin(*static_cast<ReverbPlugin *>(driver.effect->user)) {
        parent = CreateWindowExW(0, L"STATIC", L"", WS_POPUP | WS_VISIBLE, 0, 0, 1600, 500, nullptr,
                                 nullptr, nullptr, nullptr);
        SetWindowLongPtrW(parent, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&plugin));
        display = CreateWindowExW(0, L"ImpDisp", L"", WS_CHILD | WS_VISIBLE, 0, 0, 10, 10, parent,
                                  nullptr, nullptr, nullptr);
    }
    ~ImpulseDisplay() override { DestroyWindow(parent); }

    void take(const Channels &channels, double rate) {
        CriticalScope rebuildScope(plugin.rebuildLock);
        fillResponse(plugin.impulse, channels);
        plugin.impulse.sampleRate = rate;
    }

    void paintNow() const {
        InvalidateRect(display, nullptr, FALSE);
        UpdateWindow(display);
    }

    EffectDriver driver;
    ReverbPlugin &plugin;
    HWND parent;
    HWND display;
};

/// A picture in the host's bitmap, 0xRRGGBB.
struct Picture {
    Picture(int ownWidth, int ownHeight)
        : width(ownWidth)
        , height(ownHeight)
        , bitmap(hostFunctions.GLYX_CreateBitmap(1, width, height)) {}

    HDC context() const { return static_cast<HDC>(bitmap->deviceContext()); }
    uint32_t &at(int x, int y) const { return bitmap->pixels()[y * bitmap->rowSpan() + x]; }

    int width, height;
    HostObjectPtr<HostBitmap> bitmap;
};

Picture shownBy(HWND window, int width, int height) {
    Picture picture(width, height);
    const HDC context = GetDC(window);
    BitBlt(picture.context(), 0, 0, width, height, context, 0, 0, SRCCOPY);
    ReleaseDC(window, context);
    return picture;
}

int differences(const Picture &one, const Picture &other) {
    int count = 0;
    for (int y = 0; y < one.height; ++y)
        for (int x = 0; x < one.width; ++x)
            count += ((one.at(x, y) ^ other.at(x, y)) & 0xFFFFFF) != 0;
    return count;
}

/// The text as a shadow and, a pixel above and before it, in grey.
void drawModelText(const Picture &picture, const char *text) {
    const HDC context = picture.context();
    const HFONT font = CreateFontA(14, 0, 0, 0, 400, 0, 0, 0, 0, 0, 0, 0, 0, "Arial");
    const HGDIOBJ before = SelectObject(context, font);
    SetBkMode(context, TRANSPARENT);
    for (const auto &[less, colour] : {std::pair(0, 0x000000u), std::pair(1, 0xC0C0C0u)}) {
        RECT place{0, 5 - less, picture.width - 1 - less, picture.height};
        SetTextColor(context, colour);
        DrawTextA(context, text, -1, &place, DT_RIGHT | DT_SINGLELINE);
    }
    DeleteObject(SelectObject(context, before));
}

/// The time that this thread has had a processor for.
double workedMilliseconds() {
    FILETIME born, ended, kernel, user;
    GetThreadTimes(GetCurrentThread(), &born, &ended, &kernel, &user);
    const auto hundredNanoseconds = [](const FILETIME &time) {
        return static_cast<double>(time.dwHighDateTime) * 0x1p32 + time.dwLowDateTime;
    };
    return (hundredNanoseconds(kernel) + hundredNanoseconds(user)) / 10000.0;
}

} // namespace

TEST_F(ImpulseDisplay, ShowsTheModelsPictureWithTextAndDelay) {
    constexpr int width = 260, height = 121;
    constexpr int32_t length = 12000;
    Channels channels{roomNoise(length, 31), roomNoise(length, 32), roomNoise(length, 33)};
    for (auto &channel : channels)
        for (double &sample : channel)
            sample = std::clamp(sample, -0.5, 0.5);
    channels[1][5] = -0.5;
    take(channels, 88200.0);
    plugin.preverbSamples = length / 2;
    MoveWindow(display, 0, 0, width, height, TRUE);
    UpdateWindow(display);

    Canvas canvas = modelPicture(channels, width, height);
    const Picture model(width, height);
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            model.at(x, y) = canvas.at(x, y) == untouched ? 0 : canvas.at(x, y);
    drawModelText(model, "0.14s 88kHz 3ch max: -6.0dB");
    for (int y = 0; y < height; ++y)
        model.at(width / 2, y) = 0xFFFF00;
    EXPECT_EQ(differences(shownBy(display, width, height), model), 0);

    SetWindowLongPtrW(parent, GWLP_USERDATA, 0);
    const Picture before = shownBy(display, 100, 60);
    take({noise(500, 1)}, 44100.0);
    paintNow();
    EXPECT_EQ(differences(shownBy(display, 100, 60), before), 0) << "drawn without an instance";
}

TEST_F(ImpulseDisplay, PaintsTwentySecondsInStereoInUnderFiftyMilliseconds) {
    constexpr size_t length = 20 * 96000;
    take({roomNoise(length, 1), roomNoise(length, 2)}, 96000.0);
    MoveWindow(display, 0, 0, 1500, 400, FALSE);
    // What the thread works, since other programs take the processor for longer than a paint.
    constexpr int paints = 25;
    const double before = workedMilliseconds();
    for (int i = 0; i < paints; ++i)
        paintNow();
    const double each = (workedMilliseconds() - before) / paints;
    std::printf("20 s in stereo at 96 kHz on 1500 by 400 pixels: %.1f ms a paint\n", each);
    EXPECT_GT(each, 0.0);
    EXPECT_LT(each, 50.0);
}

} // namespace tonvale::test
