#include "workbench/services/windows/fader_shape.h"

#include <algorithm>
#include <cmath>

namespace tonvale::workbench {

namespace {

// Pixels at 100 %.
constexpr int knobLength = 11;
constexpr int grooveBreadth = 4;
constexpr int lineBreadth = 1;
constexpr int focusBreadth = 2;

void fill(HDC context, const RECT &area, int systemColour) {
    FillRect(context, &area, GetSysColorBrush(systemColour));
}

RECT shrunk(RECT area, int by) {
    InflateRect(&area, -by, -by);
    return area;
}

} // namespace

FaderShape::FaderShape(SIZE ownClient, bool vertical, int ownScale)
    : client(ownClient)
    , isVertical(vertical)
    , scale(ownScale) {}

int FaderShape::scaled(int pixels) const {
    return std::max(1, MulDiv(pixels, scale, 256));
}

int FaderShape::travel() const {
    return std::max(1, length() - scaled(knobLength));
}

int FaderShape::along(POINT mouse) const {
    return isVertical ? client.cy - 1 - mouse.y : mouse.x;
}

double FaderShape::positionAt(int place) const {
    return (place - scaled(knobLength) / 2) * static_cast<double>(faderEnd) / travel();
}

int FaderShape::middleOf(double position) const {
    return scaled(knobLength) / 2 + static_cast<int>(std::lround(position * travel() / faderEnd));
}

RECT FaderShape::placed(int from, int to, int crossFrom, int crossTo) const {
    if (isVertical)
        return {crossFrom, client.cy - to, crossTo, client.cy - from};
    return {from, crossFrom, to, crossTo};
}

RECT FaderShape::knob(double position) const {
    const int from = middleOf(position) - scaled(knobLength) / 2;
    return placed(from, from + scaled(knobLength), lineBreadth, breadth() - lineBreadth);
}

RECT FaderShape::groove() const {
    const int cross = (breadth() - scaled(grooveBreadth)) / 2, end = scaled(knobLength) / 2;
    return placed(end, length() - end, cross, cross + scaled(grooveBreadth));
}

RECT FaderShape::filled(double position) const {
    const int cross = (breadth() - scaled(grooveBreadth)) / 2;
    return placed(scaled(knobLength) / 2, middleOf(position), cross, cross + scaled(grooveBreadth));
}

RECT FaderShape::mark(double position) const {
    const int from = middleOf(position), cross = breadth() / 4;
    return placed(from, from + scaled(lineBreadth), cross, breadth() - cross);
}

void paintFader(HDC context, const FaderShape &shape, const FaderLook &look, const RECT &client,
                HBRUSH background) {
    FillRect(context, &client, background);
    fill(context, shape.mark(look.defaultPosition), COLOR_3DDKSHADOW);
    fill(context, shape.groove(), COLOR_3DSHADOW);
    if (look.isEnabled)
        fill(context, shape.filled(look.position), COLOR_HIGHLIGHT);

    // The frame of the knob tells the focus, by its colour and by its breadth.
    const RECT knob = shape.knob(look.position);
    fill(context, knob, look.hasFocus ? COLOR_HIGHLIGHT : COLOR_3DDKSHADOW);
    fill(context, shrunk(knob, shape.scaled(look.hasFocus ? focusBreadth : lineBreadth)),
         look.isEnabled ? COLOR_3DHIGHLIGHT : COLOR_BTNFACE);
    RECT grip = shape.mark(look.position);
    fill(context, grip, look.isEnabled ? COLOR_BTNTEXT : COLOR_GRAYTEXT);
    if (look.hasFocus) {
        SetTextColor(context, GetSysColor(COLOR_BTNTEXT));
        SetBkColor(context, GetSysColor(COLOR_BTNFACE));
        DrawFocusRect(context, &client);
    }
}

} // namespace tonvale::workbench
