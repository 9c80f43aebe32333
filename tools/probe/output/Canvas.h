// SPDX-License-Identifier: MIT
// A sheet to draw on: the few strokes that a diagram needs.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace feedline::probe {

struct Ink {
    double red, green, blue; ///< 0 to 1
};

/// Coordinates are pixels from the upper left corner. Not synchronised, and one at a time: the end
/// of a canvas gives up what the drawing libraries hold for the whole process.
class Canvas {
public:
    enum class Alignment { left, centre, right };
    struct TextStyle {
        double size;
        Ink ink;
        Alignment alignment;
        bool bold;
    };
    struct Point {
        double x, y;
    };

    class Image {
    public:
        Image(int width, int height)
            : width_(width), height_(height),
              pixels_(static_cast<std::size_t>(width) * static_cast<std::size_t>(height)) {}
        void set(int x, int y, std::array<std::uint8_t, 3> colour) {
            pixels_[static_cast<std::size_t>(y) * static_cast<std::size_t>(width_) +
                    static_cast<std::size_t>(x)] =
                static_cast<std::uint32_t>((colour[0] << 16) | (colour[1] << 8) | colour[2]);
        }

    private:
        friend class Canvas;
        int width_;
        int height_;
        std::vector<std::uint32_t> pixels_; ///< 0x00RRGGBB
    };

    /// A white sheet.
    Canvas(int width, int height);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    void line(double fromX, double fromY, double toX, double toY, Ink ink);
    void frame(double x, double y, double width, double height, Ink ink);
    /// A curve, with the area between it and the height `bottom` tinted.
    void area(const std::vector<Point>& points, double bottom, Ink ink);
    /// @param y  of the base line
    void text(double x, double y, const std::string& text, const TextStyle& style);
    void image(double x, double y, Image& image);

    /// Throws Failure.
    void writePng(const std::string& name);

private:
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace feedline::probe
