// ebb: an extension module that turns moves and lines into the motion
// commands of the EiBotBoard, the controller of AxiDraw-style pen plotters.
// The board takes no coordinates: each move is a count of steps of its two
// motors, relative to where they stand, and a duration, so a template alone
// cannot drive it. This module keeps where the motors stand (per handle, in
// the private area the library keeps for it) and writes, per move:
//
//   SM,<duration ms>,<motor 1 steps>,<motor 2 steps>\r
//
// - Steps: the target is rounded to whole steps of the model's Step (plot
//   units per step) as an absolute position, and the move is the difference
//   to the last rounded position; so rounding never adds up along a path.
// - Mixed axes: the carriage hangs on one belt driven by both motors
//   (H-bot): motor 1 turns x + y steps, motor 2 x - y.
// - The device counts y from the top edge (its home, where it starts), the
//   plot from the bottom: y is mirrored on the plotting area.
// - Duration: distance over the speed the template gives, in whole
//   milliseconds; at least what keeps each motor within 25000 steps a
//   second. A motor below 1.31 steps a second is refused by the board, so a
//   slow move with few steps of one motor is cut into pieces of at most
//   750 ms, in which each step of that motor goes fast enough.
// - Pen: SP,1,<ms> lifts, SP,0,<ms> lowers, each holding the queue for the
//   servo to settle; sent only on a change.
//
// Functions, called from the model's templates with "speed (mm/s),pen
// delay (ms)" as arguments: Travel (pen up, then move) and Draw (pen down,
// then line) from Command.Move and Command.Line, which hand over the target;
// Home (pen up, back to where the job started); Reset, in Command.Init,
// which takes the carriage's place as home and forgets the pen.
#include <KoNib.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {

enum Pen : int32_t { kUnknown = 0, kUp = 1, kDown = 2 };

// The module's part of the private area, which starts zeroed: pen unknown,
// motors at home.
struct State {
  int32_t pen;
  int32_t reserved;
  int64_t x;  // steps from home, across
  int64_t y;  // steps from home, towards the operator
};

constexpr double kMaxRate = 24000;            // steps a second; the board's limit is 25000
constexpr double kLongestPiece = 750;         // ms: one step in it is above 1.31 a second
constexpr double kDefaultSpeed = 25;          // mm a second, when the template gives none
constexpr long long kLongestMove = 16777215;  // ms, the board's largest duration

State Load(const NibSpfuncCall* call) {
  State s;
  std::memcpy(&s, call->privateArea, sizeof s);
  return s;
}

void Store(NibSpfuncCall* call, const State& s) { std::memcpy(call->privateArea, &s, sizeof s); }

bool Write(NibSpfuncCall* call, const char* text) {
  return call->write(call, text, static_cast<uint32_t>(std::strlen(text))) != 0;
}

// "speed,delay" from the arguments; missing or bad numbers keep defaults.
void Arguments(const NibSpfuncCall* call, double* speed, long* delay) {
  *speed = kDefaultSpeed;
  *delay = 0;
  if (call->arguments == nullptr) return;
  char* end = nullptr;
  double s = std::strtod(call->arguments, &end);
  if (end != call->arguments && s > 0 && s < 1e6) *speed = s;
  const char* comma = std::strchr(call->arguments, ',');
  if (comma == nullptr) return;
  long d = std::strtol(comma + 1, &end, 10);
  if (end != comma + 1 && d >= 0 && d < 60000) *delay = d;
}

bool SetPen(NibSpfuncCall* call, State* s, Pen wanted, long delay) {
  if (s->pen == wanted) return true;
  char text[32];
  std::snprintf(text, sizeof text, "SP,%d,%ld\r", wanted == kUp ? 1 : 0, delay);
  s->pen = kUnknown;
  if (!Write(call, text)) return false;
  s->pen = wanted;
  return true;
}

// Moves the carriage to (tx, ty) steps from home at `speed` mm a second.
bool MoveTo(NibSpfuncCall* call, State* s, int64_t tx, int64_t ty, double speed) {
  const int64_t dx = tx - s->x, dy = ty - s->y;
  if (dx == 0 && dy == 0) return true;
  const double m1 = static_cast<double>(dx + dy), m2 = static_cast<double>(dx - dy);
  const double mm = std::hypot(static_cast<double>(dx), static_cast<double>(dy)) * call->step;
  double duration = std::ceil(1000 * mm / speed);
  duration = std::max(
      {duration, std::ceil(std::max(std::fabs(m1), std::fabs(m2)) * 1000 / kMaxRate), 1.0});
  long long pieces = 1;
  const double slowest =
      std::min(m1 == 0 ? INFINITY : std::fabs(m1), m2 == 0 ? INFINITY : std::fabs(m2));
  if (slowest * 1000 / duration < 1.31 || duration > kLongestMove)
    pieces = static_cast<long long>(std::ceil(duration / kLongestPiece));
  const long long total = static_cast<long long>(duration);
  long long doneTime = 0, done1 = 0, done2 = 0;
  for (long long i = 1; i <= pieces; ++i) {
    const double part = static_cast<double>(i) / static_cast<double>(pieces);
    const long long time = std::llround(static_cast<double>(total) * part);
    const long long to1 = std::llround(m1 * part), to2 = std::llround(m2 * part);
    char text[80];
    std::snprintf(text, sizeof text, "SM,%lld,%lld,%lld\r", std::max(time - doneTime, 1LL),
                  to1 - done1, to2 - done2);
    if (!Write(call, text)) return false;
    doneTime = time, done1 = to1, done2 = to2;
  }
  s->x = tx;
  s->y = ty;
  return true;
}

int Go(NibSpfuncCall* call, const _NibWorld2* target, Pen pen) {
  State s = Load(call);
  double speed;
  long delay;
  Arguments(call, &speed, &delay);
  if (!(call->step > 0) || target == nullptr || !std::isfinite(target->x) ||
      !std::isfinite(target->y))
    return 0;
  const double x = target->x / call->step, y = (call->sizeY - target->y) / call->step;
  if (std::fabs(x) > 1e12 || std::fabs(y) > 1e12) return 0;
  bool ok =
      SetPen(call, &s, pen, delay) && MoveTo(call, &s, std::llround(x), std::llround(y), speed);
  Store(call, s);
  return ok ? 1 : 0;
}

}  // namespace

extern "C" {

int Reset(NibSpfuncCall* call) {
  Store(call, State{});
  return 1;
}

int Travel(NibSpfuncCall* call, const _NibWorld2* target) { return Go(call, target, kUp); }

int Draw(NibSpfuncCall* call, const _NibWorld2* target) { return Go(call, target, kDown); }

int Home(NibSpfuncCall* call) {
  State s = Load(call);
  double speed;
  long delay;
  Arguments(call, &speed, &delay);
  bool ok = SetPen(call, &s, kUp, delay) && MoveTo(call, &s, 0, 0, speed);
  Store(call, s);
  return ok ? 1 : 0;
}

}  // extern "C"
