// The registry: keys below a root, each with named values.
//
// The model store calls these operations and nothing else, so it never
// knows which store stands behind them. Each takes and gives what the
// system registry's own calls do, and results are that registry's codes:
// 0 for success, kNoMoreItems at the end of an enumeration, kMoreData when a
// buffer is too small, anything else a failure.
//
// A key path is a series of key names divided by '\'. A 0x5C byte that is
// the second byte of a CP932 character is part of its name, not a divider.
// Key and value names compare without regard to case; values keep their
// type and their exact bytes.
//
// On Windows this is the system registry, and a root is any open key, such
// as HKEY_CURRENT_USER. Elsewhere a root is a directory (see
// NibOpenRegistryDirectory) that holds one SQLite database file, models.db:
//   - Every write is a transaction of its own, and the writes of one
//     StoreTransaction are one transaction: a process that dies in between
//     leaves no trace of them.
//   - The database keeps a write-ahead log (journal_mode=WAL) with
//     synchronous=NORMAL: readers never wait for a writer, a killed process
//     never leaves a half transaction visible, and a power cut may lose the
//     last transactions but never splits one.
//   - A writer waits up to kBusyTimeoutMs for another process's write to
//     end before it gives up with a failure.
//   - Names compare by their ASCII letters without regard to case; a
//     double-byte CP932 character compares as its two bytes, so that two
//     different kanji never count as the same name. (Full-width letters are
//     not folded, which the system registry would do.)
//   - An open key belongs to one thread at a time; two roots opened on one
//     directory may serve two threads or processes at once.
#pragma once

#include <cstdint>

#include "KoNib.h"

namespace konib::platform {

constexpr long kStoreOk = 0;
constexpr long kNotFound = 2;      // no such key
constexpr long kAccessDenied = 5;  // a key that still has subkeys
constexpr long kOutOfMemory = 14;
constexpr long kBadArgument = 87;    // a null key, or an empty name in a path
constexpr long kMoreData = 234;      // the name or the data did not fit
constexpr long kNoMoreItems = 259;   // the enumeration is over
constexpr long kStoreFailed = 1009;  // the database refused (locked for too long, disk full)

constexpr int kBusyTimeoutMs = 10000;
// How long an opener sleeps before it tries again to set up a new store.
constexpr int kSetupRetryMs = 10;

// Opens the key `subkey` below `parent`; an empty or null `subkey` opens
// `parent` anew. The key is closed with CloseKey.
long OpenKey(HKEY parent, const char* subkey, HKEY* key);
// Opens the key, first creating it and every missing key on its path.
long CreateKey(HKEY parent, const char* subkey, HKEY* key);
// Null is allowed.
void CloseKey(HKEY key);
// The name of the subkey of that index, in the store's order, into `name`
// of `capacity` bytes.
long EnumKey(HKEY key, std::uint32_t index, char* name, std::uint32_t capacity);
// The value of that index, in the order the values were first set: its
// name into `name` (capacity in `*nameSize`, the name's length out), its
// type into `*type` unless that is null, and its bytes into `data` as far
// as `*dataSize` allows. A null `data` only reports the size.
long EnumValue(HKEY key, std::uint32_t index, char* name, std::uint32_t* nameSize,
               std::uint32_t* type, unsigned char* data, std::uint32_t* dataSize);
// Sets a value; one of the same name is replaced in its place.
long SetValue(HKEY key, const char* name, std::uint32_t type, const void* data, std::uint32_t size);
// Removes a key with its values. A key that has subkeys stays.
long DeleteKey(HKEY parent, const char* subkey);

// Groups the calls through `root` until the matching EndStoreTransaction
// into one transaction: with `writing`, all writes count together or none
// does, and other writers wait; without it, every read sees the store as
// it stood at the first one, whatever other processes write meanwhile.
// Pairs nest, and only the outermost pair counts. On Windows both do
// nothing: the system registry has no transaction across these calls, and a
// process that dies in between leaves what it wrote.
void BeginStoreTransaction(HKEY root, bool writing);
void EndStoreTransaction(HKEY root);

// One transaction for the life of the object.
class StoreTransaction {
 public:
  StoreTransaction(HKEY root, bool writing) : root_(root) { BeginStoreTransaction(root_, writing); }
  ~StoreTransaction() { EndStoreTransaction(root_); }
  StoreTransaction(const StoreTransaction&) = delete;
  StoreTransaction& operator=(const StoreTransaction&) = delete;

 private:
  HKEY root_;
};

}  // namespace konib::platform
