#include "drawing/picture/figure.h"

#include <algorithm>
#include <cmath>

#include "drawing/picture/sketch.h"

namespace ravo::drawing {
namespace {

constexpr double between_panels = 14;
constexpr double least_width = 420;  // so that a small frame has room for its title

template <class... Kinds>
struct by_kind : Kinds... {
  using Kinds::operator()...;
};
template <class... Kinds>
by_kind(Kinds...) -> by_kind<Kinds...>;

std::size_t plots_in(const figure& shown) {
  return static_cast<std::size_t>(
      std::count_if(shown.panels.begin(), shown.panels.end(),
                    [](const panel& one) { return std::holds_alternative<plot_panel>(one); }));
}

// A single plot fills a page of a talk; several share it as long as they are legible.
double height_of_plots(const figure& shown) {
  constexpr double alone = 400, least = 140, together = 520;
  const std::size_t plots = plots_in(shown);
  return plots == 1 ? alone : std::round(std::max(together / static_cast<double>(plots), least));
}

// All frames have the same left edge, so that equal places on an axis are one below the other.
panel_space space_for(const figure& shown, double height, const text_ruler& ruler) {
  double side = 0, overhang = 0, frames = 0;
  bool is_wide = false;
  for (const panel& one : shown.panels)
    std::visit(by_kind{[&](const plot_panel& plot) {
                         side = std::max(side, side_of(plot, height, ruler));
                         overhang = std::max(overhang, overhang_of(plot, ruler));
                         is_wide = true;
                       },
                       [&](const frame_panel& frame) {
                         side = std::max(side, side_of(frame, ruler));
                         frames = std::max(frames, pixels_of(frame).width + scale_width_of(frame, ruler));
                       },
                       [&](const table_panel&) { is_wide = true; }},
               one);
  const double left = std::ceil(page::margin + side);
  const double width = is_wide ? std::max(page::width, left + frames + page::margin)
                               : std::max(least_width, left + frames + page::margin);
  const double end = std::ceil(width) - page::margin;
  return {page::margin, left, std::floor(end - std::max(overhang - page::margin / 2, 0.0)), end};
}

double draw_title(sketch& on, const figure& shown, const panel_space& space) {
  constexpr text_style title{18, ink_of_text, weight::bold}, about{12, ink_of_notes};
  constexpr double title_height = 26, about_height = 18;
  const double width = space.end - space.begin;
  double top = page::margin;
  for (const std::string& line : wrapped(shown.title, title, width, 3, on.ruler)) {
    on.text({space.begin, top + title_height / 2}, line, title);
    top += title_height;
  }
  for (std::string& line : wrapped(shown.about, about, width, 3, on.ruler)) {
    // The separator is for parts in one line, not between lines.
    if (line.ends_with(figure::separator)) line.erase(line.size() - figure::separator.size());
    on.text({space.begin, top + about_height / 2}, std::move(line), about);
    top += about_height;
  }
  return top + between_panels;
}

axis_labels labels_of(const figure& shown, std::size_t index) {
  const auto* plot = std::get_if<plot_panel>(&shown.panels[index]);
  if (!plot || index + 1 == shown.panels.size()) return axis_labels::shown;
  const auto* next = std::get_if<plot_panel>(&shown.panels[index + 1]);
  return next && share_axis(*plot, *next) ? axis_labels::left_out : axis_labels::shown;
}

}  // namespace

picture draw(const figure& shown, const text_ruler& ruler) {
  const double height = height_of_plots(shown);
  const panel_space space = space_for(shown, height, ruler);
  sketch on{ruler, {}};
  double top = draw_title(on, shown, space);
  for (std::size_t i = 0; i < shown.panels.size(); ++i)
    top = between_panels +
          std::visit(by_kind{[&](const plot_panel& plot) {
                               return draw_panel(on, plot, space, top, height, labels_of(shown, i));
                             },
                             [&](const auto& other) { return draw_panel(on, other, space, top); }},
                     shown.panels[i]);
  on.made.width = space.end + page::margin;
  on.made.height = std::ceil(top - between_panels + page::margin);
  return std::move(on.made);
}

}  // namespace ravo::drawing
