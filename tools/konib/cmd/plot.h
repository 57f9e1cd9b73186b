// `konib plot`: an SVG drawing through a model to a device.
#pragma once

#include <string>
#include <vector>

#include "device/device.h"
#include "fill/fill.h"
#include "plan/plan.h"

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
  std::string pensBy;       // layer, colour; "": layer when the drawing has numbered layers
  std::vector<int> layers;  // the layers to plot; empty: all

  // Planning.
  plan::Options plan;
  std::size_t resumeFrom = 1;  // the plan's path to start at, from 1
  bool dryRun = false;         // plan and report, send nothing
  bool stat = false;           // report the figures
  std::string preview;         // an SVG picture of the plan

  // Fills.
  fill::Request fill;

  // Lettering.
  std::string text = "auto";     // auto, device, strokes
  std::string font = "futural";  // the Hershey font of stroke letters

  // Devices.
  std::string flow;        // empty: the model's Konib.Flow, else xonxoff
  long receiveBuffer = 0;  // 0: the model's Konib.ReceiveBuffer, else 128
  double timeout = -1;     // below 0: the model's Konib.Timeout, else 30 s
};

int Plot(const PlotOptions& options);

}  // namespace konib::tool
