// `konib plot`: an SVG drawing through a model to a device.
#pragma once

#include <string>
#include <vector>

#include "device/device.h"

namespace konib::tool {

struct PlotOptions {
  std::string drawing;
  std::string model = "hpgl";
  std::string section;
  std::string models;  // folder of model files
  std::string store;   // a model store; when given, the model comes from there
  std::string paper;   // a model paper by name or number, or WxH in mm; empty: the model's default
  std::string orientation = "auto";  // auto, landscape, portrait
  double scale = 0;  // 0: fit the page onto the paper; else millimetres per millimetre
  std::vector<std::string> penMap;  // COLOUR=PEN
  Destination to;
  // Reading the drawing.

  // Planning.

  // Fills.

  // Lettering.
  std::string text = "auto";     // auto, device, strokes
  std::string font = "futural";  // the Hershey font of stroke letters

  // Devices.
};

int Plot(const PlotOptions& options);

}  // namespace konib::tool
