// The four primitives in which all drawing ends. Each expands one template
// of the model with local escapes that print the geometry of this one
// command, and keeps the library's belief about where the pen stands.
// All coordinates are device coordinates in plot units; angles in radians.
#pragma once

#include "core/handle.h"

namespace konib {

// A move that would go less than this from a known position is not sent.
constexpr double kMoveTolerance = 0.05;

// Command.Move with x1, y1 (the target) and x3, y3 (mirrored from sizeXY).
int CommandMove(NibHandle* h, const _NibWorld2& target);
// Command.Line from devicePos (x1, y1, x3, y3) to the target (x2, y2, x4, y4).
int CommandLine(NibHandle* h, const _NibWorld2& target);
// A move to `from` and a line on to `to`: CommandMove and CommandLine, the
// two templates written in one sweep where both are runs and whole numbers.
int CommandStroke(NibHandle* h, const _NibWorld2& from, const _NibWorld2& to);
// Command.Circle with xc, yc, x0, y0, xc3, yc3, x5, y5, r1, r2.
int CommandCircle(NibHandle* h, const _NibWorld2& centre, double radius);
// Command.Arc with the circle's escapes, \mv, the end points and the angles
// a1 to a5 in degrees. A very short arc goes out as a move and a line, a
// full turn as a circle.
int CommandArc(NibHandle* h, const _NibWorld2& centre, const _NibWorld2& angles, double radius);

}  // namespace konib
