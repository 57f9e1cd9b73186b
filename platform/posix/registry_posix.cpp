// The registry on systems that have none: keys and values in one SQLite
// database file, models.db, inside the directory that stands for a root.
//
// Tables:
//   keys(id, parent, name)             one row per key; parent 0 is the root;
//                                      (parent, name) is unique
//   vals(id, key, name, type, data)    one row per value; data is a BLOB that
//                                      keeps the exact bytes; (key, name) is
//                                      unique; id gives the order of setting
// Names are TEXT holding CP932 bytes as they are, compared by the collation
// cp932_nocase (ASCII letters folded, double-byte characters taken whole).
// Ids are never reused (AUTOINCREMENT), so a handle to a deleted key can
// never reach a key made later.
//
// A key handle remembers its id. An enumeration takes a snapshot of all the
// subkeys or values of the key at its index 0 and hands out the later
// indices from it, so that walking n entries costs one query, not n.
#include <sqlite3.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>

#include "platform/memory.h"
#include "platform/registry.h"
#include "platform/text.h"

namespace konib::platform {
namespace {

enum Statement {
  kFindChild,
  kAddChild,
  kKeyExists,
  kHasChildren,
  kListChildren,
  kListValues,
  kSetValue,
  kDeleteValues,
  kDeleteKey,
  kBegin,
  kBeginRead,
  kCommit,
  kRollback,
  kStatementCount
};

const char* const kStatementText[kStatementCount] = {
    "SELECT id FROM keys WHERE parent = ?1 AND name = ?2",
    "INSERT INTO keys(parent, name) VALUES(?1, ?2)",
    "SELECT 1 FROM keys WHERE id = ?1",
    "SELECT 1 FROM keys WHERE parent = ?1 LIMIT 1",
    "SELECT name FROM keys WHERE parent = ?1 ORDER BY name",
    "SELECT name, type, data FROM vals WHERE key = ?1 ORDER BY id",
    ("INSERT INTO vals(key, name, type, data) VALUES(?1, ?2, ?3, ?4) "
     "ON CONFLICT(key, name) DO UPDATE SET type = excluded.type, data = excluded.data"),
    "DELETE FROM vals WHERE key = ?1",
    "DELETE FROM keys WHERE id = ?1",
    "BEGIN IMMEDIATE",
    "BEGIN",
    "COMMIT",
    "ROLLBACK",
};

const char kSchema[] =
    "BEGIN IMMEDIATE;"
    "CREATE TABLE IF NOT EXISTS keys(id INTEGER PRIMARY KEY AUTOINCREMENT, parent INTEGER NOT NULL,"
    " name TEXT NOT NULL COLLATE cp932_nocase, UNIQUE(parent, name));"
    "CREATE TABLE IF NOT EXISTS vals(id INTEGER PRIMARY KEY AUTOINCREMENT, key INTEGER NOT NULL,"
    " name TEXT NOT NULL COLLATE cp932_nocase, type INTEGER NOT NULL, data BLOB NOT NULL,"
    " UNIQUE(key, name));"
    "CREATE INDEX IF NOT EXISTS vals_order ON vals(key, id);"
    "COMMIT;";

const char kDatabaseFile[] = "/models.db";
constexpr std::size_t kMaxName = 259;  // a name and its terminator fill 260 bytes

}  // namespace

struct Store {
  sqlite3* db;
  sqlite3_stmt* statements[kStatementCount];
  int references;
  int updateDepth;
  bool inTransaction;  // the outermost update began its transaction
  bool broken;         // a write of the update failed: no later write counts
};

}  // namespace konib::platform

// What an HKEY points at on these systems.
struct NibRegKey {
  konib::platform::Store* store;
  sqlite3_int64 id;  // 0: the root
  // The snapshot of the last enumeration: a series of entries, each a
  // 32-bit name length and the name, and for values a 32-bit type, a 32-bit
  // data length and the data.
  unsigned char* snapshot;
  std::size_t snapshotSize;
  bool snapshotOfValues;
  std::uint32_t count;
  std::uint32_t cursor;  // index of the entry at cursorOffset
  std::size_t cursorOffset;
};

namespace konib::platform {
namespace {

// ASCII letters fold; a lead byte takes its trail byte along unchanged, so
// that a trail byte that happens to be a letter is never folded.
int Cp932NoCase(void*, int aLength, const void* aBytes, int bLength, const void* bBytes) {
  const auto* a = static_cast<const unsigned char*>(aBytes);
  const auto* b = static_cast<const unsigned char*>(bBytes);
  int i = 0, j = 0;
  bool aTrail = false, bTrail = false;
  while (i < aLength && j < bLength) {
    unsigned char ca = a[i], cb = b[j];
    unsigned char fa = aTrail ? ca : static_cast<unsigned char>(ToUpper(static_cast<char>(ca)));
    unsigned char fb = bTrail ? cb : static_cast<unsigned char>(ToUpper(static_cast<char>(cb)));
    if (fa != fb) return fa < fb ? -1 : 1;
    aTrail = !aTrail && IsLeadByte(ca);
    bTrail = !bTrail && IsLeadByte(cb);
    ++i;
    ++j;
  }
  return (aLength - i) - (bLength - j);
}

sqlite3_stmt* Prepared(Store* store, Statement which) {
  sqlite3_stmt* statement = store->statements[which];
  sqlite3_reset(statement);
  sqlite3_clear_bindings(statement);
  return statement;
}

// Runs a statement that gives no rows; true if it ran to its end.
bool Run(sqlite3_stmt* statement) {
  int rc = sqlite3_step(statement);
  sqlite3_reset(statement);
  return rc == SQLITE_DONE;
}

// A write transaction takes the write lock at once (waiting for it up to
// the busy timeout), so that it never has to give up half way for a writer
// that came first.
void Begin(Store* store, bool writing = true) {
  if (store->updateDepth++ > 0) return;
  store->broken = false;
  store->inTransaction = Run(Prepared(store, writing ? kBegin : kBeginRead));
  store->broken = !store->inTransaction;
}

void End(Store* store) {
  if (store->updateDepth == 0 || --store->updateDepth > 0) return;
  if (store->inTransaction && !sqlite3_get_autocommit(store->db)) {
    if (!Run(Prepared(store, kCommit))) Run(Prepared(store, kRollback));
  }
  store->inTransaction = false;
  store->broken = false;
}

// A write inside an update: false if the update can no longer be one
// transaction (its start failed, or the database rolled it back).
bool MayWrite(Store* store) {
  if (store->inTransaction && sqlite3_get_autocommit(store->db)) store->broken = true;
  return !store->broken;
}

// One write of an update; a failure breaks the update.
bool Write(Store* store, sqlite3_stmt* statement) {
  if (!MayWrite(store)) return false;
  if (Run(statement)) return true;
  store->broken = true;
  return false;
}

void Release(Store* store) {
  if (--store->references > 0) return;
  if (store->inTransaction && !sqlite3_get_autocommit(store->db)) Run(Prepared(store, kRollback));
  for (sqlite3_stmt* statement : store->statements) sqlite3_finalize(statement);
  sqlite3_close(store->db);
  FreeBlock(store);
}

HKEY NewKey(Store* store, sqlite3_int64 id) {
  auto* key = static_cast<HKEY>(AllocBlock(sizeof(NibRegKey)));
  if (key == nullptr) return nullptr;
  key->store = store;
  key->id = id;
  ++store->references;
  return key;
}

bool KeyExists(Store* store, sqlite3_int64 id) {
  if (id == 0) return true;
  sqlite3_stmt* statement = Prepared(store, kKeyExists);
  sqlite3_bind_int64(statement, 1, id);
  bool found = sqlite3_step(statement) == SQLITE_ROW;
  sqlite3_reset(statement);
  return found;
}

// The child of `parent` named by [name, name + length); 0 if there is none,
// -1 if the database failed.
sqlite3_int64 FindChild(Store* store, sqlite3_int64 parent, const char* name, std::size_t length) {
  sqlite3_stmt* statement = Prepared(store, kFindChild);
  sqlite3_bind_int64(statement, 1, parent);
  sqlite3_bind_text(statement, 2, name, static_cast<int>(length), SQLITE_STATIC);
  int rc = sqlite3_step(statement);
  sqlite3_int64 id = rc == SQLITE_ROW    ? sqlite3_column_int64(statement, 0)
                     : rc == SQLITE_DONE ? 0
                                         : -1;
  sqlite3_reset(statement);
  return id;
}

// The next name of a key path: the bytes up to a '\' that is not the trail
// byte of a CP932 character.
std::size_t ComponentLength(const char* path) {
  const char* p = path;
  while (*p != '\0' && *p != '\\') {
    p += IsLeadByte(static_cast<unsigned char>(*p)) && p[1] != '\0' ? 2 : 1;
  }
  return static_cast<std::size_t>(p - path);
}

// A key path of names of 1 to 259 bytes each, divided by single '\'.
bool ValidPath(const char* subkey) {
  for (const char* p = subkey; *p != '\0';) {
    const std::size_t length = ComponentLength(p);
    if (length == 0 || length > kMaxName) return false;
    p += length;
    if (*p == '\\' && *++p == '\0') return false;  // a path may not end in '\'
  }
  return true;
}

// Walks `subkey` below `parent`, creating what is missing when `create`
// is set; the id of the key it names comes back in `*id`. A path that is
// not valid is refused before anything is made.
long Walk(Store* store, sqlite3_int64 parent, const char* subkey, bool create, sqlite3_int64* id) {
  if (subkey != nullptr && !ValidPath(subkey)) return kBadArgument;
  if (!KeyExists(store, parent)) return kNotFound;
  *id = parent;
  if (subkey == nullptr) return kStoreOk;
  for (const char* p = subkey; *p != '\0';) {
    const std::size_t length = ComponentLength(p);
    sqlite3_int64 child = FindChild(store, *id, p, length);
    if (child < 0) return kStoreFailed;
    if (child == 0) {
      if (!create) return kNotFound;
      sqlite3_stmt* statement = Prepared(store, kAddChild);
      sqlite3_bind_int64(statement, 1, *id);
      sqlite3_bind_text(statement, 2, p, static_cast<int>(length), SQLITE_STATIC);
      if (!Write(store, statement)) return kStoreFailed;
      child = sqlite3_last_insert_rowid(store->db);
    }
    *id = child;
    p += length;
    if (*p == '\\') ++p;
  }
  return kStoreOk;
}

void DropSnapshot(HKEY key) {
  FreeBlock(key->snapshot);
  key->snapshot = nullptr;
  key->snapshotSize = 0;
  key->count = 0;
  key->cursor = 0;
  key->cursorOffset = 0;
}

// Appends bytes to the snapshot, growing it by doubling.
class SnapshotWriter {
 public:
  explicit SnapshotWriter(HKEY key) : key_(key) {}
  bool Put(const void* bytes, std::size_t length) {
    if (used_ + length > capacity_) {
      std::size_t grown = capacity_ == 0 ? 1024 : capacity_;
      while (grown < used_ + length) grown *= 2;
      void* block = ResizeBlock(key_->snapshot, grown);
      if (block == nullptr) return false;
      key_->snapshot = static_cast<unsigned char*>(block);
      capacity_ = grown;
    }
    if (length > 0) std::memcpy(key_->snapshot + used_, bytes, length);
    used_ += length;
    key_->snapshotSize = used_;
    return true;
  }
  bool Put32(std::uint32_t value) { return Put(&value, sizeof value); }

 private:
  HKEY key_;
  std::size_t used_ = 0;
  std::size_t capacity_ = 0;
};

// Takes the snapshot of the key's subkeys or values.
long TakeSnapshot(HKEY key, bool values) {
  DropSnapshot(key);
  key->snapshotOfValues = values;
  if (!KeyExists(key->store, key->id)) return kNotFound;
  sqlite3_stmt* statement = Prepared(key->store, values ? kListValues : kListChildren);
  sqlite3_bind_int64(statement, 1, key->id);
  SnapshotWriter writer(key);
  int rc = SQLITE_DONE;
  bool ok = true;
  while (ok && (rc = sqlite3_step(statement)) == SQLITE_ROW) {
    auto nameLength = static_cast<std::uint32_t>(sqlite3_column_bytes(statement, 0));
    ok = writer.Put32(nameLength) && writer.Put(sqlite3_column_text(statement, 0), nameLength);
    if (ok && values) {
      auto dataLength = static_cast<std::uint32_t>(sqlite3_column_bytes(statement, 2));
      ok = writer.Put32(static_cast<std::uint32_t>(sqlite3_column_int64(statement, 1))) &&
           writer.Put32(dataLength) && writer.Put(sqlite3_column_blob(statement, 2), dataLength);
    }
    if (ok) ++key->count;
  }
  sqlite3_reset(statement);
  if (!ok || rc != SQLITE_DONE) {
    DropSnapshot(key);
    return ok ? kStoreFailed : kOutOfMemory;
  }
  return kStoreOk;
}

std::uint32_t Read32(const unsigned char* at) {
  std::uint32_t value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

// Size of the snapshot entry at `at`.
std::size_t EntrySize(const unsigned char* at, bool values) {
  std::size_t size = 4 + Read32(at);
  if (values) size += 8 + Read32(at + size + 4);
  return size;
}

// The snapshot entry of `index`, taking a new snapshot at index 0; null at
// the end, with the reason in `*rc`.
const unsigned char* Entry(HKEY key, std::uint32_t index, bool values, long* rc) {
  if (index == 0 || key->snapshot == nullptr || key->snapshotOfValues != values) {
    if ((*rc = TakeSnapshot(key, values)) != kStoreOk) return nullptr;
  }
  *rc = kNoMoreItems;
  if (index >= key->count) return nullptr;
  if (index < key->cursor) {
    key->cursor = 0;
    key->cursorOffset = 0;
  }
  while (key->cursor < index) {
    key->cursorOffset += EntrySize(key->snapshot + key->cursorOffset, values);
    ++key->cursor;
  }
  *rc = kStoreOk;
  return key->snapshot + key->cursorOffset;
}

bool MakeDirectories(const char* directory, char* path) {
  std::strcpy(path, directory);
  for (char* p = path + 1; *p != '\0'; ++p) {
    if (*p != '/') continue;
    *p = '\0';
    if (::mkdir(path, 0777) != 0 && errno != EEXIST) return false;
    *p = '/';
  }
  if (::mkdir(path, 0777) != 0 && errno != EEXIST) return false;
  struct stat info;
  return ::stat(path, &info) == 0 && S_ISDIR(info.st_mode);
}

// Whether the tables stand already; then opening writes nothing.
bool HasSchema(sqlite3* db) {
  sqlite3_stmt* statement;
  if (sqlite3_prepare_v2(
          db, "SELECT count(*) FROM sqlite_master WHERE name IN ('keys', 'vals', 'vals_order')", -1,
          &statement, nullptr) != SQLITE_OK) {
    return false;
  }
  const bool whole = sqlite3_step(statement) == SQLITE_ROW && sqlite3_column_int(statement, 0) == 3;
  sqlite3_finalize(statement);
  return whole;
}

bool OpenDatabase(Store* store, const char* file) {
  const int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX;
  if (sqlite3_open_v2(file, &store->db, flags, nullptr) != SQLITE_OK) return false;
  sqlite3_busy_timeout(store->db, kBusyTimeoutMs);
  if (sqlite3_create_collation(store->db, "cp932_nocase", SQLITE_UTF8, nullptr, Cp932NoCase) !=
      SQLITE_OK) {
    return false;
  }
  // WAL where the file system allows it; else the rollback journal, which
  // is as safe against a crash and only lets readers wait for writers.
  // The log is folded into the database by the writers as it grows, not by
  // each process that closes its root: opening and closing stay cheap.
  sqlite3_db_config(store->db, SQLITE_DBCONFIG_NO_CKPT_ON_CLOSE, 1, nullptr);
  // Several processes may open a new store at once. Turning the log on and
  // laying the tables take locks that SQLite does not wait for while the
  // connection reads (waiting could deadlock), so those steps are tried
  // again, up to the busy timeout.
  for (int waited = 0;; waited += kSetupRetryMs) {
    int rc = sqlite3_exec(store->db, "PRAGMA journal_mode=WAL; PRAGMA synchronous=NORMAL;", nullptr,
                          nullptr, nullptr);
    if (rc == SQLITE_OK && !HasSchema(store->db)) {
      rc = sqlite3_exec(store->db, kSchema, nullptr, nullptr, nullptr);
    }
    if (rc == SQLITE_OK) break;
    if (!sqlite3_get_autocommit(store->db)) {
      sqlite3_exec(store->db, "ROLLBACK", nullptr, nullptr, nullptr);
    }
    if (((rc & 0xFF) != SQLITE_BUSY && (rc & 0xFF) != SQLITE_LOCKED) || waited >= kBusyTimeoutMs) {
      return false;
    }
    sqlite3_sleep(kSetupRetryMs);
  }
  for (int i = 0; i < kStatementCount; ++i) {
    if (sqlite3_prepare_v3(store->db, kStatementText[i], -1, SQLITE_PREPARE_PERSISTENT,
                           &store->statements[i], nullptr) != SQLITE_OK) {
      return false;
    }
  }
  return true;
}

}  // namespace

long OpenKey(HKEY parent, const char* subkey, HKEY* key) {
  if (key == nullptr) return kBadArgument;
  *key = nullptr;
  if (parent == nullptr) return kBadArgument;
  sqlite3_int64 id;
  long rc = Walk(parent->store, parent->id, subkey, false, &id);
  if (rc != kStoreOk) return rc;
  *key = NewKey(parent->store, id);
  return *key != nullptr ? kStoreOk : kOutOfMemory;
}

long CreateKey(HKEY parent, const char* subkey, HKEY* key) {
  if (key == nullptr) return kBadArgument;
  *key = nullptr;
  if (parent == nullptr) return kBadArgument;
  Store* store = parent->store;
  Begin(store);
  sqlite3_int64 id;
  long rc = Walk(store, parent->id, subkey, true, &id);
  End(store);
  if (rc != kStoreOk) return rc;
  *key = NewKey(store, id);
  return *key != nullptr ? kStoreOk : kOutOfMemory;
}

void CloseKey(HKEY key) {
  if (key == nullptr) return;
  DropSnapshot(key);
  Store* store = key->store;
  FreeBlock(key);
  Release(store);
}

long EnumKey(HKEY key, std::uint32_t index, char* name, std::uint32_t capacity) {
  if (key == nullptr || name == nullptr) return kBadArgument;
  long rc;
  const unsigned char* entry = Entry(key, index, false, &rc);
  if (entry == nullptr) return rc;
  std::uint32_t length = Read32(entry);
  if (length >= capacity) return kMoreData;
  std::memcpy(name, entry + 4, length);
  name[length] = '\0';
  return kStoreOk;
}

long EnumValue(HKEY key, std::uint32_t index, char* name, std::uint32_t* nameSize,
               std::uint32_t* type, unsigned char* data, std::uint32_t* dataSize) {
  if (key == nullptr || name == nullptr || nameSize == nullptr) return kBadArgument;
  long rc;
  const unsigned char* entry = Entry(key, index, true, &rc);
  if (entry == nullptr) return rc;
  std::uint32_t length = Read32(entry);
  if (length >= *nameSize) return kMoreData;
  std::memcpy(name, entry + 4, length);
  name[length] = '\0';
  *nameSize = length;
  const unsigned char* at = entry + 4 + length;
  if (type != nullptr) *type = Read32(at);
  std::uint32_t bytes = Read32(at + 4);
  if (dataSize == nullptr) return data == nullptr ? kStoreOk : kBadArgument;
  std::uint32_t room = *dataSize;
  *dataSize = bytes;
  if (data == nullptr) return kStoreOk;
  if (bytes > room) return kMoreData;
  if (bytes > 0) std::memcpy(data, at + 8, bytes);
  return kStoreOk;
}

long SetValue(HKEY key, const char* name, std::uint32_t type, const void* data,
              std::uint32_t size) {
  if (key == nullptr || (data == nullptr && size > 0) || size > 0x7FFFFFFF) return kBadArgument;
  if (name == nullptr) name = "";  // the key's unnamed value
  Store* store = key->store;
  Begin(store);
  long rc = kNotFound;
  if (key->id != 0 && KeyExists(store, key->id)) {
    sqlite3_stmt* statement = Prepared(store, kSetValue);
    sqlite3_bind_int64(statement, 1, key->id);
    sqlite3_bind_text(statement, 2, name, -1, SQLITE_STATIC);
    sqlite3_bind_int64(statement, 3, type);
    if (size > 0) {
      sqlite3_bind_blob(statement, 4, data, static_cast<int>(size), SQLITE_STATIC);
    } else {
      sqlite3_bind_zeroblob(statement, 4, 0);
    }
    rc = Write(store, statement) ? kStoreOk : kStoreFailed;
  }
  End(store);
  return rc;
}

long DeleteKey(HKEY parent, const char* subkey) {
  if (parent == nullptr || subkey == nullptr || *subkey == '\0') return kBadArgument;
  Store* store = parent->store;
  Begin(store);
  sqlite3_int64 id;
  long rc = Walk(store, parent->id, subkey, false, &id);
  if (rc == kStoreOk) {
    sqlite3_stmt* children = Prepared(store, kHasChildren);
    sqlite3_bind_int64(children, 1, id);
    int step = sqlite3_step(children);
    sqlite3_reset(children);
    if (step == SQLITE_ROW) {
      rc = kAccessDenied;
    } else if (step != SQLITE_DONE) {
      rc = kStoreFailed;
    } else {
      sqlite3_stmt* values = Prepared(store, kDeleteValues);
      sqlite3_bind_int64(values, 1, id);
      sqlite3_stmt* row = Prepared(store, kDeleteKey);
      sqlite3_bind_int64(row, 1, id);
      rc = Write(store, values) && Write(store, row) ? kStoreOk : kStoreFailed;
    }
  }
  End(store);
  return rc;
}

void BeginStoreTransaction(HKEY root, bool writing) {
  if (root != nullptr) Begin(root->store, writing);
}

void EndStoreTransaction(HKEY root) {
  if (root != nullptr) End(root->store);
}

}  // namespace konib::platform

using namespace konib::platform;

extern "C" KONIB_API HKEY NibOpenRegistryDirectory(const char* directory) {
  if (directory == nullptr || *directory == '\0') return nullptr;
  const std::size_t length = std::strlen(directory);
  auto* path = static_cast<char*>(AllocBlock(length + sizeof kDatabaseFile));
  auto* store = static_cast<Store*>(AllocBlock(sizeof(Store)));
  HKEY root = nullptr;
  if (path != nullptr && store != nullptr && MakeDirectories(directory, path)) {
    std::strcpy(path + length, kDatabaseFile);
    if (OpenDatabase(store, path)) root = NewKey(store, 0);
  }
  FreeBlock(path);
  if (root == nullptr && store != nullptr) {
    ++store->references;
    Release(store);  // finalizes what was prepared and closes the database
  }
  return root;
}

extern "C" KONIB_API void NibCloseRegistryDirectory(HKEY root) { CloseKey(root); }
