// The document walk of the SVG reader: the root's page and viewBox, nested
// viewports, transforms, the cascade of styles, <use> instances, markers,
// clipping, dashes, and the shape elements.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <pugixml.hpp>
#include <unordered_map>
#include <utility>

#include "svg/internal.h"
#include "svg/svg.h"

namespace konib::svg {
namespace {

using namespace internal;

// Dashed and clipped outlines are cut into chords this close to the curve,
// in millimetres: finer than a pen can show.
constexpr double kFineTolerance = 0.01;

struct Colour {
  const char* name;
  const char* hex;
};
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

// The node after `node` in document order within `root`, or none: a walk
// by parent links, so that a deep document costs no stack.
pugi::xml_node Following(pugi::xml_node node, const pugi::xml_node& root) {
  if (node.first_child()) return node.first_child();
  while (node != root && !node.next_sibling()) node = node.parent();
  return node == root ? pugi::xml_node() : node.next_sibling();
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

// An opacity of nothing at all; what is no number leaves it as it was.
bool Transparent(const std::string& opacity) {
  char* end = nullptr;
  double v = std::strtod(opacity.c_str(), &end);
  return end != opacity.c_str() && v <= 0;
}

// The conditions an element may set on being drawn, as a browser in
// English meets them: no extension is supported.
bool Passes(const pugi::xml_node& node) {
  if (node.attribute("requiredExtensions")) return false;
  pugi::xml_attribute languages = node.attribute("systemLanguage");
  if (!languages) return true;
  std::string list = std::string(",") + languages.value();
  for (char& ch : list)
    if (std::isspace(static_cast<unsigned char>(ch))) ch = ',';
  return list.find(",en") != std::string::npos;
}

bool Is(const pugi::xml_node& node, const char* name) {
  return std::strcmp(node.name(), name) == 0;
}

// "#id" out of "url(#id)" or "#id"; "" for anything else.
std::string Reference(const std::string& value) {
  std::string v = Trim(value);
  if (v.rfind("url(", 0) == 0) {
    std::size_t close = v.find(')');
    if (close == std::string::npos) return "";
    v = Trim(v.substr(4, close - 4));
    if (v.size() >= 2 && (v[0] == '"' || v[0] == '\'')) v = v.substr(1, v.size() - 2);
  }
  return v.size() > 1 && v[0] == '#' ? v : "";
}

// The direction in which a piece leaves its start and reaches its end.
Point StartDirection(Point from, const Segment& g) {
  if (g.curve) {
    if (g.c1.x != from.x || g.c1.y != from.y) return {g.c1.x - from.x, g.c1.y - from.y};
    if (g.c2.x != from.x || g.c2.y != from.y) return {g.c2.x - from.x, g.c2.y - from.y};
  }
  return {g.end.x - from.x, g.end.y - from.y};
}
Point EndDirection(Point from, const Segment& g) {
  if (g.curve) {
    if (g.c2.x != g.end.x || g.c2.y != g.end.y) return {g.end.x - g.c2.x, g.end.y - g.c2.y};
    if (g.c1.x != g.end.x || g.c1.y != g.end.y) return {g.end.x - g.c1.x, g.end.y - g.c1.y};
  }
  return {g.end.x - from.x, g.end.y - from.y};
}

// A vertex of a path, where markers stand: the directions in which the
// path arrives and leaves, where it does.
struct Vertex {
  Point at;
  bool hasIn = false, hasOut = false;
  double in = 0, out = 0;  // radians
};

// `arcs` as ParsePathData gives it: where an arc goes on, there is no vertex.
std::vector<Vertex> Vertices(const std::vector<Subpath>& subpaths, const std::vector<bool>& arcs) {
  std::vector<Vertex> vertices;
  std::size_t piece = 0;
  for (const Subpath& s : subpaths) {
    std::size_t first = vertices.size();
    Point from = s.start;
    vertices.push_back({from});
    for (const Segment& g : s.segments) {
      Point a = StartDirection(from, g), b = EndDirection(from, g);
      if (piece < arcs.size() && arcs[piece]) vertices.pop_back();
      ++piece;
      if (!vertices.back().hasOut) vertices.back().out = std::atan2(a.y, a.x);
      vertices.back().hasOut = true;
      vertices.push_back({g.end, true, false, std::atan2(b.y, b.x), 0});
      from = g.end;
    }
    // A closed subpath turns at its start: it arrives there by its last
    // piece and leaves by its first.
    if (s.closed && vertices.size() - first > 2) {
      vertices[first].hasIn = true;
      vertices[first].in = vertices.back().in;
      vertices.back().hasOut = true;
      vertices.back().out = vertices[first].out;
    }
  }
  return vertices;
}

double Bisector(const Vertex& v) {
  if (v.hasIn && v.hasOut) {
    double x = std::cos(v.in) + std::cos(v.out), y = std::sin(v.in) + std::sin(v.out);
    return x == 0 && y == 0 ? v.in : std::atan2(y, x);
  }
  return v.hasIn ? v.in : v.out;
}

Subpath Rectangle(double x, double y, double w, double h) {
  return {{x, y},
          {{false, {}, {}, {x + w, y}},
           {false, {}, {}, {x + w, y + h}},
           {false, {}, {}, {x, y + h}},
           {false, {}, {}, {x, y}}},
          true};
}

std::vector<Subpath> Transformed(std::vector<Subpath> subpaths, const Matrix& m, bool* finite) {
  *finite = true;
  for (Subpath& s : subpaths) {
    s.start = m.Apply(s.start);
    *finite = *finite && std::isfinite(s.start.x + s.start.y);
    for (Segment& g : s.segments) {
      g.c1 = m.Apply(g.c1);
      g.c2 = m.Apply(g.c2);
      g.end = m.Apply(g.end);
      *finite = *finite && std::isfinite(g.c1.x + g.c1.y + g.c2.x + g.c2.y + g.end.x + g.end.y);
    }
  }
  return subpaths;
}

class Reader {
 public:
  Reader(const Limits& limits, Drawing* drawing, Error* error)
      : limits_(limits), drawing_(drawing), error_(error) {}

  bool Read(const char* data, std::size_t size);

 private:
  // Every element asks for its line, so the line ends are found once and
  // searched: counting from the top each time made reading quadratic.
  std::size_t LineAt(std::ptrdiff_t offset) {
    if (offset < 0) return 0;
    if (lineEnds_.empty()) {
      for (std::size_t at = text_.find('\n'); at != std::string::npos;
           at = text_.find('\n', at + 1))
        lineEnds_.push_back(at);
      lineEnds_.push_back(text_.size());  // a sentinel, so that the list is never empty again
    }
    std::size_t end = std::min(static_cast<std::size_t>(offset), text_.size());
    auto below = std::lower_bound(lineEnds_.begin(), lineEnds_.end() - 1, end);
    return 1 + static_cast<std::size_t>(below - lineEnds_.begin());
  }
  bool Fail(const pugi::xml_node& node, const std::string& message) {
    error_->message = message;
    error_->line = node ? LineAt(node.offset_debug()) : 0;
    error_->element = node ? node.name() : "";
    return false;
  }
  void Warn(const pugi::xml_node& node, const std::string& message) {
    if (drawing_->warnings.size() >= limits_.maxWarnings) {
      ++dropped_;
      return;
    }
    drawing_->warnings.push_back({message, LineAt(node.offset_debug()), node.name()});
  }
  pugi::xml_node Find(const std::string& reference) const {
    std::string ref = Reference(reference);
    auto found = ref.empty() ? ids_.end() : ids_.find(ref.substr(1));
    return found == ids_.end() ? pugi::xml_node() : found->second;
  }

  bool Page(const pugi::xml_node& root, Context* context, bool* sized);
  bool Apply(const pugi::xml_node& node, const Declarations& d, Context* context);
  bool Walk(const pugi::xml_node& node, const Context& parent, std::size_t depth);
  bool Children(const pugi::xml_node& node, const Context& context, std::size_t depth);
  bool Viewport(const pugi::xml_node& node, const pugi::xml_node& sizes, Context* context);
  bool Use(const pugi::xml_node& node, const Context& context, std::size_t depth);
  bool Geometry(const pugi::xml_node& node, const Context& context, std::vector<Subpath>* out,
                std::vector<bool>* arcs = nullptr);
  bool Draw(const pugi::xml_node& node, const Context& context, std::vector<Subpath> subpaths,
            const std::vector<bool>& arcs, std::size_t depth);
  bool Markers(const pugi::xml_node& node, const Context& context,
               const std::vector<Subpath>& subpaths, const std::vector<bool>& arcs,
               std::size_t depth);
  bool Clip(const pugi::xml_node& node, const std::string& reference, Context* context,
            std::size_t depth);
  bool Push(const pugi::xml_node& node, const Context& context, const std::string& stroke,
            const std::string& fill, std::vector<Subpath> subpaths);
  double LengthOf(const pugi::xml_node& node, const char* name, const Context& context, Axis axis,
                  double fallback);
  Context Inherited(const pugi::xml_node& node);

  const Limits& limits_;
  Drawing* drawing_;
  Error* error_;
  std::string text_;  // the document, entities expanded
  pugi::xml_node root_;
  StyleSheet sheet_;
  std::unordered_map<std::string, pugi::xml_node> ids_;
  std::vector<pugi::xml_node> active_;  // <use> targets being instantiated
  std::size_t elements_ = 0;
  std::size_t segments_ = 0;
  std::size_t dropped_ = 0;  // warnings beyond the limit
  bool finite_ = true;
  std::vector<std::size_t> lineEnds_;  // offsets of the newlines, then the size
};

double Reader::LengthOf(const pugi::xml_node& node, const char* name, const Context& context,
                        Axis axis, double fallback) {
  std::string text = Trim(node.attribute(name).value());
  double value = fallback;
  if (!text.empty() && !Length(text, context, axis, &value)) {
    Warn(node, std::string(name) + ": not a length: \"" + text + "\"");
    value = fallback;
  }
  return value;
}

// The properties of an element on top of what its parent hands down; false
// when it is not displayed at all.
bool Reader::Apply(const pugi::xml_node& node, const Declarations& d, Context* c) {
  auto get = [&](const char* name) -> const std::string* {
    auto found = d.find(name);
    return found == d.end() || found->second == "inherit" || found->second.empty() ? nullptr
                                                                                   : &found->second;
  };
  const std::string* v;
  if ((v = get("display")) && *v == "none") return false;
  if ((v = get("opacity")) && Transparent(*v)) return false;
  if ((v = get("visibility"))) c->visible = *v == "visible";
  if ((v = get("color"))) c->color = NormaliseColour(*v);
  auto paint = [&](const std::string& value) {
    std::string colour = NormaliseColour(value);
    if (colour == "context-stroke") return c->contextStroke;
    if (colour == "context-fill") return c->contextFill;
    if (Lower(Trim(value)) == "currentcolor") return c->color;
    // A paint server: its fallback colour, else the reference stands as the pen's colour.
    if (colour.rfind("url(", 0) == 0) {
      std::size_t close = colour.find(')');
      std::string fallback = close == std::string::npos ? "" : Trim(colour.substr(close + 1));
      if (!fallback.empty()) return NormaliseColour(fallback);
      if (!Find(value)) return std::string();
    }
    return colour;
  };
  if ((v = get("fill"))) c->fill = paint(*v);
  if ((v = get("stroke"))) c->stroke = paint(*v);
  if ((v = get("fill-rule")) && (*v == "evenodd" || *v == "nonzero")) c->evenOdd = *v == "evenodd";
  if ((v = get("clip-rule")) && (*v == "evenodd" || *v == "nonzero"))
    c->evenOddClip = *v == "evenodd";
  if ((v = get("fill-opacity"))) c->fillShown = !Transparent(*v);
  if ((v = get("stroke-opacity"))) c->strokeShown = !Transparent(*v);
  double size = 0;
  if ((v = get("font-size"))) {
    Context parent = *c;  // em and % refer to the parent's font
    parent.viewWidth = parent.viewHeight = c->fontSize * 100;
    if (Length(*v, parent, Axis::kX, &size) && size > 0) c->fontSize = size;
  }
  if ((v = get("stroke-width")) && Length(*v, *c, Axis::kOther, &size) && size >= 0)
    c->strokeWidth = size;
  if ((v = get("stroke-dasharray"))) {
    std::vector<double> dashes;
    bool valid = *v != "none";
    double total = 0;
    std::string list = *v;
    for (char& ch : list)
      if (ch == ',' || std::isspace(static_cast<unsigned char>(ch))) ch = ' ';
    for (std::size_t at = 0; valid && at < list.size();) {
      while (at < list.size() && std::isspace(static_cast<unsigned char>(list[at]))) ++at;
      std::size_t end = list.find(' ', at);
      if (end == std::string::npos) end = list.size();
      if (end == at) break;
      double dash = 0;
      valid = Length(list.substr(at, end - at), *c, Axis::kOther, &dash) && dash >= 0 &&
              dashes.size() < 64;
      dashes.push_back(dash);
      total += dash;
      at = end;
    }
    if (!valid || !(total > 0)) dashes.clear();  // none, or a pattern that draws all or nothing
    if (dashes.size() % 2 != 0) dashes.insert(dashes.end(), dashes.begin(), dashes.end());
    c->dashes = dashes;
  }
  if ((v = get("stroke-dashoffset"))) Length(*v, *c, Axis::kOther, &c->dashOffset);
  const char* markers[] = {"marker-start", "marker-mid", "marker-end"};
  for (int i = 0; i < 3; ++i)
    if ((v = get(markers[i]))) c->markers[i] = Reference(*v);
  // The transform: the attribute, or the CSS property, which wins, about
  // the transform origin.
  Matrix own;
  std::string attribute = node.attribute("transform").value();
  if (!ParseTransform(attribute, *c, &own)) {
    Warn(node, "transform: not understood, left out: \"" + attribute + "\"");
    own = Matrix();
  }
  if ((v = get("transform")) && !ParseTransform(*v, *c, &own))
    Warn(node, "transform: not understood, left out: \"" + *v + "\"");
  if ((v = get("transform-origin"))) {
    double origin[2] = {0, 0};
    std::string words = *v;
    std::size_t at = 0;
    for (int i = 0; i < 2; ++i) {
      while (at < words.size() && std::isspace(static_cast<unsigned char>(words[at]))) ++at;
      std::size_t end = words.find_first_of(" \t\r\n", at);
      if (end == std::string::npos) end = words.size();
      std::string word = words.substr(at, end - at);
      at = end;
      if (word.empty()) break;
      int axis = word == "top" || word == "bottom" ? 1 : word == "left" || word == "right" ? 0 : i;
      double extent = axis == 0 ? c->viewWidth : c->viewHeight;
      if (word == "left" || word == "top") {
        origin[axis] = 0;
      } else if (word == "right" || word == "bottom") {
        origin[axis] = extent;
      } else if (word == "center") {
        origin[axis] = extent / 2;
      } else {
        Length(word, *c, axis == 0 ? Axis::kX : Axis::kY, &origin[axis]);
      }
    }
    own = Multiply(Multiply(Matrix{1, 0, 0, 1, origin[0], origin[1]}, own),
                   Matrix{1, 0, 0, 1, -origin[0], -origin[1]});
  }
  c->matrix = Multiply(c->matrix, own);
  return true;
}

// The page: width and height give its size, the viewBox the user units that
// fill it, placed by preserveAspectRatio. Without any size, the page is
// found from the content once it is read.
bool Reader::Page(const pugi::xml_node& root, Context* context, bool* sized) {
  std::vector<double> box;
  std::string viewBox = root.attribute("viewBox").value();
  if (!viewBox.empty() &&
      (!Numbers(viewBox, &box, 4) || box.size() != 4 || box[2] <= 0 || box[3] <= 0)) {
    Warn(root, "viewBox: not four numbers with a positive width and height, left out");
    box.clear();
  }
  double width = 0, height = 0;
  std::string w = Trim(root.attribute("width").value()), h = Trim(root.attribute("height").value());
  Context plain;
  bool haveWidth = !w.empty() && w.back() != '%' && Length(w, plain, Axis::kX, &width) && width > 0;
  bool haveHeight =
      !h.empty() && h.back() != '%' && Length(h, plain, Axis::kY, &height) && height > 0;
  *sized = true;
  if (!box.empty()) {
    if (!haveWidth && !haveHeight)
      width = box[2], height = box[3];
    else if (!haveWidth)
      width = height * box[2] / box[3];
    else if (!haveHeight)
      height = width * box[3] / box[2];
    context->matrix =
        ViewBoxMatrix(box.data(), width, height, root.attribute("preserveAspectRatio").value());
    context->viewWidth = box[2];
    context->viewHeight = box[3];
  } else if (haveWidth && haveHeight) {
    context->viewWidth = width;
    context->viewHeight = height;
  } else {
    *sized = false;
  }
  context->rootWidth = context->viewWidth;
  context->rootHeight = context->viewHeight;
  drawing_->width = width * kMillimetresPerPixel;
  drawing_->height = height * kMillimetresPerPixel;
  // From here on every point is in millimetres.
  context->matrix =
      Multiply(Matrix{kMillimetresPerPixel, 0, 0, kMillimetresPerPixel, 0, 0}, context->matrix);
  return true;
}

bool Reader::Read(const char* data, std::size_t size) {
  std::size_t markup = static_cast<std::size_t>(std::count(data, data + size, '<'));
  if (markup > limits_.maxMarkup)
    return Fail({}, "more than " + std::to_string(limits_.maxMarkup) + " tags");
  std::string message;
  if (!ExpandEntities(data, size, limits_.maxBytes, &text_, &message)) return Fail({}, message);
  pugi::xml_document document;
  pugi::xml_parse_result parsed = document.load_buffer(
      text_.data(), text_.size(), pugi::parse_default | pugi::parse_doctype, pugi::encoding_utf8);
  if (!parsed) {
    error_->message = std::string("not well-formed XML: ") + parsed.description();
    error_->line = LineAt(parsed.offset);
    return false;
  }
  root_ = document.document_element();
  // Elements written with a prefix bound to SVG's namespace on the root,
  // as in <svg:svg xmlns:svg="...">, are named without it from here on.
  std::string prefix;
  const char* colon = std::strchr(root_.name(), ':');
  if (colon != nullptr) {
    prefix.assign(root_.name(), static_cast<std::size_t>(colon - root_.name()));
    if (std::strcmp(root_.attribute(("xmlns:" + prefix).c_str()).value(),
                    "http://www.w3.org/2000/svg") != 0)
      prefix.clear();
  }
  if (!prefix.empty()) prefix += ':';
  for (pugi::xml_node node = root_; node && !prefix.empty();) {
    if (node.type() == pugi::node_element &&
        std::strncmp(node.name(), prefix.c_str(), prefix.size()) == 0)
      node.set_name(std::string(node.name() + prefix.size()).c_str());
    node = Following(node, root_);
  }
  if (!Is(root_, "svg")) return Fail(root_, "the document is not SVG");
  // One pass, by parent links so that depth costs no stack, for the ids
  // that <use>, markers and clip paths refer to, and the style sheets.
  std::size_t visited = 0;
  for (pugi::xml_node node = root_; node;) {
    if (node.type() == pugi::node_element) {
      if (node != root_ && ++visited > limits_.maxElements)
        return Fail(node, "more than " + std::to_string(limits_.maxElements) + " elements");
      const char* id = node.attribute("id").value();
      if (*id != '\0') ids_.emplace(id, node);
      if (Is(node, "style")) {
        std::string type = Trim(node.attribute("type").value());
        std::string css;
        for (pugi::xml_node piece = node.first_child(); piece; piece = piece.next_sibling())
          if (piece.type() == pugi::node_pcdata || piece.type() == pugi::node_cdata)
            css += piece.value();
        if (type.empty() || type == "text/css") sheet_.Add(css, 10000);
      }
    }
    node = Following(node, root_);
  }
  Context top;
  bool sized = true;
  if (!Page(root_, &top, &sized)) return false;
  if (!Walk(root_, top, 0)) return false;
  if (sheet_.exhausted())
    Warn(root_,
         "the style sheets ask more matching than the document is worth; "
         "the rest of their rules were left out");
  if (dropped_ > 0)
    drawing_->warnings.push_back({std::to_string(dropped_) + " more warnings", 0, ""});
  if (sized) return true;
  // No size: the page is the bounds of what is drawn.
  double left = INFINITY, high = INFINITY, right = -INFINITY, bottom = -INFINITY;
  auto grow = [&](Point p) {
    left = std::min(left, p.x), right = std::max(right, p.x);
    high = std::min(high, p.y), bottom = std::max(bottom, p.y);
  };
  for (const Shape& s : drawing_->shapes)
    for (const Subpath& p : s.subpaths) {
      grow(p.start);
      Flatten(p, kFineTolerance, grow);
    }
  for (const Text& t : drawing_->texts) grow(t.position);
  if (!(right > left && bottom > high))
    return Fail(root_, "the document has no size, and its content none either");
  auto move = [&](Point& p) { p.x -= left, p.y -= high; };
  for (Shape& s : drawing_->shapes)
    for (Subpath& p : s.subpaths) {
      move(p.start);
      for (Segment& g : p.segments) move(g.c1), move(g.c2), move(g.end);
    }
  for (Text& t : drawing_->texts) move(t.position);
  drawing_->width = right - left;
  drawing_->height = bottom - high;
  return true;
}

// One element and what it holds. Recursion is bounded by the depth limit,
// which counts <use> instances and markers as nesting.
bool Reader::Walk(const pugi::xml_node& node, const Context& parent, std::size_t depth) {
  if (node.type() != pugi::node_element) return true;
  if (depth >= limits_.maxDepth)
    return Fail(node, "elements nested more than " + std::to_string(limits_.maxDepth) + " deep");
  if (node != root_ && ++elements_ > limits_.maxElements)
    return Fail(node, "more than " + std::to_string(limits_.maxElements) +
                          " elements, <use> instances and markers counted");
  if (IsHidden(node.name()) || !Passes(node)) return true;
  Context context = parent;
  Declarations declared = Cascade(node, sheet_);
  if (!Apply(node, declared, &context)) return true;
  if (node == root_) context.rootFontSize = context.fontSize;
  if (Is(node, "g") && std::strcmp(node.attribute("inkscape:groupmode").value(), "layer") == 0) {
    std::string label = Trim(node.attribute("inkscape:label").value());
    int number = std::isdigit(static_cast<unsigned char>(label.c_str()[0]))
                     ? std::atoi(label.substr(0, 9).c_str())
                     : 0;
    if (number > 0) context.layer = number;
  }
  auto clip = declared.find("clip-path");
  if (clip != declared.end() && clip->second != "none" &&
      !Clip(node, clip->second, &context, depth))
    return false;
  if (Is(node, "svg") && node != root_) {
    if (!Viewport(node, node, &context)) return true;
    return Children(node, context, depth);
  }
  if (Is(node, "g") || Is(node, "a") || Is(node, "svg")) return Children(node, context, depth);
  if (Is(node, "switch")) {  // the first child whose conditions pass
    for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
      if (child.type() == pugi::node_element && Passes(child))
        return Walk(child, context, depth + 1);
    return true;
  }
  if (Is(node, "use")) return Use(node, context, depth);
  if (Is(node, "text")) {
    if (!context.visible) return true;
    std::size_t before = drawing_->texts.size();
    std::string message;
    if (!ReadText(node, context, sheet_, LineAt(node.offset_debug()), &drawing_->texts, &message))
      Warn(node, message);
    for (std::size_t i = before; i < drawing_->texts.size(); ++i)
      drawing_->texts[i].layer = context.layer;
    return true;
  }
  std::vector<Subpath> subpaths;
  std::vector<bool> arcs;
  if (!Geometry(node, context, &subpaths, &arcs)) return false;
  return Draw(node, context, std::move(subpaths), arcs, depth);
}

bool Reader::Children(const pugi::xml_node& node, const Context& context, std::size_t depth) {
  for (pugi::xml_node child = node.first_child(); child; child = child.next_sibling())
    if (!Walk(child, context, depth + 1)) return false;
  return true;
}

// A new viewport: a nested <svg>, or a <symbol> that a <use> shows, whose
// width and height `sizes` may give. False when it has no area.
bool Reader::Viewport(const pugi::xml_node& node, const pugi::xml_node& sizes, Context* c) {
  double x = LengthOf(node, "x", *c, Axis::kX, 0), y = LengthOf(node, "y", *c, Axis::kY, 0);
  if (Is(node, "symbol")) x = y = 0;
  const pugi::xml_node& w = sizes.attribute("width") ? sizes : node;
  const pugi::xml_node& h = sizes.attribute("height") ? sizes : node;
  double width = LengthOf(w, "width", *c, Axis::kX, c->viewWidth);
  double height = LengthOf(h, "height", *c, Axis::kY, c->viewHeight);
  if (!(width > 0 && height > 0)) return false;
  std::string overflow = Trim(Cascade(node, sheet_)["overflow"]);
  if (overflow != "visible" && overflow != "auto") {
    bool finite = true;
    auto rect = Transformed({Rectangle(x, y, width, height)}, c->matrix, &finite);
    if (finite) {
      Region region = ToRegion(Flattened(rect, kFineTolerance));
      c->clip = std::make_shared<const Region>(c->clip ? Intersect(*c->clip, region) : region);
    }
  }
  std::vector<double> box;
  Matrix place{1, 0, 0, 1, x, y};
  std::string viewBox = node.attribute("viewBox").value();
  if (Numbers(viewBox, &box, 4) && box.size() == 4 && box[2] > 0 && box[3] > 0) {
    place = Multiply(place, ViewBoxMatrix(box.data(), width, height,
                                          node.attribute("preserveAspectRatio").value()));
    c->viewWidth = box[2];
    c->viewHeight = box[3];
  } else {
    c->viewWidth = width;
    c->viewHeight = height;
  }
  c->matrix = Multiply(c->matrix, place);
  return true;
}

// A <use>: its target drawn again, inheriting from the <use> rather than
// from where the target stands.
bool Reader::Use(const pugi::xml_node& node, const Context& context, std::size_t depth) {
  const char* href = node.attribute("href") ? node.attribute("href").value()
                                            : node.attribute("xlink:href").value();
  pugi::xml_node target = Find(href);
  if (!target) return true;  // a reference to nothing draws nothing
  for (pugi::xml_node up = node; up; up = up.parent())
    if (up == target) return Warn(node, "refers to an element around itself, left out"), true;
  if (std::find(active_.begin(), active_.end(), target) != active_.end())
    return Warn(node, "refers to itself through other <use> elements, left out"), true;
  Context instance = context;
  double x = LengthOf(node, "x", context, Axis::kX, 0),
         y = LengthOf(node, "y", context, Axis::kY, 0);
  instance.matrix = Multiply(instance.matrix, Matrix{1, 0, 0, 1, x, y});
  active_.push_back(target);
  bool ok = true;
  if (Is(target, "symbol") || Is(target, "svg")) {
    if (++elements_ > limits_.maxElements)
      return Fail(node, "more than " + std::to_string(limits_.maxElements) +
                            " elements, <use> instances and markers counted");
    if (Apply(target, Cascade(target, sheet_), &instance) && Viewport(target, node, &instance))
      ok = Children(target, instance, depth + 1);
  } else {
    ok = Walk(target, instance, depth + 1);
  }
  active_.pop_back();
  return ok;
}

// The outline of a shape element in its user units; false only when a
// limit of the reader is passed. Errors in the data are warned of, and
// what came before them kept.
bool Reader::Geometry(const pugi::xml_node& node, const Context& c, std::vector<Subpath>* out,
                      std::vector<bool>* arcs) {
  std::string name = node.name();
  std::vector<Subpath>& subpaths = *out;
  // A radius that is auto, or not given, is the other one.
  auto auto_ = [&](const char* a) {
    std::string v = Trim(node.attribute(a).value());
    return v.empty() || v == "auto";
  };
  if (name == "path" || name == "polyline" || name == "polygon") {
    const char* attribute = name == "path" ? "d" : "points";
    std::string d = node.attribute(attribute).value();
    if (d.size() > limits_.maxPathData)
      return Fail(node, std::string(attribute) + " is longer than " +
                            std::to_string(limits_.maxPathData) + " bytes");
    std::size_t room = limits_.maxSegments - segments_;
    if (name == "path") {
      std::string message;
      if (!ParsePathData(d, &subpaths, &message, room, arcs)) {
        if (message.rfind("path data: more than", 0) == 0) return Fail(node, message);
        Warn(node, message + ", the rest left out");
      }
    } else {
      std::vector<double> v;
      if (!Numbers(d, &v, room)) {
        if (v.size() >= room) return Fail(node, "points: more than " + std::to_string(room));
        Warn(node, "points: not a number after " + std::to_string(v.size()) +
                       " coordinates, the rest left out");
      }
      if (v.size() % 2 != 0) {
        Warn(node, "points: odd count, last coordinate dropped");
        v.pop_back();
      }
      if (v.size() >= 4) {
        subpaths.push_back({{v[0], v[1]}, {}, name == "polygon"});
        for (std::size_t i = 2; i < v.size(); i += 2)
          subpaths[0].segments.push_back({false, {}, {}, {v[i], v[i + 1]}});
        if (name == "polygon") subpaths[0].segments.push_back({false, {}, {}, {v[0], v[1]}});
      }
    }
  } else if (name == "line") {
    Point from{LengthOf(node, "x1", c, Axis::kX, 0), LengthOf(node, "y1", c, Axis::kY, 0)};
    Point to{LengthOf(node, "x2", c, Axis::kX, 0), LengthOf(node, "y2", c, Axis::kY, 0)};
    subpaths.push_back({from, {{false, {}, {}, to}}});
  } else if (name == "rect") {
    double x = LengthOf(node, "x", c, Axis::kX, 0), y = LengthOf(node, "y", c, Axis::kY, 0);
    double w = LengthOf(node, "width", c, Axis::kX, 0),
           h = LengthOf(node, "height", c, Axis::kY, 0);
    double rx = auto_("rx") ? -1 : LengthOf(node, "rx", c, Axis::kX, -1);
    double ry = auto_("ry") ? -1 : LengthOf(node, "ry", c, Axis::kY, -1);
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
    ParsePathData(d, &subpaths, &message, 64);
  } else if (name == "circle" || name == "ellipse") {
    double cx = LengthOf(node, "cx", c, Axis::kX, 0), cy = LengthOf(node, "cy", c, Axis::kY, 0);
    double rx, ry;
    if (name == "circle") {
      rx = ry = LengthOf(node, "r", c, Axis::kOther, 0);
    } else {
      rx = !auto_("rx") ? LengthOf(node, "rx", c, Axis::kX, 0) : -1;
      ry = !auto_("ry") ? LengthOf(node, "ry", c, Axis::kY, 0) : -1;
      if (rx < 0) rx = ry;
      if (ry < 0) ry = rx;
    }
    if (rx <= 0 || ry <= 0) return true;
    char d[512];
    std::snprintf(d, sizeof d,
                  "M%.17g %.17gA%.17g %.17g 0 0 1 %.17g %.17gA%.17g %.17g 0 0 1 %.17g %.17gZ",
                  cx + rx, cy, rx, ry, cx - rx, cy, rx, ry, cx + rx, cy);
    std::string message;
    ParsePathData(d, &subpaths, &message, 64);
  }
  return true;
}

// A shape with its markers, dashes and clipping, as shapes of the drawing.
bool Reader::Draw(const pugi::xml_node& node, const Context& c, std::vector<Subpath> subpaths,
                  const std::vector<bool>& arcs, std::size_t depth) {
  if (subpaths.empty() || !c.visible) return true;
  bool markable =
      Is(node, "path") || Is(node, "line") || Is(node, "polyline") || Is(node, "polygon");
  std::string stroke = c.strokeShown ? c.stroke : "", fill = c.fillShown ? c.fill : "";
  double length = 0;  // of the outline, in user units, for pathLength
  std::vector<Subpath> user = markable && !(c.markers[0] + c.markers[1] + c.markers[2]).empty()
                                  ? subpaths
                                  : std::vector<Subpath>();
  bool finite = true;
  std::vector<Subpath> page = Transformed(std::move(subpaths), c.matrix, &finite);
  if (!finite) {
    Warn(node, "a coordinate is not finite after its transforms, left out");
    return true;
  }
  bool dashed = !stroke.empty() && !c.dashes.empty() && c.strokeWidth > 0;
  if (!dashed && !c.clip) {
    if (!Push(node, c, stroke, fill, std::move(page))) return false;
  } else {
    std::vector<Subpath> lines = Flattened(page, kFineTolerance);
    if (!fill.empty()) {
      std::vector<Subpath> area = lines;
      for (Subpath& s : area)
        if (s.start.x != s.segments.back().end.x || s.start.y != s.segments.back().end.y)
          s.segments.push_back({false, {}, {}, s.start});
      if (c.clip) area = ClipFill(area, c.evenOdd, *c.clip);
      if (!Push(node, c, "", fill, std::move(area))) return false;
    }
    if (!stroke.empty()) {
      if (dashed) {
        // The pattern is in user units: scaled as the shape is, and
        // stretched so that the path measures pathLength.
        double scale = std::sqrt(std::fabs(c.matrix.a * c.matrix.d - c.matrix.b * c.matrix.c));
        double pathLength = LengthOf(node, "pathLength", c, Axis::kOther, 0);
        for (const Subpath& s : lines) {
          Point from = s.start;
          for (const Segment& g : s.segments)
            length += std::hypot(g.end.x - from.x, g.end.y - from.y), from = g.end;
        }
        double stretch = pathLength > 0 ? length / scale / pathLength : 1;
        lines =
            Dash(lines, c.dashes, c.dashOffset, scale * stretch, limits_.maxSegments - segments_);
      }
      if (c.clip) lines = ClipLines(lines, *c.clip);
      if (!Push(node, c, stroke, "", std::move(lines))) return false;
    }
  }
  return user.empty() || Markers(node, c, user, arcs, depth);
}

bool Reader::Push(const pugi::xml_node& node, const Context& c, const std::string& stroke,
                  const std::string& fill, std::vector<Subpath> subpaths) {
  std::string colour = !stroke.empty() ? stroke : fill;
  if (colour.empty() || subpaths.empty()) return true;
  std::size_t count = 0;
  for (Subpath& s : subpaths) {
    // A fill is closed whether its data closes it or not: so is the
    // outline that stands for it.
    if (stroke.empty() && !s.segments.empty() &&
        (s.start.x != s.segments.back().end.x || s.start.y != s.segments.back().end.y))
      s.segments.push_back({false, {}, {}, s.start});
    count += s.segments.size();
  }
  segments_ += count;
  if (segments_ > limits_.maxSegments)
    return Fail(node,
                "the drawing has more than " + std::to_string(limits_.maxSegments) + " pieces");
  drawing_->shapes.push_back({colour, std::move(subpaths), LineAt(node.offset_debug()), stroke,
                              fill, c.evenOdd, c.layer, 0});
  return true;
}

// The style a <marker> inherits where it stands in the document.
Context Reader::Inherited(const pugi::xml_node& node) {
  std::vector<pugi::xml_node> chain;
  for (pugi::xml_node up = node; up && up.type() == pugi::node_element; up = up.parent())
    chain.push_back(up);
  Context c;
  for (auto at = chain.rbegin(); at != chain.rend(); ++at) {
    Matrix keep = c.matrix;
    Apply(*at, Cascade(*at, sheet_), &c);
    c.matrix = keep;  // the transforms around a marker do not apply to it
  }
  return c;
}

bool Reader::Markers(const pugi::xml_node& node, const Context& c,
                     const std::vector<Subpath>& subpaths, const std::vector<bool>& arcs,
                     std::size_t depth) {
  std::vector<Vertex> vertices = Vertices(subpaths, arcs);
  for (int kind = 0; kind < 3; ++kind) {
    pugi::xml_node marker = Find(c.markers[kind]);
    if (!marker || !Is(marker, "marker")) continue;
    Context inside = Inherited(marker);
    inside.rootWidth = c.rootWidth, inside.rootHeight = c.rootHeight;
    double width = LengthOf(marker, "markerWidth", inside, Axis::kX, 3);
    double height = LengthOf(marker, "markerHeight", inside, Axis::kY, 3);
    if (!(width > 0 && height > 0)) continue;
    std::vector<double> box;
    Matrix view;
    std::string viewBox = marker.attribute("viewBox").value();
    if (Numbers(viewBox, &box, 4) && box.size() == 4 && box[2] > 0 && box[3] > 0) {
      view =
          ViewBoxMatrix(box.data(), width, height, marker.attribute("preserveAspectRatio").value());
      inside.viewWidth = box[2], inside.viewHeight = box[3];
    } else {
      inside.viewWidth = width, inside.viewHeight = height;
    }
    Point ref = view.Apply({LengthOf(marker, "refX", inside, Axis::kX, 0),
                            LengthOf(marker, "refY", inside, Axis::kY, 0)});
    double scale =
        Trim(marker.attribute("markerUnits").value()) == "userSpaceOnUse" ? 1 : c.strokeWidth;
    std::string orient = Trim(marker.attribute("orient").value());
    std::string overflow = Trim(Cascade(marker, sheet_)["overflow"]);
    bool clipped = overflow != "visible" && overflow != "auto";
    std::size_t first = kind == 0 ? 0 : kind == 1 ? 1 : vertices.size() - 1;
    std::size_t last = kind == 0 ? 1 : kind == 1 ? vertices.size() - 1 : vertices.size();
    for (std::size_t i = first; i < last && i < vertices.size(); ++i) {
      const Vertex& v = vertices[i];
      double angle = 0;
      if (orient == "auto" || orient == "auto-start-reverse") {
        angle = Bisector(v);
        if (orient == "auto-start-reverse" && kind == 0) angle += kPi;
      } else if (!orient.empty()) {
        Matrix turn;
        if (ParseTransform("rotate(" + orient + ")", inside, &turn))
          angle = std::atan2(turn.b, turn.a);
      }
      Matrix at = Multiply(
          c.matrix, Matrix{std::cos(angle) * scale, std::sin(angle) * scale,
                           -std::sin(angle) * scale, std::cos(angle) * scale, v.at.x, v.at.y});
      at = Multiply(at, Matrix{1, 0, 0, 1, -ref.x, -ref.y});
      Context instance = inside;
      instance.layer = c.layer;
      instance.contextStroke = c.strokeShown ? c.stroke : "";
      instance.contextFill = c.fillShown ? c.fill : "";
      instance.clip = c.clip;
      if (clipped) {
        bool finite = true;
        auto rect = Transformed({Rectangle(0, 0, width, height)}, at, &finite);
        if (!finite) continue;
        Region region = ToRegion(Flattened(rect, kFineTolerance));
        instance.clip =
            std::make_shared<const Region>(c.clip ? Intersect(*c.clip, region) : region);
      }
      instance.matrix = Multiply(at, view);
      if (++elements_ > limits_.maxElements)
        return Fail(node, "more than " + std::to_string(limits_.maxElements) +
                              " elements, <use> instances and markers counted");
      if (!Children(marker, instance, depth + 1)) return false;
    }
  }
  return true;
}

// clip-path: the region of a <clipPath>'s shapes, each under its clip-rule,
// in the user space of the element that refers to it (or its bounding box),
// narrowing what the element's context already clips.
bool Reader::Clip(const pugi::xml_node& node, const std::string& reference, Context* c,
                  std::size_t depth) {
  pugi::xml_node path = Find(reference);
  if (!path || !Is(path, "clipPath")) {
    if (!Reference(reference).empty()) Warn(node, "clip-path: no such <clipPath>, not clipped");
    return true;
  }
  if (depth + 1 >= limits_.maxDepth)
    return Fail(node, "elements nested more than " + std::to_string(limits_.maxDepth) + " deep");
  Context inside = *c;
  Matrix own;
  ParseTransform(path.attribute("transform").value(), inside, &own);
  inside.matrix = Multiply(inside.matrix, own);
  if (Trim(path.attribute("clipPathUnits").value()) == "objectBoundingBox") {
    // The bounding box in the element's user space: of its outline, or,
    // for a group, of what it draws, read once unclipped and taken back.
    double left = INFINITY, top = INFINITY, right = -INFINITY, bottom = -INFINITY;
    auto grow = [&](Point p) {
      left = std::min(left, p.x), right = std::max(right, p.x);
      top = std::min(top, p.y), bottom = std::max(bottom, p.y);
    };
    std::vector<Subpath> shape;
    if (!Geometry(node, *c, &shape)) return false;
    double det = c->matrix.a * c->matrix.d - c->matrix.b * c->matrix.c;
    if (shape.empty() && det != 0) {
      Context bare = *c;
      bare.clip = nullptr;
      std::size_t shapes = drawing_->shapes.size(), texts = drawing_->texts.size();
      std::size_t segments = segments_;
      if (!Children(node, bare, depth)) return false;
      const Matrix& m = c->matrix;  // page millimetres back to user units
      Matrix back{m.d / det,
                  -m.b / det,
                  -m.c / det,
                  m.a / det,
                  (m.c * m.f - m.d * m.e) / det,
                  (m.b * m.e - m.a * m.f) / det};
      for (std::size_t i = shapes; i < drawing_->shapes.size(); ++i)
        for (const Subpath& s : drawing_->shapes[i].subpaths) shape.push_back(s);
      shape = Transformed(std::move(shape), back, &finite_);
      drawing_->shapes.resize(shapes);
      drawing_->texts.resize(texts);
      segments_ = segments;
    }
    for (const Subpath& s : shape) {
      grow(s.start);
      Flatten(s, 0.01, grow);
    }
    if (!(right > left && bottom > top)) {
      Warn(node, "clip-path: in bounding box units, on something without an area; not clipped");
      return true;
    }
    inside.matrix = Multiply(inside.matrix, Matrix{right - left, 0, 0, bottom - top, left, top});
  }
  Region region;
  for (pugi::xml_node child = path.first_child(); child; child = child.next_sibling()) {
    if (child.type() != pugi::node_element) continue;
    if (++elements_ > limits_.maxElements)
      return Fail(child, "more than " + std::to_string(limits_.maxElements) + " elements");
    pugi::xml_node shape = child;
    Context piece = inside;
    if (!Apply(child, Cascade(child, sheet_), &piece)) continue;
    if (Is(child, "use")) {  // a <use> of a shape, as drawing programs write it
      shape = Find(child.attribute("href") ? child.attribute("href").value()
                                           : child.attribute("xlink:href").value());
      if (!shape || shape == path) continue;
      piece.matrix =
          Multiply(piece.matrix, Matrix{1, 0, 0, 1, LengthOf(child, "x", piece, Axis::kX, 0),
                                        LengthOf(child, "y", piece, Axis::kY, 0)});
      if (!Apply(shape, Cascade(shape, sheet_), &piece)) continue;
    }
    std::vector<Subpath> subpaths;
    if (!Geometry(shape, piece, &subpaths)) return false;
    bool finite = true;
    auto lines = Flattened(Transformed(std::move(subpaths), piece.matrix, &finite), kFineTolerance);
    if (!finite) continue;
    Region part = Normalise(ToRegion(lines), piece.evenOddClip);
    region.insert(region.end(), part.begin(), part.end());
  }
  region = Normalise(region, false);
  c->clip = std::make_shared<const Region>(c->clip ? Intersect(*c->clip, region) : region);
  return true;
}

}  // namespace

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
  Reader reader(limits, drawing, error);
  bool ok = false;
  try {
    ok = reader.Read(data, size);
  } catch (const std::bad_alloc&) {
    error->message = "out of memory";
  }
  if (!ok) *drawing = Drawing();
  return ok;
}

}  // namespace konib::svg
