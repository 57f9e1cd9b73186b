// Device binding, buffered output and the entries for extension functions.
//
// The buffer exists so that a device with a costly write is called once per
// 16384 bytes and at page ends rather than once per byte; a device bound
// byte-wise sees each byte at once. The mode is decided anew for every
// EmitBytes from what is bound at that moment.
#include "core/output.h"

#include <cstring>

using namespace konib;

namespace konib {

int EmitBytes(NibHandle* h, const char* data, std::int32_t length) {
  if (h->failure != kGood) return 0;
  if (h->putProc != nullptr) {
    for (std::int32_t i = 0; i < length; ++i) {
      if (h->putProc(h->deviceCookie, data + i) == 0) {
        h->failure = kDeviceFailure;
        return 0;
      }
    }
    return 1;
  }
  if (h->writeProc == nullptr) return 1;  // nothing bound: dropped, and that is fine
  while (length > 0) {
    std::uint32_t room = kOutBufferSize - h->outUsed;
    std::uint32_t take = static_cast<std::uint32_t>(length) < room ? static_cast<std::uint32_t>(length) : room;
    std::memcpy(h->outBuffer + h->outUsed, data, take);
    h->outUsed += take;
    data += take;
    length -= static_cast<std::int32_t>(take);
    if (h->outUsed == kOutBufferSize) {
      if (h->writeProc(h->deviceCookie, h->outBuffer, h->outUsed) == 0) {
        h->failure = kDeviceFailure;
        return 0;
      }
      h->outUsed = 0;
    }
  }
  return 1;
}

int ReadByte(NibHandle* h, char* byte) {
  if (h->failure != kGood) return 0;
  if (h->readProc != nullptr && h->readProc(h->deviceCookie, byte) != 0) return 1;
  h->failure = kDeviceFailure;  // a missing reader is a device failure, not a quiet 0
  return 0;
}

int FlushOutput(NibHandle* h) {
  if (h->writeProc == nullptr || h->outUsed == 0) return 1;
  if (h->writeProc(h->deviceCookie, h->outBuffer, h->outUsed) == 0) {
    h->failure = kDeviceFailure;
    return 0;
  }
  h->outUsed = 0;
  return 1;
}

}  // namespace konib

extern "C" KONIB_API int NibSetDevice(void* handle, void* cookie,
                                      int (*put)(void* cookie, const char* byte),
                                      int (*read)(void* cookie, char* byte)) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  h->dataCode = 0;
  h->deviceCookie = cookie;
  h->putProc = put;
  h->readProc = read;
  h->writeProc = nullptr;
  h->readCheckProc = nullptr;
  return 1;
}

extern "C" KONIB_API int NibSetDeviceProc(void* handle, const _NibDeviceProc* procs) {
  NibHandle* h = Working(handle);
  if (h == nullptr) return 0;
  h->dataCode = procs->dataCode;
  h->deviceCookie = procs->cookie;
  h->putProc = procs->put;
  h->writeProc = procs->write;
  h->readProc = procs->read;
  h->readCheckProc = procs->readCheck;
  return 1;
}

extern "C" KONIB_API int _spfunc_write(NibSpfuncCall* call, const char* data, uint32_t length) {
  auto* h = static_cast<NibHandle*>(call->handle);
  if (length == 0xFFFFFFFFu) return EmitBytes(h, data, static_cast<std::int32_t>(std::strlen(data)));
  // Any other length is taken as signed: from 0x80000000 up it is below 0,
  // and nothing is sent.
  return EmitBytes(h, data, static_cast<std::int32_t>(length));
}

extern "C" KONIB_API int _spfunc_read(NibSpfuncCall* call, char* out) {
  return ReadByte(static_cast<NibHandle*>(call->handle), out);
}

extern "C" KONIB_API int _spfunc_readcheck(NibSpfuncCall* call, uint32_t value) {
  auto* h = static_cast<NibHandle*>(call->handle);
  if (h->failure != kGood) return 0;
  if (h->readCheckProc != nullptr && h->readCheckProc(h->deviceCookie, value) != 0) return 1;
  h->failure = kDeviceFailure;
  return 0;
}
