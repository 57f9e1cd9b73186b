// Internal entities of a document type, which the XML parser leaves
// unexpanded: drawing programs declare namespaces and repeated values that
// way. Expansion is bounded in size and in references, so that nested
// declarations cannot grow without end, and an external entity, which would
// read a file, is refused.
#include <cctype>
#include <cstring>
#include <map>

#include "svg/internal.h"

namespace konib::svg::internal {
namespace {

constexpr std::size_t kMaxReferences = 1000000;
constexpr int kMaxNesting = 32;

bool IsNameChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_' || c == '-' || c == '.' ||
         c == ':' || static_cast<unsigned char>(c) >= 0x80;
}

struct Expander {
  std::map<std::string, std::string> entities;
  std::size_t maxBytes;
  std::size_t references = 0;
  std::string* message;

  // Appends `text` with its references expanded.
  bool Expand(const std::string& text, int nesting, std::string* out) {
    for (std::size_t at = 0; at < text.size();) {
      std::size_t amp = text.find('&', at);
      if (amp == std::string::npos) amp = text.size();
      out->append(text, at, amp - at);
      at = amp;
      if (at >= text.size()) break;
      std::size_t end = at + 1;
      while (end < text.size() && IsNameChar(text[end])) ++end;
      auto found = end < text.size() && text[end] == ';'
                       ? entities.find(text.substr(at + 1, end - at - 1))
                       : entities.end();
      if (found == entities.end()) {  // predefined, a character, or unknown
        out->push_back('&');
        ++at;
        continue;
      }
      if (++references > kMaxReferences || nesting >= kMaxNesting)
        return *message = "entities nest or repeat beyond bounds", false;
      if (!Expand(found->second, nesting + 1, out)) return false;
      if (out->size() > maxBytes)
        return *message = "entities expand past " + std::to_string(maxBytes) + " bytes", false;
      at = end + 1;
    }
    return true;
  }
};

}  // namespace

bool ExpandEntities(const char* data, std::size_t size, std::size_t maxBytes, std::string* out,
                    std::string* message) {
  std::string text(data, size);
  std::size_t doctype = text.find("<!DOCTYPE");
  std::size_t root = text.find('<');
  while (root != std::string::npos && root + 1 < text.size() &&
         (text[root + 1] == '?' || text[root + 1] == '!') && root != doctype) {
    std::size_t next = text.find('>', root);
    root = next == std::string::npos ? next : text.find('<', next);
  }
  if (doctype == std::string::npos || doctype != root) return *out = std::move(text), true;
  std::size_t open = doctype + 9;
  while (open < text.size() && text[open] != '[' && text[open] != '>') ++open;
  if (open >= text.size() || text[open] != '[') return *out = std::move(text), true;
  Expander expander{{}, maxBytes, 0, message};
  // The internal subset: declarations, comments and processing instructions.
  std::size_t at = open + 1;
  while (true) {
    while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
    if (at >= text.size()) return *out = std::move(text), true;  // the parser will say
    if (text[at] == ']') break;
    if (text.compare(at, 4, "<!--") == 0) {
      std::size_t end = text.find("-->", at);
      if (end == std::string::npos) return *out = std::move(text), true;
      at = end + 3;
      continue;
    }
    if (text.compare(at, 8, "<!ENTITY") != 0) {
      // Another declaration: skip it, quoted strings and all.
      char quote = 0;
      for (++at; at < text.size() && (quote != 0 || text[at] != '>'); ++at)
        if (text[at] == '"' || text[at] == '\'')
          quote = quote == 0 ? text[at] : quote == text[at] ? 0 : quote;
      ++at;
      continue;
    }
    at += 8;
    auto blanks = [&]() {
      while (at < text.size() && std::isspace(static_cast<unsigned char>(text[at]))) ++at;
    };
    blanks();
    bool parameter = at < text.size() && text[at] == '%';
    if (parameter) ++at, blanks();
    std::size_t name = at;
    while (at < text.size() && IsNameChar(text[at])) ++at;
    std::string entity = text.substr(name, at - name);
    blanks();
    if (at < text.size() && text[at] != '"' && text[at] != '\'') {
      *message = "the external entity \"" + entity + "\" is not read";
      return false;
    }
    if (at >= text.size()) return *out = std::move(text), true;
    char quote = text[at];
    std::size_t end = text.find(quote, at + 1);
    if (end == std::string::npos) return *out = std::move(text), true;
    if (!parameter && !entity.empty() && expander.entities.count(entity) == 0)
      expander.entities[entity] = text.substr(at + 1, end - at - 1);  // the first one holds
    at = text.find('>', end);
    if (at == std::string::npos) return *out = std::move(text), true;
    ++at;
  }
  if (expander.entities.empty()) return *out = std::move(text), true;
  // Everything after the document type, expanded; the type itself as it is.
  std::size_t after = text.find('>', at);
  if (after == std::string::npos) return *out = std::move(text), true;
  ++after;
  std::string result = text.substr(0, after);
  if (!expander.Expand(text.substr(after), 0, &result)) return false;
  *out = std::move(result);
  return true;
}

}  // namespace konib::svg::internal
