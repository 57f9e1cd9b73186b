// The SVG reader of konib: turns an SVG document into the plotter's drawing
// model, outlines and texts in millimetres on the document's page.
//
// Every shape becomes subpaths of straight and cubic pieces, already through
// all nested transforms, viewports and viewBoxes: lines, rectangles, circles
// and ellipses, polylines and polygons, and paths with every command of the
// path grammar (arcs become cubics), with what <use> instantiates (symbols
// and reused definitions) and the markers on their vertices. Curves are
// flattened only when plotted, so that the tolerance can be given in
// plotter units; dashed and clipped shapes are flattened here, finely,
// because their pieces depend on the flattened outline.
//
// Styles cascade as in a browser: presentation attributes, <style> sheets,
// style attributes. Inkscape layers (`inkscape:groupmode="layer"`) whose
// label starts with a number give their shapes that number as `layer`.
//
// Errors inside the document are met as a browser meets them: what comes
// before the error is drawn, and a warning names the line and element.
// A document that cannot be read at all (not XML, not SVG, past the limits)
// makes ReadSvg return false with a message. The reader holds a bounded
// amount of memory whatever the input (see Limits), expands internal
// entities within bounds, refuses external ones, and never recurses more
// deeply than Limits::maxDepth.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace konib::svg {

struct Point {
  double x;
  double y;
};

// A straight piece to `end`, or a cubic one through the control points.
struct Segment {
  bool curve;
  Point c1;
  Point c2;
  Point end;
};

struct Subpath {
  Point start;
  std::vector<Segment> segments;
  bool closed = false;  // closed by its data (Z, a polygon, a rectangle...)
};

// Everything a shape element draws, in the colour of its pen: its stroke,
// or its fill when it has no stroke (a plotter outlines what it cannot fill).
// Colours are `#rrggbb` where the name is known, else the text in lower case.
struct Shape {
  std::string colour;
  std::vector<Subpath> subpaths;
  std::size_t line;      // where its element starts in the document
  std::string stroke;    // the stroke's colour; "" when not stroked
  std::string fill;      // the fill's colour; "" when not filled (none, or opacity 0)
  bool evenOdd = false;  // fill-rule: evenodd, else nonzero
  int layer = 0;         // the number its layer's label starts with; 0: none
  int pen = 0;           // a pen chosen before the colours are (by layer); 0: none
};

// A piece of a text with its own position and style, in the text's own
// user space (x along the baseline, y down), as the document gives it. Where
// a run has no absolute x (or y), it goes on where the text before it ended,
// which only the lettering knows: so do the anchors of the chunks.
struct TextRun {
  std::string text;                 // UTF-8, blanks as xml:space leaves them
  bool newX = false, newY = false;  // an absolute x or y, which starts a chunk
  double x = 0, y = 0;              // those absolute values
  double dx = 0, dy = 0;            // shifts before the run
  double size = 16;                 // font size
  double spacing = 0;               // letter-spacing, after each character
  double baseline = 0;              // how far the baseline lies below y
  int anchor = 0;                   // of the chunk it starts: 0 start, 1 middle, 2 end
  bool bold = false;
  bool italic = false;
  std::string colour;  // its pen's, as Shape's; "" when it shows nothing
};

// A text element: where its first character starts, its height in
// millimetres and the direction of its baseline (radians, 0 along the page's
// x, positive towards the page's y, which points down); and its runs with
// the map of its user space onto the page: `origin` is where (0, 0) lands,
// `along` and `down` the millimetres of one unit in x and in y. Text on a
// path is not read.
struct Text {
  std::string colour;
  Point position;
  double size;
  double angle;
  std::string text;  // UTF-8 as in the document, blanks collapsed
  std::size_t line;
  Point origin{0, 0};
  Point along{1, 0};
  Point down{0, 1};
  std::vector<TextRun> runs;
  int layer = 0;  // as for a shape
  int pen = 0;
};

struct Error {
  std::string message;
  std::size_t line = 0;  // 0: the document as a whole
  std::string element;   // empty: the document as a whole
};

// The page is (0, 0) to (width, height) in millimetres, y pointing down.
struct Drawing {
  double width = 0;
  double height = 0;
  std::vector<Shape> shapes;
  std::vector<Text> texts;
  std::vector<Error> warnings;  // what was skipped or mended, in document order
};

// Large enough for a drawing of a million lines, small enough that the
// largest document still reads in well under a gigabyte.
struct Limits {
  std::size_t maxBytes = 128u << 20;   // whole document
  std::size_t maxMarkup = 2500000;     // '<' in the document, before parsing
  std::size_t maxElements = 2000000;   // elements visited
  std::size_t maxPathData = 1u << 20;  // one `d` or `points` attribute
  std::size_t maxSegments = 4000000;   // pieces of all shapes together
  std::size_t maxDepth = 256;          // nesting of elements, <use> and markers included
  std::size_t maxWarnings = 100;       // kept; one more tells how many were left out
};

// Reads the document in `data`. On success fills `drawing` and returns true;
// otherwise returns false, fills `error` and leaves `drawing` empty.
bool ReadSvg(const char* data, std::size_t size, Drawing* drawing, Error* error,
             const Limits& limits = Limits());

// Calls `point` for every point of the subpath after its start, curves cut
// into straight pieces that stay within `tolerance` of the curve (at most
// 4096 pieces per curve).
void Flatten(const Subpath& subpath, double tolerance, const std::function<void(Point)>& point);

// Layers. True when some shape or text lies in a layer with a number.
bool HasNumberedLayers(const Drawing& drawing);
// Gives every shape and text in a layer numbered 1 to 16 that number as its pen.
void PensByLayer(Drawing* drawing);
// Keeps only the shapes and texts of the layers numbered in `layers`.
void KeepLayers(Drawing* drawing, const std::vector<int>& layers);
// What `--layers` and `--pens-by` ask: the layers kept (all when `layers` is
// empty), and pens by "layer", by "colour", or ("") by layer when the
// drawing has numbered layers, else by colour.
void ChooseLayers(Drawing* drawing, const std::string& pensBy, const std::vector<int>& layers);

// Exposed for the tests: the pieces of path data `d` (user units, no
// transform), or false with a message and the pieces before the error.
// `arcs`, when given, receives for each piece in order (all subpaths
// together) whether it continues an arc that an earlier piece began, so
// that no vertex lies between them.
bool ParsePathData(const std::string& d, std::vector<Subpath>* subpaths, std::string* message,
                   std::size_t maxSegments, std::vector<bool>* arcs = nullptr);

// Exposed for the tests: a colour as the reader normalises it; "" for none.
std::string NormaliseColour(const std::string& text);

}  // namespace konib::svg
