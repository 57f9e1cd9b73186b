// Installs arbitrary bytes as an initialisation file: the first two
// section heads it has become a model and its command set, which are then
// loaded back, listed and deleted. Whatever the file, each step must end,
// stay inside its buffers and leak nothing, and what loads must be a
// well-formed list of text values.
#include <KoNib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

namespace {

// One store for the whole run, in a folder that goes at exit.
struct Scratch {
  std::filesystem::path folder =
      std::filesystem::temp_directory_path() / ("konib-setup-fuzz-" + std::to_string(::getpid()));
  std::string file = (folder / "fuzzed.ini").string();
  HKEY root = NibOpenRegistryDirectory((folder / "root").string().c_str());
  ~Scratch() {
    NibCloseRegistryDirectory(root);
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
  }
};

// The names of the first `count` lines that begin with '[' (up to ']').
int SectionNames(const char* text, std::size_t size, std::string* names, int count) {
  int found = 0;
  for (std::size_t i = 0; i < size && found < count; ++i) {
    if (text[i] != '[' || (i > 0 && text[i - 1] != '\n')) continue;
    std::size_t end = i + 1;
    while (end < size && text[end] != ']' && text[end] != '\n' && text[end] != '\0') ++end;
    names[found++].assign(text + i + 1, end - i - 1);
  }
  return found;
}

void CheckList(const _NibREG_DATA* list) {
  for (; list != nullptr; list = list->next) {
    const std::uint32_t length = list->length;
    const std::uint32_t type = list->type;
    if (std::memchr(list->name, '\0', sizeof list->name) == nullptr || type != 1 || length == 0 ||
        list->data[length - 1] != '\0') {
      std::abort();
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static Scratch scratch;
  if (scratch.root == nullptr) return 0;
  std::FILE* out = std::fopen(scratch.file.c_str(), "wb");
  if (out == nullptr) return 0;
  std::fwrite(data, 1, size, out);
  std::fclose(out);
  std::string sections[2];
  SectionNames(reinterpret_cast<const char*>(data), size, sections, 2);
  const char* file = scratch.file.c_str();
  NibSetupRegistry(scratch.root, "Models", "Fuzzed", sections[0].c_str(), file, sections[1].c_str(),
                   sections[1].c_str(), file);
  _NibREG_DATA* list = NibGetRegistry(scratch.root, "Models", "Fuzzed");
  CheckList(list);
  NibFreeRegistry(list);
  NibFreeRegModelNames(NibGetRegModelNames(scratch.root, "Models"));
  NibDeleteRegistry(scratch.root, "Models", "Fuzzed");
  return 0;
}
