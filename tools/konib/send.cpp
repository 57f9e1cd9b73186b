#include "send.h"

#include <libserialport.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>

namespace konib::tool {
namespace {

volatile std::sig_atomic_t interrupted = 0;

extern "C" void OnInterrupt(int) { interrupted = 1; }

// A small piece at a time, so that Ctrl-C and the progress bar answer fast
// even at low baud rates.
constexpr std::size_t kChunk = 64;

class Progress {
 public:
  Progress(std::size_t total, const std::string& mode)
      : total_(total),
        shown_(mode == "always" || (mode == "auto" && isatty(fileno(stderr)) != 0)),
        start_(std::chrono::steady_clock::now()) {}

  void Update(std::size_t sent, bool last = false) {
    if (!shown_) return;
    auto now = std::chrono::steady_clock::now();
    if (!last && now - drawn_ < std::chrono::milliseconds(100)) return;
    drawn_ = now;
    double seconds = std::chrono::duration<double>(now - start_).count();
    std::fprintf(stderr, "\r%s", ProgressLine(sent, total_, seconds).c_str());
    if (last) std::fputc('\n', stderr);
    std::fflush(stderr);
  }

 private:
  std::size_t total_;
  bool shown_;
  std::chrono::steady_clock::time_point start_;
  std::chrono::steady_clock::time_point drawn_{};
};

int SendToFile(const std::string& bytes, const std::string& abortBytes, const Destination& to) {
  bool toStdout = to.file.empty() || to.file == "-";
  std::FILE* out = toStdout ? stdout : std::fopen(to.file.c_str(), "wb");
  if (out == nullptr) {
    std::fprintf(stderr, "konib: cannot write %s\n", to.file.c_str());
    return kDeviceError;
  }
  Progress progress(bytes.size(), to.progress);
  std::size_t sent = 0;
  bool failed = false;
  while (sent < bytes.size() && !Interrupted()) {
    std::size_t n = std::min(kChunk * 64, bytes.size() - sent);
    if (std::fwrite(bytes.data() + sent, 1, n, out) != n) {
      failed = true;
      break;
    }
    sent += n;
    progress.Update(sent);
  }
  if (Interrupted() && !failed) std::fwrite(abortBytes.data(), 1, abortBytes.size(), out);
  if (!failed) progress.Update(sent, true);
  failed = std::fflush(out) != 0 || failed;
  if (!toStdout) failed = std::fclose(out) != 0 || failed;
  if (failed) {
    std::fprintf(stderr, "konib: writing %s failed\n", toStdout ? "stdout" : to.file.c_str());
    return kDeviceError;
  }
  if (Interrupted()) {
    std::fprintf(stderr, "konib: interrupted after %zu of %zu bytes; the abort command went out\n",
                 sent, bytes.size());
    return kInterrupted;
  }
  return kOk;
}

struct Port {
  sp_port* port = nullptr;
  bool open = false;
  ~Port() {
    if (open) sp_close(port);
    sp_free_port(port);
  }
};

int PortError(const Destination& to, const char* what) {
  char* text = sp_last_error_message();
  std::fprintf(stderr, "konib: %s: %s: %s\n", to.port.c_str(), what,
               text != nullptr ? text : "failed");
  sp_free_error_message(text);
  return kDeviceError;
}

int SendToPort(const std::string& bytes, const std::string& abortBytes, const Destination& to) {
  Port p;
  if (sp_get_port_by_name(to.port.c_str(), &p.port) != SP_OK) return PortError(to, "no such port");
  if (sp_open(p.port, SP_MODE_READ_WRITE) != SP_OK) return PortError(to, "cannot open");
  p.open = true;
  sp_flowcontrol flow = to.flow == "xonxoff"  ? SP_FLOWCONTROL_XONXOFF
                        : to.flow == "rtscts" ? SP_FLOWCONTROL_RTSCTS
                                              : SP_FLOWCONTROL_NONE;
  if (sp_set_baudrate(p.port, to.baud) != SP_OK || sp_set_bits(p.port, 8) != SP_OK ||
      sp_set_parity(p.port, SP_PARITY_NONE) != SP_OK || sp_set_stopbits(p.port, 1) != SP_OK ||
      sp_set_flowcontrol(p.port, flow) != SP_OK)
    return PortError(to, "cannot set the line up");
  Progress progress(bytes.size(), to.progress);
  std::size_t sent = 0;
  while (sent < bytes.size() && !Interrupted()) {
    std::size_t n = std::min(kChunk, bytes.size() - sent);
    // A short timeout: the device may hold us back with flow control for as
    // long as it likes (a pen change, a sheet to load); we only look up.
    sp_return wrote = sp_blocking_write(p.port, bytes.data() + sent, n, 200);
    if (wrote < 0) return PortError(to, "write failed");
    sent += static_cast<std::size_t>(wrote);
    progress.Update(sent);
  }
  if (Interrupted()) {
    // What is still queued for the device is dropped; the abort goes out.
    sp_flush(p.port, SP_BUF_OUTPUT);
    if (!abortBytes.empty()) sp_blocking_write(p.port, abortBytes.data(), abortBytes.size(), 2000);
    sp_drain(p.port);
    std::fprintf(stderr,
                 "\nkonib: interrupted after %zu of %zu bytes; the abort command went out\n", sent,
                 bytes.size());
    return kInterrupted;
  }
  if (sp_drain(p.port) != SP_OK) return PortError(to, "drain failed");
  progress.Update(sent, true);
  return kOk;
}

}  // namespace

void CatchInterrupt() { std::signal(SIGINT, OnInterrupt); }

bool Interrupted() { return interrupted != 0; }

std::string ProgressLine(std::size_t sent, std::size_t total, double seconds) {
  constexpr int kWidth = 30;
  double part = total == 0 ? 1.0 : static_cast<double>(sent) / static_cast<double>(total);
  int filled = static_cast<int>(part * kWidth);
  std::string bar(static_cast<std::size_t>(filled), '#');
  bar.resize(kWidth, '.');
  double rate = seconds > 0 ? static_cast<double>(sent) / seconds : 0;
  char left[32] = "--:--";
  if (rate > 0) {
    long s = static_cast<long>(static_cast<double>(total - sent) / rate + 0.5);
    std::snprintf(left, sizeof left, "%ld:%02ld", s / 60, s % 60);
  }
  char line[160];
  std::snprintf(line, sizeof line, "[%s] %zu/%zu bytes %3d%% %.1f kB/s %s left", bar.c_str(), sent,
                total, static_cast<int>(part * 100), rate / 1000, left);
  return line;
}

int Send(const std::string& bytes, const std::string& abortBytes, const Destination& to) {
  return to.port.empty() ? SendToFile(bytes, abortBytes, to) : SendToPort(bytes, abortBytes, to);
}

}  // namespace konib::tool
