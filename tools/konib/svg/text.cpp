// Text elements of the SVG reader: the characters of a <text> and its
// <tspan>s as runs, each with the position attributes and the style that a
// browser would give it. Where the runs land in the end depends on how wide
// the letters are, which is the lettering's business: the reader hands on
// positions and shifts in the text's own user space.
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "svg/internal.h"

namespace konib::svg::internal {
namespace {

constexpr std::size_t kMaxTextBytes = 4096;

// What a text's characters inherit, and what a tspan may change.
struct TextStyle {
  double size = 16;
  double spacing = 0;
  double baseline = 0;  // ems below the given y
  int anchor = 0;
  bool bold = false;
  bool italic = false;
  bool preserve = false;  // xml:space
  std::string stroke, fill;
};

// font-size against the parent's: lengths, ems, exes, percentages and the
// keywords, as CSS reckons them.
bool FontSize(const std::string& text, double parent, const Context& context, double* size) {
  static const std::pair<const char*, double> kKeywords[] = {
      {"xx-small", 9}, {"x-small", 10}, {"small", 13},   {"medium", 16},
      {"large", 18},   {"x-large", 24}, {"xx-large", 32}};
  for (const auto& k : kKeywords)
    if (text == k.first) return *size = k.second, true;
  if (text == "larger") return *size = parent * 1.2, true;
  if (text == "smaller") return *size = parent / 1.2, true;
  const char* s = text.c_str();
  char* end = nullptr;
  double v = std::strtod(s, &end);
  if (end == s || !std::isfinite(v)) return false;
  std::string unit = Lower(Trim(end));
  if (unit == "em")
    *size = v * parent;
  else if (unit == "ex")
    *size = v * parent / 2;
  else if (unit == "%")
    *size = v * parent / 100;
  else if (unit == "rem")
    *size = v * 16;
  else if (!Length(text, context, Axis::kOther, size))
    return false;
  return std::isfinite(*size);
}

// Where the baseline lies below the y of a text, in ems, for the common
// values of dominant-baseline and alignment-baseline, with the proportions
// of the usual sans-serif fonts as browsers take them from the font: the
// middle of the small letters (x-height 0.54), the middle of the em box
// (ascent 0.92, descent 0.22), the hanging line, the top and the bottom.
bool BaselineShift(const std::string& value, double* ems) {
  static const std::pair<const char*, double> kBaselines[] = {
      {"auto", 0},           {"alphabetic", 0},      {"baseline", 0},
      {"middle", 0.27},      {"central", 0.35},      {"mathematical", 0.35},
      {"hanging", 0.75},     {"text-top", 0.92},     {"text-before-edge", 0.92},
      {"before-edge", 0.92}, {"text-bottom", -0.22}, {"text-after-edge", -0.22},
      {"after-edge", -0.22}, {"ideographic", -0.22}};
  for (const auto& b : kBaselines)
    if (value == b.first) return *ems = b.second, true;
  return false;
}

// The style of `node` from its parent's.
// A property of `node` as the cascade declares it; "" when none does.
std::string Declared(const Declarations& declared, const char* name) {
  auto found = declared.find(name);
  return found == declared.end() ? std::string() : found->second;
}

std::string Declared(const pugi::xml_node& node, const StyleSheet& sheet, const char* name) {
  return Declared(Cascade(node, sheet), name);
}

void Apply(const pugi::xml_node& node, const StyleSheet& sheet, const Context& context,
           TextStyle* style) {
  const Declarations declared = Cascade(node, sheet);
  auto Property = [&](const pugi::xml_node&, const char* name) { return Declared(declared, name); };
  double size = 0;
  std::string font = Trim(Property(node, "font-size"));
  if (!font.empty() && FontSize(font, style->size, context, &size) && size > 0) style->size = size;
  std::string spacing = Trim(Property(node, "letter-spacing"));
  if (spacing == "normal") style->spacing = 0;
  double value = 0;
  if (!spacing.empty() && FontSize(spacing, style->size, context, &value)) style->spacing = value;
  std::string anchor = Trim(Property(node, "text-anchor"));
  if (anchor == "start" || anchor == "middle" || anchor == "end")
    style->anchor = anchor == "start" ? 0 : anchor == "middle" ? 1 : 2;
  std::string weight = Trim(Property(node, "font-weight"));
  if (weight == "bold" || weight == "bolder") style->bold = true;
  if (weight == "normal" || weight == "lighter") style->bold = false;
  if (!weight.empty() && std::isdigit(static_cast<unsigned char>(weight[0])))
    style->bold = std::atoi(weight.c_str()) >= 600;
  std::string slant = Trim(Property(node, "font-style"));
  if (slant == "italic" || slant == "oblique") style->italic = true;
  if (slant == "normal") style->italic = false;
  std::string space = Trim(node.attribute("xml:space").value());
  if (space == "preserve" || space == "default") style->preserve = space == "preserve";
  BaselineShift(Trim(Property(node, "dominant-baseline")), &style->baseline);
  std::string stroke = Property(node, "stroke"), fill = Property(node, "fill");
  if (!stroke.empty() && stroke != "inherit") style->stroke = NormaliseColour(stroke);
  if (!fill.empty() && fill != "inherit") style->fill = NormaliseColour(fill);
}

// One element of the text with its position lists and how many of its
// characters have used them.
struct Piece {
  pugi::xml_node node;
  TextStyle style;
  std::vector<double> lists[4];  // x, y, dx, dy
  std::size_t used = 0;
};

bool Lists(const pugi::xml_node& node, Piece* piece) {
  static const char* const kNames[] = {"x", "y", "dx", "dy"};
  for (int i = 0; i < 4; ++i)
    if (!Numbers(node.attribute(kNames[i]).value(), &piece->lists[i], kMaxTextBytes)) return false;
  return true;
}

bool Hidden(const pugi::xml_node& node, const StyleSheet& sheet) {
  return Declared(node, sheet, "display") == "none" || std::strcmp(node.name(), "textPath") == 0 ||
         std::strcmp(node.name(), "title") == 0 || std::strcmp(node.name(), "desc") == 0;
}

}  // namespace

bool ReadText(const pugi::xml_node& node, const Context& context, const StyleSheet& sheet,
              std::size_t line, std::vector<Text>* texts, std::string* message) {
  std::string colour = !context.fill.empty() ? context.fill : context.stroke;
  // The text's style: what its ancestors hand down, from the root on.
  std::vector<pugi::xml_node> chain;
  for (pugi::xml_node n = node; n && n.type() == pugi::node_element; n = n.parent())
    chain.push_back(n);
  TextStyle style;
  for (auto n = chain.rbegin(); n != chain.rend(); ++n) Apply(*n, sheet, context, &style);
  style.stroke = context.stroke;  // as the document reckons them
  style.fill = context.fill;
  // alignment-baseline belongs to the element that has it alone.
  BaselineShift(Trim(Declared(node, sheet, "alignment-baseline")), &style.baseline);

  std::vector<Piece> stack(1);
  stack[0].node = node;
  stack[0].style = style;
  if (!Lists(node, &stack[0])) return *message = "x, y, dx and dy of a text must be numbers", false;

  std::vector<TextRun> runs;
  std::string all;
  bool blank = true;     // the last character kept was a blank
  pugi::xml_node owner;  // the element of the run being filled
  // The characters, in document order; the walk goes by an explicit stack,
  // so a deep nest costs no call stack.
  std::vector<pugi::xml_node> next{node.first_child()};
  while (!next.empty()) {
    pugi::xml_node piece = next.back();
    if (!piece) {
      next.pop_back();
      stack.pop_back();
      if (!next.empty()) next.back() = next.back().next_sibling();
      continue;
    }
    if (piece.type() == pugi::node_element) {
      if (Hidden(piece, sheet)) {
        next.back() = piece.next_sibling();
        continue;
      }
      if (stack.size() >= 256) return *message = "tspans nested more than 256 deep", false;
      Piece inner;
      inner.node = piece;
      inner.style = stack.back().style;
      Apply(piece, sheet, context, &inner.style);
      BaselineShift(Trim(Declared(piece, sheet, "alignment-baseline")), &inner.style.baseline);
      if (!Lists(piece, &inner))
        return *message = "x, y, dx and dy of a tspan must be numbers", false;
      stack.push_back(std::move(inner));
      next.push_back(piece.first_child());
      continue;
    }
    next.back() = piece.next_sibling();
    if (piece.type() != pugi::node_pcdata && piece.type() != pugi::node_cdata) continue;
    const Piece& here = stack.back();
    for (const char* c = piece.value(); *c != '\0'; ++c) {
      unsigned char byte = static_cast<unsigned char>(*c);
      bool space = byte == ' ' || byte == '\t' || byte == '\n' || byte == '\r';
      if (!here.style.preserve) {
        if (byte == '\n' || byte == '\r') continue;  // SVG drops line ends, then collapses
        if (space && blank) continue;
      }
      bool continuation = (byte & 0xC0) == 0x80;
      // A character (not the tail of one) takes the next entry of each
      // position list, from the nearest element that still has one.
      double values[4] = {0, 0, 0, 0};
      bool given[4] = {false, false, false, false};
      if (!continuation) {
        for (int a = 0; a < 4; ++a)
          for (auto e = stack.rbegin(); e != stack.rend() && !given[a]; ++e)
            if (e->used < e->lists[a].size()) given[a] = true, values[a] = e->lists[a][e->used];
        for (Piece& e : stack) ++e.used;
      }
      bool positioned = given[0] || given[1] || given[2] || given[3];
      if (runs.empty() || positioned || owner != here.node) {
        TextRun run;
        run.newX = given[0];
        run.newY = given[1];
        run.x = values[0];
        run.y = values[1];
        run.dx = values[2];
        run.dy = values[3];
        run.size = here.style.size;
        run.spacing = here.style.spacing;
        run.baseline = here.style.baseline * here.style.size;
        run.anchor = here.style.anchor;
        run.bold = here.style.bold;
        run.italic = here.style.italic;
        run.colour = !here.style.fill.empty() ? here.style.fill : here.style.stroke;
        runs.push_back(run);
        owner = here.node;
      }
      char kept = space ? ' ' : *c;
      runs.back().text += kept;
      all += kept;
      if (!continuation) blank = space;
      if (all.size() > kMaxTextBytes) return *message = "a text longer than 4096 bytes", false;
    }
  }
  // Blanks at the end are dropped unless kept on purpose.
  if (!style.preserve) {
    while (!runs.empty() && !runs.back().text.empty() && runs.back().text.back() == ' ') {
      runs.back().text.pop_back();
      all.pop_back();
      if (runs.back().text.empty()) runs.pop_back();
    }
  }
  if (colour.empty() || all.empty()) return true;
  // The first run starts a chunk at the text's own x and y, or at 0.
  runs.front().newX = runs.front().newY = true;

  Text text;
  text.colour = colour;
  text.origin = context.matrix.Apply({0, 0});
  text.along = context.matrix.ApplyVector({1, 0});
  text.down = context.matrix.ApplyVector({0, 1});
  text.position = context.matrix.Apply(
      {runs.front().x + runs.front().dx, runs.front().y + runs.front().dy + runs.front().baseline});
  Point up = context.matrix.ApplyVector({0, runs.front().size});
  text.size = std::hypot(up.x, up.y);
  text.angle = std::atan2(text.along.y, text.along.x);
  text.text = all;
  text.line = line;
  double check = text.origin.x + text.origin.y + text.along.x + text.along.y + text.down.x +
                 text.down.y + text.size + text.angle + text.position.x + text.position.y;
  for (const TextRun& r : runs) check += r.x + r.y + r.dx + r.dy + r.size + r.spacing + r.baseline;
  if (!std::isfinite(check))
    return *message = "a coordinate is not finite after its transforms", false;
  text.runs = std::move(runs);
  texts->push_back(std::move(text));
  return true;
}

}  // namespace konib::svg::internal
