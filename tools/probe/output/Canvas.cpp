// SPDX-License-Identifier: MIT
#include "tools/probe/output/Canvas.h"

#include "tools/probe/ExitStatus.h"

#include <cairo.h>
#include <cmath>
#include <fontconfig/fontconfig.h>

namespace feedline::probe {

struct Canvas::State {
    State(int width, int height)
        : surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height)),
          context(cairo_create(surface)) {}
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        cairo_destroy(context);
        cairo_surface_destroy(surface);
        // The fonts stay with the libraries otherwise, and leak checkers take them for lost.
        cairo_debug_reset_static_data();
        FcFini();
    }
    void use(Ink ink, double opacity = 1) const {
        cairo_set_source_rgba(context, ink.red, ink.green, ink.blue, opacity);
    }

    cairo_surface_t* surface;
    cairo_t* context;
};

Canvas::Canvas(int width, int height) : state_(std::make_unique<State>(width, height)) {
    state_->use({1, 1, 1});
    cairo_paint(state_->context);
}

Canvas::~Canvas() = default;

// Lines one pixel wide are sharp when they run through the middle of pixels.
void Canvas::line(double fromX, double fromY, double toX, double toY, Ink ink) {
    state_->use(ink);
    cairo_set_line_width(state_->context, 1);
    cairo_move_to(state_->context, std::floor(fromX) + 0.5, std::floor(fromY) + 0.5);
    cairo_line_to(state_->context, std::floor(toX) + 0.5, std::floor(toY) + 0.5);
    cairo_stroke(state_->context);
}

void Canvas::frame(double x, double y, double width, double height, Ink ink) {
    state_->use(ink);
    cairo_set_line_width(state_->context, 1);
    cairo_rectangle(state_->context, x - 0.5, y - 0.5, width + 1, height + 1);
    cairo_stroke(state_->context);
}

void Canvas::area(const std::vector<Point>& points, double bottom, Ink ink) {
    if (points.empty())
        return;
    cairo_t* const context = state_->context;
    cairo_move_to(context, points.front().x, points.front().y);
    for (const Point& point : points)
        cairo_line_to(context, point.x, point.y);
    state_->use(ink);
    cairo_set_line_width(context, 1.1);
    cairo_set_line_join(context, CAIRO_LINE_JOIN_BEVEL);
    cairo_stroke_preserve(context);
    cairo_line_to(context, points.back().x, bottom);
    cairo_line_to(context, points.front().x, bottom);
    cairo_close_path(context);
    state_->use(ink, 0.16);
    cairo_fill(context);
}

void Canvas::text(double x, double y, const std::string& text, const TextStyle& style) {
    cairo_t* const context = state_->context;
    cairo_select_font_face(context, "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           style.bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(context, style.size);
    cairo_text_extents_t extents{};
    cairo_text_extents(context, text.c_str(), &extents);
    const double shift = style.alignment == Alignment::left     ? 0
                         : style.alignment == Alignment::centre ? extents.x_advance / 2
                                                                : extents.x_advance;
    state_->use(style.ink);
    cairo_move_to(context, std::round(x - shift), std::round(y));
    cairo_show_text(context, text.c_str());
}

void Canvas::image(double x, double y, Image& image) {
    // Rows of 32-bit pixels need no padding.
    cairo_surface_t* const source = cairo_image_surface_create_for_data(
        reinterpret_cast<unsigned char*>(image.pixels_.data()), CAIRO_FORMAT_RGB24, image.width_,
        image.height_, 4 * image.width_);
    cairo_set_source_surface(state_->context, source, x, y);
    cairo_paint(state_->context);
    cairo_surface_destroy(source);
}

void Canvas::writePng(const std::string& name) {
    const cairo_status_t status = cairo_surface_write_to_png(state_->surface, name.c_str());
    if (status != CAIRO_STATUS_SUCCESS)
        throw Failure(ExitStatus::outputFailed,
                      "cannot write '" + name + "': " + cairo_status_to_string(status));
}

} // namespace feedline::probe
