#pragma once

#include <windows.h>

namespace tonvale::workbench {

constexpr int faderEnd = 1000; ///< position at the right, or at the top

/// Where the parts of a fader lie in its client area. A vertical one has its end at the top.
class FaderShape {
  public:
    /// `scale` is 256 at 100 %.
    FaderShape(SIZE ownClient, bool vertical, int ownScale);

    /// Pixels between the knob's places at both ends, at least 1.
    int travel() const;
    /// How far the mouse is along the fader, in pixels that grow with the position.
    int along(POINT mouse) const;
    /// The position whose knob has its middle there; can lie beyond the ends.
    double positionAt(int along) const;

    RECT knob(double position) const;
    RECT groove() const;
    /// The part of the groove below the position.
    RECT filled(double position) const;
    /// A mark across the groove.
    RECT mark(double position) const;

    /// A length of `pixels` at 100 %, at least 1.
    int scaled(int pixels) const;

  private:
    /// A rectangle by its places along the fader from its low end, and across it.
    RECT placed(int from, int to, int crossFrom, int crossTo) const;
    int length() const { return isVertical ? client.cy : client.cx; }
    int breadth() const { return isVertical ? client.cx : client.cy; }
    int middleOf(double position) const;

    SIZE client;
    bool isVertical;
    int scale;
};

/// How a fader shows.
struct FaderLook {
    double position;
    double defaultPosition;
    bool hasFocus;
    bool isEnabled;
};

/// Paints the whole fader, over `background`.
void paintFader(HDC context, const FaderShape &shape, const FaderLook &look, const RECT &client,
                HBRUSH background);

} // namespace tonvale::workbench
