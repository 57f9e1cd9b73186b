// `konib digitize`: positions from a digitizer, printed as they come.
#pragma once

#include <string>

#include "device/device.h"

namespace konib::tool {

struct DigitizeOptions {
  std::string model = "hpgl";
  std::string section;
  std::string models;
  std::string store;
  Destination from;
};

int Digitize(const DigitizeOptions& options);

}  // namespace konib::tool
