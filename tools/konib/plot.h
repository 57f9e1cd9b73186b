// `konib plot`: an SVG drawing through a model to a device.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "send.h"
#include "svg.h"

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
};

// Pens for the colours of a drawing: the map first, then the other colours
// in order of appearance on the pens the map left free, round again after 16.
// False with a message for a bad map entry.
bool AssignPens(const svg::Drawing& drawing, const std::vector<std::string>& map,
                std::map<std::string, int>* pens, std::string* message);

// Text for the device, which takes CP932: ASCII as it stands (control
// characters as blanks), every other character as '?'.
std::string ToDeviceText(const std::string& utf8);

int Plot(const PlotOptions& options);

}  // namespace konib::tool
