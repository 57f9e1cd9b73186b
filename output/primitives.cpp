#include "output/primitives.h"

#include <cmath>

#include "platform/text.h"
#include "template/walker.h"

namespace konib {
namespace {

constexpr double kDegreesPerRadian = 57.29577951308232;
constexpr double kTwoPi = 6.283185307179586;
constexpr double kShortArc = 0.1;

// The further arguments an extension function gets behind the record:
// copies, so that a function cannot change what the library goes on with.
struct PointArguments {
  _NibWorld2 point;
};

struct CircleArguments {
  _NibWorld2 centre;
  double radius;
  _NibWorld2 angles;
};

void InvokeWithPoint(void* function, NibSpfuncCall* call, const void* data) {
  _NibWorld2 copy = static_cast<const PointArguments*>(data)->point;
  reinterpret_cast<int (*)(NibSpfuncCall*, const _NibWorld2*)>(function)(call, &copy);
}

void InvokeWithCircle(void* function, NibSpfuncCall* call, const void* data) {
  const auto* args = static_cast<const CircleArguments*>(data);
  _NibWorld2 centre = args->centre;
  reinterpret_cast<int (*)(NibSpfuncCall*, const _NibWorld2*, double)>(function)(call, &centre, args->radius);
}

void InvokeWithArc(void* function, NibSpfuncCall* call, const void* data) {
  const auto* args = static_cast<const CircleArguments*>(data);
  _NibWorld2 centre = args->centre;
  _NibWorld2 angles = args->angles;
  reinterpret_cast<int (*)(NibSpfuncCall*, const _NibWorld2*, double, const _NibWorld2*)>(function)(
      call, &centre, args->radius, &angles);
}

template <std::size_t N>
int Walk(NibHandle* h, int slot, const LocalEscape (&locals)[N], ExtensionInvoker invoke, const void* data) {
  WalkRules rules;
  rules.locals = locals;
  rules.localCount = N;
  rules.invoke = invoke;
  rules.invokeData = data;
  return WalkTemplate(h, h->text[slot], nullptr, rules);
}

void Arrive(NibHandle* h, const _NibWorld2& point) {
  h->devicePos = point;
  h->stateFlags |= kPositionKnown;
}

// The ten escapes of a circle, which an arc has too.
std::size_t CircleEscapes(NibHandle* h, const char* text, const void* data) {
  const auto* circle = static_cast<const CircleArguments*>(data);
  const _NibWorld2& c = circle->centre;
  const double s = h->step;
  const LocalEscape locals[] = {
      {"xc3", h->sizeXY.x - c.x, s, nullptr, nullptr}, {"yc3", h->sizeXY.y - c.y, s, nullptr, nullptr},
      {"xc", c.x, s, nullptr, nullptr},                {"yc", c.y, s, nullptr, nullptr},
      {"x0", c.x, s, nullptr, nullptr},                {"y0", c.y, s, nullptr, nullptr},
      {"x5", h->sizeXY.x - c.x, s, nullptr, nullptr},  {"y5", h->sizeXY.y - c.y, s, nullptr, nullptr},
      {"r1", circle->radius, s, nullptr, nullptr},     {"r2", circle->radius * 2.0, s, nullptr, nullptr},
  };
  return TryLocalEscapes(h, text, locals, sizeof locals / sizeof locals[0]);
}

// \mv in an arc's template: the move to the arc's start, where the template
// wants it.
std::size_t MoveEscape(NibHandle* h, const char* text, const void* data) {
  if (platform::ToUpper(text[0]) != 'M' || platform::ToUpper(text[1]) != 'V') return 0;
  CommandMove(h, *static_cast<const _NibWorld2*>(data));
  return 2;
}

// Brings a start angle in degrees into [0, 359.999).
double NormaliseStart(double degrees) {
  if (std::fabs(degrees) > 1e6) degrees = std::fmod(degrees, 360.0);  // keeps the loops short
  while (degrees < -0.001) degrees += 360.0;
  while (degrees >= 359.999) degrees -= 360.0;
  return degrees < 0.0 ? 0.0 : degrees;
}

}  // namespace

int CommandMove(NibHandle* h, const _NibWorld2& target) {
  bool skip = false;
  if (h->stateFlags & kPositionKnown) {
    const double dx = target.x - h->devicePos.x;
    const double dy = target.y - h->devicePos.y;
    skip = std::sqrt(dx * dx + dy * dy) < kMoveTolerance;
  }
  if (!skip) {
    const double s = h->step;
    const LocalEscape locals[] = {
        {"x1", target.x, s, nullptr, nullptr},
        {"y1", target.y, s, nullptr, nullptr},
        {"x3", h->sizeXY.x - target.x, s, nullptr, nullptr},
        {"y3", h->sizeXY.y - target.y, s, nullptr, nullptr},
    };
    PointArguments args{target};
    Walk(h, kCmdMove, locals, InvokeWithPoint, &args);
  }
  Arrive(h, target);
  return Result(h);
}

int CommandLine(NibHandle* h, const _NibWorld2& target) {
  const double s = h->step;
  const _NibWorld2 from = h->devicePos;
  const LocalEscape locals[] = {
      {"x1", from.x, s, nullptr, nullptr},
      {"y1", from.y, s, nullptr, nullptr},
      {"x3", h->sizeXY.x - from.x, s, nullptr, nullptr},
      {"y3", h->sizeXY.y - from.y, s, nullptr, nullptr},
      {"x2", target.x, s, nullptr, nullptr},
      {"y2", target.y, s, nullptr, nullptr},
      {"x4", h->sizeXY.x - target.x, s, nullptr, nullptr},
      {"y4", h->sizeXY.y - target.y, s, nullptr, nullptr},
  };
  PointArguments args{target};
  Walk(h, kCmdLine, locals, InvokeWithPoint, &args);
  Arrive(h, target);
  return Result(h);
}

int CommandCircle(NibHandle* h, const _NibWorld2& centre, double radius) {
  CircleArguments args{centre, radius, {0.0, 0.0}};
  const LocalEscape locals[] = {{"", 0.0, 0.0, CircleEscapes, &args}};
  Walk(h, kCmdCircle, locals, InvokeWithCircle, &args);
  // Where a device leaves its pen after a circle differs from one to the next.
  h->stateFlags &= ~static_cast<std::uint32_t>(kPositionKnown);
  return Result(h);
}

int CommandArc(NibHandle* h, const _NibWorld2& centre, const _NibWorld2& angles, double radius) {
  double start = angles.x;
  double sweep = angles.y;
  if (sweep < 0.0) {  // from here on the arc runs in the positive sense
    start += sweep;
    sweep = -sweep;
  }
  const _NibWorld2 from{centre.x + radius * std::cos(start), centre.y + radius * std::sin(start)};
  const _NibWorld2 to{centre.x + radius * std::cos(start + sweep), centre.y + radius * std::sin(start + sweep)};
  const double sweepDegrees = sweep * kDegreesPerRadian;
  if (std::fabs(sweep * radius) < kShortArc) {
    CommandMove(h, from);
    CommandLine(h, to);
    return Result(h);
  }
  if (std::fabs(sweep) >= kTwoPi) return CommandCircle(h, centre, radius);

  const double a1 = NormaliseStart(start * kDegreesPerRadian);
  const double a2 = a1 + sweepDegrees;
  double a5 = a2;
  while (a5 > 360.001) a5 -= 360.0;
  if (a5 > 360.0) a5 = 360.0;

  CircleArguments args{centre, radius, {start, sweep}};
  const double s = h->step;
  const LocalEscape locals[] = {
      {"", 0.0, 0.0, CircleEscapes, &args},
      {"", 0.0, 0.0, MoveEscape, &from},
      {"x1", from.x, s, nullptr, nullptr},
      {"y1", from.y, s, nullptr, nullptr},
      {"x3", h->sizeXY.x - from.x, s, nullptr, nullptr},
      {"y3", h->sizeXY.y - from.y, s, nullptr, nullptr},
      {"x2", to.x, s, nullptr, nullptr},
      {"y2", to.y, s, nullptr, nullptr},
      {"x4", h->sizeXY.x - to.x, s, nullptr, nullptr},
      {"y4", h->sizeXY.y - to.y, s, nullptr, nullptr},
      {"a1", a1, 1.0, nullptr, nullptr},
      {"a4", a1, 1.0, nullptr, nullptr},
      {"a2", a2, 1.0, nullptr, nullptr},
      {"a5", a5, 1.0, nullptr, nullptr},
      {"a3", sweepDegrees, 1.0, nullptr, nullptr},
  };
  Walk(h, kCmdArc, locals, InvokeWithArc, &args);
  Arrive(h, to);
  return Result(h);
}

}  // namespace konib
