// Path data: the grammar of the `d` attribute, elliptical arcs as cubics, and
// the flattening of cubics into chords.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "svg/svg.h"

namespace konib::svg {
namespace {

constexpr double kPi = 3.141592653589793;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == ','; }

// A reader of the number grammar of path data: sign, digits, point, digits,
// exponent. Nothing else is a number: "NaN", "inf" and hexadecimal are not.
class Scanner {
 public:
  explicit Scanner(const std::string& text) : text_(text) {}

  void SkipBlanks() {
    while (at_ < text_.size() && IsBlank(text_[at_])) ++at_;
  }
  bool AtEnd() {
    SkipBlanks();
    return at_ >= text_.size();
  }
  std::size_t at() const { return at_; }
  char Peek() {
    SkipBlanks();
    return at_ < text_.size() ? text_[at_] : '\0';
  }
  char Take() { return text_[at_++]; }
  bool StartsNumber() {
    char c = Peek();
    return c == '+' || c == '-' || c == '.' || std::isdigit(static_cast<unsigned char>(c));
  }

  bool Number(double* value) {
    SkipBlanks();
    std::size_t start = at_;
    std::size_t i = at_;
    if (i < text_.size() && (text_[i] == '+' || text_[i] == '-')) ++i;
    std::size_t digits = 0;
    while (i < text_.size() && std::isdigit(static_cast<unsigned char>(text_[i]))) ++i, ++digits;
    if (i < text_.size() && text_[i] == '.') {
      ++i;
      while (i < text_.size() && std::isdigit(static_cast<unsigned char>(text_[i]))) ++i, ++digits;
    }
    if (digits == 0) return false;
    if (i < text_.size() && (text_[i] == 'e' || text_[i] == 'E')) {
      std::size_t e = i + 1;
      if (e < text_.size() && (text_[e] == '+' || text_[e] == '-')) ++e;
      std::size_t expDigits = 0;
      while (e < text_.size() && std::isdigit(static_cast<unsigned char>(text_[e])))
        ++e, ++expDigits;
      if (expDigits > 0) i = e;
    }
    // strtod reads at most what we measured: copy the token so that a number
    // at the very end of the text needs no terminator in the caller's text.
    std::string token = text_.substr(start, i - start);
    *value = std::strtod(token.c_str(), nullptr);
    if (!std::isfinite(*value)) return false;
    at_ = i;
    return true;
  }

  // An arc flag is one byte, 0 or 1, and needs no separator behind it.
  bool Flag(bool* value) {
    char c = Peek();
    if (c != '0' && c != '1') return false;
    *value = c == '1';
    ++at_;
    return true;
  }

 private:
  const std::string& text_;
  std::size_t at_ = 0;
};

Point Add(Point a, Point b) { return {a.x + b.x, a.y + b.y}; }

// The arc from `from` to `to` as the path grammar states it, as cubics of at
// most a quarter turn each.
void ArcToCubics(Point from, double rx, double ry, double rotation, bool large, bool sweep,
                 Point to, std::vector<Segment>* out) {
  if (from.x == to.x && from.y == to.y) return;
  rx = std::fabs(rx);
  ry = std::fabs(ry);
  if (rx == 0 || ry == 0) {
    out->push_back({false, {}, {}, to});
    return;
  }
  double phi = rotation * kPi / 180;
  double cs = std::cos(phi), sn = std::sin(phi);
  double dx = (from.x - to.x) / 2, dy = (from.y - to.y) / 2;
  double x1 = cs * dx + sn * dy, y1 = -sn * dx + cs * dy;
  double lambda = (x1 * x1) / (rx * rx) + (y1 * y1) / (ry * ry);
  if (lambda > 1) {
    double root = std::sqrt(lambda);
    rx *= root;
    ry *= root;
  }
  double num = rx * rx * ry * ry - rx * rx * y1 * y1 - ry * ry * x1 * x1;
  double den = rx * rx * y1 * y1 + ry * ry * x1 * x1;
  double coef = den > 0 ? std::sqrt(std::max(0.0, num / den)) : 0;
  if (large == sweep) coef = -coef;
  double cx1 = coef * rx * y1 / ry, cy1 = -coef * ry * x1 / rx;
  double cx = cs * cx1 - sn * cy1 + (from.x + to.x) / 2;
  double cy = sn * cx1 + cs * cy1 + (from.y + to.y) / 2;
  double start = std::atan2((y1 - cy1) / ry, (x1 - cx1) / rx);
  double end = std::atan2((-y1 - cy1) / ry, (-x1 - cx1) / rx);
  double delta = end - start;
  if (sweep && delta < 0) delta += 2 * kPi;
  if (!sweep && delta > 0) delta -= 2 * kPi;
  if (!std::isfinite(delta + cx + cy + rx + ry)) {
    // Radii or ends so large that the centre overflows: no arc to speak of.
    out->push_back({false, {}, {}, to});
    return;
  }
  int pieces = std::clamp(static_cast<int>(std::ceil(std::fabs(delta) / (kPi / 2) - 1e-9)), 1, 4);
  double step = delta / pieces;
  double k = 4.0 / 3.0 * std::tan(step / 4);
  auto at = [&](double a) {
    double ex = rx * std::cos(a), ey = ry * std::sin(a);
    return Point{cx + cs * ex - sn * ey, cy + sn * ex + cs * ey};
  };
  auto tangent = [&](double a) {
    double ex = -rx * std::sin(a), ey = ry * std::cos(a);
    return Point{cs * ex - sn * ey, sn * ex + cs * ey};
  };
  for (int i = 0; i < pieces; ++i) {
    double a0 = start + step * i, a1 = a0 + step;
    Point p0 = at(a0), p1 = i + 1 == pieces ? to : at(a1);
    Point t0 = tangent(a0), t1 = tangent(a1);
    out->push_back(
        {true, {p0.x + k * t0.x, p0.y + k * t0.y}, {p1.x - k * t1.x, p1.y - k * t1.y}, p1});
  }
}

}  // namespace

bool ParsePathData(const std::string& d, std::vector<Subpath>* subpaths, std::string* message,
                   std::size_t maxSegments, std::vector<bool>* arcs) {
  std::vector<std::pair<std::size_t, std::size_t>> continued;  // subpath, piece
  Scanner scan(d);
  Point current{0, 0}, start{0, 0}, lastControl{0, 0};
  char previous = 0;  // the command before, for the smooth curves
  char command = 0;
  std::size_t count = 0;
  // Subpaths that hold nothing (a lone move, the start behind a close) draw nothing.
  auto tidy = [&]() {
    if (arcs != nullptr) {  // pieces in order; empty subpaths hold none, so erasing them moves none
      std::vector<std::size_t> first(subpaths->size() + 1, 0);
      for (std::size_t i = 0; i < subpaths->size(); ++i)
        first[i + 1] = first[i] + (*subpaths)[i].segments.size();
      arcs->assign(first.back(), false);
      for (const auto& c : continued) (*arcs)[first[c.first] + c.second] = true;
    }
    subpaths->erase(std::remove_if(subpaths->begin(), subpaths->end(),
                                   [](const Subpath& s) { return s.segments.empty(); }),
                    subpaths->end());
  };
  // What came before the error stays, as a browser draws it.
  auto fail = [&](const char* what) {
    *message = std::string("path data: ") + what + " at byte " + std::to_string(scan.at());
    tidy();
    return false;
  };
  auto segments = [&]() -> std::vector<Segment>& {
    if (subpaths->empty()) subpaths->push_back({current, {}});
    return subpaths->back().segments;
  };
  while (!scan.AtEnd()) {
    char c = scan.Peek();
    if (std::isalpha(static_cast<unsigned char>(c))) {
      command = scan.Take();
      if (std::strchr("MmLlHhVvCcSsQqTtAaZz", command) == nullptr) return fail("unknown command");
    } else if (command == 0) {
      return fail("data before the first command");
    } else if (command == 'Z' || command == 'z') {
      return fail("numbers behind a close command");
    }
    if (command != 'Z' && command != 'z' && !scan.StartsNumber())
      return fail("a number is missing");
    bool relative = std::islower(static_cast<unsigned char>(command)) != 0;
    Point base = relative ? current : Point{0, 0};
    char upper = static_cast<char>(std::toupper(static_cast<unsigned char>(command)));
    double v[7];
    auto numbers = [&](int n) {
      for (int i = 0; i < n; ++i)
        if (!scan.Number(&v[i])) return false;
      return true;
    };
    if (++count > maxSegments) {
      *message = "path data: more than " + std::to_string(maxSegments) + " pieces";
      return false;
    }
    switch (upper) {
      case 'M':
        if (!numbers(2)) return fail("bad number");
        current = start = Add(base, {v[0], v[1]});
        subpaths->push_back({current, {}});
        command = relative ? 'l' : 'L';  // further pairs are lines
        break;
      case 'L':
        if (!numbers(2)) return fail("bad number");
        current = Add(base, {v[0], v[1]});
        segments().push_back({false, {}, {}, current});
        break;
      case 'H':
        if (!numbers(1)) return fail("bad number");
        current = {relative ? current.x + v[0] : v[0], current.y};
        segments().push_back({false, {}, {}, current});
        break;
      case 'V':
        if (!numbers(1)) return fail("bad number");
        current = {current.x, relative ? current.y + v[0] : v[0]};
        segments().push_back({false, {}, {}, current});
        break;
      case 'C': {
        if (!numbers(6)) return fail("bad number");
        Point c1 = Add(base, {v[0], v[1]}), c2 = Add(base, {v[2], v[3]});
        current = Add(base, {v[4], v[5]});
        segments().push_back({true, c1, c2, current});
        lastControl = c2;
        break;
      }
      case 'S': {
        if (!numbers(4)) return fail("bad number");
        Point c1 = (previous == 'C' || previous == 'S')
                       ? Point{2 * current.x - lastControl.x, 2 * current.y - lastControl.y}
                       : current;
        Point c2 = Add(base, {v[0], v[1]});
        current = Add(base, {v[2], v[3]});
        segments().push_back({true, c1, c2, current});
        lastControl = c2;
        break;
      }
      case 'Q':
      case 'T': {
        Point q;
        if (upper == 'Q') {
          if (!numbers(4)) return fail("bad number");
          q = Add(base, {v[0], v[1]});
          v[0] = v[2], v[1] = v[3];
        } else {
          if (!numbers(2)) return fail("bad number");
          q = (previous == 'Q' || previous == 'T')
                  ? Point{2 * current.x - lastControl.x, 2 * current.y - lastControl.y}
                  : current;
        }
        Point to = Add(base, {v[0], v[1]});
        // A quadratic is the cubic whose controls lie two thirds of the way
        // from each end to the quadratic's control.
        segments().push_back(
            {true,
             {current.x + 2.0 / 3 * (q.x - current.x), current.y + 2.0 / 3 * (q.y - current.y)},
             {to.x + 2.0 / 3 * (q.x - to.x), to.y + 2.0 / 3 * (q.y - to.y)},
             to});
        lastControl = q;
        current = to;
        break;
      }
      case 'A': {
        bool large = false, sweep = false;
        if (!numbers(3) || !scan.Flag(&large) || !scan.Flag(&sweep) || !scan.Number(&v[3]) ||
            !scan.Number(&v[4]))
          return fail("bad arc");
        Point to = Add(base, {v[3], v[4]});
        std::size_t before = segments().size();
        ArcToCubics(current, v[0], v[1], v[2], large, sweep, to, &segments());
        for (std::size_t i = before + 1; i < segments().size(); ++i)
          continued.push_back({subpaths->size() - 1, i});
        current = to;
        break;
      }
      case 'Z':
        if (!subpaths->empty() && (current.x != start.x || current.y != start.y))
          segments().push_back({false, {}, {}, start});
        if (!subpaths->empty()) subpaths->back().closed = true;
        current = start;
        // A command after a close starts a new subpath at the same point.
        subpaths->push_back({current, {}});
        break;
    }
    previous = upper;
    if (count > maxSegments || subpaths->size() > maxSegments) {
      *message = "path data: more than " + std::to_string(maxSegments) + " pieces";
      return false;
    }
  }
  tidy();
  return true;
}

void Flatten(const Subpath& subpath, double tolerance, const std::function<void(Point)>& point) {
  Point from = subpath.start;
  for (const Segment& s : subpath.segments) {
    if (!s.curve) {
      point(s.end);
      from = s.end;
      continue;
    }
    // Cut into n equal steps of the parameter: the chord then stays within
    // M / (8 n^2) of the curve, M bounding the second derivative, which for
    // a cubic is 6 times the larger second difference of its controls.
    double ax = from.x - 2 * s.c1.x + s.c2.x, ay = from.y - 2 * s.c1.y + s.c2.y;
    double bx = s.c1.x - 2 * s.c2.x + s.end.x, by = s.c1.y - 2 * s.c2.y + s.end.y;
    double m = 6 * std::max(std::hypot(ax, ay), std::hypot(bx, by));
    double wanted = tolerance > 0 ? std::ceil(std::sqrt(m / (8 * tolerance))) : 4096;
    int n = std::isfinite(wanted) ? static_cast<int>(std::clamp(wanted, 1.0, 4096.0)) : 4096;
    for (int i = 1; i <= n; ++i) {
      double t = static_cast<double>(i) / n, u = 1 - t;
      double a = u * u * u, b = 3 * u * u * t, c = 3 * u * t * t, e = t * t * t;
      point(i == n ? s.end
                   : Point{a * from.x + b * s.c1.x + c * s.c2.x + e * s.end.x,
                           a * from.y + b * s.c1.y + c * s.c2.y + e * s.end.y});
    }
    from = s.end;
  }
}

}  // namespace konib::svg
