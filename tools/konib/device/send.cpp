#include <fcntl.h>
#include <libserialport.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <memory>
#include <utility>

#include "device/device.h"

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

int SendToFile(const std::string& bytes, const std::string& abortBytes, const Destination& to,
               std::size_t* delivered) {
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
    *delivered = sent;
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

class SerialPort : public Line {
 public:
  ~SerialPort() override {
    if (open_) sp_close(port_);
    sp_free_port(port_);
  }
  bool Open(const Destination& to) {
    if (sp_get_port_by_name(to.port.c_str(), &port_) != SP_OK) return Fail("no such serial port");
    if (sp_open(port_, SP_MODE_READ_WRITE) != SP_OK) return Fail("cannot open");
    open_ = true;
    sp_flowcontrol flow = to.flow == "xonxoff"  ? SP_FLOWCONTROL_XONXOFF
                          : to.flow == "rtscts" ? SP_FLOWCONTROL_RTSCTS
                                                : SP_FLOWCONTROL_NONE;
    if (sp_set_baudrate(port_, to.baud) != SP_OK || sp_set_bits(port_, 8) != SP_OK ||
        sp_set_parity(port_, SP_PARITY_NONE) != SP_OK || sp_set_stopbits(port_, 1) != SP_OK ||
        sp_set_flowcontrol(port_, flow) != SP_OK)
      return Fail("cannot set the line up");
    return true;
  }
  long Write(const char* data, std::size_t size, unsigned milliseconds) override {
    sp_return wrote = sp_blocking_write(port_, data, size, milliseconds);
    if (wrote < 0) Fail("write failed");
    return wrote;
  }
  long Read(char* byte, unsigned milliseconds) override {
    sp_return got = sp_blocking_read(port_, byte, 1, milliseconds);
    if (got < 0) Fail("read failed");
    return got;
  }
  void DropQueued() override { sp_flush(port_, SP_BUF_OUTPUT); }
  bool Drain() override { return sp_drain(port_) == SP_OK || Fail("drain failed"); }

 private:
  bool Fail(const char* what) {
    char* text = sp_last_error_message();
    error = std::string(what) + ": " + (text != nullptr ? text : "failed");
    sp_free_error_message(text);
    return false;
  }
  sp_port* port_ = nullptr;
  bool open_ = false;
};

class Terminal : public Line {
 public:
  ~Terminal() override {
    if (fd_ >= 0) close(fd_);
  }
  bool Open(const Destination& to) {
    fd_ = open(to.port.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (fd_ < 0) return Fail("cannot open");
    termios t{};
    if (!isatty(fd_) || tcgetattr(fd_, &t) != 0) return Fail("not a serial line");
    cfmakeraw(&t);
    t.c_cflag |= CLOCAL | CREAD;
    t.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    t.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF | IXANY);
    if (to.flow == "xonxoff") t.c_iflag |= IXON | IXOFF;
    if (to.flow == "rtscts") t.c_cflag |= CRTSCTS;
    speed_t speed = Speed(to.baud);
    if (speed == 0) {
      error = "a baud rate of " + std::to_string(to.baud) + " is not available";
      return false;
    }
    if (cfsetispeed(&t, speed) != 0 || cfsetospeed(&t, speed) != 0 ||
        tcsetattr(fd_, TCSANOW, &t) != 0)
      return Fail("cannot set the line up");
    return true;
  }
  long Write(const char* data, std::size_t size, unsigned milliseconds) override {
    pollfd p{fd_, POLLOUT, 0};
    int ready = poll(&p, 1, static_cast<int>(milliseconds));
    if (ready < 0 && errno != EINTR) return Fail("write failed"), -1;
    if (ready <= 0) return 0;
    ssize_t wrote = write(fd_, data, size);
    if (wrote < 0) return errno == EAGAIN || errno == EINTR ? 0 : (Fail("write failed"), -1);
    return static_cast<long>(wrote);
  }
  long Read(char* byte, unsigned milliseconds) override {
    pollfd p{fd_, POLLIN, 0};
    int ready = poll(&p, 1, static_cast<int>(milliseconds));
    if (ready < 0 && errno != EINTR) return Fail("read failed"), -1;
    if (ready <= 0) return 0;
    ssize_t got = read(fd_, byte, 1);
    if (got < 0) return errno == EAGAIN || errno == EINTR ? 0 : (Fail("read failed"), -1);
    return got == 0 ? (error = "the line was closed", -1) : 1;
  }
  void DropQueued() override { tcflush(fd_, TCOFLUSH); }
  bool Drain() override { return tcdrain(fd_) == 0 || Fail("drain failed"); }

 private:
  static speed_t Speed(int baud) {
    static const std::pair<int, speed_t> kSpeeds[] = {
        {300, B300},     {600, B600},       {1200, B1200},    {2400, B2400},
        {4800, B4800},   {9600, B9600},     {19200, B19200},  {38400, B38400},
        {57600, B57600}, {115200, B115200}, {230400, B230400}};
    for (const auto& s : kSpeeds)
      if (s.first == baud) return s.second;
    return 0;
  }
  bool Fail(const char* what) {
    error = std::string(what) + ": " + std::strerror(errno);
    return false;
  }
  int fd_ = -1;
};

}  // namespace

std::unique_ptr<Line> OpenLine(const Destination& to, std::string* error) {
  auto serial = std::make_unique<SerialPort>();
  if (serial->Open(to)) return serial;
  auto terminal = std::make_unique<Terminal>();
  if (terminal->Open(to)) return terminal;
  *error = serial->error;
  return nullptr;
}

namespace {

int SendToPort(const std::string& bytes, const std::string& abortBytes, const Destination& to,
               std::size_t* delivered) {
  std::string error;
  std::unique_ptr<Line> line = OpenLine(to, &error);
  if (line == nullptr) {
    std::fprintf(stderr, "konib: %s: %s\n", to.port.c_str(), error.c_str());
    return kDeviceError;
  }
  Progress progress(bytes.size(), to.progress);
  std::size_t sent = 0;
  while (sent < bytes.size() && !Interrupted()) {
    std::size_t n = std::min(kChunk, bytes.size() - sent);
    // A short timeout: the device may hold us back with flow control for as
    // long as it likes (a pen change, a sheet to load); we only look up.
    long wrote = line->Write(bytes.data() + sent, n, 200);
    if (wrote < 0) {
      std::fprintf(stderr, "\nkonib: %s: %s\n", to.port.c_str(), line->error.c_str());
      return kDeviceError;
    }
    sent += static_cast<std::size_t>(wrote);
    *delivered = sent;
    progress.Update(sent);
  }
  if (Interrupted()) {
    // What is still queued for the device is dropped; the abort goes out.
    line->DropQueued();
    for (std::size_t done = 0, tries = 0; done < abortBytes.size() && tries < 20; ++tries) {
      long wrote = line->Write(abortBytes.data() + done, abortBytes.size() - done, 100);
      if (wrote < 0) break;
      done += static_cast<std::size_t>(wrote);
    }
    line->Drain();
    std::fprintf(stderr,
                 "\nkonib: interrupted after %zu of %zu bytes; the abort command went out\n", sent,
                 bytes.size());
    return kInterrupted;
  }
  if (!line->Drain()) {
    std::fprintf(stderr, "\nkonib: %s: %s\n", to.port.c_str(), line->error.c_str());
    return kDeviceError;
  }
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

int Send(const std::string& bytes, const std::string& abortBytes, const Destination& to,
         std::size_t* delivered) {
  std::size_t count = 0;
  if (delivered == nullptr) delivered = &count;
  *delivered = 0;
  return to.port.empty() ? SendToFile(bytes, abortBytes, to, delivered)
                         : SendToPort(bytes, abortBytes, to, delivered);
}

}  // namespace konib::tool
