// On 32-bit Windows the exported records must have the sizes and offsets
// that applications and extension modules compiled elsewhere rely on.
#include <cstddef>

#include "KoNib.h"

#if !defined(_WIN64)
static_assert(sizeof(void*) == 4, "a 32-bit build");
static_assert(sizeof(NibSpfuncCall) == 200, "call record size");
static_assert(offsetof(NibSpfuncCall, privateArea) == 0, "privateArea");
static_assert(offsetof(NibSpfuncCall, arguments) == 4, "arguments");
static_assert(offsetof(NibSpfuncCall, argumentsLength) == 8, "argumentsLength");
static_assert(offsetof(NibSpfuncCall, paperX) == 16, "paperX");
static_assert(offsetof(NibSpfuncCall, paperY) == 24, "paperY");
static_assert(offsetof(NibSpfuncCall, sizeX) == 32, "sizeX");
static_assert(offsetof(NibSpfuncCall, sizeY) == 40, "sizeY");
static_assert(offsetof(NibSpfuncCall, step) == 48, "step");
static_assert(offsetof(NibSpfuncCall, decimals) == 56, "decimals");
static_assert(offsetof(NibSpfuncCall, stylePitch) == 64, "stylePitch");
static_assert(offsetof(NibSpfuncCall, stateFlags) == 144, "stateFlags");
static_assert(offsetof(NibSpfuncCall, devicePosX) == 152, "devicePosX");
static_assert(offsetof(NibSpfuncCall, devicePosY) == 160, "devicePosY");
static_assert(offsetof(NibSpfuncCall, deviceStyle) == 168, "deviceStyle");
static_assert(offsetof(NibSpfuncCall, devicePen) == 172, "devicePen");
static_assert(offsetof(NibSpfuncCall, dataCode) == 176, "dataCode");
static_assert(offsetof(NibSpfuncCall, write) == 180, "write");
static_assert(offsetof(NibSpfuncCall, read) == 184, "read");
static_assert(offsetof(NibSpfuncCall, readCheck) == 188, "readCheck");
static_assert(offsetof(NibSpfuncCall, handle) == 192, "handle");
static_assert(offsetof(_NibREG_DATA, name) == 4, "record name");
static_assert(offsetof(_NibREG_DATA, length) == 264, "record length");
static_assert(offsetof(_NibREG_DATA, type) == 268, "record type");
static_assert(offsetof(_NibREG_DATA, data) == 272, "record data");
static_assert(sizeof(_NibWorld2) == 16 && sizeof(_NibWorld4) == 32, "points");
static_assert(sizeof(_NibRegInfo) == 12, "configuration item");
static_assert(sizeof(_NibDeviceProc) == 24 && offsetof(_NibDeviceProc, put) == 8, "callbacks");
static_assert(sizeof(_NibPen) == 16 && sizeof(_NibFontAdjust) == 32, "pen and font records");
static_assert(sizeof(_NibPAPER_INFO) == 76 && sizeof(_NibBIN_INFO) == 28, "query records");
#endif
