// A simulated digitizing plotter for the digitize example: it speaks the
// few HP-GL commands of models/digitizer.ini on its standard input and
// output, which the example connects to a pseudo-terminal.
//
//   IN;     initialise: no pen, the first point again
//   SPn;    select pen n (0 puts it away)
//   DP;     wait for a point to be entered (here: at once)
//   OD;     answer the entered point as "x,y,pen" CR LF, in steps
//   DC;     leave digitizing
//
// The answer goes out one byte at a time with a pause between bytes, as a
// slow serial device sends it, so the reader sees it arrive piecemeal. The
// simulator ends when its line closes, or after five quiet seconds.
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

// The points "entered" on the sheet, in device steps of 0.025 mm.
const char* const kPoints[] = {"4000,2000", "12340,6780", "-120,8000"};
constexpr int kPointCount = sizeof kPoints / sizeof kPoints[0];
constexpr int kQuietMs = 5000;

// Raw mode: no echo, no line editing, and CR LF passed as they are.
void MakeRaw(int fd) {
  termios mode{};
  if (tcgetattr(fd, &mode) != 0) return;
  cfmakeraw(&mode);
  tcsetattr(fd, TCSANOW, &mode);
}

bool SendSlowly(const std::string& text) {
  for (char byte : text) {
    if (write(STDOUT_FILENO, &byte, 1) != 1) return false;
    usleep(1000);
  }
  return true;
}

struct Plotter {
  int pen = 0;
  int next = 0;

  // One command without its semicolon; false when the line is gone.
  bool Obey(const std::string& command) {
    if (command == "IN") {
      pen = 0;
      next = 0;
    } else if (command.compare(0, 2, "SP") == 0) {
      pen = std::atoi(command.c_str() + 2);
    } else if (command == "OD") {
      std::string answer =
          std::string(kPoints[next % kPointCount]) + (pen > 0 ? ",1" : ",0") + "\r\n";
      ++next;
      return SendSlowly(answer);
    }
    return true;  // DP, DC and anything unknown need no answer
  }
};

}  // namespace

int main() {
  if (isatty(STDIN_FILENO)) MakeRaw(STDIN_FILENO);
  Plotter plotter;
  std::string command;
  for (;;) {
    pollfd in{STDIN_FILENO, POLLIN, 0};
    if (poll(&in, 1, kQuietMs) <= 0) return 2;  // nobody talks to us any more
    char byte;
    if (read(STDIN_FILENO, &byte, 1) != 1) return 0;  // the line closed
    if (byte == '\r' || byte == '\n' || byte == ' ') continue;
    if (byte != ';') {
      if (command.size() < 64) command.push_back(byte);
      continue;
    }
    if (!plotter.Obey(command)) return 1;
    command.clear();
  }
}
