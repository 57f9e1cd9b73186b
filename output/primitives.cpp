#include "output/primitives.h"

#include <cmath>

#include "core/output.h"
#include "platform/text.h"
#include "template/prepared.h"

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
  reinterpret_cast<int (*)(NibSpfuncCall*, const _NibWorld2*, double)>(function)(call, &centre,
                                                                                 args->radius);
}

void InvokeWithArc(void* function, NibSpfuncCall* call, const void* data) {
  const auto* args = static_cast<const CircleArguments*>(data);
  _NibWorld2 centre = args->centre;
  _NibWorld2 angles = args->angles;
  reinterpret_cast<int (*)(NibSpfuncCall*, const _NibWorld2*, double, const _NibWorld2*)>(function)(
      call, &centre, args->radius, &angles);
}

constexpr PreparedName::Kind kStep = PreparedName::kStepNumber;
constexpr PreparedName::Kind kUnit = PreparedName::kUnitNumber;

// The local escapes of each command, in the order in which they are tried;
// the values stand in the same order.
const PreparedName kMoveNames[] = {{"x1", kStep}, {"y1", kStep}, {"x3", kStep}, {"y3", kStep}};
const PreparedName kLineNames[] = {{"x1", kStep}, {"y1", kStep}, {"x3", kStep}, {"y3", kStep},
                                   {"x2", kStep}, {"y2", kStep}, {"x4", kStep}, {"y4", kStep}};
// The ten escapes of a circle, which an arc has first too.
#define KONIB_CIRCLE_NAMES                                                                    \
  {"xc3", kStep}, {"yc3", kStep}, {"xc", kStep}, {"yc", kStep}, {"x0", kStep}, {"y0", kStep}, \
      {"x5", kStep}, {"y5", kStep}, {"r1", kStep}, {                                          \
    "r2", kStep                                                                               \
  }
const PreparedName kCircleNames[] = {KONIB_CIRCLE_NAMES};
const PreparedName kArcNames[] = {KONIB_CIRCLE_NAMES, {"mv", PreparedName::kAction},
                                  {"x1", kStep},      {"y1", kStep},
                                  {"x3", kStep},      {"y3", kStep},
                                  {"x2", kStep},      {"y2", kStep},
                                  {"x4", kStep},      {"y4", kStep},
                                  {"a1", kUnit},      {"a4", kUnit},
                                  {"a2", kUnit},      {"a5", kUnit},
                                  {"a3", kUnit}};
#undef KONIB_CIRCLE_NAMES

enum PreparedSlot { kPreparedMove, kPreparedLine, kPreparedCircle, kPreparedArc };
static_assert(kPreparedArc < kPreparedCount,
              "the handle keeps a prepared template for each primitive");

template <std::size_t N>
int Walk(NibHandle* h, int slot, PreparedSlot prepared, const PreparedName (&names)[N],
         const double (&values)[N], ExtensionInvoker invoke, const void* data,
         std::size_t (*action)(NibHandle*, const char*, const void*) = nullptr,
         const void* actionData = nullptr) {
  static_assert(N <= kMaxPreparedNames, "room for the command's escapes");
  const PreparedCall call{values, action, actionData, invoke, data};
  return WalkCommand(h, &h->prepared[prepared], h->text[slot], names, N, call);
}

void Arrive(NibHandle* h, const _NibWorld2& point) {
  h->devicePos = point;
  h->stateFlags |= kPositionKnown;
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

// Whether the pen at its known place may stay there for a move to `target`.
bool MoveSkips(const NibHandle* h, const _NibWorld2& target) {
  if (!(h->stateFlags & kPositionKnown)) return false;
  const double dx = target.x - h->devicePos.x;
  const double dy = target.y - h->devicePos.y;
  // The square decides unless it lies close to the tolerance's square.
  const double square = dx * dx + dy * dy;
  return square < 0.0024 || (square <= 0.0026 && std::sqrt(square) < kMoveTolerance);
}

// A stroke's move (unless `skip`) and line written in one sweep straight
// into the buffer, `values` those of the line: where both templates are
// runs and whole numbers and the buffer has room. False, with nothing
// counted as sent, otherwise, or when a number is too large for the sweep;
// then the two go out the ordinary way.
bool SweepStroke(NibHandle* h, bool skip, const double* values) {
  const PreparedTemplate& move = h->prepared[kPreparedMove];
  const PreparedTemplate& line = h->prepared[kPreparedLine];
  if (!Sweepable(h, line, h->text[kCmdLine])) return false;
  if (!skip && !Sweepable(h, move, h->text[kCmdMove])) return false;
  char* out = OutputRoom(h, (skip ? 0 : move.sweepRoom) + line.sweepRoom);
  if (out == nullptr) return false;
  char* const start = out;
  if (!skip && !SweepAll(move, values, h->step, &out)) return false;
  if (!SweepAll(line, values, h->step, &out)) return false;
  h->outUsed += static_cast<std::uint32_t>(out - start);
  return true;
}

}  // namespace

int CommandMove(NibHandle* h, const _NibWorld2& target) {
  if (!MoveSkips(h, target)) {
    const double values[] = {target.x, target.y, h->sizeXY.x - target.x, h->sizeXY.y - target.y};
    PointArguments args{target};
    Walk(h, kCmdMove, kPreparedMove, kMoveNames, values, InvokeWithPoint, &args);
  }
  Arrive(h, target);
  return Result(h);
}

int CommandLine(NibHandle* h, const _NibWorld2& target) {
  const _NibWorld2 from = h->devicePos;
  const double values[] = {from.x,   from.y,   h->sizeXY.x - from.x,   h->sizeXY.y - from.y,
                           target.x, target.y, h->sizeXY.x - target.x, h->sizeXY.y - target.y};
  PointArguments args{target};
  Walk(h, kCmdLine, kPreparedLine, kLineNames, values, InvokeWithPoint, &args);
  Arrive(h, target);
  return Result(h);
}

int CommandStroke(NibHandle* h, const _NibWorld2& from, const _NibWorld2& to) {
  const bool skip = MoveSkips(h, from);
  // The line's values begin with the move's: x1, y1, x3, y3 of the start.
  const double values[] = {from.x, from.y, h->sizeXY.x - from.x, h->sizeXY.y - from.y,
                           to.x,   to.y,   h->sizeXY.x - to.x,   h->sizeXY.y - to.y};
  if (!SweepStroke(h, skip, values)) {
    CommandMove(h, from);
    return CommandLine(h, to);
  }
  Arrive(h, to);
  return Result(h);
}

int CommandCircle(NibHandle* h, const _NibWorld2& centre, double radius) {
  CircleArguments args{centre, radius, {0.0, 0.0}};
  const double mirroredX = h->sizeXY.x - centre.x;
  const double mirroredY = h->sizeXY.y - centre.y;
  const double values[] = {mirroredX, mirroredY, centre.x,  centre.y, centre.x,
                           centre.y,  mirroredX, mirroredY, radius,   radius * 2.0};
  Walk(h, kCmdCircle, kPreparedCircle, kCircleNames, values, InvokeWithCircle, &args);
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
  const _NibWorld2 to{centre.x + radius * std::cos(start + sweep),
                      centre.y + radius * std::sin(start + sweep)};
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
  const double mirroredX = h->sizeXY.x - centre.x;
  const double mirroredY = h->sizeXY.y - centre.y;
  const double values[] = {mirroredX,
                           mirroredY,
                           centre.x,
                           centre.y,
                           centre.x,
                           centre.y,
                           mirroredX,
                           mirroredY,
                           radius,
                           radius * 2.0,
                           0.0,  // \mv
                           from.x,
                           from.y,
                           h->sizeXY.x - from.x,
                           h->sizeXY.y - from.y,
                           to.x,
                           to.y,
                           h->sizeXY.x - to.x,
                           h->sizeXY.y - to.y,
                           a1,
                           a1,
                           a2,
                           a5,
                           sweepDegrees};
  Walk(h, kCmdArc, kPreparedArc, kArcNames, values, InvokeWithArc, &args, MoveEscape, &from);
  Arrive(h, to);
  return Result(h);
}

}  // namespace konib
