#include "services/data_exchange.h"

#include <algorithm>
#include <vector>

#include "platform/win32.h"

const CKM_WideString& UserSettingsKeyPath() {
  static const CKM_WideString path = [] {
    char16_t user[257] = {};
    DWORD size = 257;
    if (!GetUserNameW(user, &size)) user[0] = 0;
    return CKM_WideString(kProductKeyPath) + u"\\" + CKM_WideString::FromBuffer(user, 257).view();
  }();
  return path;
}

void CreateUserSettingsKey() {
  HKEY key = nullptr;
  DWORD disposition = 0;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, UserSettingsKeyPath().c_str(), 0, nullptr,
                      REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, nullptr, &key,
                      &disposition) == static_cast<LSTATUS>(ERROR_SUCCESS))
    RegCloseKey(key);
}

namespace {

// Finds the value `name` (exact match) of the user's key by walking its
// values; returns its type and bytes.
bool FindUserValue(const char16_t* name, DWORD& type, std::vector<BYTE>& data) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, UserSettingsKeyPath().c_str(), 0, KEY_ALL_ACCESS, &key) != 0)
    return false;
  DWORD values = 0, maxName = 0, maxData = 0;
  bool found = false;
  if (RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &values, &maxName,
                       &maxData, nullptr, nullptr) == 0) {
    std::u16string_view wanted(name);
    std::vector<char16_t> valueName(maxName + 1);
    for (DWORD i = 0; i < values && !found; ++i) {
      DWORD nameLength = maxName + 1, dataLength = maxData;
      data.assign(maxData + 2, 0);
      if (RegEnumValueW(key, i, valueName.data(), &nameLength, nullptr, &type, data.data(),
                        &dataLength) != 0)
        continue;
      if (std::u16string_view(valueName.data(), nameLength) == wanted) {
        data.resize(dataLength);
        found = true;
      }
    }
  }
  RegCloseKey(key);
  return found;
}

}  // namespace

uint32_t GetRegInt(const char16_t* name, uint32_t defaultValue) {
  DWORD type = 0;
  std::vector<BYTE> data;
  if (!FindUserValue(name, type, data) || type != REG_DWORD || data.size() < 4) return defaultValue;
  return static_cast<uint32_t>(data[0]) | (static_cast<uint32_t>(data[1]) << 8) |
         (static_cast<uint32_t>(data[2]) << 16) | (static_cast<uint32_t>(data[3]) << 24);
}

void GetRegString(const char16_t* name, char16_t* out, size_t capacity, const char16_t* defaultValue) {
  if (!out || capacity == 0) return;
  DWORD type = 0;
  std::vector<BYTE> data;
  if (!FindUserValue(name, type, data) || type != REG_MULTI_SZ) {
    CKM_WideString(defaultValue).CopyTo(out, capacity);
    return;
  }
  std::u16string text(data.size() / 2, u'\0');
  for (size_t i = 0; i < text.size(); ++i)
    text[i] = static_cast<char16_t>(data[2 * i] | (data[2 * i + 1] << 8));
  text.resize(std::u16string_view(text.c_str()).size());  // the first string of the list
  if (text.size() < capacity) {
    std::copy(text.begin(), text.end(), out);
    out[text.size()] = 0;
  } else {
    std::copy_n(text.begin(), capacity, out);
  }
}

namespace {

// A registry text value: UTF-16LE with its terminator.
std::vector<BYTE> TerminatedText(const char16_t* text) {
  std::vector<BYTE> data;
  AppendUTF16LE(data, text ? text : u"");
  AppendUTF16LE(data, std::u16string_view(u"", 1));
  return data;
}

int SetUserValue(const char16_t* name, DWORD type, const BYTE* data, DWORD size) {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, UserSettingsKeyPath().c_str(), 0, KEY_ALL_ACCESS, &key) != 0)
    return 0;
  LSTATUS status = RegSetValueExW(key, name, 0, type, data, size);
  RegCloseKey(key);
  return status == 0 ? 1 : 0;
}

}  // namespace

int SetRegInt(const char16_t* name, uint32_t value) {
  BYTE data[4] = {BYTE(value), BYTE(value >> 8), BYTE(value >> 16), BYTE(value >> 24)};
  return SetUserValue(name, REG_DWORD, data, 4);
}

int SetRegString(const char16_t* name, const char16_t* text) {
  const std::vector<BYTE> data = TerminatedText(text);
  return SetUserValue(name, REG_MULTI_SZ, data.data(), static_cast<DWORD>(data.size()));
}

int SetProductRegString(const char16_t* name, const char16_t* text) {
  HKEY key = nullptr;
  DWORD disposition = 0;
  if (RegCreateKeyExW(HKEY_CURRENT_USER, kProductKeyPath, 0, nullptr, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                      nullptr, &key, &disposition) != static_cast<LSTATUS>(ERROR_SUCCESS))
    return 0;
  const std::vector<BYTE> data = TerminatedText(text);
  LSTATUS status = RegSetValueExW(key, name, 0, REG_SZ, data.data(), static_cast<DWORD>(data.size()));
  RegCloseKey(key);
  return status == 0 ? 1 : 0;
}

namespace {

constexpr char16_t kPrinterDriverData[] = u"PrinterDriverData";

bool GetPrinterValue(HANDLE printer, const char16_t* name, std::vector<BYTE>& data, DWORD& type) {
  DWORD needed = 0;
  data.assign(64, 0);
  DWORD rc = GetPrinterDataExW(printer, kPrinterDriverData, name, &type, data.data(),
                               static_cast<DWORD>(data.size()), &needed);
  if (rc == ERROR_MORE_DATA) {
    data.assign(needed, 0);
    rc = GetPrinterDataExW(printer, kPrinterDriverData, name, &type, data.data(), needed, &needed);
  }
  if (rc != ERROR_SUCCESS) return false;
  data.resize(std::min<size_t>(needed, data.size()));
  return true;
}

}  // namespace

uint32_t GetPrinterInt(HANDLE printer, const char16_t* name, uint32_t defaultValue) {
  std::vector<BYTE> data;
  DWORD type = 0;
  if (!GetPrinterValue(printer, name, data, type) || data.size() < 4) return defaultValue;
  return static_cast<uint32_t>(data[0]) | (static_cast<uint32_t>(data[1]) << 8) |
         (static_cast<uint32_t>(data[2]) << 16) | (static_cast<uint32_t>(data[3]) << 24);
}

CKM_WideString GetPrinterString(HANDLE printer, const char16_t* name, size_t maxBytes) {
  std::vector<BYTE> data;
  DWORD type = 0;
  if (!GetPrinterValue(printer, name, data, type)) return {};
  data.resize(std::min(data.size(), maxBytes) & ~size_t{1});
  std::u16string text;
  for (size_t i = 0; i + 1 < data.size(); i += 2) {
    char16_t unit = static_cast<char16_t>(data[i] | (data[i + 1] << 8));
    if (unit == 0) break;
    text += unit;
  }
  return CKM_WideString(std::move(text));
}

int GetPrinterBlock(HANDLE printer, const char16_t* name, std::vector<uint8_t>& block) {
  DWORD type = 0;
  std::vector<BYTE> data;
  if (!GetPrinterValue(printer, name, data, type)) return 0;
  block.assign(data.begin(), data.end());
  return 1;
}

int SetPrinterBlock(HANDLE printer, const char16_t* name, const std::vector<uint8_t>& block) {
  if (block.size() < 4) return 0;
  uint32_t size = static_cast<uint32_t>(block[0]) | (static_cast<uint32_t>(block[1]) << 8) |
                  (static_cast<uint32_t>(block[2]) << 16) | (static_cast<uint32_t>(block[3]) << 24);
  size = std::min<uint32_t>(size, static_cast<uint32_t>(block.size()));
  return SetPrinterDataExW(printer, kPrinterDriverData, name, REG_BINARY, block.data(), size) == ERROR_SUCCESS;
}

int IsMetricDefault() {
  HKEY key = nullptr;
  if (RegOpenKeyExW(HKEY_CURRENT_USER, u"Control Panel\\International", 0, KEY_READ, &key) != 0)
    return 1;
  char16_t text[16] = {};
  DWORD size = sizeof(text) - sizeof(char16_t);
  DWORD type = 0;
  LSTATUS rc = RegQueryValueExW(key, u"iCountry", nullptr, &type, reinterpret_cast<BYTE*>(text), &size);
  RegCloseKey(key);
  if (rc != 0 || (type != REG_SZ && type != REG_DWORD)) return 1;
  long code = 0;
  if (type == REG_DWORD) {
    code = static_cast<long>(text[0] | (static_cast<uint32_t>(text[1]) << 16));
  } else {
    for (size_t i = 0; i < 15 && text[i] >= u'0' && text[i] <= u'9'; ++i) code = code * 10 + (text[i] - u'0');
  }
  bool letter = code == 1 || code == 2 || (code >= 50 && code <= 59) || (code >= 500 && code <= 599);
  return letter ? 0 : 1;
}
