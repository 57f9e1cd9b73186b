// What the parts of the SVG reader share among themselves; nothing outside
// svg/ includes it.
#pragma once

#include <cstddef>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "svg/svg.h"

namespace konib::svg::internal {

constexpr double kPi = 3.141592653589793;
constexpr double kMillimetresPerPixel = 25.4 / 96;

// An affine map: x' = a x + c y + e, y' = b x + d y + f.
struct Matrix {
  double a = 1, b = 0, c = 0, d = 1, e = 0, f = 0;
  Point Apply(Point p) const { return {a * p.x + c * p.y + e, b * p.x + d * p.y + f}; }
  Point ApplyVector(Point p) const { return {a * p.x + c * p.y, b * p.x + d * p.y}; }
};

inline Matrix Multiply(const Matrix& m, const Matrix& n) {  // m after n
  return {m.a * n.a + m.c * n.b, m.b * n.a + m.d * n.b,       m.a * n.c + m.c * n.d,
          m.b * n.c + m.d * n.d, m.a * n.e + m.c * n.f + m.e, m.b * n.e + m.d * n.f + m.f};
}

// What an element hands down to its children.
struct Context {
  Matrix matrix;
  std::string stroke;  // normalised; "" for none
  std::string fill = "#000000";
  bool evenOdd = false;   // fill-rule
  bool fillShown = true;  // fill-opacity above 0
  double fontSize = 16;   // user units
};

std::string Trim(const std::string& s);
std::string Lower(std::string s);

// The value of a property: the style attribute's declaration wins over the
// presentation attribute, as in CSS.
std::string Property(const pugi::xml_node& node, const char* name);

// A length with an optional unit, in user units (pixels); false if it is
// no number. Percentages are not lengths here.
bool Length(const std::string& text, double* value);

// A list of numbers separated by blanks or commas, with the path grammar's
// number syntax; false past `limit` numbers or at anything else.
bool Numbers(const std::string& text, std::vector<double>* out, std::size_t limit);

// A <text> element with its tspans: appends what it letters to `texts`, or
// returns false with a message. `line` is where the element starts.
bool ReadText(const pugi::xml_node& node, const Context& context, std::size_t line,
              std::vector<Text>* texts, std::string* message);

}  // namespace konib::svg::internal
