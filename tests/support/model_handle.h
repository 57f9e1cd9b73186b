// A handle with a model given as name/value pairs and a recording device.
#pragma once

#include <initializer_list>
#include <string>
#include <utility>

#include "core/handle.h"
#include <gtest/gtest.h>

#include "support/model_list.h"
#include "support/test_device.h"

namespace konib::test {

struct ModelHandle {
  HandlePtr handle;
  TestDevice device;
  explicit ModelHandle(std::initializer_list<std::pair<std::string, std::string>> values, double x = 1000,
                       double y = 800, bool buffered = false)
      : handle(x, y) {
    ModelList list(values);
    if (list.get() != nullptr) {
      EXPECT_EQ(NibSetPlotter2(handle.get(), list.get()), 1);
    }
    if (buffered) {
      device.BindWrite(handle.get());
    } else {
      device.BindPut(handle.get());
    }
  }
  NibHandle* h() const { return static_cast<NibHandle*>(handle.get()); }
  void* get() const { return handle.get(); }
  // The bytes sent since the last call.
  std::string Take() {
    std::string out = device.bytes;
    device.bytes.clear();
    return out;
  }
};

}  // namespace konib::test
