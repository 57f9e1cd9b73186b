// A device that answers, for digitizing tests. It plays a scripted
// conversation: each reply becomes readable only once its request has
// arrived in full, as a real device cannot answer a question it was not
// asked, and a reader that has nothing to read gets 0, as a port whose
// read timed out. Bytes are handed out one per read call. It can also go on
// with an endless stream once the script is done (garbage), stay silent,
// fail at the n-th read, or refuse the n-th byte it is sent.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "KoNib.h"

namespace konib::test {

struct ScriptedDevice {
  struct Exchange {
    std::string request;  // what must have arrived before the reply is given
    std::string reply;
  };
  std::vector<Exchange> script;
  std::string endless;   // repeated without end once the script has no reply ready; empty: silence
  long failReadAt = -1;  // read call number (0-based) that returns 0
  long refuseSendAt = -1;  // output byte number (0-based) that is refused

  std::string heard;  // every byte the library sent, in order
  std::vector<std::uint32_t> blocks;
  long reads = 0;  // read calls, the failed one included

  void BindPut(void* handle) { Bind(handle, &Put, nullptr); }
  void BindWrite(void* handle) { Bind(handle, nullptr, &Write); }

  // The reply bytes not yet read, those of requests not yet heard included.
  std::string Unread() const {
    std::string rest = pending_.substr(pendingPos_);
    for (std::size_t i = next_; i < script.size(); ++i) rest += script[i].reply;
    return rest;
  }

 private:
  std::string pending_;
  std::size_t pendingPos_ = 0;
  std::size_t next_ = 0;       // exchange whose request is awaited
  std::size_t heardUpTo_ = 0;  // requests are looked for behind this
  std::size_t endlessPos_ = 0;

  void Bind(void* handle, int (*put)(void*, const char*),
            int (*write)(void*, const char*, std::uint32_t)) {
    _NibDeviceProc procs{};
    procs.cookie = this;
    procs.put = put;
    procs.write = write;
    procs.read = &Read;
    NibSetDeviceProc(handle, &procs);
  }

  bool Hear(char byte) {
    if (static_cast<long>(heard.size()) == refuseSendAt) return false;
    heard.push_back(byte);
    return true;
  }

  static int Put(void* cookie, const char* byte) {
    return static_cast<ScriptedDevice*>(cookie)->Hear(*byte);
  }

  static int Write(void* cookie, const char* data, std::uint32_t length) {
    auto* device = static_cast<ScriptedDevice*>(cookie);
    device->blocks.push_back(length);
    for (std::uint32_t i = 0; i < length; ++i) {
      if (!device->Hear(data[i])) return 0;
    }
    return 1;
  }

  static int Read(void* cookie, char* byte) {
    auto* device = static_cast<ScriptedDevice*>(cookie);
    if (device->reads++ == device->failReadAt) return 0;
    return device->Next(byte);
  }

  int Next(char* byte) {
    if (pendingPos_ == pending_.size() && next_ < script.size()) {
      std::size_t at = heard.find(script[next_].request, heardUpTo_);
      if (at != std::string::npos) {
        heardUpTo_ = at + script[next_].request.size();
        pending_ += script[next_++].reply;
      }
    }
    if (pendingPos_ < pending_.size()) {
      *byte = pending_[pendingPos_++];
      return 1;
    }
    if (endless.empty()) return 0;
    *byte = endless[endlessPos_++ % endless.size()];
    return 1;
  }
};

}  // namespace konib::test
