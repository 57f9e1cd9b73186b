#include "cmd/check.h"

#include <KoNib.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "device/device.h"
#include "fill/fill.h"
#include "model/model.h"

namespace konib::tool {
namespace {

// What a value text holds, field by field, for the checks.
enum class Kind {
  kTemplate,     // the whole text is one template
  kIntegers,     // every field an integer
  kReals,        // every field a real number
  kIndex,        // field 1 an integer naming an entry (Paper, Bin)
  kPaper,        // name, real, real, template
  kBin,          // name, template
  kTemplates,    // every field a template (PenTbl)
  kOrientation,  // integer, then templates; field 3 also an integer
  kExtension,    // integer, title, then name and template pairs
  kStyle,        // template, then reals
  kPlain,        // text, never expanded
};

// The model vocabulary. This table mirrors the key table of the library:
// the names it takes in (a prefix key is followed by an entry number), and
// for each template the local escapes its command knows.
struct Key {
  const char* name;
  bool prefix;
  Kind kind;
  const char* locals;  // space-separated; "" for none
};

constexpr const char* kMove = "x1 y1 x3 y3";
constexpr const char* kLine = "x1 y1 x3 y3 x2 y2 x4 y4";
constexpr const char* kCircle = "xc3 yc3 xc yc x0 y0 x5 y5 r1 r2";
constexpr const char* kArc =
    "xc3 yc3 xc yc x0 y0 x5 y5 r1 r2 mv x1 y1 x3 y3 x2 y2 x4 y4 a1 a4 a2 a5 a3";
constexpr const char* kAttributes = "w0 h0 s0 w1 w2 w3 h1 h2 h3 p1 s1 sc ss i1 b1 i0 b0";
constexpr const char* kTextRun = "x1 y1 x3 y3 w0 h0 s0 w1 w2 w3 h1 h2 h3 p1 s1 sc ss i1 b1 i0 b0";
constexpr const char* kTextChar =
    "x1 y1 x3 y3 c1 c2 c3 c4 c5 c8 c9 w0 h0 s0 w1 w2 w3 h1 h2 h3 p1 s1 sc ss i1 b1 i0 b0";
constexpr const char* kStyleLocals = "ln l0 l1 l2 l3 l4 l5 l6 l7 l8 l9";

const Key kKeys[] = {
    {"PenLayout", false, Kind::kIntegers, ""},
    {"StylePitch", false, Kind::kReals, ""},
    {"Origin", false, Kind::kReals, ""},
    {"Scale", false, Kind::kReals, ""},
    {"Paper", false, Kind::kIndex, ""},
    {"Paper.", true, Kind::kPaper, ""},
    {"PaperSize", false, Kind::kTemplate, ""},
    {"Bin", false, Kind::kIndex, ""},
    {"Bin.", true, Kind::kBin, ""},
    {"Orientation", false, Kind::kOrientation, ""},
    {"Step", false, Kind::kReals, ""},
    {"Step2", false, Kind::kReals, ""},
    {"Decimal", false, Kind::kIntegers, ""},
    {"ANK", false, Kind::kIntegers, ""},
    {"Kanji", false, Kind::kIntegers, ""},
    {"FontAdjust1", false, Kind::kReals, ""},
    {"FontAdjust2", false, Kind::kReals, ""},
    {"FontAdjust3", false, Kind::kReals, ""},
    {"FontAdjust4", false, Kind::kReals, ""},
    {"FontAdjust5", false, Kind::kReals, ""},
    {"FontReplace", false, Kind::kPlain, ""},
    {"PenTbl", false, Kind::kTemplates, ""},
    {"Style0", false, Kind::kStyle, kStyleLocals},
    {"Style1", false, Kind::kStyle, kStyleLocals},
    {"Style2", false, Kind::kStyle, kStyleLocals},
    {"Style3", false, Kind::kStyle, kStyleLocals},
    {"Style4", false, Kind::kStyle, kStyleLocals},
    {"Style5", false, Kind::kStyle, kStyleLocals},
    {"Style6", false, Kind::kStyle, kStyleLocals},
    {"Style7", false, Kind::kStyle, kStyleLocals},
    {"Style8", false, Kind::kStyle, kStyleLocals},
    {"Style9", false, Kind::kStyle, kStyleLocals},
    {"Command.Pen", false, Kind::kTemplate, ""},
    {"Command.NextPen", false, Kind::kTemplate, ""},
    {"Command.Style", false, Kind::kTemplate, ""},
    {"Command.Init", false, Kind::kTemplate, ""},
    {"Command.Term", false, Kind::kTemplate, ""},
    {"Command.Abort", false, Kind::kTemplate, ""},
    {"Command.StartPage", false, Kind::kTemplate, ""},
    {"Command.EndPage", false, Kind::kTemplate, ""},
    {"Command.NextPage", false, Kind::kTemplate, ""},
    {"Command.Home", false, Kind::kTemplate, ""},
    {"Command.Move", false, Kind::kTemplate, kMove},
    {"Command.Line", false, Kind::kTemplate, kLine},
    {"Command.Circle", false, Kind::kTemplate, kCircle},
    {"Command.Arc", false, Kind::kTemplate, kArc},
    {"Command.Text", false, Kind::kTemplate, kTextRun},
    {"Command.TextInit", false, Kind::kTemplate, kTextRun},
    {"Command.TextDrawInit", false, Kind::kTemplate, kTextRun},
    {"Command.TextDraw", false, Kind::kTemplate, kTextChar},
    {"Command.TextDrawTerm", false, Kind::kTemplate, ""},
    {"Command.TextCharInit", false, Kind::kTemplate, kTextRun},
    {"Command.TextChar", false, Kind::kTemplate, kTextChar},
    {"Command.TextCharTerm", false, Kind::kTemplate, ""},
    {"Command.TextKanaInit", false, Kind::kTemplate, kTextRun},
    {"Command.TextKana", false, Kind::kTemplate, kTextChar},
    {"Command.TextKanaTerm", false, Kind::kTemplate, ""},
    {"Command.TextTerm", false, Kind::kTemplate, ""},
    {"Command.FontBoldOff", false, Kind::kTemplate, kAttributes},
    {"Command.FontBoldOn", false, Kind::kTemplate, kAttributes},
    {"Command.FontItalicOff", false, Kind::kTemplate, kAttributes},
    {"Command.FontItalicOn", false, Kind::kTemplate, kAttributes},
    {"Command.FontWidth", false, Kind::kTemplate, kAttributes},
    {"Command.FontHeight", false, Kind::kTemplate, kAttributes},
    {"Command.FontPitch", false, Kind::kTemplate, kAttributes},
    {"Command.FontAngle", false, Kind::kTemplate, kAttributes},
    {"Extension.", true, Kind::kExtension, ""},
    {"Digitize.Start", false, Kind::kTemplate, ""},
    {"Digitize.End", false, Kind::kTemplate, ""},
    {"Digitize.Position", false, Kind::kTemplate, "<"},
    {"Digitize.Enter", false, Kind::kPlain, ""},
    {"Digitize.Pen", false, Kind::kTemplate, ""},
    {"Digitize.ReleasePen", false, Kind::kTemplate, ""},
    {"Ctrl.DrawArc", false, Kind::kReals, ""},
};

// konib's own keys, which the library passes over, one small table per
// concern. Planning: the plotter's pace, for the estimate of the plot time.
const Key kPlanningKeys[] = {
    {"Konib.PenDownSpeed", false, Kind::kReals, ""},
    {"Konib.PenUpSpeed", false, Kind::kReals, ""},
    {"Konib.PenLiftTime", false, Kind::kReals, ""},
    {"Konib.PenLowerTime", false, Kind::kReals, ""},
    {"Konib.PenChangeTime", false, Kind::kReals, ""},
    {"Konib.Acceleration", false, Kind::kReals, ""},
};

struct KeyTable {
  const Key* keys;
  std::size_t size;
};
// Lettering: what stands for a character the device has no code for.
const Key kLetteringKeys[] = {
    {"Konib.Replacement", false, Kind::kPlain, ""},
};

const KeyTable kTables[] = {
    {kKeys, sizeof kKeys / sizeof kKeys[0]},
    {kPlanningKeys, sizeof kPlanningKeys / sizeof kPlanningKeys[0]},
    {kLetteringKeys, sizeof kLetteringKeys / sizeof kLetteringKeys[0]},
};

// Names a model may hold beside the keys: its command set and guide lines.
bool IsOtherName(const std::string& name) {
  if (EqualNoCase(name, "Command")) return true;
  return name.size() > 1 && name[0] == '#' && std::all_of(name.begin() + 1, name.end(), [](char c) {
           return std::isdigit(static_cast<unsigned char>(c));
         });
}

const Key* FindKey(const std::string& name) {
  for (const KeyTable& table : kTables)
    for (const Key* key = table.keys; key != table.keys + table.size; ++key) {
      const Key& k = *key;
      std::size_t n = std::strlen(k.name);
      if (!k.prefix && EqualNoCase(name, k.name)) return &k;
      if (k.prefix && name.size() > n && EqualNoCase(name.substr(0, n), k.name) &&
          std::all_of(name.begin() + static_cast<std::ptrdiff_t>(n), name.end(),
                      [](char c) { return std::isdigit(static_cast<unsigned char>(c)); }))
        return &k;
    }
  return nullptr;
}

std::vector<std::string> Words(const char* text) {
  std::vector<std::string> words;
  std::string word;
  for (const char* c = text;; ++c) {
    if (*c == ' ' || *c == '\0') {
      if (!word.empty()) words.push_back(word);
      word.clear();
      if (*c == '\0') return words;
    } else {
      word += *c;
    }
  }
}

bool StartsNoCase(const std::string& text, std::size_t at, const std::string& name) {
  return text.size() - at >= name.size() && EqualNoCase(text.substr(at, name.size()), name);
}

// A bracketed number behind its name: `,format,operation)`; the length
// consumed up to and with `)`, or 0 if it is malformed.
std::size_t BracketTail(const std::string& t, std::size_t at) {
  std::size_t i = at;
  if (i >= t.size()) return 0;
  if (t[i] == ')') return i + 1 - at;
  if (t[i] != ',') return 0;
  ++i;
  while (i < t.size() && t[i] != ',' && t[i] != ')') ++i;  // the format
  if (i < t.size() && t[i] == ',') {
    ++i;
    if (i < t.size() && t[i] != ')') {
      if (std::strchr("+-*/%", t[i]) == nullptr) return 0;
      ++i;
      std::size_t digits = i;
      while (i < t.size() && (std::isdigit(static_cast<unsigned char>(t[i])) || t[i] == '.')) ++i;
      if (i == digits) return 0;
      if (i < t.size() && (t[i] == 's' || t[i] == 'S')) ++i;
    }
  }
  return i < t.size() && t[i] == ')' ? i + 1 - at : 0;
}

// Fields of a value text, split as the library splits them: a comma ends a
// field only outside \( ) and \[ ], and never behind a backslash.
std::vector<std::string> SplitFields(const std::string& text) {
  std::vector<std::string> fields(1);
  int brackets = 0, parens = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(text[i]);
    bool lead = (c >= 0x81 && c <= 0x9F) || (c >= 0xE0 && c <= 0xFC);
    unsigned char d = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
    if (lead && ((d >= 0x40 && d <= 0x7E) || (d >= 0x80 && d <= 0xFC))) {
      fields.back() += text.substr(i, 2);
      ++i;
      continue;
    }
    if (c == '\\' && i + 1 < text.size()) {
      if (d == '[') ++brackets;
      if (d == '(') ++parens;
      fields.back() += text.substr(i, 2);
      ++i;
      continue;
    }
    if (c == ']' && brackets > 0) --brackets;
    if (c == ')' && parens > 0) --parens;
    if (c == ',' && brackets == 0 && parens == 0) {
      fields.emplace_back();
      continue;
    }
    fields.back() += static_cast<char>(c);
  }
  return fields;
}

bool IsNumber(const std::string& field, bool integer) {
  std::size_t b = field.find_first_not_of(" \t");
  if (b == std::string::npos) return true;  // empty: the default stays
  std::size_t e = field.find_last_not_of(" \t");
  std::string s = field.substr(b, e - b + 1);
  char* end = nullptr;
  if (integer)
    std::strtol(s.c_str(), &end, 10);
  else
    std::strtod(s.c_str(), &end);
  return end != s.c_str() && *end == '\0';
}

struct Problems {
  const ModelFile& file;
  std::size_t count = 0;
  void Report(const ModelValue& v, const std::string& section, const std::string& message) {
    std::printf("%s:%zu: [%s] %s: %s\n", file.path.c_str(), v.line, section.c_str(), v.name.c_str(),
                message.c_str());
    ++count;
  }
};

struct Device {
  std::string bytes;
};

int Put(void* cookie, const char* byte) {
  static_cast<Device*>(cookie)->bytes += *byte;
  return 1;
}

// A short job through the model, each step with what it sent.
void SampleJob(const ModelFile& file, const std::string& section) {
  _NibREG_DATA* list = NibGetRegistry2(
      file.text.data(), static_cast<unsigned long>(file.text.size()), nullptr, 0, section.c_str());
  if (list == nullptr) {
    std::printf("Sample job of [%s]: the library finds no such model with values and command set\n",
                section.c_str());
    return;
  }
  _NibWorld2 size{297, 210};
  void* h = NibGetHandle(&size);
  NibSetPlotter2(h, list);
  Device device;
  NibSetDevice(h, &device, Put, nullptr);
  std::printf("Sample job of [%s], on a sheet of 297 x 210 plot units:\n", section.c_str());
  auto step = [&](const char* what, auto call) {
    device.bytes.clear();
    call();
    // Long runs of chords are cut short: their start shows the form.
    std::string shown = EscapeBytes(device.bytes);
    if (shown.size() > 160)
      shown = shown.substr(0, 160) + "... (" + std::to_string(device.bytes.size()) + " bytes)";
    std::printf("  %-36s %s\n", what, shown.c_str());
  };
  const _NibWorld4 first{{10, 10}, {100, 0}}, second{{110, 10}, {0, 50}},
      dashed{{10, 80}, {100, 0}};
  const _NibWorld2 centre{200, 100}, arc{0, 1.5707963267948966}, dot{250, 20};
  step("NibInitiate", [&] { NibInitiate(h); });
  step("NibStartPage", [&] { NibStartPage(h); });
  step("pen 1, line (10,10)-(110,10)", [&] { NibSetPen(h, 1), NibDrawLine(h, &first); });
  step("line (110,10)-(110,60)", [&] { NibDrawLine(h, &second); });
  step("pen 2, dot (250,20)", [&] { NibSetPen(h, 2), NibDrawDot(h, &dot); });
  step("style 2, line (10,80)-(110,80)", [&] { NibSetStyle(h, 2), NibDrawLine(h, &dashed); });
  step("style 0, circle (200,100) r 30",
       [&] { NibSetStyle(h, 0), NibDrawArc(h, &centre, 30, nullptr); });
  step("arc (200,100) r 40, 0 to 90 degrees", [&] { NibDrawArc(h, &centre, 40, &arc); });
  const _NibWorld2 label{20, 150};
  const _NibTextInfo letters{0, 3, 5, 4, 0};
  step("text \"KoNib\" at (20,150), 5 high", [&] { NibDrawText(h, &label, "KoNib", &letters); });
  step("NibHome", [&] { NibHome(h); });
  step("NibEndPage", [&] { NibEndPage(h); });
  step("NibTerminate", [&] { NibTerminate(h); });
  NibFreeHandle(h);
  NibFreeRegistry2(list);
}

// A solid curve within Ctrl.DrawArc's radius goes to the device's own
// circle or arc command; a model that draws lines but lacks one of them
// would send nothing for such curves.
void CheckCurves(const ModelSection& machine, const ModelSection* commands, Problems* problems) {
  auto find = [&](const char* name) {
    const ModelValue* v = machine.Find(name);
    return v != nullptr || commands == nullptr ? v : commands->Find(name);
  };
  if (find("Command.Line") == nullptr) return;
  const ModelValue* limit = find("Ctrl.DrawArc");
  double radius = 150;  // the library's limit when the model gives none
  if (limit != nullptr) {
    const std::vector<std::string> fields = SplitFields(limit->value);
    radius = fields.empty() ? 0 : std::atof(fields[0].c_str());
  }
  if (radius == 0) return;
  const struct {
    const char* command;
    const char* curve;
  } curves[] = {{"Command.Circle", "circle"}, {"Command.Arc", "arc"}};
  const ModelValue absent{"Ctrl.DrawArc", "", machine.line};
  for (const auto& c : curves) {
    if (find(c.command) != nullptr) continue;
    char message[256];
    if (radius < 0)
      std::snprintf(
          message, sizeof message,
          "every solid %s goes to %s, which the model does not have, so nothing is sent for it "
          "(Ctrl.DrawArc=0 draws chords)",
          c.curve, c.command);
    else
      std::snprintf(
          message, sizeof message,
          "%ssolid %ss up to a radius of %g go to %s, which the model does not have, so nothing "
          "is sent for them (Ctrl.DrawArc=0 draws chords)",
          limit == nullptr ? "not given: " : "", c.curve, radius, c.command);
    problems->Report(limit == nullptr ? absent : *limit, machine.name, message);
  }
}

// konib's own keys, with the prefix Konib., which the library passes over:
// each concern of konib knows its keys and checks their values.
const struct ToolKeys {
  bool (*known)(const std::string& name);
  std::string (*check)(const std::string& name, const std::string& value);
} kToolKeys[] = {
    {IsConversationKey, CheckConversationValue},  // how the device takes bytes
};

// True when `v` is a key of konib's (and then checked).
bool CheckToolKey(const ModelValue& v, const std::string& section, Problems* problems) {
  if (!StartsNoCase(v.name, 0, "Konib.")) return false;
  for (const ToolKeys& k : kToolKeys) {
    if (!k.known(v.name)) continue;
    std::string problem = k.check(v.name, v.value);
    if (!problem.empty()) problems->Report(v, section, problem);
    return true;
  }
  // Keys with plain values (the plot's pace) stand in the key tables.
  if (FindKey(v.name) != nullptr) return false;
  problems->Report(v, section, "no key of konib of that name");
  return true;
}

// Fills: konib's own key beside the library's, the width of the model's
// pens in mm, which sets the hatch pitch. True when the value is that key.
bool CheckPenWidth(const ModelValue& v, const std::string& section, Problems* problems) {
  if (!EqualNoCase(v.name, fill::kPenWidthKey)) return false;
  if (fill::PenWidth(v.value.c_str()) == 0)
    problems->Report(v, section,
                     "\"" + v.value + "\" is no pen width: give millimetres from 0.01 to 100");
  return true;
}

// Every value of a model: its machine section and its command set.
void CheckModel(const ModelFile& file, const ModelSection& machine, Problems* problems) {
  std::vector<std::pair<const ModelSection*, const ModelValue*>> values;
  const ModelValue* command = machine.Find("Command");
  const ModelSection* commands = nullptr;
  if (command != nullptr) {
    commands = file.Find(command->value);
    if (commands == nullptr)
      problems->Report(
          *command, machine.name,
          "names the command set [" + command->value + "], which the file does not hold");
    else
      for (const ModelValue& v : commands->values) values.push_back({commands, &v});
  }
  for (const ModelValue& v : machine.values) values.push_back({&machine, &v});
  auto has = [&](const std::string& name) {
    return machine.Find(name) != nullptr ||
           (commands != nullptr && commands->Find(name) != nullptr);
  };
  auto hasPrefix = [&](const char* prefix) {
    for (const auto& item : values)
      if (StartsNoCase(item.second->name, 0, prefix)) return true;
    return false;
  };
  for (const auto& item : values) {
    const ModelSection* section = item.first;
    const ModelValue& v = *item.second;
    if (CheckPenWidth(v, section->name, problems)) continue;
    if (CheckToolKey(v, section->name, problems)) continue;
    const Key* key = FindKey(v.name);
    if (key == nullptr) {
      if (!IsOtherName(v.name))
        problems->Report(v, section->name,
                         "no key of that name (nearest: " + NearestKey(v.name) + ")");
      continue;
    }
    std::vector<std::string> fields = SplitFields(v.value);
    std::vector<std::pair<std::size_t, std::string>> templates;  // field number, text
    auto numbers = [&](std::size_t from, std::size_t to, bool integer) {
      for (std::size_t i = from; i < fields.size() && i <= to; ++i)
        if (!IsNumber(fields[i], integer))
          problems->Report(v, section->name,
                           "field " + std::to_string(i) + " \"" + fields[i] + "\" is not " +
                               (integer ? "an integer" : "a number"));
    };
    switch (key->kind) {
      case Kind::kTemplate:
        templates.push_back({0, v.value});
        break;
      case Kind::kIntegers:
        numbers(0, fields.size(), true);
        break;
      case Kind::kReals:
        numbers(0, fields.size(), false);
        break;
      case Kind::kIndex: {
        numbers(1, 1, true);
        std::string list = EqualNoCase(v.name, "Paper") ? "Paper." : "Bin.";
        if (fields.size() > 1 && !fields[1].empty() && IsNumber(fields[1], true) &&
            !has(list + std::to_string(std::atoi(fields[1].c_str()))))
          problems->Report(v, section->name,
                           "the default entry " + fields[1] + " has no value " + list + fields[1]);
        break;
      }
      case Kind::kPaper:
        numbers(1, 2, false);
        if (fields.size() > 3) templates.push_back({3, fields[3]});
        break;
      case Kind::kBin:
        if (fields.size() > 1) templates.push_back({1, fields[1]});
        break;
      case Kind::kTemplates:
        for (std::size_t i = 0; i < fields.size(); ++i) templates.push_back({i, fields[i]});
        break;
      case Kind::kOrientation:
        numbers(0, 0, true);
        for (std::size_t i = 1; i < fields.size(); ++i) templates.push_back({i, fields[i]});
        break;
      case Kind::kExtension:
        numbers(0, 0, true);
        for (std::size_t i = 3; i < fields.size(); i += 2) templates.push_back({i, fields[i]});
        break;
      case Kind::kStyle:
        templates.push_back({0, fields[0]});
        numbers(1, 9, false);
        break;
      case Kind::kPlain:
        break;
    }
    for (const auto& [number, text] : templates) {
      std::vector<std::string> references;
      std::string where =
          key->kind == Kind::kTemplate ? "" : "field " + std::to_string(number) + ": ";
      for (const Finding& f : CheckTemplate(key->name, text, &references))
        problems->Report(v, section->name, where + f.message);
      for (const std::string& r : references) {
        std::string lower = r;
        for (char& c : lower) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
        bool found = lower == "ls"   ? hasPrefix("Style")
                     : lower == "pp" ? hasPrefix("Paper.") || has("PaperSize")
                     : lower == "pb" ? hasPrefix("Bin.")
                     : lower == "po" ? has("Orientation")
                                     : has("Extension." + lower.substr(1));
        if (!found)
          problems->Report(v, section->name,
                           where + "\\" + r + " reads a value the model does not have");
      }
    }
  }
  CheckCurves(machine, commands, problems);
}

std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      std::size_t above = row[j];
      bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                  std::tolower(static_cast<unsigned char>(b[j - 1]));
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

}  // namespace

std::string NearestKey(const std::string& name) {
  const char* best = kKeys[0].name;
  std::size_t bestDistance = SIZE_MAX;
  for (const KeyTable& table : kTables)
    for (const Key* k = table.keys; k != table.keys + table.size; ++k) {
      std::size_t d = Distance(name.substr(0, 64), k->name);
      if (d < bestDistance) bestDistance = d, best = k->name;
    }
  return best;
}

std::vector<Finding> CheckTemplate(const std::string& key, const std::string& t,
                                   std::vector<std::string>* references) {
  std::vector<Finding> findings;
  const Key* found = FindKey(key);
  std::vector<std::string> locals = Words(found != nullptr ? found->locals : "");
  std::vector<std::string> numeric = {"sx", "sy", "px", "py"};
  for (const std::string& l : locals)
    if (l != "mv" && l != "<" && l[0] != 'c' && l != "w0" && l != "h0" && l != "s0" && l != "i0" &&
        l != "i1" && l != "b0" && l != "b1")
      numeric.push_back(l);
  auto has = [&](const char* name) {
    return std::find(locals.begin(), locals.end(), name) != locals.end();
  };
  auto longest = [&](std::size_t at, const std::vector<std::string>& names) {
    std::string best;
    for (const std::string& n : names)
      if (n.size() > best.size() && StartsNoCase(t, at, n)) best = n;
    return best;
  };
  std::size_t i = 0;
  while (i < t.size()) {
    if (t[i] != '\\') {
      ++i;
      continue;
    }
    std::size_t at = i + 1;
    if (at >= t.size()) {
      findings.push_back({"a lone backslash ends the template"});
      break;
    }
    char c = t[at];
    if (c == '$') {
      bool hex = at + 2 < t.size() + 0 && std::isxdigit(static_cast<unsigned char>(t[at + 1])) &&
                 at + 2 < t.size() && std::isxdigit(static_cast<unsigned char>(t[at + 2]));
      if (!hex)
        findings.push_back({"\\$ is not followed by two hexadecimal digits: it sends \"$\""});
      i = at + (hex ? 3 : 1);
      continue;
    }
    if (c == 'n' || c == 'N') {
      i = at + 1;
      continue;
    }
    static const std::vector<std::string> kGlobals = {"pn", "p0", "ls", "pp", "pb", "po"};
    std::string global = longest(at, kGlobals);
    if (global.empty() && (c == 'e' || c == 'E') && at + 1 < t.size() &&
        std::isdigit(static_cast<unsigned char>(t[at + 1])))
      global = t.substr(at, 2);
    if (!global.empty()) {
      if (global != "pn" && global != "p0") references->push_back(t.substr(at, 2));
      i = at + 2;
      continue;
    }
    if (c == '[') {
      std::size_t close = t.find(']', at);
      if (close == std::string::npos) {
        findings.push_back(
            {"\\[ opens an extension call that no ] closes: its text goes out as it stands"});
        break;
      }
      i = close + 1;
      continue;
    }
    if (c == '<' && has("<")) {
      // A reply pattern runs to its '>'; its escapes are the pattern's own.
      std::size_t j = at + 1;
      while (j < t.size() && t[j] != '>') j += t[j] == '\\' ? 2 : 1;
      if (j >= t.size()) findings.push_back({"the reply pattern \\< has no closing >"});
      i = j + 1;
      continue;
    }
    std::string special;
    for (const char* s :
         {"mv", "w0", "h0", "s0", "i0", "i1", "b0", "b1", "c1", "c2", "c3", "c4", "c5", "c8", "c9"})
      if (has(s) && StartsNoCase(t, at, s)) special = s;
    if (!special.empty()) {
      i = at + 2;
      continue;
    }
    // A number: name, +name, -name, or the bracketed forms.
    bool bracketed = c == '(';
    std::size_t n = at + (bracketed ? 1 : 0);
    if (n < t.size() && (t[n] == '+' || t[n] == '-')) ++n;
    std::string name = longest(n, numeric);
    if (!name.empty()) {
      std::size_t tail = bracketed ? BracketTail(t, n + name.size()) : 0;
      if (bracketed && tail == 0) {
        findings.push_back(
            {"\\(" + name + " is not closed as a number: write \\(" + name + ",format,operation)"});
        i = n + name.size();
        continue;
      }
      i = n + name.size() + tail;
      continue;
    }
    if (bracketed) {
      std::size_t close = t.find(')', at);
      std::string inside = t.substr(
          at + 1, close == std::string::npos ? 8 : std::min<std::size_t>(close - at - 1, 8));
      findings.push_back({close == std::string::npos
                              ? "\\( is never closed"
                              : "\\(" + inside + " names no number of " + key});
      i = at + 1;
      continue;
    }
    if (std::isalnum(static_cast<unsigned char>(c))) {
      std::string word = t.substr(at, std::min<std::size_t>(3, t.size() - at));
      findings.push_back({"\\" + word + " is no escape of " + key + ": it sends \"" +
                          t.substr(at, 1) + "\" and what follows as text"});
    }
    i = at + 1;
  }
  return findings;
}

std::string EscapeBytes(const std::string& bytes) {
  std::string out;
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    unsigned char c = static_cast<unsigned char>(bytes[i]);
    if (c == '\r' && i + 1 < bytes.size() && bytes[i + 1] == '\n') {
      out += "\\n";
      ++i;
    } else if (c == '\\') {
      out += "\\\\";
    } else if (c < 0x20 || c >= 0x7F) {
      char hex[8];
      std::snprintf(hex, sizeof hex, "\\$%02X", c);
      out += hex;
    } else {
      out += static_cast<char>(c);
    }
  }
  return out;
}

int Check(const std::string& path, const std::string& section) {
  std::string text, message;
  if (!ReadWholeFile(path, &text, 4u << 20, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return kBadInput;
  }
  ModelFile file = ParseModelFile(path, text);
  Problems problems{file};
  if (file.bareLineEnds > 0) {
    std::printf("%s:%zu: %zu line(s) end in LF alone; the library reads only CR LF line ends\n",
                path.c_str(), file.firstBareLine, file.bareLineEnds);
    ++problems.count;
  }
  std::vector<const ModelSection*> machines;
  if (!section.empty()) {
    const ModelSection* s = file.Find(section);
    if (s == nullptr) {
      std::fprintf(stderr, "konib: %s: no section [%s]\n", path.c_str(), section.c_str());
      return kBadInput;
    }
    machines.push_back(s);
  } else {
    machines = file.Machines();
  }
  if (machines.empty()) {
    std::fprintf(stderr, "konib: %s: holds no model\n", path.c_str());
    return kBadInput;
  }
  for (const ModelSection* m : machines) CheckModel(file, *m, &problems);
  for (const ModelSection* m : machines) SampleJob(file, m->name);
  std::printf("%zu problem(s)\n", problems.count);
  return problems.count == 0 ? kOk : kBadInput;
}

}  // namespace konib::tool
