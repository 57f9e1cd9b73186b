// Expanding a template on a fresh handle and catching the bytes.
#pragma once

#include <string>

#include "core/handle.h"
#include "support/test_device.h"
#include "template/walker.h"

namespace konib::test {

struct Expander {
  HandlePtr handle;
  TestDevice device;
  Expander() { device.BindPut(handle.get()); }
  NibHandle* h() const { return static_cast<NibHandle*>(handle.get()); }
  // The bytes of one template; the device is emptied first.
  std::string operator()(const char* text) {
    device.bytes.clear();
    ExpandTemplate(h(), text);
    return device.bytes;
  }
};

}  // namespace konib::test
