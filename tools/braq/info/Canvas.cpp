#include "tools/braq/info/Canvas.h"

#include <cmath>
#include <exception>
#include <stdexcept>
#include <utility>

namespace {

cairo_status_t append(void* bytes, const unsigned char* data, unsigned int length) noexcept {
    try {
        static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), length);
        return CAIRO_STATUS_SUCCESS;
    } catch (const std::exception&) {
        return CAIRO_STATUS_NO_MEMORY;
    }
}

void check(cairo_status_t status) {
    if (status != CAIRO_STATUS_SUCCESS) {
        throw std::runtime_error(std::string("cannot draw: ") + cairo_status_to_string(status));
    }
}

/// Without its last character, of any number of bytes.
std::string withoutLastCharacter(std::string line) {
    const auto isContinued = [&] { return (static_cast<unsigned char>(line.back()) & 0xC0U) == 0x80U; };
    while (line.size() > 1 && isContinued()) {
        line.pop_back();
    }
    line.pop_back();
    return line;
}

} // namespace

// The drawing library remembers a failure, then ignores all further calls. `asPNG` checks for it.
Canvas::Canvas(int width, int height)
    : mSurface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height), &cairo_surface_destroy),
      mContext(cairo_create(mSurface.get()), &cairo_destroy) {}

void Canvas::use(Colour colour) {
    const auto part = [&](unsigned int shift) { return static_cast<double>((colour.rgb >> shift) & 0xFFU) / 255.0; };
    cairo_set_source_rgb(mContext.get(), part(16), part(8), part(0));
}

void Canvas::use(Font font) {
    cairo_select_font_face(mContext.get(), "sans-serif", CAIRO_FONT_SLANT_NORMAL,
                           font.weight == Weight::bold ? CAIRO_FONT_WEIGHT_BOLD : CAIRO_FONT_WEIGHT_NORMAL);
    cairo_set_font_size(mContext.get(), font.size);
}

void Canvas::fill(Colour colour, const Rectangle& area) {
    use(colour);
    cairo_rectangle(mContext.get(), area.x, area.y, area.width, area.height);
    cairo_fill(mContext.get());
}

void Canvas::horizontalLine(Colour colour, double from, double to, double y) {
    fill(colour, {from, std::floor(y), to - from, 1.0});
}

void Canvas::verticalLine(Colour colour, double x, double from, double to) {
    fill(colour, {std::floor(x), from, 1.0, to - from});
}

void Canvas::write(const std::string& line, Font font, Colour colour, double x, double baseline, Anchor anchor) {
    const double width = widthOf(line, font);
    const double before = anchor == Anchor::left ? 0.0 : anchor == Anchor::centre ? width / 2.0 : width;
    use(colour);
    use(font);
    // Text is sharper at whole pixels.
    cairo_move_to(mContext.get(), std::round(x - before), std::round(baseline));
    cairo_show_text(mContext.get(), line.c_str());
}

void Canvas::writeCentred(const std::string& line, Font font, Colour colour, double x, double y, Anchor anchor) {
    use(font);
    cairo_text_extents_t digit;
    cairo_text_extents(mContext.get(), "0", &digit);
    write(line, font, colour, x, y + digit.height / 2.0, anchor);
}

double Canvas::widthOf(const std::string& line, Font font) {
    use(font);
    cairo_text_extents_t extents;
    cairo_text_extents(mContext.get(), line.c_str(), &extents);
    return extents.x_advance;
}

std::string Canvas::shortened(const std::string& line, Font font, double width) {
    if (widthOf(line, font) <= width) {
        return line;
    }
    std::string kept = line;
    while (!kept.empty() && widthOf(kept + "…", font) > width) {
        kept = withoutLastCharacter(std::move(kept));
    }
    return kept + "…";
}

std::string Canvas::asPNG() const {
    check(cairo_status(mContext.get()));
    std::string bytes;
    check(cairo_surface_write_to_png_stream(mSurface.get(), append, &bytes));
    return bytes;
}
