#include "tools/audio/picture.hpp"

#include <cairo.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <memory>
#include <vector>

#include "tools/audio/analysis.hpp"

namespace vesk::tools {
namespace {

constexpr int width = 1600;
constexpr int height = 900;
constexpr int panel_left = 78;
constexpr int panel_right = 1500;
constexpr int wave_top = 84;
constexpr int wave_bottom = 300;
constexpr int spectrum_top = 324;
constexpr int spectrum_bottom = 846;
constexpr float loudest_db = 0.0f;
constexpr float softest_db = -100.0f;

struct Colour {
  double red, green, blue;
};

constexpr Colour background{0.075, 0.080, 0.100};
constexpr Colour panel{0.040, 0.043, 0.058};
constexpr Colour lines{0.26, 0.28, 0.34};
constexpr Colour text_colour{0.86, 0.88, 0.92};
constexpr Colour dim_text{0.58, 0.61, 0.68};
constexpr Colour wave_colour{0.98, 0.67, 0.36};

struct ContextDestroyer {
  void operator()(cairo_t* context) const { cairo_destroy(context); }
};
struct SurfaceDestroyer {
  void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};
using Context = std::unique_ptr<cairo_t, ContextDestroyer>;
using Surface = std::unique_ptr<cairo_surface_t, SurfaceDestroyer>;

void set(cairo_t* context, const Colour& colour) {
  cairo_set_source_rgb(context, colour.red, colour.green, colour.blue);
}

/// Dark to light with even steps of brightness, so that equal decibels look equally far apart.
Colour level_colour(float db) {
  static constexpr std::array<Colour, 7> stops{{{0.040, 0.043, 0.058},
                                                {0.105, 0.090, 0.300},
                                                {0.330, 0.085, 0.480},
                                                {0.600, 0.165, 0.470},
                                                {0.860, 0.310, 0.330},
                                                {0.985, 0.600, 0.250},
                                                {0.990, 0.960, 0.720}}};
  const double place = std::clamp((db - softest_db) / (loudest_db - softest_db), 0.0f, 1.0f) *
                       static_cast<double>(stops.size() - 1);
  const std::size_t below = std::min(static_cast<std::size_t>(place), stops.size() - 2);
  const double share = place - static_cast<double>(below);
  const Colour& a = stops[below];
  const Colour& b = stops[below + 1];
  return {a.red + (b.red - a.red) * share, a.green + (b.green - a.green) * share,
          a.blue + (b.blue - a.blue) * share};
}

enum class Align { left, centre, right };

void write(cairo_t* context, double x, double y, const std::string& text, double size, Align align,
           const Colour& colour) {
  cairo_set_font_size(context, size);
  set(context, colour);
  cairo_text_extents_t extents;
  cairo_text_extents(context, text.c_str(), &extents);
  if (align == Align::centre) x -= 0.5 * extents.x_advance;
  if (align == Align::right) x -= extents.x_advance;
  cairo_move_to(context, x, y);
  cairo_show_text(context, text.c_str());
}

/// Cuts a text that is wider than `room`, at a whole character.
std::string fit(cairo_t* context, std::string text, double size, double room) {
  cairo_set_font_size(context, size);
  cairo_text_extents_t extents;
  cairo_text_extents(context, text.c_str(), &extents);
  const bool was_cut = extents.x_advance > room;
  while (extents.x_advance > room && !text.empty()) {
    do text.pop_back();
    while (!text.empty() && (text.back() & 0xC0) == 0x80);
    if (!text.empty() && (text.back() & 0xC0) == 0xC0) text.pop_back();
    cairo_text_extents(context, (text + "\u2026").c_str(), &extents);
  }
  return was_cut ? text + "\u2026" : text;
}

void rule(cairo_t* context, double x1, double y1, double x2, double y2, double opacity) {
  cairo_set_source_rgba(context, lines.red, lines.green, lines.blue, opacity);
  cairo_set_line_width(context, 1.0);
  cairo_move_to(context, x1, y1);
  cairo_line_to(context, x2, y2);
  cairo_stroke(context);
}

std::string clock_text(double seconds, bool with_tenths) {
  char text[48];
  const auto minutes = static_cast<long>(seconds / 60.0);
  const double rest = seconds - 60.0 * static_cast<double>(minutes);
  std::snprintf(text, sizeof text, with_tenths ? "%ld:%04.1f" : "%ld:%02.0f", minutes, rest);
  return text;
}

/// The first of 1, 2, 5, 10, 15, 30 ... seconds that leaves room for the labels.
double time_step(double duration) {
  static constexpr std::array<double, 14> steps{0.1, 0.2, 0.5, 1,   2,   5,   10,
                                                15,  30,  60,  120, 300, 600, 1800};
  for (double step : steps)
    if (duration / step <= 16.0) return step;
  return 3600.0 * std::ceil(duration / (16.0 * 3600.0));
}

void draw_time_axis(cairo_t* context, double duration) {
  if (duration <= 0.0) return;
  const double step = time_step(duration);
  for (int i = 0; step * i <= duration; ++i) {
    const double x =
        std::floor(panel_left + (panel_right - panel_left) * step * i / duration) + 0.5;
    rule(context, x, wave_top, x, wave_bottom, 0.45);
    rule(context, x, spectrum_bottom, x, spectrum_bottom + 5, 1.0);
    write(context, x, spectrum_bottom + 22, clock_text(step * i, step < 1.0), 13, Align::centre,
          dim_text);
  }
}

void draw_lane(cairo_t* context, const std::vector<AudioAnalysis::Extent>& extents, double top,
               double bottom, float full_scale, const char* label) {
  const double middle = 0.5 * (top + bottom);
  const double half = 0.5 * (bottom - top) - 2.0;
  set(context, wave_colour);
  for (std::size_t i = 0; i < extents.size(); ++i) {
    const double high = middle - half * static_cast<double>(extents[i].high / full_scale);
    const double low = middle - half * static_cast<double>(extents[i].low / full_scale);
    cairo_rectangle(context, panel_left + static_cast<double>(i), high, 1.0,
                    std::max(1.0, low - high));
  }
  cairo_fill(context);
  write(context, panel_left - 10, middle + 5, label, 14, Align::right, dim_text);
}

void draw_waveform(cairo_t* context, const AudioAnalysis& analysis) {
  set(context, panel);
  cairo_rectangle(context, panel_left, wave_top, panel_right - panel_left, wave_bottom - wave_top);
  cairo_fill(context);
  draw_time_axis(context, analysis.duration_seconds);
  // Full scale fills a lane, unless the audio goes beyond it.
  const float full_scale = std::max(1.0f, analysis.peak);
  const double middle = 0.5 * (wave_top + wave_bottom);
  draw_lane(context, analysis.left, wave_top, middle, full_scale, "L");
  draw_lane(context, analysis.right, middle, wave_bottom, full_scale, "R");
  rule(context, panel_left, middle + 0.5, panel_right, middle + 0.5, 1.0);
  char scale[32];
  std::snprintf(scale, sizeof scale, "\u00b1%.3g", static_cast<double>(full_scale));
  write(context, panel_right + 8, wave_top + 14, scale, 13, Align::left, dim_text);
}

void draw_spectrogram(cairo_t* context, const AudioAnalysis& analysis) {
  const int columns = static_cast<int>(analysis.columns);
  const int rows = static_cast<int>(analysis.rows);
  Surface image(cairo_image_surface_create(CAIRO_FORMAT_RGB24, columns, rows));
  if (cairo_surface_status(image.get()) != CAIRO_STATUS_SUCCESS) return;
  unsigned char* pixels = cairo_image_surface_get_data(image.get());
  const std::ptrdiff_t stride = cairo_image_surface_get_stride(image.get());
  const auto byte = [](double share) {
    return static_cast<std::uint32_t>(std::lround(share * 255.0));
  };
  for (int row = 0; row < rows; ++row) {
    auto* line = reinterpret_cast<std::uint32_t*>(pixels + row * stride);
    for (int column = 0; column < columns; ++column) {
      const Colour colour =
          level_colour(analysis.level(static_cast<unsigned>(column), static_cast<unsigned>(row)));
      line[column] = byte(colour.red) << 16 | byte(colour.green) << 8 | byte(colour.blue);
    }
  }
  cairo_surface_mark_dirty(image.get());
  cairo_set_source_surface(context, image.get(), panel_left, spectrum_top);
  cairo_paint(context);

  const double octaves = std::log2(analysis.highest_hz / analysis.lowest_hz);
  static constexpr std::array<int, 9> marks{50, 100, 200, 500, 1000, 2000, 5000, 10000, 20000};
  for (int mark : marks) {
    if (mark > analysis.highest_hz) break;
    const double share = std::log2(mark / analysis.lowest_hz) / octaves;
    const double y = std::floor(spectrum_bottom - (spectrum_bottom - spectrum_top) * share) + 0.5;
    rule(context, panel_left - 5, y, panel_left, y, 1.0);
    rule(context, panel_left, y, panel_right, y, 0.35);
    const std::string label =
        mark < 1000 ? std::to_string(mark) : std::to_string(mark / 1000) + "k";
    write(context, panel_left - 10, y + 5, label, 13, Align::right, dim_text);
  }
  write(context, panel_left - 10, spectrum_top - 10, "Hz", 13, Align::right, dim_text);
}

void draw_colour_bar(cairo_t* context) {
  constexpr int left = panel_right + 16;
  for (int y = spectrum_top; y < spectrum_bottom; ++y) {
    const double share = static_cast<double>(y - spectrum_top) / (spectrum_bottom - spectrum_top);
    set(context, level_colour(static_cast<float>(loudest_db + (softest_db - loudest_db) * share)));
    cairo_rectangle(context, left, y, 14, 1);
    cairo_fill(context);
  }
  for (int db = 0; db >= static_cast<int>(softest_db); db -= 20) {
    const double y =
        spectrum_top + (spectrum_bottom - spectrum_top) * db / static_cast<double>(softest_db);
    write(context, left + 20, y + 5, std::to_string(db), 13, Align::left, dim_text);
  }
  write(context, left + 20, spectrum_top - 10, "dB", 13, Align::left, dim_text);
}

void draw(cairo_t* context, const AudioAnalysis& analysis, const Caption& caption) {
  set(context, background);
  cairo_paint(context);
  cairo_select_font_face(context, "sans-serif", CAIRO_FONT_SLANT_NORMAL, CAIRO_FONT_WEIGHT_NORMAL);
  // Grey-scale edges: the picture must not depend on the screen that fontconfig assumes.
  cairo_font_options_t* fonts = cairo_font_options_create();
  cairo_font_options_set_antialias(fonts, CAIRO_ANTIALIAS_GRAY);
  cairo_font_options_set_hint_style(fonts, CAIRO_HINT_STYLE_SLIGHT);
  cairo_set_font_options(context, fonts);
  cairo_font_options_destroy(fonts);

  constexpr double room = panel_right - panel_left;
  write(context, panel_left, 40, fit(context, caption.title, 22, 0.6 * room), 22, Align::left,
        text_colour);
  write(context, panel_left, 66, fit(context, caption.detail, 14, room), 14, Align::left, dim_text);
  write(context, panel_right, 40, caption.figures, 15, Align::right, text_colour);
  draw_waveform(context, analysis);
  draw_spectrogram(context, analysis);
  draw_colour_bar(context);
}

struct PngSink {
  OutputFile& file;
  std::string error;
};

}  // namespace

bool draw_picture(const std::string& audio_path, const Caption& caption, OutputFile& png,
                  std::string& error) {
  const auto analysis =
      analyse_audio(audio_path, panel_right - panel_left, spectrum_bottom - spectrum_top, error);
  if (!analysis) return false;
  Surface surface(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width, height));
  Context context(cairo_create(surface.get()));
  draw(context.get(), *analysis, caption);
  cairo_surface_flush(surface.get());
  PngSink sink{png, {}};
  const cairo_status_t status = cairo_surface_write_to_png_stream(
      surface.get(),
      [](void* self, const unsigned char* bytes, unsigned count) {
        auto* target = static_cast<PngSink*>(self);
        return target->file.write(bytes, count, target->error) ? CAIRO_STATUS_SUCCESS
                                                               : CAIRO_STATUS_WRITE_ERROR;
      },
      &sink);
  if (status == CAIRO_STATUS_SUCCESS) return true;
  error = !sink.error.empty() ? sink.error : png.path() + ": " + cairo_status_to_string(status);
  return false;
}

}  // namespace vesk::tools
