// SPDX-License-Identifier: MIT
#include "cli/panel_drawing.h"

#include <pango/pangocairo.h>

#include <algorithm>
#include <cmath>
#include <memory>
#include <numbers>

#include "cli/exit_status.h"
#include "cli/parameter_text.h"

namespace quorvel::cli {
namespace {

struct Colour {
    double red, green, blue;
};

constexpr Colour grey(int value) {
    return {value / 255.0, value / 255.0, value / 255.0};
}

constexpr Colour kPanel = grey(kPanelGrey.red);
constexpr Colour kStrip = grey(28);
constexpr Colour kHeader = grey(48);
constexpr Colour kLine = grey(27);
constexpr Colour kField = grey(28);
constexpr Colour kFieldEdge = grey(70);
constexpr Colour kTrack = grey(84);
constexpr Colour kText = grey(206);
constexpr Colour kBrightText = grey(236);
constexpr Colour kFaintText = grey(140);
constexpr Colour kDisabled = grey(92);
constexpr Colour kAccent{0.37, 0.66, 0.98};

constexpr char kFontFamilies[] = "Inter, DejaVu Sans, sans-serif";
constexpr double kFontSize = 11.5;
constexpr double kFieldHeight = 18;
constexpr double kControlWidth = 218;
constexpr double kValueWidth = 70;  ///< room for a number before its slider
constexpr double kAngleWidth = 72;  ///< the same before a dial
constexpr double kKnobRadius = 4;
constexpr double kDialRadius = 8.5;
constexpr double kStopwatchX = 21;

template <auto Release>
struct Releaser {
    template <typename Object>
    void operator()(Object* object) const {
        Release(object);
    }
};
using CairoSurface = std::unique_ptr<cairo_surface_t, Releaser<cairo_surface_destroy>>;
using Cairo = std::unique_ptr<cairo_t, Releaser<cairo_destroy>>;
using FontMap = std::unique_ptr<PangoFontMap, Releaser<g_object_unref>>;
using Context = std::unique_ptr<PangoContext, Releaser<g_object_unref>>;
using Layout = std::unique_ptr<PangoLayout, Releaser<g_object_unref>>;
using Font = std::unique_ptr<PangoFontDescription, Releaser<pango_font_description_free>>;

enum class Weight { Normal, Bold };

/// Shapes and text at scale 1 on a picture of another scale.
class Canvas {
public:
    Canvas(int width, int height, int scale)
        : surface_(cairo_image_surface_create(CAIRO_FORMAT_RGB24, width * scale, height * scale)),
          cairo_(cairo_create(surface_.get())),
          fonts_(pango_cairo_font_map_new()) {
        if (cairo_status(cairo_.get()) != CAIRO_STATUS_SUCCESS) {
            throw Failure("the panel cannot be drawn: {}", cairo_status_to_string(cairo_status(cairo_.get())));
        }
        cairo_scale(cairo_.get(), scale, scale);
        // Fonts are laid out for a picture of this scale, in grey levels, so that every system draws the same.
        pango_cairo_font_map_set_resolution(PANGO_CAIRO_FONT_MAP(fonts_.get()), 96);
        context_.reset(pango_font_map_create_context(fonts_.get()));
        cairo_font_options_t* options = cairo_font_options_create();
        cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
        cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_SLIGHT);
        cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
        pango_cairo_context_set_font_options(context_.get(), options);
        cairo_font_options_destroy(options);
    }

    void rectangle(double x, double y, double width, double height, const Colour& colour) {
        cairo_rectangle(cairo_.get(), x, y, width, height);
        fill(colour);
    }

    void roundedRectangle(double x, double y, double width, double height, double radius, const Colour& inside,
                          const Colour& edge) {
        constexpr double kQuarter = std::numbers::pi / 2;
        cairo_t* cairo = cairo_.get();
        // Half a pixel in, so that the edge is one sharp pixel wide.
        const double left = x + 0.5;
        const double top = y + 0.5;
        const double right = x + width - 0.5;
        const double bottom = y + height - 0.5;
        cairo_new_sub_path(cairo);
        cairo_arc(cairo, right - radius, top + radius, radius, -kQuarter, 0);
        cairo_arc(cairo, right - radius, bottom - radius, radius, 0, kQuarter);
        cairo_arc(cairo, left + radius, bottom - radius, radius, kQuarter, 2 * kQuarter);
        cairo_arc(cairo, left + radius, top + radius, radius, 2 * kQuarter, 3 * kQuarter);
        cairo_close_path(cairo);
        set(inside);
        cairo_fill_preserve(cairo);
        stroke(edge, 1);
    }

    void disc(double x, double y, double radius, const Colour& colour) {
        cairo_new_sub_path(cairo_.get());
        cairo_arc(cairo_.get(), x, y, radius, 0, 2 * std::numbers::pi);
        fill(colour);
    }

    void ring(double x, double y, double radius, const Colour& colour, double thickness) {
        cairo_new_sub_path(cairo_.get());
        cairo_arc(cairo_.get(), x, y, radius, 0, 2 * std::numbers::pi);
        stroke(colour, thickness);
    }

    void line(double x1, double y1, double x2, double y2, const Colour& colour, double thickness) {
        cairo_move_to(cairo_.get(), x1, y1);
        cairo_line_to(cairo_.get(), x2, y2);
        stroke(colour, thickness);
    }

    /// Two strokes that meet in a point below (x, y): the mark of a list.
    void chevron(double x, double y, double size, const Colour& colour) {
        cairo_move_to(cairo_.get(), x - size, y - size / 2);
        cairo_line_to(cairo_.get(), x, y + size / 2);
        cairo_line_to(cairo_.get(), x + size, y - size / 2);
        stroke(colour, 1.3);
    }

    /// Text from x on, centred on y in height, cut with an ellipsis at `room`. Returns its width.
    double text(double x, double y, const std::string& words, const Colour& colour, double room,
                Weight weight = Weight::Normal) {
        const Layout layout = layOut(words, room, weight);
        int width = 0;
        pango_layout_get_size(layout.get(), &width, nullptr);
        const double baseline = pango_layout_get_baseline(layout.get()) / double{PANGO_SCALE};
        // What the eye takes for the middle of a line lies a third of the letters' size above the baseline.
        cairo_move_to(cairo_.get(), x, std::round(y + kFontSize * 0.36) - baseline);
        set(colour);
        pango_cairo_show_layout(cairo_.get(), layout.get());
        return width / double{PANGO_SCALE};
    }

    /// The same, ending at x.
    void textBefore(double x, double y, const std::string& words, const Colour& colour, double room) {
        const Layout layout = layOut(words, room, Weight::Normal);
        int width = 0;
        pango_layout_get_size(layout.get(), &width, nullptr);
        text(x - width / double{PANGO_SCALE}, y, words, colour, room);
    }

    host::Surface finish() {
        cairo_surface_flush(surface_.get());
        if (cairo_status(cairo_.get()) != CAIRO_STATUS_SUCCESS) {
            throw Failure("the panel cannot be drawn: {}", cairo_status_to_string(cairo_status(cairo_.get())));
        }
        host::Surface picture(cairo_image_surface_get_width(surface_.get()),
                              cairo_image_surface_get_height(surface_.get()));
        const unsigned char* row = cairo_image_surface_get_data(surface_.get());
        for (int y = 0; y < picture.height(); ++y, row += cairo_image_surface_get_stride(surface_.get())) {
            for (int x = 0; x < picture.width(); ++x) {
                const unsigned char* pixel = row + 4 * x;  // blue, green, red on the machines that hosts run on
                picture.at(x, y) = {255, pixel[2], pixel[1], pixel[0]};
            }
        }
        return picture;
    }

private:
    Layout layOut(const std::string& words, double room, Weight weight) {
        Layout layout(pango_layout_new(context_.get()));
        const Font font(pango_font_description_from_string(kFontFamilies));
        pango_font_description_set_absolute_size(font.get(), kFontSize * PANGO_SCALE);
        pango_font_description_set_weight(font.get(),
                                          weight == Weight::Bold ? PANGO_WEIGHT_SEMIBOLD : PANGO_WEIGHT_NORMAL);
        pango_layout_set_font_description(layout.get(), font.get());
        pango_layout_set_single_paragraph_mode(layout.get(), TRUE);
        pango_layout_set_ellipsize(layout.get(), PANGO_ELLIPSIZE_END);
        pango_layout_set_width(layout.get(), static_cast<int>(room * PANGO_SCALE));
        pango_layout_set_text(layout.get(), words.data(), static_cast<int>(words.size()));
        return layout;
    }
    void set(const Colour& colour) { cairo_set_source_rgb(cairo_.get(), colour.red, colour.green, colour.blue); }
    void fill(const Colour& colour) {
        set(colour);
        cairo_fill(cairo_.get());
    }
    void stroke(const Colour& colour, double thickness) {
        set(colour);
        cairo_set_line_width(cairo_.get(), thickness);
        cairo_stroke(cairo_.get());
    }

    CairoSurface surface_;
    Cairo cairo_;
    FontMap fonts_;
    Context context_;
};

std::string fixedDecimals(double value, int decimals) {
    return fmt::format("{:.{}f}", value, std::clamp(decimals, 0, 9));
}

/// A slider's value and where it lies in the slider's range, 0 to 1.
struct SliderState {
    std::string text;
    double position;
};

SliderState sliderState(const PF_ParamDef& def) {
    constexpr double kFixedOne = 65536.0;
    const bool isFixed = def.param_type == PF_Param_FIX_SLIDER;
    const PF_FixedSliderDef& fixed = def.u.fd;
    const PF_FloatSliderDef& real = def.u.fs_d;
    const double value = isFixed ? fixed.value / kFixedOne : real.value;
    const double minimum = isFixed ? fixed.slider_min / kFixedOne : static_cast<double>(real.slider_min);
    const double maximum = isFixed ? fixed.slider_max / kFixedOne : static_cast<double>(real.slider_max);
    const int precision = isFixed ? fixed.precision : real.precision;
    const bool percent = ((isFixed ? fixed.display_flags : real.display_flags) & PF_ValueDisplayFlag_PERCENT) != 0;
    // The declared decimals are the value's own: two of them lie before the point of a percentage.
    std::string text = percent ? fixedDecimals(value * 100, precision - 2) + " %" : fixedDecimals(value, precision);
    const double position = maximum > minimum ? std::clamp((value - minimum) / (maximum - minimum), 0.0, 1.0) : 0.0;
    return {std::move(text), position};
}

double degreesOf(const PF_ParamDef& def) {
    return def.u.ad.value / 65536.0;
}

/// Whole turns and the rest in degrees, both of one sign: "-1x -3.8°".
std::string angleText(double degrees) {
    const double turns = std::trunc(degrees / 360);
    return fmt::format("{}{:.0f}x {:+.1f}\u00B0", turns < 0 ? "-" : "", std::abs(turns), degrees - 360 * turns);
}

class PanelPainter {
public:
    PanelPainter(Canvas& canvas, const PanelLayout& layout, const PanelContent& content)
        : canvas_(canvas), layout_(layout), content_(content) {}

    void paint() {
        canvas_.rectangle(0, 0, layout_.width, layout_.height, kPanel);
        paintStrip();
        paintHeader();
        for (const PanelRow& row : layout_.rows) {
            if (&row != &layout_.rows.back()) {
                canvas_.rectangle(0, row.top + row.height - 1, layout_.width, 1, kLine);
            }
            paintRow(row);
        }
    }

private:
    double right() const { return layout_.width - layout_.margin; }

    void paintStrip() {
        canvas_.rectangle(0, 0, layout_.width, layout_.tabHeight, kStrip);
        const double middle = layout_.tabHeight / 2.0;
        const double width = canvas_.text(layout_.margin, middle, "Effect Controls", kBrightText, 200);
        canvas_.rectangle(layout_.margin, layout_.tabHeight - 2, width, 2, kAccent);
        canvas_.textBefore(right(), middle, content_.hostName, kFaintText, 220);
    }

    void paintHeader() {
        const double top = layout_.tabHeight;
        const double middle = top + layout_.headerHeight / 2.0;
        canvas_.rectangle(0, top, layout_.width, layout_.headerHeight, kHeader);
        canvas_.chevron(layout_.margin + 4, middle, 4, kText);
        canvas_.roundedRectangle(layout_.nameLeft, middle - 8, 21, 16, 3, kPanel, kFaintText);
        canvas_.text(layout_.nameLeft + 5.5, middle, "fx", kBrightText, 40);
        canvas_.text(layout_.nameLeft + 30, middle, content_.effectName, kBrightText, 200, Weight::Bold);
        canvas_.textBefore(right(), middle, "Reset", kAccent, 60);
    }

    void paintRow(const PanelRow& row) {
        const host::Parameter& parameter = *row.parameter;
        const PF_ParamDef& def = content_.values.at(parameter.index);
        const bool enabled = content_.panel.enabled(parameter.index);
        const Colour ink = enabled ? kText : kDisabled;
        const Colour accent = enabled ? kAccent : kDisabled;
        const double middle = row.top + (row.height - 1) / 2.0;
        if (!parameter.customUI || (def.ui_flags & PF_PUI_TOPIC) == 0) {
            canvas_.text(layout_.nameLeft, middle, parameter.name(), ink, layout_.controlLeft - layout_.nameLeft - 8);
        }
        switch (kindOf(parameter)) {
            case ParameterKind::Choice: {
                const auto number = static_cast<std::size_t>(def.u.pd.value);
                const bool known = number >= 1 && number <= parameter.choices.size();
                paintStopwatch(def, middle, ink);
                paintChoice(middle, known ? parameter.choices[number - 1] : "", ink);
                break;
            }
            case ParameterKind::Layer: {
                const auto layer = content_.layers.find(parameter.index);
                paintChoice(middle, layer != content_.layers.end() ? layer->second : "None", ink);
                break;
            }
            case ParameterKind::Slider:
                paintStopwatch(def, middle, ink);
                paintSlider(middle, sliderState(def), accent, enabled);
                break;
            case ParameterKind::Angle:
                paintStopwatch(def, middle, ink);
                paintDial(middle, degreesOf(def), accent, ink);
                break;
            case ParameterKind::Control:
            case ParameterKind::Other:
                break;
        }
    }

    /// The mark of a parameter that may change over time.
    void paintStopwatch(const PF_ParamDef& def, double middle, const Colour& ink) {
        if ((def.flags & PF_ParamFlag_CANNOT_TIME_VARY) == 0) {
            canvas_.ring(kStopwatchX, middle + 1, 4.5, ink, 1.1);
            canvas_.line(kStopwatchX, middle + 1, kStopwatchX + 1.8, middle - 0.8, ink, 1.1);
            canvas_.line(kStopwatchX - 1.5, middle - 5.5, kStopwatchX + 1.5, middle - 5.5, ink, 1.3);
        }
    }

    void paintChoice(double middle, const std::string& chosen, const Colour& ink) {
        const double top = std::round(middle - kFieldHeight / 2);
        canvas_.roundedRectangle(layout_.controlLeft, top, kControlWidth, kFieldHeight, 3, kField, kFieldEdge);
        canvas_.text(layout_.controlLeft + 8, middle, chosen, ink, kControlWidth - 32);
        canvas_.chevron(layout_.controlLeft + kControlWidth - 13, middle, 3.5, ink);
    }

    void paintSlider(double middle, const SliderState& state, const Colour& accent, bool enabled) {
        canvas_.text(layout_.controlLeft, middle, state.text, accent, kValueWidth - 6);
        const double left = layout_.controlLeft + kValueWidth;
        const double end = layout_.controlLeft + kControlWidth - kKnobRadius;
        const double knob = left + state.position * (end - left);
        const double track = std::round(middle) - 1;
        canvas_.rectangle(left, track, end - left, 2, enabled ? kTrack : kFieldEdge);
        canvas_.rectangle(left, track, knob - left, 2, accent);
        canvas_.disc(knob, track + 1, kKnobRadius + 1, kPanel);
        canvas_.disc(knob, track + 1, kKnobRadius, enabled ? kBrightText : kDisabled);
    }

    /// 0 degrees points up, and angles turn clockwise.
    void paintDial(double middle, double degrees, const Colour& accent, const Colour& ink) {
        canvas_.text(layout_.controlLeft, middle, angleText(degrees), accent, kAngleWidth);
        const double x = layout_.controlLeft + kAngleWidth + kDialRadius + 4;
        const double angle = degrees * std::numbers::pi / 180;
        canvas_.disc(x, middle, kDialRadius, kField);
        canvas_.ring(x, middle, kDialRadius, ink, 1.2);
        canvas_.line(x, middle, x + std::sin(angle) * (kDialRadius - 1), middle - std::cos(angle) * (kDialRadius - 1),
                     accent, 1.6);
    }

    Canvas& canvas_;
    const PanelLayout& layout_;
    const PanelContent& content_;
};

}  // namespace

host::Surface drawPanel(const PanelLayout& layout, const PanelContent& content, int scale) {
    Canvas canvas(layout.width, layout.height, scale);
    PanelPainter(canvas, layout, content).paint();
    return canvas.finish();
}

}  // namespace quorvel::cli
