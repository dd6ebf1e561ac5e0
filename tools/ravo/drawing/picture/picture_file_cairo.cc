// Pictures drawn by Cairo, their texts by Pango.
#include <cairo-svg.h>
#include <cairo.h>
#include <pango/pangocairo.h>

#include <cmath>
#include <stdexcept>
#include <type_traits>

#include "drawing/picture/figure.h"
#include "drawing/picture/picture_file.h"

// Only sanitizers call these. fontconfig leaks a pattern while it reads its own configuration.
// Pango lets fontconfig search for fonts in a thread of its own, and waits for it with GLib's
// locks; these libraries are not built for the thread sanitizer, which does not see the locks.
extern "C" const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() { return "leak:libfontconfig.so\n"; }
extern "C" const char* __tsan_default_suppressions();
extern "C" const char* __tsan_default_suppressions() {
  return "race:libfontconfig.so\nrace:libglib-2.0.so\nrace:libgobject-2.0.so\nrace:libpango\n";
}

namespace ravo::drawing {
namespace {

template <auto Release>
struct release_by {
  template <class Kind>
  void operator()(Kind* what) const {
    Release(what);
  }
};
using surface_owner = std::unique_ptr<cairo_surface_t, release_by<cairo_surface_destroy>>;
using cairo_owner = std::unique_ptr<cairo_t, release_by<cairo_destroy>>;
using context_owner = std::unique_ptr<PangoContext, release_by<g_object_unref>>;
using layout_owner = std::unique_ptr<PangoLayout, release_by<g_object_unref>>;
using font_map_owner = std::unique_ptr<PangoFontMap, release_by<g_object_unref>>;
using font_owner = std::unique_ptr<PangoFontDescription, release_by<pango_font_description_free>>;
using real_font_owner = std::unique_ptr<PangoFont, release_by<g_object_unref>>;
using text_owner = std::unique_ptr<char, release_by<g_free>>;

void check(cairo_status_t status) {
  if (status != CAIRO_STATUS_SUCCESS)
    throw std::runtime_error(std::string("the picture cannot be drawn: ") + cairo_status_to_string(status));
}

font_owner font_of(const text_style& style) {
  font_owner font(pango_font_description_new());
  pango_font_description_set_family(font.get(), "DejaVu Sans, Sans");
  // In the picture's own points; by default Pango counts those of a printer.
  pango_font_description_set_absolute_size(font.get(), style.size * PANGO_SCALE);
  if (style.letters == weight::bold) pango_font_description_set_weight(font.get(), PANGO_WEIGHT_BOLD);
  return font;
}

// One for the program: finding the fonts of a machine takes a while. Pango's own would never be released.
PangoFontMap* font_map() {
  static const font_map_owner made(pango_cairo_font_map_new());
  return made.get();
}

// Texts are drawn as they are measured, whatever the surface.
context_owner make_context() {
  context_owner context(pango_font_map_create_context(font_map()));
  cairo_font_options_t* options = cairo_font_options_create();
  cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
  cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
  cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
  pango_cairo_context_set_font_options(context.get(), options);
  cairo_font_options_destroy(options);
  return context;
}

layout_owner layout_of(PangoContext* context, const std::string& words, const text_style& style) {
  layout_owner layout(pango_layout_new(context));
  const text_owner valid(g_utf8_make_valid(words.data(), static_cast<gssize>(words.size())));
  pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
  pango_layout_set_text(layout.get(), valid.get(), -1);
  pango_layout_set_font_description(layout.get(), font_of(style).get());
  return layout;
}

text_size size_of(PangoLayout* layout) {
  int width = 0, height = 0;
  pango_layout_get_size(layout, &width, &height);
  return {static_cast<double>(width) / PANGO_SCALE, static_cast<double>(height) / PANGO_SCALE};
}

class pango_ruler : public text_ruler {
 public:
  text_size measure(const std::string& words, const text_style& style) const override {
    return size_of(layout_of(context_.get(), words, style).get());
  }

 private:
  context_owner context_ = make_context();
};

class painter {
 public:
  explicit painter(cairo_surface_t* surface) : cairo_(cairo_create(surface)) {
    check(cairo_status(cairo_.get()));
  }

  void paint(const picture& drawn) {
    set_ink(ground);
    cairo_paint(cairo_.get());
    for (const shape& one : drawn.shapes) std::visit([this](const auto& kind) { paint(kind); }, one);
    check(cairo_status(cairo_.get()));
  }

 private:
  void set_ink(colour ink) {
    cairo_set_source_rgb(cairo_.get(), ink.red / 255.0, ink.green / 255.0, ink.blue / 255.0);
  }

  void walk(const std::vector<point>& points) {
    cairo_new_path(cairo_.get());  // without what an earlier text has left
    for (const point& at : points) cairo_line_to(cairo_.get(), at.x, at.y);
  }

  void paint(const text_shape& text) {
    const layout_owner layout = layout_of(context_.get(), text.words, text.style);
    const text_size size = size_of(layout.get());
    const double part = text.side == anchor::left ? 0 : text.side == anchor::centre ? 0.5 : 1;
    cairo_save(cairo_.get());
    cairo_translate(cairo_.get(), text.at.x, text.at.y);
    if (text.runs == direction::upward) cairo_rotate(cairo_.get(), -M_PI / 2);
    set_ink(text.style.ink);
    cairo_move_to(cairo_.get(), -size.width * part, -size.height / 2);
    pango_cairo_show_layout(cairo_.get(), layout.get());
    cairo_restore(cairo_.get());
  }

  void paint(const path_shape& path) {
    set_ink(path.ink);
    cairo_set_line_width(cairo_.get(), path.width);
    cairo_set_line_join(cairo_.get(), CAIRO_LINE_JOIN_ROUND);
    walk(path.points);
    if (path.points.size() > 1 && path.points.front() == path.points.back()) cairo_close_path(cairo_.get());
    cairo_stroke(cairo_.get());
  }

  void paint(const area_shape& area) {
    set_ink(area.ink);
    walk(area.points);
    cairo_fill(cairo_.get());
  }

  void paint(const disc_shape& disc) {
    set_ink(disc.ink);
    cairo_new_path(cairo_.get());
    cairo_arc(cairo_.get(), disc.centre.x, disc.centre.y, disc.radius, 0, 2 * M_PI);
    cairo_fill(cairo_.get());
  }

  void paint(const image_shape& image) {
    if (image.columns < 1 || image.rows < 1) return;
    const surface_owner pixels(cairo_image_surface_create(CAIRO_FORMAT_RGB24, image.columns, image.rows));
    check(cairo_surface_status(pixels.get()));
    unsigned char* bytes = cairo_image_surface_get_data(pixels.get());
    const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(pixels.get()));
    const auto columns = static_cast<std::size_t>(image.columns),
               rows = static_cast<std::size_t>(image.rows);
    for (std::size_t y = 0; y < rows; ++y)
      for (std::size_t x = 0; x < columns; ++x) {
        const colour ink = image.pixels[y * columns + x];
        reinterpret_cast<std::uint32_t*>(bytes + y * stride)[x] =
            std::uint32_t{ink.red} << 16 | std::uint32_t{ink.green} << 8 | ink.blue;
      }
    cairo_surface_mark_dirty(pixels.get());
    cairo_save(cairo_.get());
    cairo_translate(cairo_.get(), image.where.left, image.where.top);
    cairo_scale(cairo_.get(), image.where.width / image.columns, image.where.height / image.rows);
    cairo_set_source_surface(cairo_.get(), pixels.get(), 0, 0);
    cairo_pattern_set_filter(cairo_get_source(cairo_.get()), CAIRO_FILTER_NEAREST);
    // The edge does not blend with what is below.
    cairo_pattern_set_extend(cairo_get_source(cairo_.get()), CAIRO_EXTEND_PAD);
    cairo_new_path(cairo_.get());
    cairo_rectangle(cairo_.get(), 0, 0, image.columns, image.rows);
    cairo_fill(cairo_.get());
    cairo_restore(cairo_.get());
  }

  cairo_owner cairo_;
  context_owner context_ = make_context();
};

cairo_status_t append(void* bytes, const unsigned char* data, unsigned length) try {
  static_cast<std::string*>(bytes)->append(reinterpret_cast<const char*>(data), length);
  return CAIRO_STATUS_SUCCESS;
} catch (const std::bad_alloc&) {
  return CAIRO_STATUS_NO_MEMORY;
}

std::string png_bytes(const picture& drawn) {
  constexpr double scale = page::dots_per_point;
  const surface_owner surface(cairo_image_surface_create(
      CAIRO_FORMAT_RGB24, static_cast<int>(drawn.width * scale), static_cast<int>(drawn.height * scale)));
  check(cairo_surface_status(surface.get()));
  cairo_surface_set_device_scale(surface.get(), scale, scale);
  painter(surface.get()).paint(drawn);
  std::string bytes;
  check(cairo_surface_write_to_png_stream(surface.get(), append, &bytes));
  return bytes;
}

std::string svg_bytes(const picture& drawn) {
  std::string bytes;
  {
    const surface_owner surface(
        cairo_svg_surface_create_for_stream(append, &bytes, drawn.width, drawn.height));
    check(cairo_surface_status(surface.get()));
    cairo_svg_surface_set_document_unit(surface.get(), CAIRO_SVG_UNIT_PX);
    painter(surface.get()).paint(drawn);
    cairo_surface_finish(surface.get());
    check(cairo_surface_status(surface.get()));
  }
  return bytes;
}

}  // namespace

std::unique_ptr<text_ruler> picture_ruler() {
  // Pango ends the program if it finds no font at all; this check before that costs little.
  const context_owner context = make_context();
  const real_font_owner font(
      pango_font_map_load_font(font_map(), context.get(), font_of(text_style{}).get()));
  if (!font)
    throw std::runtime_error(
        "no font is installed to letter pictures with; install one (Debian: fonts-dejavu-core)");
  return std::make_unique<pango_ruler>();
}

std::string picture_bytes(const picture& drawn, picture_format format) {
  return format == picture_format::png ? png_bytes(drawn) : svg_bytes(drawn);
}

}  // namespace ravo::drawing
