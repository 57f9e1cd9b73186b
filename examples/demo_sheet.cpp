// The sample sheet shows what the library does for a plotter: a frame, the
// ten line styles, wide pens, dots, circles and arcs drawn by the device and
// by chords, a nested view, clipping at the sheet's edge, and lettering.
#include "demo_sheet.h"

namespace demo {

namespace {

constexpr double kPi = 3.141592653589793;

}  // namespace

bool SheetJob::Note(int result) {
  if (result == 0) {
    if (firstFailed_ < 0) firstFailed_ = calls_;
    ++failures_;
  }
  ++calls_;
  return result != 0;
}

void SheetJob::Line(double x0, double y0, double x1, double y1) {
  _NibWorld4 line{{x0, y0}, {x1 - x0, y1 - y0}};
  Note(NibDrawLine(plotter_, &line));
}

void SheetJob::Rectangle(double x, double y, double w, double h) {
  Line(x, y, x + w, y);
  Line(x + w, y, x + w, y + h);
  Line(x + w, y + h, x, y + h);
  Line(x, y + h, x, y);
}

void SheetJob::Circle(double x, double y, double r) {
  _NibWorld2 centre{x, y};
  Note(NibDrawArc(plotter_, &centre, r, nullptr));
}

void SheetJob::Arc(double x, double y, double r, double startDegrees, double sweepDegrees) {
  _NibWorld2 centre{x, y};
  _NibWorld2 angles{startDegrees * kPi / 180, sweepDegrees * kPi / 180};
  Note(NibDrawArc(plotter_, &centre, r, &angles));
}

// A small house, drawn in its own coordinates 0..100 into whatever view holds it.
void SheetJob::House() {
  _NibWorld4 window{{0, 0}, {100, 100}};
  Note(NibSetWindow(plotter_, &window));
  Rectangle(10, 0, 80, 60);
  Line(5, 55, 50, 95);
  Line(50, 95, 95, 55);
  Rectangle(40, 0, 20, 35);
  Circle(50, 75, 8);
}

// Lettering in the free corner of the sheet: sizes, angles, the two style
// bits, signs that a device language must escape, and one line of CP932
// kanji and kana where the model declares a kanji font.
void SheetJob::Lettering() {
  Note(NibSetPen(plotter_, 1));
  const struct {
    double x, y, height, degrees;
    uint32_t flags;
    const char* text;
  } labels[] = {
      {20, 85, 6, 0, 0, "KoNib 0.1"},
      {20, 75, 4, 0, 1, "Bold <b> & \"quoted\""},
      {20, 67, 4, 0, 2, "Slanted 'italic' 12345"},
      {20, 58, 3, 0, 0, "a < b > c & d"},
      {120, 20, 4, 30, 0, "30 degrees"},
      {175, 15, 4, 90, 0, "Up 90"},
  };
  for (const auto& label : labels) {
    _NibWorld2 at{label.x, label.y};
    // The usual proportions of plotter lettering: a width of 2/3 of the
    // height, and a pitch of 1.5 widths.
    _NibTextInfo info{label.flags, label.height * 2 / 3, label.height, label.height,
                      label.degrees * kPi / 180};
    Note(NibDrawText(plotter_, &at, label.text, &info));
  }
  unsigned int fonts = 0;
  if (Note(NibQueryFontSupport(plotter_, &fonts)) && (fonts & 8)) {
    _NibWorld2 at{20, 45};
    _NibTextInfo info{0, 5, 5, 5.5, 0};
    // "Kanji: " and the CP932 words for plotter and half-width "kana".
    Note(NibDrawText(plotter_, &at, "Kanji: \x83\x76\x83\x8D\x83\x62\x83\x5E \xB6\xC5", &info));
  }
}

void SheetJob::Sheet() {
  Note(NibSetPen(plotter_, 1));
  Rectangle(5, 5, 390, 267);  // the frame

  for (int style = 0; style < 10; ++style) {  // the ten line styles
    Note(NibSetStyle(plotter_, style));
    double y = 250 - style * 10;
    Line(20, y, 180, y);
  }
  Note(NibSetStyle(plotter_, 0));

  Note(NibSetPen(plotter_, 2));  // a pen of one stroke
  Line(20, 130, 180, 140);
  Note(NibSetPen(plotter_, 3));  // a pen of three strokes, 0.3 apart
  Line(20, 120, 180, 130);

  Note(NibSetPen(plotter_, 4));  // dots
  for (int i = 0; i < 9; ++i) {
    _NibWorld2 dot{20.0 + i * 20, 105};
    Note(NibDrawDot(plotter_, &dot));
  }

  Note(NibSetPen(plotter_, 1));  // circles and arcs drawn by the device
  Circle(240, 220, 25);
  Arc(310, 220, 25, 30, 240);
  Note(NibSetPen(plotter_, 2));  // the same again, dashed: drawn by chords
  Note(NibSetStyle(plotter_, 2));
  Circle(240, 150, 25);
  Note(NibSetStyle(plotter_, 5));
  Arc(310, 150, 25, -60, 300);
  Note(NibSetStyle(plotter_, 0));
  Note(NibSetPen(plotter_, 3));  // a wide pen around a circle
  Circle(360, 90, 20);

  Note(NibSetPen(plotter_, 1));  // a nested view: a house in a rectangle of the sheet
  _NibWorld4 view{{200, 20}, {80, 80}};
  Note(NibSetViewRelative(plotter_, &view));
  House();
  _NibWorld4 inner{{60, 60}, {30, 30}};  // and a smaller one inside it
  Note(NibSetViewRelative(plotter_, &inner));
  House();
  Note(NibSetViewRelative(plotter_, nullptr));
  Note(NibSetViewRelative(plotter_, nullptr));

  Note(NibSetPen(plotter_, 2));  // clipped at the sheet's edge
  Circle(400, 0, 60);
  Line(300, -20, 420, 60);

  Lettering();
}

bool SheetJob::Run() {
  _NibInfo info{};
  for (int i = 0; i < 17; ++i) info.pens[i] = {i, 1, 0.0};
  info.pens[3].strokes = 3;
  info.pens[3].strokeSpacing = 0.3;
  Note(NibSetPlotterInfo(plotter_, NIB_INFO_PENS, &info));
  Note(NibInitiate(plotter_));
  Note(NibStartPage(plotter_));
  Sheet();
  Note(NibEndPage(plotter_));
  Note(NibTerminate(plotter_));
  return failures_ == 0;
}

}  // namespace demo
