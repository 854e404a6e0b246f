#include "workbench/cli/commands/plot.h"

#include "workbench/cli/problem.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <numbers>

namespace tonvale::workbench {

namespace {

constexpr double textSize = 15;
constexpr double titleSize = 18;
constexpr double keyWidth = 215;
constexpr double mostMarks = 10;
constexpr Colour ink{0.15, 0.15, 0.15};
constexpr Colour grid{0.85, 0.85, 0.85};

// From silence to the loudest.
constexpr Colour brightness[] = {{0.02, 0.02, 0.08}, {0.20, 0.06, 0.40}, {0.60, 0.15, 0.40},
                                 {0.93, 0.42, 0.20}, {0.99, 0.80, 0.30}, {1.00, 1.00, 0.85}};

Colour colourOf(double share) {
    constexpr size_t steps = std::size(brightness) - 1;
    const double place = std::clamp(share, 0.0, 1.0) * steps;
    const size_t step = std::min(static_cast<size_t>(place), steps - 1);
    const double rest = place - static_cast<double>(step);
    const Colour &a = brightness[step], &b = brightness[step + 1];
    return {a.red + rest * (b.red - a.red), a.green + rest * (b.green - a.green),
            a.blue + rest * (b.blue - a.blue)};
}

uint32_t pixelOf(const Colour &colour) {
    const auto byte = [](double share) { return static_cast<uint32_t>(std::lround(share * 255)); };
    return byte(colour.red) << 16 | byte(colour.green) << 8 | byte(colour.blue);
}

std::string numberText(double value) {
    char text[32];
    std::snprintf(text, sizeof text, "%.6g", value);
    return text;
}

void choose(cairo_t *context, const Colour &colour) {
    cairo_set_source_rgb(context, colour.red, colour.green, colour.blue);
}

} // namespace

double Axis::share(double value) const {
    if (logarithmic)
        return std::log(value / low) / std::log(high / low);
    return (value - low) / (high - low);
}

Axis steppedAxis(const std::string &title, double low, double high, double step) {
    Axis axis{title, low, high, {}};
    for (double i = std::ceil(low / step - 1e-9); i * step <= high + step * 1e-9; ++i)
        axis.marks.push_back(i * step + 0.0); // no -0
    return axis;
}

Axis linearAxis(const std::string &title, double low, double high) {
    double step = std::pow(10.0, std::floor(std::log10((high - low) / mostMarks)));
    for (const double factor : {2.0, 2.5, 2.0}) {
        if ((high - low) / step > mostMarks)
            step *= factor;
    }
    return steppedAxis(title, low, high, step);
}

Axis octaveAxis(const std::string &title, double low, double high) {
    Axis axis{title, low, high, {}, true};
    for (const double mark : {63, 125, 250, 500, 1000, 2000, 4000, 8000, 16000}) {
        if (mark >= low && mark <= high)
            axis.marks.push_back(mark);
    }
    return axis;
}

Canvas::Canvas(int width, int height)
    : surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height))
    , drawing(cairo_create(surface.get()))
    , pixels(width) {
    cairo_set_source_rgb(context(), 1, 1, 1);
    cairo_paint(context());
    cairo_select_font_face(context(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context(), textSize);
}

void Canvas::title(const std::string &text) {
    // The end of a long name tells more than its start.
    std::string shown = text;
    cairo_set_font_size(context(), titleSize);
    cairo_text_extents_t extents;
    const auto fits = [&] {
        cairo_text_extents(context(), shown.c_str(), &extents);
        return extents.width < pixels - 40;
    };
    for (size_t cut = 1; !fits() && cut < text.size(); ++cut) {
        // Not into the middle of a letter.
        if ((static_cast<unsigned char>(text[cut]) & 0xc0) != 0x80)
            shown = "…" + text.substr(cut);
    }
    this->text(shown, pixels / 2, 28, 0.5);
    cairo_set_font_size(context(), textSize);
}

void Canvas::text(const std::string &text, double x, double y, double alignment) {
    cairo_text_extents_t extents;
    cairo_text_extents(context(), text.c_str(), &extents);
    choose(context(), ink);
    cairo_move_to(context(), x - alignment * extents.x_advance, y);
    cairo_show_text(context(), text.c_str());
}

void Canvas::writePng(const std::function<void(const void *, size_t)> &write) const {
    // The library is no C++: what `write` throws waits until it is through.
    struct Sink {
        const std::function<void(const void *, size_t)> &write;
        std::exception_ptr problem;
    } sink{write, nullptr};
    const auto take = [](void *closure, const unsigned char *bytes, unsigned size) {
        auto *to = static_cast<Sink *>(closure);
        try {
            to->write(bytes, size);
            return CAIRO_STATUS_SUCCESS;
        } catch (...) {
            to->problem = std::current_exception();
            return CAIRO_STATUS_WRITE_ERROR;
        }
    };
    const cairo_status_t status = cairo_surface_write_to_png_stream(surface.get(), take, &sink);
    if (sink.problem)
        std::rethrow_exception(sink.problem);
    if (status != CAIRO_STATUS_SUCCESS || cairo_status(context()) != CAIRO_STATUS_SUCCESS)
        throw Problem("the picture can't be drawn");
}

Plot::Plot(Canvas &target, const Frame &place, Axis horizontal, Axis vertical)
    : canvas(target)
    , context(target.context())
    , frame(place)
    , across(std::move(horizontal))
    , up(std::move(vertical)) {
    choose(context, grid);
    cairo_set_line_width(context, 1);
    for (const double mark : across.marks) {
        cairo_move_to(context, x(mark), frame.top);
        cairo_rel_line_to(context, 0, frame.height);
    }
    for (const double mark : up.marks) {
        cairo_move_to(context, frame.left, y(mark));
        cairo_rel_line_to(context, frame.width, 0);
    }
    cairo_stroke(context);
    cairo_save(context);
    cairo_rectangle(context, frame.left, frame.top, frame.width, frame.height);
    cairo_clip(context);
}

void Plot::use(const Pen &pen) {
    constexpr double dashes[] = {7, 5};
    choose(context, pen.colour);
    cairo_set_line_width(context, pen.width);
    cairo_set_dash(context, dashes, pen.dashed ? 2 : 0, 0);
}

void Plot::line(std::span<const Point> points, const Pen &pen) {
    use(pen);
    for (const Point &point : points)
        cairo_line_to(context, x(point.x), y(point.y));
    cairo_stroke(context);
}

void Plot::dots(std::span<const Point> points, const Colour &colour) {
    choose(context, colour);
    for (const Point &point : points) {
        cairo_arc(context, x(point.x), y(point.y), 4, 0, 2 * std::numbers::pi);
        cairo_fill(context);
    }
}

void Plot::image(std::span<const double> values, size_t width, size_t height) {
    cairo_surface_t *pixels = cairo_image_surface_create(
        CAIRO_FORMAT_RGB24, static_cast<int>(width), static_cast<int>(height));
    unsigned char *rows = cairo_image_surface_get_data(pixels);
    const auto stride = static_cast<size_t>(cairo_image_surface_get_stride(pixels));
    for (size_t i = 0; rows && i < width * height; ++i) {
        auto *row = reinterpret_cast<uint32_t *>(rows + i / width * stride);
        row[i % width] = pixelOf(colourOf(values[i]));
    }
    cairo_surface_mark_dirty(pixels);
    cairo_set_source_surface(context, pixels, frame.left, frame.top);
    cairo_paint(context);
    cairo_surface_destroy(pixels);
}

void Plot::finish() {
    cairo_restore(context);
    use({ink, 1, false});
    cairo_rectangle(context, frame.left, frame.top, frame.width, frame.height);
    cairo_stroke(context);
    const double bottom = frame.top + frame.height;
    for (const double mark : across.marks)
        canvas.text(numberText(mark), x(mark), bottom + 20, 0.5);
    for (const double mark : up.marks)
        canvas.text(numberText(mark), frame.left - 8, y(mark) + 5, 1);
    canvas.text(across.title, frame.left + frame.width / 2, bottom + 42, 0.5);
    cairo_save(context);
    cairo_translate(context, 24, frame.top + frame.height / 2);
    cairo_rotate(context, -std::numbers::pi / 2);
    canvas.text(up.title, 0, 0, 0.5);
    cairo_restore(context);
}

void Plot::key(int place, const std::string &text, const Pen &pen) {
    const double left = frame.left + place * keyWidth;
    use(pen);
    cairo_move_to(context, left, frame.top - 13);
    cairo_rel_line_to(context, 30, 0);
    cairo_stroke(context);
    canvas.text(text, left + 37, frame.top - 8, 0);
}

void Plot::scale(const std::string &unit, double low, double high) {
    constexpr double width = 18;
    const double left = frame.left + frame.width + 14;
    const auto rows = static_cast<int>(frame.height);
    for (int row = 0; row < rows; ++row) {
        choose(context, colourOf(1 - row / frame.height));
        cairo_rectangle(context, left, frame.top + row, width, 1);
        cairo_fill(context);
    }
    constexpr int marks = 3;
    for (int i = 0; i <= marks; ++i) {
        const double value = low + (high - low) * i / marks;
        canvas.text(numberText(value), left + width + 6,
                    frame.top + frame.height * (1 - static_cast<double>(i) / marks) + 5, 0);
    }
    canvas.text(unit, left, frame.top - 8, 0);
}

} // namespace tonvale::workbench
