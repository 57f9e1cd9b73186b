// Model files as konib reads them: sections of `name=value` lines, with the
// line each stands on, so that messages can point at it. The library reads
// the same text through NibGetRegistry2; this reader exists for finding the
// model's section and for the checks of `konib check`.
#pragma once

#include <KoNib.h>

#include <cstddef>
#include <string>
#include <vector>

namespace konib::tool {

struct ModelValue {
  std::string name;
  std::string value;
  std::size_t line;
};

struct ModelSection {
  std::string name;
  std::size_t line;
  std::vector<ModelValue> values;
  const ModelValue* Find(const std::string& name) const;  // the last of that name
};

struct ModelFile {
  std::string path;
  std::string text;
  std::vector<ModelSection> sections;
  std::size_t bareLineEnds = 0;  // lines that end in LF without CR
  std::size_t firstBareLine = 0;

  const ModelSection* Find(const std::string& name) const;  // the first of that name
  // Sections that are models: those that no section names as its command set.
  std::vector<const ModelSection*> Machines() const;
};

// Splits `text` into sections; text is kept as read.
ModelFile ParseModelFile(const std::string& path, const std::string& text);

bool ReadWholeFile(const std::string& path, std::string* text, std::size_t limit,
                   std::string* message);

bool EqualNoCase(const std::string& a, const std::string& b);

// A model list from the library, freed with it.
struct ModelList {
  _NibREG_DATA* list = nullptr;
  ModelList() = default;
  ModelList(const ModelList&) = delete;
  ModelList& operator=(const ModelList&) = delete;
  ~ModelList() { NibFreeRegistry2(list); }
  // The text of the last record of that name, or null.
  const char* Value(const char* name) const;
};

// Finds the model: `model` is a file, or the name of a file NAME.ini in
// `folder`, or the name of a model section in one of the files there.
// `section` may name the section; empty takes the file's first model.
bool LoadModel(const std::string& model, const std::string& section, const std::string& folder,
               ModelFile* file, std::string* sectionName, ModelList* list, std::string* message);

// The key path below the store's root where konib keeps its models.
constexpr const char* kStorePath = "KoNib";

// The store folder: `given`, else $XDG_DATA_HOME/konib, else ~/.local/share/konib.
std::string StoreFolder(const std::string& given);

// A store root, closed with the object.
struct Store {
  HKEY root = nullptr;
  explicit Store(const std::string& folder) : root(NibOpenRegistryDirectory(folder.c_str())) {}
  Store(const Store&) = delete;
  Store& operator=(const Store&) = delete;
  ~Store() { NibCloseRegistryDirectory(root); }
};

}  // namespace konib::tool
