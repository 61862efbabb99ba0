// Fuzz target for the profile API: the bytes become a profile file, which
// is enumerated, read (whole and cut to small buffers) and read as structs;
// then one key is set and one removed, and the rewritten file is read again.
#include <stdlib.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "platform/win32.h"

namespace {

// A folder of this process's own, removed at exit with what is left in it.
const std::string& Folder() {
  static const std::string* folder = [] {
    char pattern[] = "/tmp/snk-profile-fuzz-XXXXXX";
    if (!mkdtemp(pattern)) abort();
    atexit([] {
      std::error_code ignored;
      std::filesystem::remove_all(*folder, ignored);
    });
    return new std::string(pattern);  // never destroyed: used by the exit handler
  }();
  return *folder;
}

const std::u16string& FilePath() {
  static const std::u16string path = [] {
    std::u16string wide;
    for (char c : Folder() + "/fuzz.ini") wide += static_cast<char16_t>(c);
    return wide;
  }();
  return path;
}

std::string Utf8Path() {
  std::string path;
  for (char16_t c : FilePath()) path += static_cast<char>(c);
  return path;
}

// The names of a zero-separated, double-zero-ended list (at most 16).
std::vector<std::u16string> Split(const std::vector<char16_t>& list, DWORD count) {
  std::vector<std::u16string> names;
  std::u16string current;
  for (DWORD i = 0; i < count && names.size() < 16; ++i) {
    if (list[i]) {
      current += list[i];
    } else {
      names.push_back(current);
      current.clear();
    }
  }
  return names;
}

std::vector<std::u16string> Enumerate(const char16_t* section) {
  std::vector<char16_t> buffer(4096);
  DWORD count = GetPrivateProfileStringW(section, nullptr, u"", buffer.data(), 4096, FilePath().c_str());
  std::vector<char16_t> tiny(3);
  GetPrivateProfileStringW(section, nullptr, u"", tiny.data(), 3, FilePath().c_str());
  return Split(buffer, count);
}

void ReadEverything() {
  const std::u16string& file = FilePath();
  for (const std::u16string& section : Enumerate(nullptr)) {
    for (const std::u16string& key : Enumerate(section.c_str())) {
      std::vector<char16_t> value(512);
      GetPrivateProfileStringW(section.c_str(), key.c_str(), u"d ", value.data(), 512, file.c_str());
      GetPrivateProfileStringW(section.c_str(), key.c_str(), u"d ", value.data(), 2, file.c_str());
      uint8_t bytes[8];
      for (UINT size : {0u, 1u, 4u, 8u})
        GetPrivateProfileStructW(section.c_str(), key.c_str(), bytes, size, file.c_str());
    }
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  {
    std::ofstream out(Utf8Path(), std::ios::binary | std::ios::trunc);
    out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  }
  ReadEverything();
  const std::u16string& file = FilePath();
  std::vector<std::u16string> sections = Enumerate(nullptr);
  std::u16string section = sections.empty() ? u"New" : sections.back();
  WritePrivateProfileStringW(section.c_str(), u"Added", u" value ", file.c_str());
  const uint8_t blob[3] = {1, 2, 3};
  WritePrivateProfileStructW(u"New", u"Blob", blob, 3, file.c_str());
  if (!sections.empty()) WritePrivateProfileStringW(sections.front().c_str(), nullptr, nullptr, file.c_str());
  ReadEverything();
  return 0;
}
