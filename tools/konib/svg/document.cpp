// The document walk of the SVG reader: the root's page and viewBox, nested
// transforms, inherited stroke, fill and font size, and the shape elements.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pugixml.hpp>
#include <utility>

#include "svg/internal.h"
#include "svg/svg.h"

namespace konib::svg {
namespace {

using namespace internal;

struct Colour {
  const char* name;
  const char* hex;
};

// The colours a drawing program writes by name most often.
const Colour kColours[] = {
    {"black", "#000000"},   {"white", "#ffffff"},     {"red", "#ff0000"},
    {"green", "#008000"},   {"blue", "#0000ff"},      {"yellow", "#ffff00"},
    {"cyan", "#00ffff"},    {"magenta", "#ff00ff"},   {"orange", "#ffa500"},
    {"purple", "#800080"},  {"teal", "#008080"},      {"gray", "#808080"},
    {"grey", "#808080"},    {"brown", "#a52a2a"},     {"navy", "#000080"},
    {"maroon", "#800000"},  {"olive", "#808000"},     {"lime", "#00ff00"},
    {"aqua", "#00ffff"},    {"fuchsia", "#ff00ff"},   {"silver", "#c0c0c0"},
    {"pink", "#ffc0cb"},    {"gold", "#ffd700"},      {"violet", "#ee82ee"},
    {"indigo", "#4b0082"},  {"darkgreen", "#006400"}, {"darkblue", "#00008b"},
    {"darkred", "#8b0000"},
};

bool ParseTransform(const std::string& text, Matrix* result) {
  std::size_t at = 0;
  Matrix total;
  while (true) {
    while (at < text.size() &&
           (std::isspace(static_cast<unsigned char>(text[at])) || text[at] == ','))
      ++at;
    if (at >= text.size()) break;
    std::size_t open = text.find('(', at), close = text.find(')', at);
    if (open == std::string::npos || close == std::string::npos || close < open) return false;
    std::string name = Trim(text.substr(at, open - at));
    std::vector<double> v;
    if (!Numbers(text.substr(open + 1, close - open - 1), &v, 6)) return false;
    Matrix m;
    std::size_t n = v.size();
    if (name == "matrix" && n == 6) {
      m = {v[0], v[1], v[2], v[3], v[4], v[5]};
    } else if (name == "translate" && (n == 1 || n == 2)) {
      m.e = v[0];
      m.f = n == 2 ? v[1] : 0;
    } else if (name == "scale" && (n == 1 || n == 2)) {
      m.a = v[0];
      m.d = n == 2 ? v[1] : v[0];
    } else if (name == "rotate" && (n == 1 || n == 3)) {
      double r = v[0] * kPi / 180, cx = n == 3 ? v[1] : 0, cy = n == 3 ? v[2] : 0;
      Matrix turn{std::cos(r), std::sin(r), -std::sin(r), std::cos(r), 0, 0};
      m = Multiply(Multiply(Matrix{1, 0, 0, 1, cx, cy}, turn), Matrix{1, 0, 0, 1, -cx, -cy});
    } else if (name == "skewX" && n == 1) {
      m.c = std::tan(v[0] * kPi / 180);
    } else if (name == "skewY" && n == 1) {
      m.b = std::tan(v[0] * kPi / 180);
    } else {
      return false;
    }
    total = Multiply(total, m);
    at = close + 1;
  }
  *result = total;
  return true;
}

// Elements whose content is never drawn where it stands.
bool IsHidden(const char* name) {
  static const char* const kHidden[] = {
      "defs",  "clipPath", "mask",     "symbol",         "marker",         "pattern", "style",
      "title", "desc",     "metadata", "linearGradient", "radialGradient", "filter",  "script"};
  for (const char* h : kHidden)
    if (std::strcmp(name, h) == 0) return true;
  return false;
}

class Reader {
 public:
  Reader(const char* data, std::size_t size, const Limits& limits, Drawing* drawing, Error* error)
      : data_(data), size_(size), limits_(limits), drawing_(drawing), error_(error) {}

  bool Read();

 private:
  // Every element asks for its line, so the line ends are found once and
  // searched: counting from the top each time made reading quadratic.
  std::size_t LineAt(std::ptrdiff_t offset) {
    if (offset < 0) return 0;
    if (lineEnds_.empty()) {
      for (const char* at = data_;
           (at = static_cast<const char*>(std::memchr(at, '\n', size_ - (at - data_)))) != nullptr;
           ++at)
        lineEnds_.push_back(static_cast<std::size_t>(at - data_));
      lineEnds_.push_back(size_);  // a sentinel, so that the list is never empty again
    }
    std::size_t end = std::min(static_cast<std::size_t>(offset), size_);
    auto below = std::lower_bound(lineEnds_.begin(), lineEnds_.end() - 1, end);
    return 1 + static_cast<std::size_t>(below - lineEnds_.begin());
  }
  bool Fail(const pugi::xml_node& node, const std::string& message) {
    error_->message = message;
    error_->line = node ? LineAt(node.offset_debug()) : 0;
    error_->element = node ? node.name() : "";
    return false;
  }
  bool Page(const pugi::xml_node& root, Matrix* matrix);
  bool Walk(const pugi::xml_node& root, const Context& top);
  bool Element(const pugi::xml_node& node, const Context& context);
  bool Shape(const pugi::xml_node& node, const Context& context, std::vector<Subpath> subpaths);
  bool Attribute(const pugi::xml_node& node, const char* name, double* value, double fallback);

  const char* data_;
  std::size_t size_;
  const Limits& limits_;
  Drawing* drawing_;
  Error* error_;
  std::size_t elements_ = 0;
  std::size_t segments_ = 0;
  std::vector<std::size_t> lineEnds_;  // offsets of the newlines, then size_
};

bool Reader::Attribute(const pugi::xml_node& node, const char* name, double* value,
                       double fallback) {
  std::string text = Trim(node.attribute(name).value());
  if (text.empty()) {
    *value = fallback;
    return true;
  }
  if (Length(text, value)) return true;
  return Fail(node, std::string("attribute ") + name + " is not a length: \"" + text + "\"");
}

// The page: width and height give its size, the viewBox the user units that
// fill it (centred, aspect kept, unless preserveAspectRatio is none).
bool Reader::Page(const pugi::xml_node& root, Matrix* matrix) {
  std::vector<double> box;
  std::string viewBox = root.attribute("viewBox").value();
  if (!viewBox.empty() &&
      (!Numbers(viewBox, &box, 4) || box.size() != 4 || box[2] <= 0 || box[3] <= 0))
    return Fail(root, "viewBox is not four numbers with a positive width and height");
  double width = 0, height = 0;
  std::string w = Trim(root.attribute("width").value()), h = Trim(root.attribute("height").value());
  bool haveWidth = !w.empty() && Length(w, &width) && width > 0;
  bool haveHeight = !h.empty() && Length(h, &height) && height > 0;
  if (!box.empty()) {
    if (!haveWidth && !haveHeight)
      width = box[2], height = box[3];
    else if (!haveWidth)
      width = height * box[2] / box[3];
    else if (!haveHeight)
      height = width * box[3] / box[2];
    double sx = width / box[2], sy = height / box[3];
    double tx = 0, ty = 0;
    if (Trim(root.attribute("preserveAspectRatio").value()).rfind("none", 0) != 0) {
      double s = std::min(sx, sy);
      tx = (width - box[2] * s) / 2;
      ty = (height - box[3] * s) / 2;
      sx = sy = s;
    }
    *matrix = {sx, 0, 0, sy, tx - box[0] * sx, ty - box[1] * sy};
  } else if (!haveWidth || !haveHeight) {
    return Fail(root, "the document has neither a viewBox nor a width and height");
  }
  drawing_->width = width * kMillimetresPerPixel;
  drawing_->height = height * kMillimetresPerPixel;
  // From here on every point is in millimetres.
  *matrix = Multiply(Matrix{kMillimetresPerPixel, 0, 0, kMillimetresPerPixel, 0, 0}, *matrix);
  return true;
}

bool Reader::Read() {
  std::size_t markup = static_cast<std::size_t>(std::count(data_, data_ + size_, '<'));
  if (markup > limits_.maxMarkup)
    return Fail({}, "more than " + std::to_string(limits_.maxMarkup) + " tags");
  pugi::xml_document document;
  pugi::xml_parse_result parsed = document.load_buffer(
      data_, size_, pugi::parse_default | pugi::parse_doctype, pugi::encoding_utf8);
  if (!parsed) {
    error_->message = std::string("not well-formed XML: ") + parsed.description();
    error_->line = LineAt(parsed.offset);
    return false;
  }
  for (pugi::xml_node node = document.first_child(); node; node = node.next_sibling()) {
    // The parser expands no entity of its own, but a declaration in the
    // document is an attempt to make it, and is refused as such.
    if (node.type() == pugi::node_doctype && std::strstr(node.value(), "ENTITY") != nullptr)
      return Fail(node, "entity declarations are not supported");
  }
  pugi::xml_node root = document.document_element();
  if (std::strcmp(root.name(), "svg") != 0) return Fail(root, "the document is not SVG");
  Context top;
  if (!Page(root, &top.matrix)) return false;
  return Walk(root, top);
}

// Depth first, with an explicit stack, so that a deep document costs memory
// in proportion and no recursion.
bool Reader::Walk(const pugi::xml_node& root, const Context& top) {
  struct Level {
    pugi::xml_node node;
    Context context;
  };
  std::vector<Level> stack;
  Matrix rootOwn;
  if (!ParseTransform(root.attribute("transform").value(), &rootOwn))
    return Fail(root, "bad transform");
  stack.push_back({root, top});
  stack.back().context.matrix = Multiply(top.matrix, rootOwn);
  std::vector<pugi::xml_node> next{root.first_child()};
  while (!stack.empty()) {
    pugi::xml_node node = next.back();
    if (!node) {
      stack.pop_back();
      next.pop_back();
      if (!next.empty()) next.back() = next.back().next_sibling();
      continue;
    }
    if (node.type() != pugi::node_element) {
      next.back() = node.next_sibling();
      continue;
    }
    if (++elements_ > limits_.maxElements)
      return Fail(node, "more than " + std::to_string(limits_.maxElements) + " elements");
    const Context& parent = stack.back().context;
    Context context = parent;
    std::string display = Property(node, "display"), visibility = Property(node, "visibility");
    bool hidden = IsHidden(node.name()) || display == "none" || visibility == "hidden";
    if (!hidden) {
      Matrix own;
      if (!ParseTransform(node.attribute("transform").value(), &own))
        return Fail(node,
                    "bad transform: \"" + std::string(node.attribute("transform").value()) + "\"");
      context.matrix = Multiply(parent.matrix, own);
      std::string stroke = Property(node, "stroke"), fill = Property(node, "fill");
      if (!stroke.empty() && stroke != "inherit") context.stroke = NormaliseColour(stroke);
      if (!fill.empty() && fill != "inherit") context.fill = NormaliseColour(fill);
      std::string rule = Property(node, "fill-rule"), opacity = Property(node, "fill-opacity");
      if (rule == "evenodd" || rule == "nonzero") context.evenOdd = rule == "evenodd";
      if (!opacity.empty() && opacity != "inherit")
        context.fillShown = !(std::atof(opacity.c_str()) <= 0);
      std::string font = Property(node, "font-size");
      double size = 0;
      if (!font.empty() && Length(font, &size) && size > 0) context.fontSize = size;
    }
    bool container =
        !hidden && (std::strcmp(node.name(), "g") == 0 || std::strcmp(node.name(), "svg") == 0 ||
                    std::strcmp(node.name(), "a") == 0 || std::strcmp(node.name(), "switch") == 0);
    if (!hidden && !container && !Element(node, context)) return false;
    if (container && node.first_child()) {
      if (stack.size() >= limits_.maxDepth)
        return Fail(node,
                    "elements nested more than " + std::to_string(limits_.maxDepth) + " deep");
      stack.push_back({node, context});
      next.push_back(node.first_child());
    } else {
      next.back() = node.next_sibling();
    }
  }
  return true;
}

bool Reader::Element(const pugi::xml_node& node, const Context& context) {
  std::string name = node.name();
  std::vector<Subpath> subpaths;
  if (name == "path" || name == "polyline" || name == "polygon") {
    const char* attribute = name == "path" ? "d" : "points";
    std::string d = node.attribute(attribute).value();
    if (d.size() > limits_.maxPathData)
      return Fail(node, std::string(attribute) + " is longer than " +
                            std::to_string(limits_.maxPathData) + " bytes");
    if (name == "path") {
      std::string message;
      if (!ParsePathData(d, &subpaths, &message, limits_.maxSegments - segments_))
        return Fail(node, message);
    } else {
      std::vector<double> v;
      if (!Numbers(d, &v, limits_.maxSegments - segments_) || v.size() % 2 != 0)
        return Fail(node, "points is not a list of coordinate pairs");
      if (v.size() >= 4) {
        subpaths.push_back({{v[0], v[1]}, {}});
        for (std::size_t i = 2; i < v.size(); i += 2)
          subpaths[0].segments.push_back({false, {}, {}, {v[i], v[i + 1]}});
        if (name == "polygon") subpaths[0].segments.push_back({false, {}, {}, {v[0], v[1]}});
      }
    }
  } else if (name == "line") {
    double x1, y1, x2, y2;
    if (!Attribute(node, "x1", &x1, 0) || !Attribute(node, "y1", &y1, 0) ||
        !Attribute(node, "x2", &x2, 0) || !Attribute(node, "y2", &y2, 0))
      return false;
    subpaths.push_back({{x1, y1}, {{false, {}, {}, {x2, y2}}}});
  } else if (name == "rect") {
    double x, y, w, h, rx, ry;
    if (!Attribute(node, "x", &x, 0) || !Attribute(node, "y", &y, 0) ||
        !Attribute(node, "width", &w, 0) || !Attribute(node, "height", &h, 0) ||
        !Attribute(node, "rx", &rx, -1) || !Attribute(node, "ry", &ry, -1))
      return false;
    if (w <= 0 || h <= 0) return true;  // a rectangle without area is not drawn
    if (rx < 0) rx = ry;
    if (ry < 0) ry = rx;
    rx = std::clamp(rx, 0.0, w / 2);
    ry = std::clamp(ry, 0.0, h / 2);
    char d[1024];
    if (rx > 0 && ry > 0)
      std::snprintf(
          d, sizeof d,
          "M%.17g %.17gH%.17gA%.17g %.17g 0 0 1 %.17g %.17gV%.17gA%.17g %.17g 0 0 1 %.17g %.17g"
          "H%.17gA%.17g %.17g 0 0 1 %.17g %.17gV%.17gA%.17g %.17g 0 0 1 %.17g %.17gZ",
          x + rx, y, x + w - rx, rx, ry, x + w, y + ry, y + h - ry, rx, ry, x + w - rx, y + h,
          x + rx, rx, ry, x, y + h - ry, y + ry, rx, ry, x + rx, y);
    else
      std::snprintf(d, sizeof d, "M%.17g %.17gH%.17gV%.17gH%.17gZ", x, y, x + w, y + h, x);
    std::string message;
    if (!ParsePathData(d, &subpaths, &message, 64)) return Fail(node, message);
  } else if (name == "circle" || name == "ellipse") {
    double cx, cy, rx, ry;
    if (!Attribute(node, "cx", &cx, 0) || !Attribute(node, "cy", &cy, 0)) return false;
    if (name == "circle") {
      if (!Attribute(node, "r", &rx, 0)) return false;
      ry = rx;
    } else if (!Attribute(node, "rx", &rx, 0) || !Attribute(node, "ry", &ry, 0)) {
      return false;
    }
    if (rx <= 0 || ry <= 0) return true;
    char d[512];
    std::snprintf(d, sizeof d,
                  "M%.17g %.17gA%.17g %.17g 0 0 1 %.17g %.17gA%.17g %.17g 0 0 1 %.17g %.17gZ",
                  cx + rx, cy, rx, ry, cx - rx, cy, rx, ry, cx + rx, cy);
    std::string message;
    if (!ParsePathData(d, &subpaths, &message, 64)) return Fail(node, message);
  } else if (name == "text") {
    std::string message;
    if (!ReadText(node, context, LineAt(node.offset_debug()), &drawing_->texts, &message))
      return Fail(node, message);
    return true;
  } else {
    return true;  // an element that draws nothing a plotter could
  }
  return Shape(node, context, std::move(subpaths));
}

bool Reader::Shape(const pugi::xml_node& node, const Context& context,
                   std::vector<Subpath> subpaths) {
  std::string colour = !context.stroke.empty() ? context.stroke : context.fill;
  if (colour.empty() || subpaths.empty()) return true;
  std::size_t count = 0;
  for (Subpath& s : subpaths) {
    s.start = context.matrix.Apply(s.start);
    for (Segment& g : s.segments) {
      g.c1 = context.matrix.Apply(g.c1);
      g.c2 = context.matrix.Apply(g.c2);
      g.end = context.matrix.Apply(g.end);
      if (!std::isfinite(g.c1.x + g.c1.y + g.c2.x + g.c2.y + g.end.x + g.end.y))
        return Fail(node, "a coordinate is not finite after its transforms");
    }
    if (!std::isfinite(s.start.x + s.start.y))
      return Fail(node, "a coordinate is not finite after its transforms");
    count += s.segments.size();
  }
  segments_ += count;
  if (segments_ > limits_.maxSegments)
    return Fail(node,
                "the drawing has more than " + std::to_string(limits_.maxSegments) + " pieces");
  drawing_->shapes.push_back({colour, std::move(subpaths), LineAt(node.offset_debug()),
                              context.stroke, context.fillShown ? context.fill : std::string(),
                              context.evenOdd});
  return true;
}

}  // namespace

namespace internal {

std::string Trim(const std::string& s) {
  std::size_t b = s.find_first_not_of(" \t\r\n"), e = s.find_last_not_of(" \t\r\n");
  return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

// The value of a property: the style attribute's declaration wins over the
// presentation attribute, as in CSS.
std::string Property(const pugi::xml_node& node, const char* name) {
  std::string style = node.attribute("style").value();
  std::size_t at = 0;
  std::string found;
  bool have = false;
  while (at < style.size()) {
    std::size_t end = style.find(';', at);
    if (end == std::string::npos) end = style.size();
    std::string item = style.substr(at, end - at);
    std::size_t colon = item.find(':');
    if (colon != std::string::npos && Lower(Trim(item.substr(0, colon))) == name) {
      found = Trim(item.substr(colon + 1));
      have = true;
    }
    at = end + 1;
  }
  if (have) return found;
  return Trim(node.attribute(name).value());
}

// A length with an optional unit, in user units (pixels); false if it is
// no number. Percentages are not lengths here.
bool Length(const std::string& text, double* value) {
  const char* s = text.c_str();
  char* end = nullptr;
  double v = std::strtod(s, &end);
  if (end == s || !std::isfinite(v)) return false;
  std::string unit = Lower(Trim(end));
  static const std::pair<const char*, double> kUnits[] = {{"", 1},
                                                          {"px", 1},
                                                          {"mm", 1 / kMillimetresPerPixel},
                                                          {"cm", 10 / kMillimetresPerPixel},
                                                          {"in", 96},
                                                          {"pt", 96.0 / 72},
                                                          {"pc", 16}};
  for (const auto& u : kUnits) {
    if (unit == u.first) {
      *value = v * u.second;
      return std::isfinite(*value);
    }
  }
  return false;
}

// A list of numbers separated by blanks or commas, with the path grammar's
// number syntax.
bool Numbers(const std::string& text, std::vector<double>* out, std::size_t limit) {
  const char* s = text.c_str();
  while (true) {
    while (*s == ' ' || *s == ',' || *s == '\t' || *s == '\r' || *s == '\n') ++s;
    if (*s == '\0') return true;
    if (!(*s == '+' || *s == '-' || *s == '.' || std::isdigit(static_cast<unsigned char>(*s))))
      return false;  // also "nan" and "inf", which strtod would take
    char* end = nullptr;
    double v = std::strtod(s, &end);
    if (end == s || !std::isfinite(v) || out->size() >= limit) return false;
    out->push_back(v);
    s = end;
  }
}

}  // namespace internal

std::string NormaliseColour(const std::string& given) {
  std::string text = Lower(Trim(given));
  if (text.empty() || text == "none" || text == "transparent") return "";
  if (text == "currentcolor") return "#000000";
  char hex[8];
  if (text[0] == '#') {
    std::string digits = text.substr(1);
    if (digits.find_first_not_of("0123456789abcdef") != std::string::npos) return text;
    if (digits.size() == 3) {
      std::snprintf(hex, sizeof hex, "#%c%c%c%c%c%c", digits[0], digits[0], digits[1], digits[1],
                    digits[2], digits[2]);
      return hex;
    }
    return text;
  }
  if (text.rfind("rgb(", 0) == 0 && text.back() == ')') {
    std::vector<double> v;
    std::string inside = text.substr(4, text.size() - 5);
    bool percent = inside.find('%') != std::string::npos;
    inside.erase(std::remove(inside.begin(), inside.end(), '%'), inside.end());
    if (Numbers(inside, &v, 3) && v.size() == 3) {
      int c[3];
      for (std::size_t i = 0; i < 3; ++i)
        c[i] = static_cast<int>(std::lround(std::clamp(percent ? v[i] * 2.55 : v[i], 0.0, 255.0)));
      std::snprintf(hex, sizeof hex, "#%02x%02x%02x", c[0], c[1], c[2]);
      return hex;
    }
    return text;
  }
  for (const Colour& c : kColours)
    if (text == c.name) return c.hex;
  return text;
}

bool ReadSvg(const char* data, std::size_t size, Drawing* drawing, Error* error,
             const Limits& limits) {
  *drawing = Drawing();
  *error = Error();
  if (size > limits.maxBytes) {
    error->message = "the document is larger than " + std::to_string(limits.maxBytes) + " bytes";
    return false;
  }
  if (size == 0) {
    error->message = "the document is empty";
    return false;
  }
  Reader reader(data, size, limits, drawing, error);
  bool ok = false;
  try {
    ok = reader.Read();
  } catch (const std::bad_alloc&) {
    error->message = "out of memory";
  }
  if (!ok) *drawing = Drawing();
  return ok;
}

}  // namespace konib::svg
