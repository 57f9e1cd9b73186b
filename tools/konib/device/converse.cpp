// The conversations in which konib reads the device's answers.
//
// Line acknowledge (GRBL, FluidNC and other G-code firmware; the
// EiBotBoard): the device answers each line with "ok" (the board: "OK"), or
// "error:N", or raises "ALARM:N" (the board: a reply that starts with !).
// A line ends in LF, CR LF, or CR alone (the board's). Waiting
// for each ok before the next line leaves the device idle between short
// segments, so konib counts characters instead: it keeps sending while the
// bytes of the lines not yet answered fit the device's receive buffer, and
// each ok frees the length of the oldest of them. A line that fails stops
// the plot, and the message names it.
//
// Buffer query (HP plotters, Roland CAMM-GL): ESC.B asks for the free space
// of the device's buffer, which it answers with decimal digits and CR;
// konib then sends no more than that many bytes, and asks again.
//
// A device that keeps silent beyond the timeout ends the plot: a plotter
// switched off or a cable pulled must not leave konib waiting for ever.
#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <thread>

#include "device/internal.h"

namespace konib::tool {
namespace sending {
namespace {

// Each wait is cut into slices of this many milliseconds, so that Ctrl-C
// and the timeout are looked at often.
constexpr unsigned kSlice = 100;

// The answers of the device, one line at a time: CR and LF end a line,
// empty lines are passed over, and an overlong line is cut (it is noise).
class Replies {
 public:
  explicit Replies(Line* line) : line_(line) {}
  // 1 and a whole line, 0 when none came within `milliseconds` (also while
  // a device chatters without a line end), -1 on a failure of the line.
  int Next(std::string* text, unsigned milliseconds) {
    Clock::time_point until = Clock::now() + std::chrono::milliseconds(milliseconds);
    for (;;) {
      auto left = std::chrono::duration_cast<std::chrono::milliseconds>(until - Clock::now());
      if (left.count() <= 0) return 0;
      char c = 0;
      long got = line_->Read(&c, static_cast<unsigned>(std::max<long long>(0, left.count())));
      if (got < 0) return -1;
      if (got == 0) return 0;
      if (c == '\r' || c == '\n') {
        if (partial_.empty()) continue;
        *text = std::move(partial_);
        partial_.clear();
        return 1;
      }
      if (partial_.size() < 256) partial_ += c;
    }
  }

 private:
  Line* line_;
  std::string partial_;
};

int LineFailed(const Destination& to, Line* line) {
  std::fprintf(stderr, "\nkonib: %s: %s\n", to.port.c_str(), line->error.c_str());
  return kDeviceError;
}

// Writes all of `size` bytes. kOk, kDeviceError with a message when the line
// fails or stays blocked beyond the timeout, or kInterrupted (nothing said).
int WriteAll(Line* line, const char* data, std::size_t size, const Destination& to) {
  Clock::time_point moved = Clock::now();
  for (std::size_t done = 0; done < size;) {
    if (Interrupted()) return kInterrupted;
    long wrote = line->Write(data + done, size - done, kSlice);
    if (wrote < 0) return LineFailed(to, line);
    if (wrote > 0) moved = Clock::now();
    done += static_cast<std::size_t>(wrote);
    if (done < size && Expired(moved, to.timeout)) {
      std::fprintf(stderr, "\nkonib: %s: the device took no byte for %g s\n", to.port.c_str(),
                   to.timeout);
      return kDeviceError;
    }
  }
  return kOk;
}

std::string Shown(const std::string& bytes, std::size_t start, std::size_t length) {
  std::string text = bytes.substr(start, length);
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r')) text.pop_back();
  return text;
}

bool StartsWith(const std::string& text, const char* start) {
  return text.compare(0, std::strlen(start), start) == 0;
}

// GRBL on an Arduino restarts when the port opens and greets with a line
// "Grbl 1.1h ['$' for help]"; what comes before the greeting is lost. Wait
// for it a moment; a board that does not restart says nothing, and after
// that moment konib goes on.
void AwaitGreeting(Replies* replies) {
  Clock::time_point start = Clock::now();
  std::string reply;
  while (!Interrupted() && !Expired(start, 2.0)) {
    int got = replies->Next(&reply, kSlice);
    if (got < 0 || (got > 0 && StartsWith(reply, "Grbl"))) return;
  }
}

}  // namespace

int SendAcknowledged(Line* line, const std::string& bytes, const std::string& abortBytes,
                     const Destination& to, Progress* progress, std::size_t* delivered) {
  Replies replies(line);
  AwaitGreeting(&replies);
  struct Sent {
    std::size_t start, length;
  };
  std::deque<Sent> unanswered;
  std::size_t inFlight = 0, next = 0, answered = 0;
  Clock::time_point heard = Clock::now();
  while (next < bytes.size() || !unanswered.empty()) {
    if (Interrupted()) return Abort(line, abortBytes, *delivered, bytes.size());
    // As many lines as the receive buffer takes; a line longer than the
    // whole buffer goes alone.
    while (next < bytes.size()) {
      std::size_t end = bytes.find_first_of("\r\n", next);
      if (end != std::string::npos && bytes[end] == '\r' && end + 1 < bytes.size() &&
          bytes[end + 1] == '\n')
        ++end;
      end = end == std::string::npos ? bytes.size() : end + 1;
      if (!unanswered.empty() && inFlight + (end - next) > to.receiveBuffer) break;
      int written = WriteAll(line, bytes.data() + next, end - next, to);
      if (written == kInterrupted) return Abort(line, abortBytes, *delivered, bytes.size());
      if (written != kOk) return written;
      if (unanswered.empty()) heard = Clock::now();
      unanswered.push_back({next, end - next});
      inFlight += end - next;
      next = *delivered = end;
      progress->Update(next);
    }
    if (unanswered.empty()) continue;
    std::string reply;
    int got = replies.Next(&reply, kSlice);
    if (got < 0) return LineFailed(to, line);
    if (got == 0) {
      if (!Expired(heard, to.timeout)) continue;
      std::fprintf(stderr, "\nkonib: %s: no answer for %g s to line %zu: %s\n", to.port.c_str(),
                   to.timeout, answered + 1,
                   Shown(bytes, unanswered.front().start, unanswered.front().length).c_str());
      return kDeviceError;
    }
    heard = Clock::now();
    if (reply == "ok" || reply == "OK") {
      inFlight -= unanswered.front().length;
      unanswered.pop_front();
      ++answered;
    } else if (StartsWith(reply, "error") || StartsWith(reply, "ALARM") || StartsWith(reply, "!")) {
      std::fprintf(stderr, "\nkonib: %s: the device answered \"%s\" to line %zu: %s\n",
                   to.port.c_str(), reply.c_str(), answered + 1,
                   Shown(bytes, unanswered.front().start, unanswered.front().length).c_str());
      return kDeviceError;
    }
    // Anything else (a greeting, a status report, a message) answers no line.
  }
  return kOk;
}

int SendQueried(Line* line, const std::string& bytes, const std::string& abortBytes,
                const Destination& to, Progress* progress, std::size_t* delivered) {
  static const char kQuery[] = "\x1b.B";
  Replies replies(line);
  std::size_t sent = 0;
  while (sent < bytes.size()) {
    int asked = WriteAll(line, kQuery, sizeof kQuery - 1, to);
    if (asked == kInterrupted) return Abort(line, abortBytes, sent, bytes.size());
    if (asked != kOk) return asked;
    std::string reply;
    Clock::time_point since = Clock::now();
    for (int got = 0; got == 0;) {
      if (Interrupted()) return Abort(line, abortBytes, sent, bytes.size());
      got = replies.Next(&reply, kSlice);
      if (got < 0) return LineFailed(to, line);
      if (got == 0 && Expired(since, to.timeout)) {
        std::fprintf(stderr, "\nkonib: %s: no answer for %g s to ESC.B after %zu of %zu bytes\n",
                     to.port.c_str(), to.timeout, sent, bytes.size());
        return kDeviceError;
      }
    }
    std::size_t digits = reply.find_first_not_of(" ");
    digits = digits == std::string::npos ? reply.size() : digits;
    if (digits == reply.size() ||
        !std::all_of(reply.begin() + static_cast<std::ptrdiff_t>(digits), reply.end(),
                     [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }) ||
        reply.size() - digits > 9) {
      std::fprintf(stderr, "\nkonib: %s: the device answered ESC.B with \"%s\", not a number\n",
                   to.port.c_str(), reply.c_str());
      return kDeviceError;
    }
    std::size_t free = std::strtoul(reply.c_str() + digits, nullptr, 10);
    if (free == 0) {
      // A full buffer: the plotter is drawing; ask again in a moment.
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
      continue;
    }
    std::size_t n = std::min(free, bytes.size() - sent);
    int written = WriteAll(line, bytes.data() + sent, n, to);
    if (written == kInterrupted) return Abort(line, abortBytes, sent, bytes.size());
    if (written != kOk) return written;
    sent = *delivered = sent + n;
    progress->Update(sent);
  }
  return kOk;
}

}  // namespace sending

namespace {

const char* const kFlows[] = {"none", "xonxoff", "rtscts", "ack", "query"};

bool IsFlow(const std::string& value) {
  return std::find(std::begin(kFlows), std::end(kFlows), value) != std::end(kFlows);
}

// A whole number within [low, high], blanks around it allowed.
bool ParseNumber(const std::string& value, double low, double high, bool whole, double* number) {
  const char* start = value.c_str();
  char* end = nullptr;
  double n = std::strtod(start, &end);
  while (end != nullptr && *end == ' ') ++end;
  if (end == start || *end != '\0' || !(n >= low && n <= high)) return false;
  if (whole && n != static_cast<double>(static_cast<long>(n))) return false;
  *number = n;
  return true;
}

struct ConversationKey {
  const char* name;
  const char* expects;
  bool (*valid)(const std::string&);
};

const ConversationKey kKeys[] = {
    {"Konib.Flow", "one of none, xonxoff, rtscts, ack, query", IsFlow},
    {"Konib.ReceiveBuffer", "a whole number of bytes from 1 to 1048576",
     [](const std::string& v) {
       double n;
       return ParseNumber(v, 1, 1 << 20, true, &n);
     }},
    {"Konib.Timeout", "a number of seconds from 0 (no limit) to 86400",
     [](const std::string& v) {
       double n;
       return ParseNumber(v, 0, 86400, false, &n);
     }},
};

const ConversationKey* FindConversationKey(const std::string& name) {
  for (const ConversationKey& k : kKeys)
    if (EqualNoCase(name, k.name)) return &k;
  return nullptr;
}

}  // namespace

bool IsConversationKey(const std::string& name) { return FindConversationKey(name) != nullptr; }

std::string CheckConversationValue(const std::string& name, const std::string& value) {
  const ConversationKey* key = FindConversationKey(name);
  if (key == nullptr || key->valid(value)) return "";
  return "\"" + value + "\" is not " + key->expects;
}

bool TakeConversation(const ModelList& model, const std::string& flow, long receiveBuffer,
                      double timeout, Destination* to, std::string* message) {
  for (const ConversationKey& k : kKeys) {
    const char* value = model.Value(k.name);
    if (value == nullptr) continue;
    std::string problem = CheckConversationValue(k.name, value);
    if (!problem.empty()) {
      *message = std::string("the model's ") + k.name + ": " + problem;
      return false;
    }
  }
  const char* modelFlow = model.Value("Konib.Flow");
  to->flow = !flow.empty() ? flow : modelFlow != nullptr ? modelFlow : "xonxoff";
  if (!IsFlow(to->flow)) {
    *message = "--flow " + to->flow + ": give one of none, xonxoff, rtscts, ack, query";
    return false;
  }
  const char* modelBuffer = model.Value("Konib.ReceiveBuffer");
  if (receiveBuffer > 0)
    to->receiveBuffer = static_cast<std::size_t>(receiveBuffer);
  else if (modelBuffer != nullptr)
    to->receiveBuffer = static_cast<std::size_t>(std::atol(modelBuffer));
  const char* modelTimeout = model.Value("Konib.Timeout");
  if (timeout >= 0)
    to->timeout = timeout;
  else if (modelTimeout != nullptr)
    to->timeout = std::atof(modelTimeout);
  return true;
}

}  // namespace konib::tool
