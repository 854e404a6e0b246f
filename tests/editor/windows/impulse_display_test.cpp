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

    /// 0xRRGGBB, row by row.
    static std::vector<uint32_t> pixelsOf(HDC context, int width, int height) {
        HostObjectPtr<HostBitmap> copy(hostFunctions.GLYX_CreateBitmap(1, width, height));
        BitBlt(static_cast<HDC>(copy->deviceContext()), 0, 0, width, height, context, 0, 0,
               SRCCOPY);
        std::vector<uint32_t> out;
        for (int y = 0; y < height; ++y)
            for (int x = 0; x < width; ++x)
                out.push_back(copy->pixels()[y * copy->rowSpan() + x] & 0xFFFFFF);
        return out;
    }

    std::vector<uint32_t> shown(int width, int height) const {
        const HDC context = GetDC(display);
        auto out = pixelsOf(context, width, height);
        ReleaseDC(display, context);
        return out;
    }

    EffectDriver driver;
    ReverbPlugin &plugin;
    HWND parent;
    HWND display;
};

/// The text as a shadow and, a pixel above and before it, in grey.
void drawModelText(HDC context, const char *text, int width, int height) {
    const HFONT font = CreateFontA(14, 0, 0, 0, 400, 0, 0, 0, 0, 0, 0, 0, 0, "Arial");
    const HGDIOBJ before = SelectObject(context, font);
    SetBkMode(context, TRANSPARENT);
    RECT shadow{0, 5, width - 1, height}, grey{0, 4, width - 2, height};
    SetTextColor(context, 0x000000);
    DrawTextA(context, text, -1, &shadow, DT_RIGHT | DT_SINGLELINE);
    SetTextColor(context, 0xC0C0C0);
    DrawTextA(context, text, -1, &grey, DT_RIGHT | DT_SINGLELINE);
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
    struct Case {
        int32_t length;
        size_t channels;
        int32_t width, height;
        double rate;
        const char *text;
    };
    constexpr Case cases[] = {
        {100, 1, 220, 90, 88200.0, "0.00s 88kHz 1ch max: -6.0dB"},
        {12000, 3, 260, 121, 48000.0, "0.25s 48kHz 3ch max: -6.0dB"},
    };
    for (const Case &shape : cases) {
        Channels channels(shape.channels, roomNoise(static_cast<size_t>(shape.length), 31));
        for (auto &channel : channels)
            for (double &sample : channel)
                sample = std::clamp(sample * 2.0, -0.5, 0.5);
        channels.back()[5] = -0.5;
        take(channels, shape.rate);
        plugin.preverbSamples = shape.length / 2;
        MoveWindow(display, 0, 0, shape.width, shape.height, TRUE);
        UpdateWindow(display);

        Canvas canvas = modelPicture(channels, shape.width, shape.height);
        HostObjectPtr<HostBitmap> model(
            hostFunctions.GLYX_CreateBitmap(1, shape.width, shape.height));
        for (int y = 0; y < shape.height; ++y)
            for (int x = 0; x < shape.width; ++x)
                model->pixels()[y * model->rowSpan() + x] =
                    canvas.at(x, y) == untouched ? 0 : canvas.at(x, y);
        const auto context = static_cast<HDC>(model->deviceContext());
        drawModelText(context, shape.text, shape.width, shape.height);
        auto expected = pixelsOf(context, shape.width, shape.height);
        for (int y = 0; y < shape.height; ++y)
            expected[static_cast<size_t>(y * shape.width + shape.width / 2)] = 0xFFFF00;
        EXPECT_EQ(shown(shape.width, shape.height), expected) << shape.text;
    }
    SetWindowLongPtrW(parent, GWLP_USERDATA, 0);
    const auto before = shown(100, 60);
    take({noise(500, 1)}, 44100.0);
    paintNow();
    EXPECT_EQ(shown(100, 60), before) << "without an instance nothing is drawn";
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
