// CKMC_DataExchange: the per-job settings file.
//
// Every operation goes through the profile API on the current file name, so
// each read sees what the interface module wrote last. A missing file, key
// or section reads as the caller's default.
#include <climits>
#include <cwctype>
#include <string>
#include <vector>

#include "platform/win32.h"
#include "services/core_module.h"
#include "services/data_exchange.h"

namespace {

// The name of a settings file in `folder`: "KMCPrivate_" and a number in
// hexadecimal.
std::u16string SettingsFileName(unsigned number) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::u16string hex;
  do {
    hex.insert(hex.begin(), static_cast<char16_t>(kHex[number % 16]));
    number /= 16;
  } while (number);
  return u"KMCPrivate_" + hex + u".ini";
}

bool FolderHasFile(const std::u16string& folder, const std::u16string& name) {
  WIN32_FIND_DATAW data{};
  HANDLE find = FindFirstFileW((folder + u"*").c_str(), &data);
  if (find == INVALID_HANDLE_VALUE) return false;
  bool found = false;
  do {
    found = std::u16string(data.cFileName) == name;
  } while (!found && FindNextFileW(find, &data));
  FindClose(find);
  return found;
}

// Appends `part` and a separator, creating the folder if it is missing.
void EnterFolder(std::u16string& path, std::u16string_view part) {
  path += part;
  if (GetFileAttributesW(path.c_str()) == INVALID_FILE_ATTRIBUTES) CreateDirectoryW(path.c_str(), nullptr);
  path += u'\\';
}

// _wtoi: blanks, a sign and digits; what follows is ignored; an overflow
// saturates.
int WideToInt(const char16_t* text) {
  while (*text == u' ' || *text == u'\t') ++text;
  bool negative = *text == u'-';
  if (*text == u'-' || *text == u'+') ++text;
  long long value = 0;
  for (; *text >= u'0' && *text <= u'9'; ++text) {
    value = value * 10 + (*text - u'0');
    if (value > INT_MAX + 1LL) value = INT_MAX + 1LL;
  }
  if (negative) value = -value;
  if (value > INT_MAX) value = INT_MAX;
  return static_cast<int>(value);
}

std::u16string IntToWide(long long value) {
  std::u16string text;
  for (char c : std::to_string(value)) text += static_cast<char16_t>(c);
  return text;
}

// Deletes the copy that a low-integrity process would see of `path`.
void DeleteVirtualizedCopy(const char16_t* path) {
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  char16_t twin[kVirtualizedPathCapacity] = {};
  if (core && core->GetVirtualizedPath(path, twin)) DeleteFileW(twin);
}

}  // namespace

int CKMC_DataExchange::CreateFile() {
  char16_t base[MAX_PATH] = {};
  if (!SHGetSpecialFolderPathW(nullptr, base, CSIDL_APPDATA, TRUE)) return 0;
  std::u16string folder = CKM_WideString::FromBuffer(base, MAX_PATH).str();
  if (folder.empty() || (folder.back() != u'\\' && folder.back() != u'/')) folder += u'\\';
  EnterFolder(folder, u"Kelmo Software");
  EnterFolder(folder, u"Kelmo PDF Forge");

  // The number is drawn from a generator seeded with the clock; a name that
  // is taken, or taken meanwhile by another job, draws the next number (a
  // bounded number of times). The file is only ever made new.
  SYSTEMTIME now{};
  GetLocalTime(&now);
  SnkSeedRandom(static_cast<UINT>(((now.wDay * 24u + now.wHour) * 60u + now.wMinute) * 60u + now.wSecond));
  HANDLE file = INVALID_HANDLE_VALUE;
  for (int attempt = 0; file == INVALID_HANDLE_VALUE; ++attempt) {
    if (attempt == 1000) return 0;
    std::u16string name = SettingsFileName(static_cast<unsigned>(SnkRandom()));
    if (FolderHasFile(folder, name)) continue;
    SetFileName((folder + name).c_str());
    DeleteVirtualizedCopy(m_fileName);
    file = ::CreateFileW(m_fileName, GENERIC_READ | GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                         nullptr);
    if (file == INVALID_HANDLE_VALUE && GetLastError() != ERROR_FILE_EXISTS) return 0;
  }

  // A new file holds the marker and an empty first section, in UTF-16LE.
  std::vector<uint8_t> bytes = {0xFF, 0xFE};
  AppendUTF16LE(bytes, std::u16string_view(u"[StringTable]\0", 14));
  DWORD written = 0;
  BOOL ok = WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
  CloseHandle(file);
  return ok && written == bytes.size() ? 1 : 0;
}

int CKMC_DataExchange::DeleteFile() {
  int deleted = DeleteFileW(m_fileName) ? 1 : 0;
  DeleteVirtualizedCopy(m_fileName);
  return deleted;
}

void CKMC_DataExchange::SetFileName(const char16_t* path) {
  CKM_WideString::FromBuffer(path, 260).CopyTo(m_fileName, 260);
}

int CKMC_DataExchange::FileExists() {
  return GetFileAttributesW(m_fileName) != INVALID_FILE_ATTRIBUTES ? 1 : 0;
}

int CKMC_DataExchange::WriteString(const char16_t* section, const char16_t* key, const char16_t* value) {
  // The brackets keep blanks at either end, which the profile would trim.
  std::u16string text = u"[" + std::u16string(value ? value : u"") + u"]";
  return WritePrivateProfileStringW(section, key, text.c_str(), m_fileName);
}

int CKMC_DataExchange::ReadString(const char16_t* section, const char16_t* key, char16_t* out,
                                  const char16_t* defaultValue, int size) {
  if (!out || size <= 0) return 0;
  std::vector<char16_t> buffer(static_cast<size_t>(size) + 3, 0);
  DWORD count = GetPrivateProfileStringW(section, key, defaultValue ? defaultValue : u"", buffer.data(),
                                         static_cast<DWORD>(size), m_fileName);
  // Cut the first and the last character: "[abc]" reads "abc".
  std::u16string text(buffer.data() + 1);
  if (!text.empty()) text.pop_back();
  CKM_WideString(text).CopyTo(out, static_cast<size_t>(size));
  return static_cast<int>(count);
}

int CKMC_DataExchange::WriteInt(const char16_t* section, const char16_t* key, int value) {
  return WritePrivateProfileStringW(section, key, IntToWide(value).c_str(), m_fileName);
}

int CKMC_DataExchange::ReadInt(const char16_t* section, const char16_t* key, int* out, int defaultValue) {
  char16_t text[33] = {};
  DWORD count = GetPrivateProfileStringW(section, key, IntToWide(defaultValue).c_str(), text, 32, m_fileName);
  if (out) *out = count ? WideToInt(text) : defaultValue;
  return static_cast<int>(count);
}

int CKMC_DataExchange::WriteFloat(const char16_t* section, const char16_t* key, float value) {
  // Only the whole part is kept.
  return WritePrivateProfileStringW(section, key, IntToWide(static_cast<long long>(value)).c_str(), m_fileName);
}

int CKMC_DataExchange::ReadFloat(const char16_t* section, const char16_t* key, float* out, float defaultValue) {
  int value = 0;
  int count = ReadInt(section, key, &value, static_cast<int>(defaultValue));
  if (out) *out = count ? static_cast<float>(value) : defaultValue;
  return count;
}

int CKMC_DataExchange::WriteStringA(const char16_t* section, const char16_t* key, const char* value) {
  std::string bytes(value ? value : "");
  int n = MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
  std::u16string wide(n > 0 ? static_cast<size_t>(n) : 0, u'\0');
  if (n > 0) MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()), wide.data(), n);
  return WritePrivateProfileStringW(section, key, wide.c_str(), m_fileName);
}

int CKMC_DataExchange::ReadStringA(const char16_t* section, const char16_t* key, char* out,
                                   const char* defaultValue, int size) {
  if (!out || size <= 0) return 0;
  std::string def(defaultValue ? defaultValue : "");
  int n = MultiByteToWideChar(CP_ACP, 0, def.data(), static_cast<int>(def.size()), nullptr, 0);
  std::u16string wideDefault(n > 0 ? static_cast<size_t>(n) : 0, u'\0');
  if (n > 0) MultiByteToWideChar(CP_ACP, 0, def.data(), static_cast<int>(def.size()), wideDefault.data(), n);
  std::vector<char16_t> buffer(static_cast<size_t>(size) + 1, 0);
  DWORD count = GetPrivateProfileStringW(section, key, wideDefault.c_str(), buffer.data(),
                                         static_cast<DWORD>(size), m_fileName);
  int length = WideCharToMultiByte(CP_ACP, 0, buffer.data(), -1, out, size, nullptr, nullptr);
  if (length == 0) out[0] = 0;
  out[size - 1] = 0;
  return static_cast<int>(count);
}

int CKMC_DataExchange::WriteStruct(const char16_t* section, const char16_t* key, const void* data, int size) {
  if (size < 0) return 0;
  return WritePrivateProfileStructW(section, key, data, static_cast<UINT>(size), m_fileName);
}

int CKMC_DataExchange::ReadStruct(const char16_t* section, const char16_t* key, void* out, int size) {
  if (!out || size < 0) return 0;
  return GetPrivateProfileStructW(section, key, out, static_cast<UINT>(size), m_fileName);
}
