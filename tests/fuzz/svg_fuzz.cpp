// Drives konib's SVG reader with arbitrary documents, and flattens what it
// reads. Whatever the bytes, it must answer with a drawing or a message,
// within its limits, writing nothing out of bounds and leaking nothing.
#include <cstddef>
#include <cstdint>

#include "svg/svg.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  konib::svg::Limits limits;  // small limits keep each run quick
  limits.maxElements = 2000;
  limits.maxSegments = 20000;
  limits.maxPathData = 1u << 16;
  konib::svg::Drawing drawing;
  konib::svg::Error error;
  if (!konib::svg::ReadSvg(reinterpret_cast<const char*>(data), size, &drawing, &error, limits)) {
    return error.message.empty() ? __builtin_trap(), 0 : 0;  // a refusal always says why
  }
  std::size_t points = 0;
  for (const auto& shape : drawing.shapes)
    for (const auto& subpath : shape.subpaths)
      konib::svg::Flatten(subpath, 0.01, [&](konib::svg::Point) { ++points; });
  return points == SIZE_MAX;  // keeps the count from being optimised away
}
