#pragma once

#include <cairo.h>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tonvale::workbench {

struct Colour {
    double red, green, blue;
};

struct Pen {
    Colour colour;
    double width;
    bool dashed;
};

struct Point {
    double x, y;
};

/// Pixels from the picture's left upper corner.
struct Frame {
    double left, top, width, height;
};

struct Axis {
    std::string title;
    double low, high;
    std::vector<double> marks;
    bool logarithmic = false;

    /// 0 at the low end, 1 at the high one.
    double share(double value) const;
};

/// With round marks.
Axis linearAxis(const std::string &title, double low, double high);
Axis steppedAxis(const std::string &title, double low, double high, double step);
/// Logarithmic, a mark an octave from 63 on.
Axis octaveAxis(const std::string &title, double low, double high);

/// A white picture.
class Canvas {
  public:
    Canvas(int width, int height);

    cairo_t *context() const { return drawing.get(); }
    void title(const std::string &text);
    void text(const std::string &text, double x, double y, double alignment);
    /// Throws what `write` throws.
    void writePng(const std::function<void(const void *, size_t)> &write) const;

  private:
    template <auto release>
    struct Release {
        void operator()(auto *object) const { release(object); }
    };
    std::unique_ptr<cairo_surface_t, Release<cairo_surface_destroy>> surface;
    std::unique_ptr<cairo_t, Release<cairo_destroy>> drawing;
    double pixels;
};

/// Curves in a frame with axes. What lies outside of the frame is cut off, until finish() draws the
/// axes; keys and scales come after it.
class Plot {
  public:
    Plot(Canvas &canvas, const Frame &frame, Axis across, Axis up);

    void line(std::span<const Point> points, const Pen &pen);
    void line(std::initializer_list<Point> points, const Pen &pen) {
        line(std::span(points.begin(), points.size()), pen);
    }
    void dots(std::span<const Point> points, const Colour &colour);
    /// Fills the frame with values from 0 (dark) to 1 (bright), row by row from the top.
    void image(std::span<const double> values, size_t width, size_t height);
    void finish();

    /// What a pen stands for, above the frame, in this place from the left.
    void key(int place, const std::string &text, const Pen &pen);
    /// What the image's colours stand for, at the right.
    void scale(const std::string &unit, double low, double high);

  private:
    Canvas &canvas;
    cairo_t *context;
    Frame frame;
    Axis across;
    Axis up;

    double x(double value) const { return frame.left + across.share(value) * frame.width; }
    double y(double value) const { return frame.top + (1 - up.share(value)) * frame.height; }
    void use(const Pen &pen);
};

} // namespace tonvale::workbench
