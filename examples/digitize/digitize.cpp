// Reading positions from a digitizer over a real character device.
//
// The example opens a pseudo-terminal, starts the simulated digitizing
// plotter (digitizer-sim) on its terminal side and talks to it from the
// other side through the library's callbacks, with the bundled model
// models/digitizer.ini. It prints each position as the library returns it:
// in plot units, millimetres for that model, as the device measured them
// (the window and view of a drawing do not apply to digitized positions).
//
//   digitize <simulator> [models-folder]
//
// Every wait is bounded: a read that sees nothing for two seconds gives 0,
// which ends the handle's work, so the program cannot hang on a silent
// device.
#include <KoNib.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace {

constexpr int kReadTimeoutMs = 2000;
constexpr int kPointsToRead = 3;

struct Line {
  int fd;
};

// Waits until `fd` is ready for `events`, at most kReadTimeoutMs.
bool Ready(int fd, short events) {
  pollfd p{fd, events, 0};
  int n;
  do {
    n = poll(&p, 1, kReadTimeoutMs);
  } while (n < 0 && errno == EINTR);
  return n == 1 && (p.revents & events) != 0;
}

int Put(void* cookie, const char* byte) {
  int fd = static_cast<Line*>(cookie)->fd;
  return Ready(fd, POLLOUT) && write(fd, byte, 1) == 1 ? 1 : 0;
}

// 0 when the device has said nothing for two seconds: the library then ends
// the handle's work instead of waiting for ever.
int Read(void* cookie, char* byte) {
  int fd = static_cast<Line*>(cookie)->fd;
  return Ready(fd, POLLIN) && read(fd, byte, 1) == 1 ? 1 : 0;
}

// The pseudo-terminal's controlling side, with `terminal` set to the path
// of its terminal side, which is in raw mode: no echo, bytes as they are.
int OpenLine(std::string* terminal) {
  int master = posix_openpt(O_RDWR | O_NOCTTY);
  if (master < 0) return -1;
  if (grantpt(master) != 0 || unlockpt(master) != 0 || ptsname(master) == nullptr) {
    close(master);
    return -1;
  }
  fcntl(master, F_SETFD, FD_CLOEXEC);
  *terminal = ptsname(master);
  return master;
}

// Starts the simulator with the terminal side as its input and output.
pid_t StartSimulator(const char* program, const std::string& terminal) {
  int slave = open(terminal.c_str(), O_RDWR | O_NOCTTY);
  if (slave < 0) return -1;
  termios mode{};
  if (tcgetattr(slave, &mode) == 0) {
    cfmakeraw(&mode);  // set before the first byte, so nothing is ever echoed
    tcsetattr(slave, TCSANOW, &mode);
  }
  pid_t child = fork();
  if (child == 0) {
    dup2(slave, STDIN_FILENO);
    dup2(slave, STDOUT_FILENO);
    if (slave > STDOUT_FILENO) close(slave);
    execl(program, program, static_cast<char*>(nullptr));
    _exit(127);
  }
  close(slave);
  return child;
}

// Waits for the simulator to end, at most two seconds, then stops it.
int StopSimulator(pid_t child) {
  int status = 0;
  for (int i = 0; i < 40; ++i) {
    if (waitpid(child, &status, WNOHANG) == child) return status;
    usleep(50000);
  }
  kill(child, SIGKILL);
  waitpid(child, &status, 0);
  return status;
}

_NibREG_DATA* LoadModel(const std::string& folder) {
  std::ifstream in(folder + "/digitizer.ini", std::ios::binary);
  std::string text((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  return NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0,
                         "HP-GL Digitizing Plotter");
}

// The conversation itself: true when every position was read.
bool Digitize(void* digitizer) {
  char key[64];
  int length = 0;
  if (NibDigitizeKey(digitizer, nullptr, &length) == 1 && length < static_cast<int>(sizeof key) &&
      NibDigitizeKey(digitizer, key, &length) == 1) {
    std::printf("enter each point with %s\n", key);
  }
  if (NibStartDigitize(digitizer) == 0 || NibDigitizePen(digitizer, 1) == 0) return false;
  for (int i = 1; i <= kPointsToRead; ++i) {
    _NibWorld2 position{-1e300, -1e300};  // stays so when the reply did not fit
    if (NibDigitizePosition(digitizer, &position) == 0 || position.x == -1e300) {
      std::fprintf(stderr, "digitize: no position %d\n", i);
      return false;
    }
    std::printf("point %d: %.3f %.3f mm\n", i, position.x, position.y);
  }
  return NibDigitizePen(digitizer, 0) == 1 && NibEndDigitize(digitizer) == 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: digitize <simulator> [models-folder]\n");
    return 2;
  }
  _NibREG_DATA* model = LoadModel(argc > 2 ? argv[2] : "models");
  if (model == nullptr) {
    std::fprintf(stderr, "digitize: models/digitizer.ini not found\n");
    return 2;
  }
  std::string terminal;
  Line line{OpenLine(&terminal)};
  if (line.fd < 0) {
    std::fprintf(stderr, "digitize: no pseudo-terminal\n");
    NibFreeRegistry2(model);
    return 2;
  }
  pid_t simulator = StartSimulator(argv[1], terminal);

  _NibWorld2 size{400, 277};
  void* digitizer = NibGetHandle(&size);
  bool ok = simulator > 0 && NibSetPlotter2(digitizer, model) == 1 &&
            NibSetDevice(digitizer, &line, Put, Read) == 1 && Digitize(digitizer);
  NibFreeRegistry2(model);
  NibFreeHandle(digitizer);

  close(line.fd);  // the simulator sees its line close and ends
  int status = simulator > 0 ? StopSimulator(simulator) : -1;
  if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
    std::fprintf(stderr, "digitize: the simulator did not end well (%d)\n", status);
    ok = false;
  }
  std::fflush(stdout);
  return ok ? 0 : 1;
}
