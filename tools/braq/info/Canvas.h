#pragma once

#include <cairo.h>

#include <cstdint>
#include <memory>
#include <string>

/// Red, green and blue, 8 bits each.
struct Colour {
    std::uint32_t rgb;
};

struct Rectangle {
    double x;
    double y;
    double width;
    double height;
};

enum class Weight { normal, bold };
enum class Anchor { left, centre, right };

struct Font {
    double size;
    Weight weight = Weight::normal;
};

/// A picture to draw on, in pixels from its upper left corner. One thread at a time.
class Canvas {
  public:
    Canvas(int width, int height);

    void fill(Colour colour, const Rectangle& area);
    /// Sharp lines, one pixel wide.
    void horizontalLine(Colour colour, double from, double to, double y);
    void verticalLine(Colour colour, double x, double from, double to);

    /// @param line printable
    /// @param x position of the point of the line that `anchor` names
    void write(const std::string& line, Font font, Colour colour, double x, double baseline, Anchor anchor);
    /// With the middle of the digits at `y`.
    void writeCentred(const std::string& line, Font font, Colour colour, double x, double y, Anchor anchor);
    double widthOf(const std::string& line, Font font);
    /// The line, truncated with an ellipsis if it does not fit.
    std::string shortened(const std::string& line, Font font, double width);

    /// Throws std::runtime_error if anything could not be drawn.
    std::string asPNG() const;

  private:
    void use(Colour colour);
    void use(Font font);

    const std::unique_ptr<cairo_surface_t, decltype(&cairo_surface_destroy)> mSurface;
    const std::unique_ptr<cairo_t, decltype(&cairo_destroy)> mContext;
};
