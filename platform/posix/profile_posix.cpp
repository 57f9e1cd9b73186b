// The library's own reader of initialisation files; the rules stand in
// platform/profile.h. The file is read whole into one block when it is
// opened, so that a section of many values costs one read of the disk.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "platform/memory.h"
#include "platform/profile.h"
#include "platform/text.h"

namespace konib::platform {

namespace {

constexpr std::size_t kMaxFileBytes = std::size_t{4} << 20;
// A list of a model's values holds fewer than 65,536 records: lines beyond
// that many in one section are not read.
constexpr std::uint32_t kMaxSectionValues = 65535;
constexpr std::size_t kSectionNameSize = 260;
constexpr char kEndOfFile = 0x1A;

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

// Reads up to kMaxFileBytes of a regular file. Opening does not wait, so a
// named pipe given as a file name ends at once.
bool ReadWholeFile(const char* file, char** text, std::size_t* size) {
  int fd = ::open(file, O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) return false;
  struct stat info;
  bool ok = ::fstat(fd, &info) == 0 && S_ISREG(info.st_mode);
  std::size_t want = ok ? static_cast<std::size_t>(info.st_size) : 0;
  if (want > kMaxFileBytes) want = kMaxFileBytes;
  *text = ok ? static_cast<char*>(AllocBlock(want + 1)) : nullptr;
  std::size_t got = 0;
  while (*text != nullptr && got < want) {
    ssize_t n = ::read(fd, *text + got, want - got);
    if (n <= 0) break;  // a file that shrank ends where it ends now
    got += static_cast<std::size_t>(n);
  }
  ::close(fd);
  if (*text == nullptr) return false;
  const void* stop = std::memchr(*text, kEndOfFile, got);
  *size = stop != nullptr ? static_cast<std::size_t>(static_cast<const char*>(stop) - *text) : got;
  return true;
}

// One line of the file, without its line end.
struct Line {
  const char* begin;
  const char* end;
};

class LineReader {
 public:
  LineReader(const char* text, std::size_t size) : p_(text), end_(text + size) {}
  bool Next(Line* line) {
    if (p_ >= end_) return false;
    line->begin = p_;
    while (p_ < end_ && *p_ != '\n' && *p_ != '\r') ++p_;
    line->end = p_;
    // One line end: CR LF, CR or LF.
    if (p_ < end_ && *p_ == '\r') ++p_;
    if (p_ < end_ && *p_ == '\n' && (p_ == line->end || p_[-1] == '\r')) ++p_;
    return true;
  }

 private:
  const char* p_;
  const char* end_;
};

void Trim(const char** begin, const char** end) {
  while (*begin < *end && IsBlank(**begin)) ++*begin;
  while (*end > *begin && IsBlank((*end)[-1])) --*end;
}

// The name of a section head, or false if the line is none.
bool SectionHead(Line line, const char** name, const char** nameEnd) {
  Trim(&line.begin, &line.end);
  if (line.begin == line.end || *line.begin != '[') return false;
  const char* p = line.begin + 1;
  while (p < line.end && *p != ']') {
    p += IsLeadByte(static_cast<unsigned char>(*p)) && p + 1 < line.end ? 2 : 1;
  }
  *name = line.begin + 1;
  *nameEnd = p;
  return true;
}

bool SameName(const char* a, const char* aEnd, const char* b) {
  std::size_t length = static_cast<std::size_t>(aEnd - a);
  return std::strlen(b) == length && CompareNoCaseN(a, b, length) == 0;
}

bool SameName(const char* a, const char* aEnd, const char* b, const char* bEnd) {
  return aEnd - a == bEnd - b && CompareNoCaseN(a, b, static_cast<std::size_t>(aEnd - a)) == 0;
}

// A value line: its trimmed name and value.
bool ValueLine(Line line, Line* name, Line* value) {
  Trim(&line.begin, &line.end);
  if (line.begin == line.end || *line.begin == ';') return false;
  const char* equals = static_cast<const char*>(
      std::memchr(line.begin, '=', static_cast<std::size_t>(line.end - line.begin)));
  if (equals == nullptr) return false;
  *name = {line.begin, equals};
  *value = {equals + 1, line.end};
  Trim(&name->begin, &name->end);
  Trim(&value->begin, &value->end);
  const std::size_t length = static_cast<std::size_t>(value->end - value->begin);
  if (length >= 2 && (*value->begin == '"' || *value->begin == '\'') &&
      value->end[-1] == *value->begin) {
    ++value->begin;
    --value->end;
  }
  return true;
}

// Walks the value lines of the first section named `section`.
class SectionReader {
 public:
  SectionReader(const char* text, std::size_t size, const char* section) : lines_(text, size) {
    Line line;
    const char *name, *nameEnd;
    while (lines_.Next(&line)) {
      if (SectionHead(line, &name, &nameEnd) && SameName(name, nameEnd, section)) {
        found_ = true;
        return;
      }
    }
  }
  bool Next(Line* name, Line* value) {
    Line line;
    const char *head, *headEnd;
    while (found_ && lines_.Next(&line)) {
      if (SectionHead(line, &head, &headEnd)) break;
      if (ValueLine(line, name, value)) return true;
    }
    found_ = false;
    return false;
  }

 private:
  LineReader lines_;
  bool found_ = false;
};

// The value lines of one section, indexed: in file order for the list of
// names, and sorted by name (ties in file order) for the look-up of a value,
// so that a section of many values is not read once per value.
struct Entry {
  Line name;
  Line value;
  bool repeated;  // a line before it has the same name
};

int NameOrder(const Line& a, const Line& b) {
  std::size_t la = static_cast<std::size_t>(a.end - a.begin);
  std::size_t lb = static_cast<std::size_t>(b.end - b.begin);
  int order = CompareNoCaseN(a.begin, b.begin, la < lb ? la : lb);
  if (order != 0) return order;
  return la < lb ? -1 : la > lb ? 1 : 0;
}

}  // namespace

struct SectionIndex {
  char section[kSectionNameSize];
  Entry* entries;         // file order
  std::uint32_t* byName;  // indices into entries, sorted by name
  std::uint32_t count;
};

struct Profile {
  char* text;
  std::size_t size;
  SectionIndex index;  // of the section read last
};

namespace {

void DropIndex(SectionIndex* index) {
  FreeBlock(index->entries);
  FreeBlock(index->byName);
  index->entries = nullptr;
  index->byName = nullptr;
  index->count = 0;
  index->section[0] = '\0';
}

// Indexes the first section named `section`; false if memory ran out.
bool BuildIndex(const char* text, std::size_t size, const char* section, SectionIndex* index) {
  DropIndex(index);
  std::uint32_t count = 0;
  Line name, value;
  for (SectionReader reader(text, size, section);
       count < kMaxSectionValues && reader.Next(&name, &value);)
    ++count;
  if (count > 0) {
    index->entries = static_cast<Entry*>(AllocBlock(count * sizeof(Entry)));
    index->byName = static_cast<std::uint32_t*>(AllocBlock(count * sizeof(std::uint32_t)));
    if (index->entries == nullptr || index->byName == nullptr) {
      DropIndex(index);
      return false;
    }
  }
  SectionReader reader(text, size, section);
  for (std::uint32_t i = 0; i < count && reader.Next(&name, &value); ++i) {
    index->entries[i] = {name, value, false};
    index->byName[i] = i;
  }
  index->count = count;
  const Entry* entries = index->entries;
  std::sort(index->byName, index->byName + count, [entries](std::uint32_t a, std::uint32_t b) {
    int order = NameOrder(entries[a].name, entries[b].name);
    return order != 0 ? order < 0 : a < b;
  });
  for (std::uint32_t i = 1; i < count; ++i) {
    const Line& a = entries[index->byName[i - 1]].name;
    const Line& b = entries[index->byName[i]].name;
    if (SameName(a.begin, a.end, b.begin, b.end)) index->entries[index->byName[i]].repeated = true;
  }
  std::size_t length = std::strlen(section);
  if (length >= sizeof index->section)
    length = sizeof index->section - 1;  // cut names are never cached
  std::memcpy(index->section, section, length);
  index->section[length] = '\0';
  return true;
}

std::uint32_t ListNames(const SectionIndex& index, char* buffer, std::uint32_t size) {
  std::uint32_t used = 0;
  for (std::uint32_t i = 0; i < index.count; ++i) {
    const Entry& entry = index.entries[i];
    const std::size_t length = static_cast<std::size_t>(entry.name.end - entry.name.begin);
    if (entry.repeated || used + length + 2 > size)
      continue;  // a name that does not fit whole is left out
    std::memcpy(buffer + used, entry.name.begin, length);
    used += static_cast<std::uint32_t>(length);
    buffer[used++] = '\0';
  }
  buffer[used] = '\0';
  return used;
}

std::uint32_t ReadValue(const SectionIndex& index, const char* key, char* buffer,
                        std::uint32_t size) {
  // The first of the lines with that name: ties stand in file order.
  const Line probe{key, key + std::strlen(key)};
  const std::uint32_t* begin = index.byName;
  const std::uint32_t* end = begin + index.count;
  const std::uint32_t* at =
      index.count == 0
          ? end
          : std::lower_bound(begin, end, probe, [&index](std::uint32_t a, const Line& b) {
              return NameOrder(index.entries[a].name, b) < 0;
            });
  std::size_t length = 0;
  if (at != end && SameName(index.entries[*at].name.begin, index.entries[*at].name.end, key)) {
    const Line& value = index.entries[*at].value;
    length = static_cast<std::size_t>(value.end - value.begin);
    if (length > size - 1) length = size - 1;
    std::memcpy(buffer, value.begin, length);
  }
  buffer[length] = '\0';
  return static_cast<std::uint32_t>(length);
}

}  // namespace

Profile* OpenProfile(const char* file) {
  if (file == nullptr || *file == '\0') return nullptr;
  auto* profile = static_cast<Profile*>(AllocBlock(sizeof(Profile)));
  if (profile == nullptr) return nullptr;
  if (!ReadWholeFile(file, &profile->text, &profile->size)) {
    FreeBlock(profile);
    return nullptr;
  }
  return profile;
}

void CloseProfile(Profile* profile) {
  if (profile == nullptr) return;
  DropIndex(&profile->index);
  FreeBlock(profile->text);
  FreeBlock(profile);
}

std::uint32_t ReadProfileString(Profile* profile, const char* section, const char* name,
                                char* buffer, std::uint32_t size) {
  if (buffer == nullptr || size < 2) return 0;
  buffer[0] = buffer[1] = '\0';
  if (profile == nullptr || section == nullptr) return 0;
  SectionIndex* index = &profile->index;
  if (std::strlen(section) >= sizeof index->section || index->entries == nullptr ||
      std::strcmp(index->section, section) != 0) {
    if (!BuildIndex(profile->text, profile->size, section, index)) return 0;
  }
  return name == nullptr ? ListNames(*index, buffer, size) : ReadValue(*index, name, buffer, size);
}

}  // namespace konib::platform
