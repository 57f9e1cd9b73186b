// What the senders of device/ share; private to device/.
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "device/device.h"

namespace konib::tool::sending {

using Clock = std::chrono::steady_clock;

// The progress line on stderr, redrawn at most ten times a second.
class Progress {
 public:
  Progress(std::size_t total, const std::string& mode);
  void Update(std::size_t sent, bool last = false);

 private:
  std::size_t total_;
  bool shown_;
  Clock::time_point start_;
  Clock::time_point drawn_{};
};

// True once `timeout` seconds (above 0) have passed since `since`.
bool Expired(Clock::time_point since, double timeout);

// Ctrl-C: what is still queued for the device is dropped and the abort
// goes out. Returns kInterrupted.
int Abort(Line* line, const std::string& abortBytes, std::size_t sent, std::size_t total);

// The conversations that read the device's answers.
int SendAcknowledged(Line* line, const std::string& bytes, const std::string& abortBytes,
                     const Destination& to, Progress* progress, std::size_t* delivered);
int SendQueried(Line* line, const std::string& bytes, const std::string& abortBytes,
                const Destination& to, Progress* progress, std::size_t* delivered);

}  // namespace konib::tool::sending
