// What the parts of the SVG reader share among themselves; nothing outside
// svg/ includes it.
#pragma once

#include <clipper.hpp>
#include <cstddef>
#include <map>
#include <memory>
#include <pugixml.hpp>
#include <string>
#include <unordered_map>
#include <utility>
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

// A region of the page that clips what is drawn inside it: polygons in
// Clipper's integer coordinates, kClipScale to the millimetre.
constexpr double kClipScale = 10000;
using Region = ClipperLib::Paths;

// What an element hands down to its children.
struct Context {
  Matrix matrix;
  std::string stroke;  // normalised; "" for none
  std::string fill = "#000000";
  bool evenOdd = false;           // fill-rule
  bool fillShown = true;          // fill-opacity above 0
  bool strokeShown = true;        // stroke-opacity above 0
  double fontSize = 16;           // user units
  std::string color = "#000000";  // what currentColor stands for
  double strokeWidth = 1;         // user units
  std::vector<double> dashes;     // user units; empty: solid
  double dashOffset = 0;
  std::string markers[3];    // start, mid, end: "#id" of a <marker>, or ""
  bool visible = true;       // visibility
  bool evenOddClip = false;  // clip-rule
  // The nearest viewport, for percentages, and the root's, for vw and vh.
  double viewWidth = 100, viewHeight = 100;
  double rootWidth = 100, rootHeight = 100;
  double rootFontSize = 16;
  // What context-stroke and context-fill stand for: in a marker, the paint
  // of the shape it stands on.
  std::string contextStroke, contextFill;
  int layer = 0;                       // the pen number of the layer around
  std::shared_ptr<const Region> clip;  // null: not clipped
};

std::string Trim(const std::string& s);
std::string Lower(std::string s);

// Declared properties of one element, the winner of the cascade for each
// name: presentation attributes, then style sheet rules by specificity and
// order, then the style attribute.
using Declarations = std::map<std::string, std::string>;

// Parses `style="..."` declarations into `out`, later ones winning.
void ParseDeclarations(const std::string& text, Declarations* out);

// The rules of every <style> sheet of a document, with a matcher for type,
// class, id, `*`, [attribute], [attribute=value], :first-child, descendant
// and child selectors. Other selectors (other pseudo-classes, ~, +) never
// match, as a browser drops a rule it does not know.
class StyleSheet {
 public:
  // Adds the rules of a sheet, up to `maxRules` rules in all.
  void Add(const std::string& css, std::size_t maxRules);
  // The declarations of the rules that match `node`, weakest first.
  void Match(const pugi::xml_node& node, Declarations* out) const;
  bool empty() const { return rules_.empty(); }
  // Matching is bounded, so that many rules on many elements cannot make
  // reading quadratic: past the bound, rules no longer apply.
  bool exhausted() const { return work_ > kMaxWork; }

 private:
  struct Compound {
    std::string type;  // "" or "*": any
    std::string id;
    std::vector<std::string> classes;
    std::vector<std::pair<std::string, std::string>> attributes;  // [name] ("\n") or [name=value]
    bool firstChild = false;                                      // :first-child
    bool child = false;  // joined to the compound before it by '>'
  };
  struct Rule {
    std::vector<Compound> parts;  // left to right
    long specificity;
    std::size_t block;  // its declarations, shared by the selectors of a list
  };
  static constexpr std::size_t kMaxWork = 50000000;
  static bool Matches(const Compound& c, const pugi::xml_node& node);
  bool Matches(const Rule& rule, const pugi::xml_node& node) const;
  std::vector<Rule> rules_;
  std::vector<std::vector<std::pair<std::string, std::string>>> blocks_;
  mutable std::size_t work_ = 0;  // compounds tried
  // Rules by the key of their last compound, so that an element is tried
  // against the few rules that may match it.
  std::unordered_map<std::string, std::vector<std::size_t>> byId_, byClass_, byType_;
  std::vector<std::size_t> universal_;
};

// The cascaded declarations of `node`.
Declarations Cascade(const pugi::xml_node& node, const StyleSheet& sheet);

// Which viewport dimension a percentage refers to.
enum class Axis { kX, kY, kOther };

// A length with an optional unit, in user units: absolute units, em, ex,
// rem, percentages of the context's viewport, vw, vh, vmin, vmax; false if
// it is no length.
bool Length(const std::string& text, const Context& context, Axis axis, double* value);

// A list of numbers separated by blanks or commas, with the path grammar's
// number syntax; false past `limit` numbers or at anything else, `out`
// holding the numbers before that.
bool Numbers(const std::string& text, std::vector<double>* out, std::size_t limit);

// A transform list as the attribute or the CSS property writes it: SVG's
// unitless numbers, or CSS's px and angle units; false when it is none.
bool ParseTransform(const std::string& text, const Context& context, Matrix* result);

// The map of a viewBox onto a viewport of `width` by `height` under a
// preserveAspectRatio value.
Matrix ViewBoxMatrix(const double box[4], double width, double height,
                     const std::string& preserveAspectRatio);

// Internal general entities expanded in `data`, the document type kept as
// it stands; false with a message for an external entity or an expansion
// past `maxBytes` bytes or a million references.
bool ExpandEntities(const char* data, std::size_t size, std::size_t maxBytes, std::string* out,
                    std::string* message);

// Dashes: the flattened subpaths cut into the pieces the pen draws, the
// pattern restarting at each subpath; `scale` stretches the pattern (the
// path's length over its pathLength).
std::vector<Subpath> Dash(const std::vector<Subpath>& lines, const std::vector<double>& pattern,
                          double offset, double scale, std::size_t maxPieces);

// Flattened subpaths as straight pieces.
std::vector<Subpath> Flattened(const std::vector<Subpath>& subpaths, double tolerance);

// Clipper's polygons of closed flattened subpaths, in millimetres.
Region ToRegion(const std::vector<Subpath>& lines);

// The flattened subpaths inside the region: as open lines (a stroke), or
// as polygons under the fill rule (a fill's outline).
std::vector<Subpath> ClipLines(const std::vector<Subpath>& lines, const Region& region);
std::vector<Subpath> ClipFill(const std::vector<Subpath>& lines, bool evenOdd,
                              const Region& region);

// The intersection of two regions, or the union of a region's polygons
// under a fill rule.
Region Intersect(const Region& a, const Region& b);
Region Normalise(const Region& a, bool evenOdd);

// A <text> element with its tspans: appends what it letters to `texts`, or
// returns false with a message. `line` is where the element starts.
bool ReadText(const pugi::xml_node& node, const Context& context, const StyleSheet& sheet,
              std::size_t line, std::vector<Text>* texts, std::string* message);

}  // namespace konib::svg::internal
