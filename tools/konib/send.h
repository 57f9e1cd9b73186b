// Sending a job's bytes: to a file or stdout, or to a serial port with flow
// control, with a progress bar on a terminal, and a clean stop on Ctrl-C.
#pragma once

#include <cstddef>
#include <string>

namespace konib::tool {

// Exit codes of every command.
enum Exit { kOk = 0, kBadInput = 1, kDeviceError = 2, kInterrupted = 130 };

struct Destination {
  std::string file;  // "-" or empty with no port: stdout
  std::string port;  // a serial device; wins over file
  int baud = 9600;
  std::string flow = "xonxoff";   // none, xonxoff, rtscts
  std::string progress = "auto";  // auto (on a terminal), always, never
};

// Installs the Ctrl-C handler; from then on an interrupt only sets a flag.
void CatchInterrupt();
bool Interrupted();

// Sends `bytes`. On Ctrl-C the rest is dropped, `abortBytes` go out and the
// port or file is closed. Returns an exit code; messages go to stderr.
int Send(const std::string& bytes, const std::string& abortBytes, const Destination& to);

// The progress line for `sent` of `total` bytes after `seconds`.
std::string ProgressLine(std::size_t sent, std::size_t total, double seconds);

}  // namespace konib::tool
