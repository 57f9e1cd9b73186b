#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "model/model.h"

namespace konib::tool {

bool EqualNoCase(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::tolower(static_cast<unsigned char>(x)) ==
                  std::tolower(static_cast<unsigned char>(y));
         });
}

const ModelValue* ModelSection::Find(const std::string& wanted) const {
  const ModelValue* found = nullptr;
  for (const ModelValue& v : values)
    if (EqualNoCase(v.name, wanted)) found = &v;
  return found;
}

const ModelSection* ModelFile::Find(const std::string& wanted) const {
  for (const ModelSection& s : sections)
    if (EqualNoCase(s.name, wanted)) return &s;
  return nullptr;
}

std::vector<const ModelSection*> ModelFile::Machines() const {
  std::vector<const ModelSection*> machines;
  for (const ModelSection& s : sections) {
    bool commandSet = std::any_of(sections.begin(), sections.end(), [&](const ModelSection& other) {
      const ModelValue* command = other.Find("Command");
      return command != nullptr && EqualNoCase(command->value, s.name);
    });
    if (!commandSet) machines.push_back(&s);
  }
  return machines;
}

// The rules of the library's reader, with one kindness: a line that ends in
// LF alone is still split here, and counted, so that check can say so.
ModelFile ParseModelFile(const std::string& path, const std::string& text) {
  ModelFile file;
  file.path = path;
  file.text = text;
  std::size_t end = text.find('\x1a');
  if (end == std::string::npos) end = text.size();
  std::size_t at = 0, line = 0;
  while (at < end) {
    ++line;
    std::size_t stop = text.find('\n', at);
    if (stop == std::string::npos || stop > end) stop = end;
    std::size_t next = stop < end ? stop + 1 : end;
    if (stop < end && (stop == at || text[stop - 1] != '\r')) {
      if (file.bareLineEnds++ == 0) file.firstBareLine = line;
    }
    if (stop > at && text[stop - 1] == '\r' && stop < end) --stop;
    std::string content = text.substr(at, stop - at);
    at = next;
    std::size_t equals = content.find('=');
    if (equals == std::string::npos) {
      std::size_t close = content.find(']');
      if (!content.empty() && content[0] == '[' && close != std::string::npos)
        file.sections.push_back({content.substr(1, close - 1), line, {}});
      continue;
    }
    if (!file.sections.empty())
      file.sections.back().values.push_back(
          {content.substr(0, equals), content.substr(equals + 1), line});
  }
  return file;
}

bool ReadWholeFile(const std::string& path, std::string* text, std::size_t limit,
                   std::string* message) {
  std::error_code error;
  auto size = std::filesystem::file_size(path, error);
  if (error) {
    *message = path + ": cannot read: " + error.message();
    return false;
  }
  if (size > limit) {
    *message = path + ": larger than " + std::to_string(limit) + " bytes";
    return false;
  }
  std::ifstream in(path, std::ios::binary);
  if (!in) {
    *message = path + ": cannot open";
    return false;
  }
  text->assign(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  return true;
}

const char* ModelList::Value(const char* name) const {
  const char* found = nullptr;
  for (const _NibREG_DATA* r = list; r != nullptr; r = r->next)
    if (EqualNoCase(r->name, name)) found = reinterpret_cast<const char*>(r->data);
  return found;
}

namespace {

bool LoadFrom(const std::string& path, const std::string& section, ModelFile* file,
              std::string* sectionName, ModelList* list, std::string* message) {
  std::string text;
  if (!ReadWholeFile(path, &text, 4u << 20, message)) return false;
  *file = ParseModelFile(path, text);
  if (!section.empty()) {
    *sectionName = section;
  } else {
    auto machines = file->Machines();
    if (machines.empty()) {
      *message = path + ": holds no model section";
      return false;
    }
    *sectionName = machines.front()->name;
  }
  list->list = NibGetRegistry2(text.data(), static_cast<unsigned long>(text.size()), nullptr, 0,
                               sectionName->c_str());
  if (list->list == nullptr) {
    *message = path + ": no model [" + *sectionName + "] with values and a command set there";
    return false;
  }
  return true;
}

}  // namespace

bool LoadModel(const std::string& model, const std::string& section, const std::string& folder,
               ModelFile* file, std::string* sectionName, ModelList* list, std::string* message) {
  namespace fs = std::filesystem;
  std::error_code error;
  if (fs::is_regular_file(model, error))
    return LoadFrom(model, section, file, sectionName, list, message);
  fs::path named = fs::path(folder) / (model + ".ini");
  if (fs::is_regular_file(named, error))
    return LoadFrom(named.string(), section, file, sectionName, list, message);
  // A model section's name, in any bundled file.
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(folder, error))
    if (entry.path().extension() == ".ini") files.push_back(entry.path());
  std::sort(files.begin(), files.end());
  for (const fs::path& path : files) {
    std::string text, ignored;
    if (!ReadWholeFile(path.string(), &text, 4u << 20, &ignored)) continue;
    ModelFile candidate = ParseModelFile(path.string(), text);
    for (const ModelSection* machine : candidate.Machines())
      if (EqualNoCase(machine->name, model))
        return LoadFrom(path.string(), machine->name, file, sectionName, list, message);
  }
  *message = "no model \"" + model + "\": not a file, nor " + named.string() + ", nor a model in " +
             folder;
  return false;
}

std::string StoreFolder(const std::string& given) {
  if (!given.empty()) return given;
  const char* data = std::getenv("XDG_DATA_HOME");
  if (data != nullptr && *data != '\0') return std::string(data) + "/konib";
  const char* home = std::getenv("HOME");
  return std::string(home != nullptr ? home : ".") + "/.local/share/konib";
}

}  // namespace konib::tool
