// Styles and values of the SVG reader: the cascade of presentation
// attributes, <style> sheets and style attributes; lengths with their
// units; transform lists; viewBoxes.
#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "svg/internal.h"

namespace konib::svg::internal {
namespace {

// The properties that a presentation attribute may set.
const char* const kPresentation[] = {"fill",
                                     "stroke",
                                     "stroke-width",
                                     "fill-rule",
                                     "fill-opacity",
                                     "stroke-opacity",
                                     "opacity",
                                     "display",
                                     "visibility",
                                     "font-size",
                                     "transform",
                                     "stroke-dasharray",
                                     "stroke-dashoffset",
                                     "marker-start",
                                     "marker-mid",
                                     "marker-end",
                                     "clip-path",
                                     "clip-rule",
                                     "color",
                                     "overflow",
                                     "transform-origin",
                                     "text-anchor",
                                     "font-weight",
                                     "font-style",
                                     "letter-spacing",
                                     "dominant-baseline",
                                     "alignment-baseline"};

bool IsSpace(char c) { return std::isspace(static_cast<unsigned char>(c)) != 0; }

// CSS text without its comments.
std::string WithoutComments(const std::string& css) {
  std::string out;
  for (std::size_t at = 0; at < css.size();) {
    if (css.compare(at, 2, "/*") == 0) {
      std::size_t end = css.find("*/", at + 2);
      at = end == std::string::npos ? css.size() : end + 2;
      out += ' ';
    } else {
      out += css[at++];
    }
  }
  return out;
}

bool IsNameChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

}  // namespace

std::string Trim(const std::string& s) {
  std::size_t b = s.find_first_not_of(" \t\r\n"), e = s.find_last_not_of(" \t\r\n");
  return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
}

std::string Lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

void ParseDeclarations(const std::string& text, Declarations* out) {
  std::size_t at = 0;
  while (at < text.size()) {
    std::size_t end = text.find(';', at);
    if (end == std::string::npos) end = text.size();
    std::string item = text.substr(at, end - at);
    std::size_t colon = item.find(':');
    if (colon != std::string::npos) {
      std::string name = Lower(Trim(item.substr(0, colon)));
      std::string value = Trim(item.substr(colon + 1));
      std::size_t important = Lower(value).find("!important");
      if (important != std::string::npos) value = Trim(value.substr(0, important));
      if (name == "marker") {  // the shorthand for the three markers
        for (const char* m : {"marker-start", "marker-mid", "marker-end"}) (*out)[m] = value;
      } else if (!name.empty()) {
        (*out)[name] = value;
      }
    }
    at = end + 1;
  }
}

void StyleSheet::Add(const std::string& given, std::size_t maxRules) {
  std::string css = WithoutComments(given);
  std::size_t at = 0;
  while (at < css.size() && rules_.size() < maxRules) {
    std::size_t open = css.find('{', at);
    if (open == std::string::npos) return;
    // The block's end, nested blocks (of at-rules) included.
    std::size_t close = open + 1;
    int depth = 1;
    for (; close < css.size() && depth > 0; ++close) {
      if (css[close] == '{') ++depth;
      if (css[close] == '}') --depth;
    }
    std::string prelude = Trim(css.substr(at, open - at));
    std::size_t bodyEnd = depth == 0 ? close - 1 : close;  // an open block runs to the end
    std::string body = css.substr(open + 1, bodyEnd - open - 1);
    at = close;
    if (prelude.empty() || prelude[0] == '@') continue;  // media queries, fonts...
    Declarations declared;
    ParseDeclarations(body, &declared);
    blocks_.emplace_back(declared.begin(), declared.end());
    std::size_t from = 0;
    while (from <= prelude.size()) {  // a selector list: each selector a rule
      std::size_t comma = prelude.find(',', from);
      if (comma == std::string::npos) comma = prelude.size();
      std::string selector = Trim(prelude.substr(from, comma - from));
      from = comma + 1;
      Rule rule{{}, 0, blocks_.size() - 1};
      bool valid = !selector.empty();
      bool child = false;
      for (std::size_t i = 0; i < selector.size() && valid;) {
        if (IsSpace(selector[i])) {
          ++i;
          continue;
        }
        if (selector[i] == '>') {
          child = true;
          ++i;
          continue;
        }
        Compound c;
        c.child = child && !rule.parts.empty();
        child = false;
        while (i < selector.size() && !IsSpace(selector[i]) && selector[i] != '>' && valid) {
          char kind = selector[i];
          if (kind == '*') {
            c.type = "*";
            ++i;
            continue;
          }
          if (kind == '[') {  // [name] or [name=value], the value quoted or not
            std::size_t end = selector.find(']', i);
            if (end == std::string::npos) {
              valid = false;
              break;
            }
            std::string inside = selector.substr(i + 1, end - i - 1);
            std::size_t equals = inside.find('=');
            std::string value =
                equals == std::string::npos ? "\n" : Trim(inside.substr(equals + 1));
            if (value.size() >= 2 && (value[0] == '"' || value[0] == '\'') &&
                value.back() == value[0])
              value = value.substr(1, value.size() - 2);
            std::string name = Trim(inside.substr(0, equals));
            valid = !name.empty() && IsNameChar(name.back());  // not ~=, |=, ^= and the like
            c.attributes.push_back({name, value});
            rule.specificity += 1000;
            i = end + 1;
            continue;
          }
          if (kind == ':') {
            std::size_t start = ++i;
            while (i < selector.size() && IsNameChar(selector[i])) ++i;
            valid = selector.compare(start, i - start, "first-child") == 0;
            c.firstChild = true;
            rule.specificity += 1000;
            continue;
          }
          if (kind == '.' || kind == '#') ++i;
          std::size_t start = i;
          while (i < selector.size() && IsNameChar(selector[i])) ++i;
          std::string name = selector.substr(start, i - start);
          if (name.empty()) {
            valid = false;  // ~, + and the like
          } else if (kind == '.') {
            c.classes.push_back(name);
            rule.specificity += 1000;
          } else if (kind == '#') {
            c.id = name;
            rule.specificity += 1000000;
          } else {
            c.type = name;
            rule.specificity += 1;
          }
        }
        rule.parts.push_back(std::move(c));
      }
      if (!valid || rule.parts.empty() || child) continue;
      const Compound& last = rule.parts.back();
      std::size_t index = rules_.size();
      if (!last.id.empty())
        byId_[last.id].push_back(index);
      else if (!last.classes.empty())
        byClass_[last.classes[0]].push_back(index);
      else if (!last.type.empty() && last.type != "*")
        byType_[last.type].push_back(index);
      else
        universal_.push_back(index);
      rules_.push_back(std::move(rule));
      if (rules_.size() >= maxRules) return;
    }
  }
}

bool StyleSheet::Matches(const Compound& c, const pugi::xml_node& node) {
  if (!c.type.empty() && c.type != "*" && c.type != node.name()) return false;
  if (!c.id.empty() && c.id != node.attribute("id").value()) return false;
  for (const auto& a : c.attributes) {
    pugi::xml_attribute given = node.attribute(a.first.c_str());
    if (!given || (a.second != "\n" && a.second != given.value())) return false;
  }
  if (c.firstChild) {
    pugi::xml_node before = node.previous_sibling();
    while (before && before.type() != pugi::node_element) before = before.previous_sibling();
    if (before) return false;
  }
  if (c.classes.empty()) return true;
  std::string classes = std::string(" ") + node.attribute("class").value() + " ";
  for (char& ch : classes)
    if (IsSpace(ch)) ch = ' ';
  for (const std::string& name : c.classes)
    if (classes.find(" " + name + " ") == std::string::npos) return false;
  return true;
}

// Right to left, each ancestor compound matched by the nearest ancestor that
// fits: exact for descendant selectors, which are what drawings use.
bool StyleSheet::Matches(const Rule& rule, const pugi::xml_node& node) const {
  std::size_t i = rule.parts.size() - 1;
  ++work_;
  if (!Matches(rule.parts[i], node)) return false;
  pugi::xml_node at = node;
  while (i > 0) {
    bool child = rule.parts[i].child;
    --i;
    at = at.parent();
    while (at && at.type() == pugi::node_element && !Matches(rule.parts[i], at)) {
      if (child) return false;
      at = at.parent();
      ++work_;
    }
    if (!at || at.type() != pugi::node_element) return false;
  }
  return true;
}

void StyleSheet::Match(const pugi::xml_node& node, Declarations* out) const {
  if (rules_.empty() || exhausted()) return;
  std::vector<std::size_t> candidates = universal_;
  auto add = [&](const std::unordered_map<std::string, std::vector<std::size_t>>& index,
                 const std::string& key) {
    auto found = index.find(key);
    if (found != index.end())
      candidates.insert(candidates.end(), found->second.begin(), found->second.end());
  };
  std::string id = node.attribute("id").value();
  if (!id.empty()) add(byId_, id);
  add(byType_, node.name());
  std::string classes = node.attribute("class").value();
  for (std::size_t at = 0; at < classes.size();) {
    while (at < classes.size() && IsSpace(classes[at])) ++at;
    std::size_t end = at;
    while (end < classes.size() && !IsSpace(classes[end])) ++end;
    if (end > at) add(byClass_, classes.substr(at, end - at));
    at = end;
  }
  work_ += candidates.size();
  std::sort(candidates.begin(), candidates.end());
  candidates.erase(std::unique(candidates.begin(), candidates.end()), candidates.end());
  std::stable_sort(candidates.begin(), candidates.end(), [&](std::size_t a, std::size_t b) {
    return rules_[a].specificity < rules_[b].specificity;
  });
  for (std::size_t index : candidates) {
    const Rule& rule = rules_[index];
    if (exhausted()) return;
    if (!Matches(rule, node)) continue;
    for (const auto& d : blocks_[rule.block]) (*out)[d.first] = d.second;
  }
}

Declarations Cascade(const pugi::xml_node& node, const StyleSheet& sheet) {
  Declarations out;
  for (const char* name : kPresentation) {
    pugi::xml_attribute a = node.attribute(name);
    if (a && std::strcmp(name, "transform") != 0) out[name] = Trim(a.value());
  }
  sheet.Match(node, &out);
  ParseDeclarations(node.attribute("style").value(), &out);
  return out;
}

bool Length(const std::string& text, const Context& context, Axis axis, double* value) {
  std::string trimmed = Trim(text);
  const char* s = trimmed.c_str();
  if (!(*s == '+' || *s == '-' || *s == '.' || std::isdigit(static_cast<unsigned char>(*s))))
    return false;  // also "nan" and "inf", which strtod would take
  char* end = nullptr;
  double v = std::strtod(s, &end);
  if (end == s || !std::isfinite(v)) return false;
  std::string unit = Lower(end);
  double w = context.viewWidth, h = context.viewHeight;
  double percent = axis == Axis::kX   ? w / 100
                   : axis == Axis::kY ? h / 100
                                      : std::sqrt((w * w + h * h) / 2) / 100;
  const std::pair<const char*, double> kUnits[] = {
      {"", 1},
      {"px", 1},
      {"mm", 1 / kMillimetresPerPixel},
      {"cm", 10 / kMillimetresPerPixel},
      {"q", 0.25 / kMillimetresPerPixel},
      {"in", 96},
      {"pt", 96.0 / 72},
      {"pc", 16},
      {"em", context.fontSize},
      {"ex", context.fontSize / 2},
      {"rem", context.rootFontSize},
      {"%", percent},
      {"vw", context.rootWidth / 100},
      {"vh", context.rootHeight / 100},
      {"vmin", std::min(context.rootWidth, context.rootHeight) / 100},
      {"vmax", std::max(context.rootWidth, context.rootHeight) / 100}};
  for (const auto& u : kUnits) {
    if (unit == u.first) {
      *value = v * u.second;
      return std::isfinite(*value);
    }
  }
  return false;
}

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

bool ParseTransform(const std::string& text, const Context& context, Matrix* result) {
  std::size_t at = 0;
  Matrix total;
  if (Trim(text) == "none") return *result = total, true;
  while (true) {
    while (at < text.size() && (IsSpace(text[at]) || text[at] == ',')) ++at;
    if (at >= text.size()) break;
    std::size_t open = text.find('(', at), close = text.find(')', at);
    if (open == std::string::npos || close == std::string::npos || close < open) return false;
    std::string name = Trim(text.substr(at, open - at));
    // The arguments: numbers, each with an angle or length unit or none.
    std::vector<double> v;
    std::string args = text.substr(open + 1, close - open - 1);
    bool angle = name.rfind("rotate", 0) == 0 || name.rfind("skew", 0) == 0;
    for (std::size_t i = 0; i < args.size();) {
      while (i < args.size() && (IsSpace(args[i]) || args[i] == ',')) ++i;
      if (i >= args.size()) break;
      std::size_t start = i;
      while (i < args.size() && !IsSpace(args[i]) && args[i] != ',') {
        // A sign after a digit or a point starts the next number: "1-2".
        if (i > start && (args[i] == '-' || args[i] == '+') && args[i - 1] != 'e' &&
            args[i - 1] != 'E')
          break;
        ++i;
      }
      std::string item = args.substr(start, i - start);
      char* end = nullptr;
      double n = std::strtod(item.c_str(), &end);
      if (end == item.c_str() || v.size() >= 6) return false;
      std::string unit = Lower(end);
      if (angle && v.empty() && !unit.empty()) {
        if (unit == "rad")
          n *= 180 / kPi;
        else if (unit == "grad")
          n *= 0.9;
        else if (unit == "turn")
          n *= 360;
        else if (unit != "deg")
          return false;
      } else if (!unit.empty() && !Length(item, context, Axis::kOther, &n)) {
        return false;
      }
      if (!std::isfinite(n)) return false;
      v.push_back(n);
    }
    Matrix m;
    std::size_t n = v.size();
    if (name == "matrix" && n == 6) {
      m = {v[0], v[1], v[2], v[3], v[4], v[5]};
    } else if (name == "translate" && (n == 1 || n == 2)) {
      m.e = v[0];
      m.f = n == 2 ? v[1] : 0;
    } else if ((name == "translateX" || name == "translateY") && n == 1) {
      (name == "translateX" ? m.e : m.f) = v[0];
    } else if (name == "scale" && (n == 1 || n == 2)) {
      m.a = v[0];
      m.d = n == 2 ? v[1] : v[0];
    } else if ((name == "scaleX" || name == "scaleY") && n == 1) {
      (name == "scaleX" ? m.a : m.d) = v[0];
    } else if (name == "rotate" && (n == 1 || n == 3)) {
      double r = v[0] * kPi / 180, cx = n == 3 ? v[1] : 0, cy = n == 3 ? v[2] : 0;
      Matrix turn{std::cos(r), std::sin(r), -std::sin(r), std::cos(r), 0, 0};
      m = Multiply(Multiply(Matrix{1, 0, 0, 1, cx, cy}, turn), Matrix{1, 0, 0, 1, -cx, -cy});
    } else if (name == "skewX" && n == 1) {
      m.c = std::tan(v[0] * kPi / 180);
    } else if (name == "skewY" && n == 1) {
      m.b = std::tan(v[0] * kPi / 180);
    } else if (name == "skew" && (n == 1 || n == 2)) {
      m.c = std::tan(v[0] * kPi / 180);
      m.b = n == 2 ? std::tan(v[1] * kPi / 180) : 0;
    } else {
      return false;
    }
    total = Multiply(total, m);
    at = close + 1;
  }
  *result = total;
  return true;
}

Matrix ViewBoxMatrix(const double box[4], double width, double height,
                     const std::string& preserveAspectRatio) {
  std::string par = Trim(preserveAspectRatio);
  if (par.rfind("defer", 0) == 0) par = Trim(par.substr(5));
  double sx = width / box[2], sy = height / box[3];
  if (par.rfind("none", 0) == 0) return {sx, 0, 0, sy, -box[0] * sx, -box[1] * sy};
  double s = par.find("slice") != std::string::npos ? std::max(sx, sy) : std::min(sx, sy);
  // xMin, xMid or xMax and the same for y; xMidYMid when not given.
  double ax = 0.5, ay = 0.5;
  if (par.size() >= 8 && par[0] == 'x' && par[4] == 'Y') {
    std::string x = par.substr(1, 3), y = par.substr(5, 3);
    ax = x == "Min" ? 0 : x == "Max" ? 1 : 0.5;
    ay = y == "Min" ? 0 : y == "Max" ? 1 : 0.5;
  }
  double tx = (width - box[2] * s) * ax, ty = (height - box[3] * s) * ay;
  return {s, 0, 0, s, tx - box[0] * s, ty - box[1] * s};
}

}  // namespace konib::svg::internal
