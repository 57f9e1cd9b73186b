// Drives a whole job through a model made of arbitrary bytes: the text is
// model text, and the model is the one its first section head names (its
// command set may stand in the same text). Whatever the text, the job must
// end, write nothing out of bounds and leak nothing.
#include <KoNib.h>

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace {

// A device that takes a few megabytes and then refuses, as a full disk would.
struct Sink {
  std::size_t taken = 0;
};

int Put(void* cookie, const char*) {
  Sink* sink = static_cast<Sink*>(cookie);
  return ++sink->taken < (4u << 20);
}

void DrawSheet(void* h) {
  const _NibWorld4 lines[] = {
      {{10, 10}, {200, 100}}, {{-50, 20}, {500, 0}}, {{100, 100}, {0.05, 0}}};
  const _NibWorld2 centre{150, 120};
  const _NibWorld2 arc{0.5, 4.0};
  const _NibWorld2 dot{30, 40};
  // Each pen draws in one style: solid, dashed, dash-dotted. Every pen and
  // every style is walked, at a third of the cost of all their pairs, so the
  // fuzzer tries three times as many models in the same time.
  const int styles[] = {0, 2, 7, 0};
  for (int pen = 0; pen <= 3; ++pen) {
    NibSetPen(h, pen);
    NibSetStyle(h, styles[pen]);
    for (const _NibWorld4& line : lines) NibDrawLine(h, &line);
    NibDrawArc(h, &centre, 40, nullptr);
    NibDrawArc(h, &centre, 300, &arc);
    NibDrawDot(h, &dot);
  }
}

// Letters texts cut from the input itself, so that the model's own bytes
// (lead bytes, kana, backslashes, a lead byte at the end) meet its text
// templates, with sizes and angles good and bad.
void DrawLettering(void* h, const char* text, std::size_t size) {
  char label[600];
  const std::size_t n = size < sizeof label - 1 ? size : sizeof label - 1;
  std::memcpy(label, text + (size - n), n);  // the tail: the body of the model
  label[n] = '\0';
  const _NibTextInfo infos[] = {{0, 3, 4, 5, 0},
                                {3, 2, 6, -1, 1e300},
                                {2, 1e-300, 1e300, 0, -0.7},
                                {1, 5, 5, 5, 1.5707963267948966}};
  const _NibWorld2 at{20, 30};
  for (const _NibTextInfo& info : infos) NibDrawText(h, &at, label, &info);
  NibDrawText(h, &at, label + n / 2, &infos[0]);
}

// The name in the first line that begins with '['; empty if there is none.
void FirstSectionName(const char* text, std::size_t size, char* name, std::size_t capacity) {
  name[0] = '\0';
  for (std::size_t i = 0; i < size; ++i) {
    if (text[i] != '[' || (i > 0 && text[i - 1] != '\n')) continue;
    std::size_t n = 0;
    for (std::size_t j = i + 1; j < size && text[j] != ']' && text[j] != '\n' && n + 1 < capacity;
         ++j)
      name[n++] = text[j];
    name[n] = '\0';
    return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const char* text = reinterpret_cast<const char*>(data);
  char name[256];
  FirstSectionName(text, size, name, sizeof name);
  _NibREG_DATA* list = NibGetRegistry2(text, static_cast<unsigned long>(size), nullptr, 0, name);
  const _NibWorld2 sheet{400, 277};
  void* h = NibGetHandle(&sheet);
  if (h == nullptr) {
    NibFreeRegistry2(list);
    return 0;
  }
  Sink sink;
  NibSetDevice(h, &sink, Put, nullptr);
  if (list != nullptr) NibSetPlotter2(h, list);
  NibFreeRegistry2(list);
  NibInitiate(h);
  NibStartPage(h);
  DrawSheet(h);
  DrawLettering(h, text, size);
  const _NibWorld4 window{{0, 0}, {100, 100}};
  const _NibWorld4 view{{20, 20}, {50, 50}};
  NibSetWindow(h, &window);
  NibSetViewRelative(h, &view);
  DrawSheet(h);
  NibSetViewRelative(h, nullptr);
  NibHome(h);
  NibEndPage(h);
  NibTerminate(h);
  NibFreeHandle(h);
  return 0;
}
