// Text elements of the SVG reader: where a text starts, its size and
// direction, and its characters with blanks collapsed as SVG shows them.
#include <cctype>
#include <cmath>

#include "svg/internal.h"

namespace konib::svg::internal {

bool ReadText(const pugi::xml_node& node, const Context& context, std::size_t line,
              std::vector<Text>* texts, std::string* message) {
  std::string colour = !context.fill.empty() ? context.fill : context.stroke;
  std::vector<double> xs, ys;
  if (!Numbers(node.attribute("x").value(), &xs, 1024) ||
      !Numbers(node.attribute("y").value(), &ys, 1024))
    return *message = "x and y of a text must be numbers", false;
  std::string text;
  bool blank = true;  // collapse runs of white space, as SVG shows them
  // The characters of the text and of its tspans, in document order; the
  // walk goes by parent links, so a deep nest costs no stack.
  for (pugi::xml_node piece = node.first_child(); piece;) {
    if (piece.type() == pugi::node_pcdata || piece.type() == pugi::node_cdata) {
      for (const char* c = piece.value(); *c != '\0'; ++c) {
        bool space = std::isspace(static_cast<unsigned char>(*c)) != 0;
        if (space && blank) continue;
        text += space ? ' ' : *c;
        blank = space;
      }
      if (text.size() > 4096) return *message = "a text longer than 4096 bytes", false;
    }
    if (piece.first_child()) {
      piece = piece.first_child();
      continue;
    }
    while (piece != node && !piece.next_sibling()) piece = piece.parent();
    if (piece == node) break;
    piece = piece.next_sibling();
  }
  while (!text.empty() && text.back() == ' ') text.pop_back();
  if (colour.empty() || text.empty()) return true;
  Point at = context.matrix.Apply({xs.empty() ? 0 : xs[0], ys.empty() ? 0 : ys[0]});
  Point along = context.matrix.ApplyVector({1, 0});
  Point up = context.matrix.ApplyVector({0, context.fontSize});
  double size = std::hypot(up.x, up.y), angle = std::atan2(along.y, along.x);
  if (!std::isfinite(at.x + at.y + size + angle))
    return *message = "a coordinate is not finite after its transforms", false;
  texts->push_back({colour, at, size, angle, text, line});
  return true;
}

}  // namespace konib::svg::internal
