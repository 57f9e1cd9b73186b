// The demo's sample sheet and the job around it, shared by the demo, which
// writes what each bundled model makes of it, and by the tests, which refuse
// its bytes one by one.
#pragma once

#include <KoNib.h>

namespace demo {

// Draws the sheet on one handle and keeps account of every library call it
// makes: how many have returned, and which failed. A device callback can
// read Calls() to learn which call it serves: the one numbered Calls().
class SheetJob {
 public:
  explicit SheetJob(void* plotter) : plotter_(plotter) {}

  // The whole job on a handle that has its device and model: the demo's pen
  // settings (pen 3 of three strokes, 0.3 apart), NibInitiate, NibStartPage,
  // the sheet for a plotting area of 400 x 277, NibEndPage, NibTerminate.
  // Every call is made, also after one failed. True when none failed.
  bool Run();

  int Calls() const { return calls_; }
  // Number of the first call that returned 0, or -1 when none did.
  int FirstFailed() const { return firstFailed_; }
  int Failures() const { return failures_; }

 private:
  bool Note(int result);
  void Line(double x0, double y0, double x1, double y1);
  void Rectangle(double x, double y, double w, double h);
  void Circle(double x, double y, double r);
  void Arc(double x, double y, double r, double startDegrees, double sweepDegrees);
  void House();
  void Lettering();
  void Sheet();

  void* plotter_;
  int calls_ = 0;
  int firstFailed_ = -1;
  int failures_ = 0;
};

}  // namespace demo
