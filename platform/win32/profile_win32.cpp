// Initialisation files through the system's own profile reader, which finds
// sections and names without regard to case and takes the first of each.
#include <windows.h>

#include "platform/memory.h"
#include "platform/profile.h"

namespace konib::platform {

struct Profile {
  const char* file;  // the caller's text, alive for as long as the profile is open
};

Profile* OpenProfile(const char* file) {
  if (file == nullptr || *file == '\0') return nullptr;
  auto* profile = static_cast<Profile*>(AllocBlock(sizeof(Profile)));
  if (profile != nullptr) profile->file = file;
  return profile;
}

void CloseProfile(Profile* profile) { FreeBlock(profile); }

std::uint32_t ReadProfileString(Profile* profile, const char* section, const char* name,
                                char* buffer, std::uint32_t size) {
  if (buffer == nullptr || size < 2) return 0;
  buffer[0] = buffer[1] = '\0';
  if (profile == nullptr || section == nullptr) return 0;
  return GetPrivateProfileStringA(section, name, "", buffer, size, profile->file);
}

}  // namespace konib::platform
