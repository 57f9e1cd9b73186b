// Sending a job's bytes: to a file or stdout, or to a serial port with flow
// control, with a progress bar on a terminal, and a clean stop on Ctrl-C.
#pragma once

#include <cstddef>
#include <memory>
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

// A serial line: libserialport's port, or a terminal opened with termios
// where libserialport cannot look the device up (it knows only devices that
// the kernel lists as serial ports; pseudo-terminals of port redirectors and
// virtual null-modems are not among them).
class Line {
 public:
  virtual ~Line() = default;
  // Bytes written within the timeout, or -1 on a failure.
  virtual long Write(const char* data, std::size_t size, unsigned milliseconds) = 0;
  // 1 when a byte came within the timeout, 0 when none did, -1 on a failure.
  virtual long Read(char* byte, unsigned milliseconds) = 0;
  virtual void DropQueued() = 0;
  virtual bool Drain() = 0;
  std::string error;
};

// Opens `to.port` with its baud rate and flow control; null and a message
// when it cannot.
std::unique_ptr<Line> OpenLine(const Destination& to, std::string* error);

// Installs the Ctrl-C handler; from then on an interrupt only sets a flag.
void CatchInterrupt();
bool Interrupted();

// Sends `bytes`. On Ctrl-C the rest is dropped, `abortBytes` go out and the
// port or file is closed. Returns an exit code; messages go to stderr.
// `delivered`, when given, receives how many of `bytes` left for the device
// before it stopped.
int Send(const std::string& bytes, const std::string& abortBytes, const Destination& to,
         std::size_t* delivered = nullptr);

// The progress line for `sent` of `total` bytes after `seconds`.
std::string ProgressLine(std::size_t sent, std::size_t total, double seconds);

}  // namespace konib::tool
