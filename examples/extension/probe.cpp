// An extension module that tells what it receives: each function writes, in
// plain text through the record's `write` entry, what the library handed it.
// Models call it as \[probe.Echo,...] and the like; the tests use it to see
// the record, the arguments and the private area from the module's side.
//
// A module is a plain shared library beside KoNib, linked to nothing of it,, named as the template
// names it (probe.dll, probe.so), whose functions take the call record first.
#include <KoNib.h>

#include <charconv>
#include <cstring>
#include <string>

namespace {

void Send(NibSpfuncCall* call, const std::string& text) {
  call->write(call, text.data(), static_cast<uint32_t>(text.size()));
}

std::string Num(double value) {
  char buffer[64];
  auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

std::string Attributes(const _NibTextInfo* info) {
  return "f" + std::to_string(info->flags) + " w" + Num(info->width) + " h" + Num(info->height) + " p" +
         Num(info->pitch) + " a" + Num(info->angle);
}

}  // namespace

extern "C" {

// <arguments:length>, or <null:0> without arguments.
int Echo(NibSpfuncCall* call) {
  std::string args = call->arguments != nullptr ? call->arguments : "null";
  Send(call, "<" + args + ":" + std::to_string(call->argumentsLength) + ">");
  return 1;
}

// The state of the handle as the record shows it.
int Record(NibSpfuncCall* call) {
  bool entries = call->write != nullptr && call->read != nullptr && call->readCheck != nullptr &&
                 call->handle != nullptr;
  Send(call, "paper=" + Num(call->paperX) + "," + Num(call->paperY) + " size=" + Num(call->sizeX) + "," +
                 Num(call->sizeY) + " step=" + Num(call->step) + " decimals=" + std::to_string(call->decimals) +
                 " pitch1=" + Num(call->stylePitch[1]) + " flags=" + std::to_string(call->stateFlags) +
                 " pos=" + Num(call->devicePosX) + "," + Num(call->devicePosY) +
                 " style=" + std::to_string(call->deviceStyle) + " pen=" + std::to_string(call->devicePen) +
                 " code=" + std::to_string(call->dataCode) + " entries=" + (entries ? "yes" : "no"));
  return 1;
}

// Counts its calls in the module's private area, which the library keeps per
// handle for the life of the handle.
int Count(NibSpfuncCall* call) {
  unsigned count;
  std::memcpy(&count, call->privateArea, sizeof count);
  ++count;
  std::memcpy(call->privateArea, &count, sizeof count);
  Send(call, "#" + std::to_string(count));
  return 1;
}

// Reads one byte from the device and sends it back; a refusal stops there.
int Relay(NibSpfuncCall* call) {
  char got = 0;
  if (call->read(call, &got) == 0) return 0;
  call->write(call, &got, 1);
  return 1;
}

// Digitizing hands over a pair and a word: with the arguments
// "result,word,x,y" this fills them so, and says what it did.
int Deliver(NibSpfuncCall* call, _NibWorld2* pair, uint32_t* word) {
  const char* p = call->arguments != nullptr ? call->arguments : "";
  const char* end = p + std::strlen(p);
  double fields[4] = {0, 0, 0, 0};
  for (double& field : fields) {
    p = std::from_chars(p, end, field).ptr;
    if (p < end && *p == ',') ++p;
  }
  Send(call, "{word" + std::to_string(*word) + "}");
  *word = static_cast<uint32_t>(fields[1]);
  pair->x = fields[2];
  pair->y = fields[3];
  return static_cast<int>(fields[0]);
}

// Move and line commands hand over the target point.
int Point(NibSpfuncCall* call, const _NibWorld2* point) {
  Send(call, "(" + Num(point->x) + "," + Num(point->y) + ")");
  return 1;
}

// Circle commands hand over the centre and the radius.
int Circle(NibSpfuncCall* call, const _NibWorld2* centre, double radius) {
  Send(call, "(" + Num(centre->x) + "," + Num(centre->y) + " r" + Num(radius) + ")");
  return 1;
}

// Arc commands hand over the centre, the radius and the angle pair. (Not named
// Arc: a module that includes the library's header on Windows sees the GDI one.)
int Sweep(NibSpfuncCall* call, const _NibWorld2* centre, double radius, const _NibWorld2* angles) {
  Send(call, "(" + Num(centre->x) + "," + Num(centre->y) + " r" + Num(radius) + " a" + Num(angles->x) + "," +
                 Num(angles->y) + ")");
  return 1;
}

// Text commands: Command.Text hands over the run's place, the run and the
// attributes; an Init or a body the character's place and code; a font
// template the attributes alone.
int TextRun(NibSpfuncCall* call, const _NibWorld2* at, const char* run, const _NibTextInfo* info) {
  Send(call, "(" + Num(at->x) + "," + Num(at->y) + " '" + run + "' " + Attributes(info) + ")");
  return 1;
}

int TextCode(NibSpfuncCall* call, const _NibWorld2* at, uint32_t code, const _NibTextInfo* info) {
  Send(call, "(" + Num(at->x) + "," + Num(at->y) + " c" + std::to_string(code) + " " + Attributes(info) + ")");
  return 1;
}

int TextFont(NibSpfuncCall* call, const _NibTextInfo* info) {
  Send(call, "(" + Attributes(info) + ")");
  return 1;
}

}  // extern "C"
