// Sending a job's bytes: to a file or stdout, or to a serial port with the
// conversation the device expects (XON/XOFF, RTS/CTS, a line acknowledge
// with character counting, or a buffer query), with a progress bar on a
// terminal, a clean stop on Ctrl-C, and a timeout for a device that goes
// silent.
#pragma once

#include <cstddef>
#include <memory>
#include <string>

#include "model/model.h"

namespace konib::tool {

// Exit codes of every command.
enum Exit { kOk = 0, kBadInput = 1, kDeviceError = 2, kInterrupted = 130 };

struct Destination {
  std::string file;  // "-" or empty with no port: stdout
  std::string port;  // a serial device; wins over file
  int baud = 9600;
  std::string flow = "xonxoff";   // none, xonxoff, rtscts, ack, query
  std::string progress = "auto";  // auto (on a terminal), always, never
  // ack: the bytes the device's receive buffer holds; konib keeps the bytes
  // of unanswered lines within it.
  std::size_t receiveBuffer = 128;
  // Seconds the device may keep silent (no answer, or holding the line with
  // XOFF or CTS) before the plot ends as a device error; 0: no limit.
  double timeout = 30;
};

// konib's own model keys for the conversation, which the library passes
// over: Konib.Flow, Konib.ReceiveBuffer, Konib.Timeout.
//
// Fills `to` from the model's keys; `flow`, `receiveBuffer` and `timeout`
// given on the command line (non-empty, above 0, at or above 0) win. False
// with a message for a value konib cannot use.
bool TakeConversation(const ModelList& model, const std::string& flow, long receiveBuffer,
                      double timeout, Destination* to, std::string* message);

// For `konib check`: whether `name` is one of these keys, and if so what is
// wrong with `value` ("" when nothing).
bool IsConversationKey(const std::string& name);
std::string CheckConversationValue(const std::string& name, const std::string& value);

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
// port or file is closed. A device that answers a line with an error or an
// alarm, or that keeps silent beyond the timeout, ends the plot with
// kDeviceError. Returns an exit code; messages go to stderr. `delivered`,
// when given, receives the count of bytes that left for the device (written
// to the file or the line) before the end or the stop: a plot that stopped
// can be resumed behind them.
int Send(const std::string& bytes, const std::string& abortBytes, const Destination& to,
         std::size_t* delivered = nullptr);

// The progress line for `sent` of `total` bytes after `seconds`.
std::string ProgressLine(std::size_t sent, std::size_t total, double seconds);

}  // namespace konib::tool
