// The two manager classes: thin wrappers of the model operations that keep
// what they hand out, so that a caller frees nothing.
//
// A copy owns its own blocks: copying a manager copies its list and none of
// its results, and copying a catalogue copies root and path. Two objects
// therefore never free one block twice, whatever the caller does with them.
#include <cstring>
#include <utility>

#include "KoNib.h"
#include "model/catalogue.h"
#include "model/reg_data.h"

using namespace konib;

namespace {

constexpr int kExtensionSlots = 5;

// A list of one's own: the same records in a block of their own.
const _NibREG_DATA* CopyList(const _NibREG_DATA* list) {
  return list != nullptr ? MergeLists(list, nullptr) : nullptr;
}

}  // namespace

NibRegManager::NibRegManager(HKEY root, const char* path, const char* model)
    : list_(NibGetRegistry(root, path, model)),
      papers_(nullptr),
      bins_(nullptr),
      guide_(nullptr),
      steps_(nullptr),
      extensions_{} {}

NibRegManager::~NibRegManager() {
  NibFreePaperInfo(papers_);
  NibFreeBinInfo(bins_);
  NibFreeStepSizeInfo(steps_);
  NibFreeGuideText(guide_);
  for (const _NibEXTENSION_INFO* extension : extensions_) NibFreeExtensionInfo(extension);
  NibFreeRegistry(list_);
}

NibRegManager::NibRegManager(const NibRegManager& other)
    : list_(CopyList(other.list_)),
      papers_(nullptr),
      bins_(nullptr),
      guide_(nullptr),
      steps_(nullptr),
      extensions_{} {}

NibRegManager& NibRegManager::operator=(const NibRegManager& other) {
  if (this == &other) return *this;
  // The fresh copy takes this object's blocks and frees them as it ends.
  NibRegManager fresh(other);
  std::swap(list_, fresh.list_);
  std::swap(papers_, fresh.papers_);
  std::swap(bins_, fresh.bins_);
  std::swap(guide_, fresh.guide_);
  std::swap(steps_, fresh.steps_);
  std::swap(extensions_, fresh.extensions_);
  return *this;
}

int NibRegManager::GetPaperInfo(const _NibPAPER_INFO*& papers, int& count) {
  const _NibPAPER_INFO* fresh = nullptr;
  count = NibGetPaperInfo(list_, &fresh);
  NibFreePaperInfo(papers_);
  papers = papers_ = fresh;
  return fresh != nullptr ? 1 : 0;
}

int NibRegManager::GetBinInfo(const _NibBIN_INFO*& bins, int& count) {
  const _NibBIN_INFO* fresh = nullptr;
  count = NibGetBinInfo(list_, &fresh);
  NibFreeBinInfo(bins_);
  bins = bins_ = fresh;
  return fresh != nullptr ? 1 : 0;
}

int NibRegManager::GetGuideText(const char*& text) {
  const char* fresh = NibGetGuideText(list_);
  NibFreeGuideText(guide_);
  text = guide_ = fresh;
  return 1;
}

int NibRegManager::GetStepSizeInfo(double step, const _NibSTEPSIZE_INFO*& info) {
  const _NibSTEPSIZE_INFO* fresh = NibGetStepSizeInfo(list_, step);
  NibFreeStepSizeInfo(steps_);
  info = steps_ = fresh;
  return fresh != nullptr ? 1 : 0;
}

int NibRegManager::GetExtensionInfo(int index, const _NibEXTENSION_INFO*& info) {
  if (index < 0 || index >= kExtensionSlots) return 0;
  const _NibEXTENSION_INFO* fresh = NibGetExtensionInfo(list_, index);
  NibFreeExtensionInfo(extensions_[index]);
  info = extensions_[index] = fresh;
  return fresh != nullptr ? 1 : 0;
}

void NibRegManager::GetDefaultInfo(_NibInfo& info) const { NibGetDefaultInfo(list_, &info); }

int NibRegManager::GetPaperSize(int index, int swap, POINT& size) const {
  POINT paper{0, 0};
  NibGetPaperSize(list_, index, &paper);
  size.x = swap != 0 ? paper.y : paper.x;
  size.y = swap != 0 ? paper.x : paper.y;
  return 1;
}

int NibRegManager::GetPaperSize(int index, int swap, _NibWorld2& size) const {
  POINT paper{0, 0};
  GetPaperSize(index, swap, paper);
  size.x = paper.x;
  size.y = paper.y;
  return 1;
}

int NibRegManager::IsDrawArc() const { return NibIsDrawArc(list_); }

int NibRegManager::GetDigitizeKey(char* text, int* length) const {
  return NibDigitizeKey2(list_, text, length);
}

int NibRegManager::IsDigitize() const { return NibIsDigitize(list_); }

NibRegManager::operator const _NibREG_DATA*() const { return list_; }

NibRegModelNames::NibRegModelNames(HKEY root, const char* path)
    : names_(nullptr), root_(root), path_{} {
  if (path == nullptr) return;
  const void* end = std::memchr(path, '\0', sizeof path_ - 1);
  const std::size_t length = end != nullptr
                                 ? static_cast<std::size_t>(static_cast<const char*>(end) - path)
                                 : sizeof path_ - 1;
  std::memcpy(path_, path, length);
}

NibRegModelNames::~NibRegModelNames() { NibFreeRegModelNames(names_); }

NibRegModelNames::NibRegModelNames(const NibRegModelNames& other)
    : names_(nullptr), root_(other.root_), path_{} {
  std::memcpy(path_, other.path_, sizeof path_);
}

NibRegModelNames& NibRegModelNames::operator=(const NibRegModelNames& other) {
  if (this == &other) return *this;
  NibFreeRegModelNames(names_);
  names_ = nullptr;
  root_ = other.root_;
  std::memcpy(path_, other.path_, sizeof path_);
  return *this;
}

NibRegModelNames::operator const char*() {
  NibFreeRegModelNames(names_);
  names_ = NibGetRegModelNames(root_, path_);
  return names_;
}

void NibRegModelNames::DeleteModel(const char* model) const {
  NibDeleteRegistry(root_, path_, model);
}

void NibRegModelNames::SetupModel(const char* model, const char* modelSection,
                                  const char* modelFile, const char* command,
                                  const char* commandSection, const char* commandFile) const {
  NibSetupRegistry(root_, path_, model, modelSection, modelFile, command, commandSection,
                   commandFile);
}

void NibRegModelNames::SetupCommand(const char* command, const char* commandSection,
                                    const char* commandFile) const {
  char keyPath[kKeyPathSize];
  if (root_ == nullptr || command == nullptr || *command == '\0' ||
      !FormKeyPath(keyPath, path_, "Command", command, std::strlen(command))) {
    return;
  }
  ImportProfileSection(root_, keyPath, commandSection, commandFile);
}

HKEY NibRegModelNames::GetRegHKEY() const { return root_; }

const char* NibRegModelNames::GetRegPath() const { return path_; }
