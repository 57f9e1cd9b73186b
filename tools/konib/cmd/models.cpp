#include "cmd/models.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>

#include "device/device.h"
#include "model/model.h"

namespace konib::tool {
namespace {

std::vector<std::string> Names(HKEY root) {
  std::vector<std::string> names;
  char* block = NibGetRegModelNames(root, kStorePath);
  for (const char* at = block; at != nullptr && *at != '\0'; at += std::strlen(at) + 1)
    names.push_back(at);
  NibFreeRegModelNames(block);
  return names;
}

bool Open(const std::string& folder, Store* store) {
  if (store->root != nullptr) return true;
  std::fprintf(stderr, "konib: cannot open the model store %s\n", folder.c_str());
  return false;
}

const char* YesNo(int value) { return value != 0 ? "yes" : "no"; }

// The model's list from the store, or null with a message.
_NibREG_DATA* LoadStored(const Store& store, const std::string& folder, const std::string& name) {
  _NibREG_DATA* list = NibGetRegistry(store.root, kStorePath, name.c_str());
  if (list == nullptr)
    std::fprintf(stderr, "konib: no model \"%s\" in %s\n", name.c_str(), folder.c_str());
  return list;
}

}  // namespace

int ModelsList(const std::string& folder) {
  Store store(folder);
  if (!Open(folder, &store)) return kDeviceError;
  for (const std::string& name : Names(store.root)) std::printf("%s\n", name.c_str());
  return kOk;
}

// What a set-up dialog shows for the model.
int ModelsShow(const std::string& folder, const std::string& name) {
  Store store(folder);
  if (!Open(folder, &store)) return kDeviceError;
  _NibREG_DATA* list = LoadStored(store, folder, name);
  if (list == nullptr) return kBadInput;
  _NibInfo defaults{};
  NibGetDefaultInfo(list, &defaults);
  std::printf("Model: %s\n", name.c_str());
  const char* guide = NibGetGuideText(list);
  std::string lines = guide;
  for (std::size_t at = 0; (at = lines.find("\r\n", at)) != std::string::npos; at += 3)
    lines.replace(at, 2, "\n  ");
  std::printf("Guide:\n  %s\n", lines.c_str());
  NibFreeGuideText(guide);
  const _NibPAPER_INFO* papers = nullptr;
  int count = NibGetPaperInfo(list, &papers);
  std::printf("Papers:\n");
  for (int i = 0; i < count; ++i)
    std::printf("  %c %d %s (%d x %d mm)\n", papers[i].index == defaults.paperIndex ? '*' : ' ',
                papers[i].index, papers[i].name, papers[i].width, papers[i].height);
  NibFreePaperInfo(papers);
  const _NibBIN_INFO* bins = nullptr;
  count = NibGetBinInfo(list, &bins);
  std::printf("Bins:\n");
  for (int i = 0; i < count; ++i)
    std::printf("  %c %d %s\n", bins[i].index == defaults.binIndex ? '*' : ' ', bins[i].index,
                bins[i].name);
  NibFreeBinInfo(bins);
  const _NibSTEPSIZE_INFO* steps = NibGetStepSizeInfo(list, defaults.step);
  std::printf("Steps (mm):");
  for (int i = 0; steps != nullptr && i < steps->count; ++i)
    std::printf(" %s%s", steps->items[i], i == steps->current ? "*" : "");
  std::printf("%s\n", steps == nullptr ? " none to choose" : "");
  NibFreeStepSizeInfo(steps);
  for (int index = 0; index < 10; ++index) {
    const _NibEXTENSION_INFO* extension = NibGetExtensionInfo(list, index);
    if (extension == nullptr) continue;
    std::printf("Extension %d, %s:", index, extension->title);
    for (int i = 0; i < extension->count; ++i)
      std::printf(" %s%s", extension->items[i], i == extension->selected ? "*" : "");
    std::printf("\n");
    NibFreeExtensionInfo(extension);
  }
  std::printf("Device changes pages: %s; changes pens: %s; draws every arc: %s; digitizes: %s\n",
              YesNo(NibIsNextPage(list)), YesNo(NibIsNextPen(list)), YesNo(NibIsDrawArc(list)),
              YesNo(NibIsDigitize(list)));
  NibFreeRegistry(list);
  return kOk;
}

int ModelsInstall(const std::string& folder, const std::string& path,
                  const std::vector<std::string>& wanted) {
  std::string text, message;
  if (!ReadWholeFile(path, &text, 4u << 20, &message)) {
    std::fprintf(stderr, "konib: %s\n", message.c_str());
    return kBadInput;
  }
  ModelFile file = ParseModelFile(path, text);
  std::vector<const ModelSection*> machines;
  if (wanted.empty()) machines = file.Machines();
  for (const std::string& name : wanted) {
    const ModelSection* section = file.Find(name);
    if (section == nullptr) {
      std::fprintf(stderr, "konib: %s: no section [%s]\n", path.c_str(), name.c_str());
      return kBadInput;
    }
    machines.push_back(section);
  }
  if (machines.empty()) {
    std::fprintf(stderr, "konib: %s: holds no model\n", path.c_str());
    return kBadInput;
  }
  Store store(folder);
  if (!Open(folder, &store)) return kDeviceError;
  std::string absolute = std::filesystem::absolute(path).string();
  for (const ModelSection* machine : machines) {
    const ModelValue* command = machine->Find("Command");
    const char* set = command != nullptr ? command->value.c_str() : nullptr;
    NibSetupRegistry(store.root, kStorePath, machine->name.c_str(), machine->name.c_str(),
                     absolute.c_str(), set, set, absolute.c_str());
    _NibREG_DATA* list = NibGetRegistry(store.root, kStorePath, machine->name.c_str());
    if (list == nullptr) {
      std::fprintf(stderr, "konib: %s: [%s] did not install: it or its command set has no values\n",
                   path.c_str(), machine->name.c_str());
      return kBadInput;
    }
    NibFreeRegistry(list);
    std::printf("installed %s\n", machine->name.c_str());
  }
  return kOk;
}

int ModelsRemove(const std::string& folder, const std::string& name) {
  Store store(folder);
  if (!Open(folder, &store)) return kDeviceError;
  _NibREG_DATA* list = LoadStored(store, folder, name);
  if (list == nullptr) return kBadInput;
  NibFreeRegistry(list);
  NibDeleteRegistry(store.root, kStorePath, name.c_str());
  std::printf("removed %s\n", name.c_str());
  return kOk;
}

}  // namespace konib::tool
