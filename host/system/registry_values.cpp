// Registry values: query, enumeration, key information, set and delete.
//
// Reads see the overlay first, then the database, then derived values.
// Enumeration order is the database's insertion order (a rewritten value
// keeps its place; an overlay value replaces a stored one in place), then
// overlay-only values in the order they were set, then derived values.
// When the database cannot be read, a key that a layer populates still
// answers from the layers; any other read returns the database's error.
#include <algorithm>
#include <cstring>

#include "host/system/registry.h"
#include "host/system/wide_text.h"

namespace snk::host {
namespace {

using configdb::Value;

bool SameName(const Value& v, std::string_view folded) { return FoldAscii(v.name) == folded; }

// Appends the values of `layer` not already named in `values`.
void AddMissing(std::vector<Value>& values, std::vector<Value> layer) {
  for (Value& v : layer) {
    std::string folded = FoldAscii(v.name);
    auto same = [&](const Value& w) { return SameName(w, folded); };
    if (std::none_of(values.begin(), values.end(), same)) {
      values.push_back(std::move(v));
    }
  }
}

// Every value of the key as the caller sees it, in enumeration order.
LSTATUS MergedValues(std::string_view path, std::vector<Value>* values) {
  LSTATUS rc = configdb::ListValues(path, values);
  std::vector<Value> overlay = OverlayValues(path);
  std::vector<Value> derived = DerivedValues(path);
  if (rc != ERROR_SUCCESS && overlay.empty() && derived.empty()) return rc;
  for (Value& v : *values) {
    std::string folded = FoldAscii(v.name);
    auto it =
        std::find_if(overlay.begin(), overlay.end(), [&](const Value& o) { return SameName(o, folded); });
    if (it != overlay.end()) {
      v.type = it->type;
      v.data = it->data;
    }
  }
  AddMissing(*values, std::move(overlay));
  AddMissing(*values, std::move(derived));
  return ERROR_SUCCESS;
}

// One value by name through the three layers.
LSTATUS FindValue(std::string_view path, std::string_view name, Value* value) {
  std::string folded = FoldAscii(name);
  for (Value& v : OverlayValues(path)) {
    if (SameName(v, folded)) return *value = std::move(v), ERROR_SUCCESS;
  }
  LSTATUS rc = configdb::GetValue(path, name, value);
  if (rc == ERROR_SUCCESS) return rc;
  for (Value& v : DerivedValues(path)) {
    if (SameName(v, folded)) return *value = std::move(v), ERROR_SUCCESS;
  }
  return rc;
}

// Reports a value's type and bytes with the Windows size rules: no buffer
// asks for the size; a small buffer gets ERROR_MORE_DATA and the size.
LSTATUS CopyValue(const Value& v, DWORD* type, BYTE* data, DWORD* dataLength) {
  if (type) *type = v.type;
  auto size = static_cast<DWORD>(v.data.size());
  if (!data) {
    if (dataLength) *dataLength = size;
    return ERROR_SUCCESS;
  }
  if (*dataLength < size) {
    *dataLength = size;
    return ERROR_MORE_DATA;
  }
  if (size) std::memcpy(data, v.data.data(), size);
  *dataLength = size;
  return ERROR_SUCCESS;
}

// Resolves `key` and checks that it was opened with `right`.
LSTATUS KeyWithRight(HKEY key, DWORD right, KeyRef* ref) {
  auto resolved = ResolveKey(key);
  if (!resolved) return ERROR_INVALID_HANDLE;
  if (!(resolved->access & right)) return ERROR_ACCESS_DENIED;
  *ref = std::move(*resolved);
  return ERROR_SUCCESS;
}

DWORD Utf16Length(std::string_view utf8) { return static_cast<DWORD>(ToUtf16(utf8).size()); }

LSTATUS SubKeyStats(std::string_view path, DWORD* count, DWORD* maxLength) {
  std::vector<std::string> names;
  LSTATUS rc = configdb::ListSubKeys(path, &names);
  std::vector<std::string> layer = LayerSubKeys(path);
  if (rc != ERROR_SUCCESS && layer.empty()) return rc;
  for (std::string& name : layer) {
    std::string folded = FoldAscii(name);
    auto same = [&](const std::string& n) { return FoldAscii(n) == folded; };
    if (std::none_of(names.begin(), names.end(), same)) names.push_back(name);
  }
  *count = static_cast<DWORD>(names.size());
  *maxLength = 0;
  for (const std::string& n : names) *maxLength = std::max(*maxLength, Utf16Length(n));
  return ERROR_SUCCESS;
}

}  // namespace
}  // namespace snk::host

using snk::host::KeyRef;
using snk::host::configdb::Value;

extern "C" LSTATUS RegQueryValueExW(HKEY key, LPCWSTR valueName, DWORD*, DWORD* type, BYTE* data,
                                    DWORD* dataLength) {
  KeyRef ref;
  if (LSTATUS rc = snk::host::KeyWithRight(key, KEY_QUERY_VALUE, &ref)) return rc;
  if (data && !dataLength) return ERROR_INVALID_PARAMETER;
  auto name = snk::host::ToUtf8(snk::host::WideView(valueName));
  if (!name) return ERROR_FILE_NOT_FOUND;
  Value value;
  if (LSTATUS rc = snk::host::FindValue(ref.path, *name, &value)) return rc;
  return snk::host::CopyValue(value, type, data, dataLength);
}

extern "C" LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR valueName, DWORD* valueNameLength, DWORD*,
                                 DWORD* type, BYTE* data, DWORD* dataLength) {
  KeyRef ref;
  if (LSTATUS rc = snk::host::KeyWithRight(key, KEY_QUERY_VALUE, &ref)) return rc;
  if (!valueName || !valueNameLength || (data && !dataLength)) {
    return ERROR_INVALID_PARAMETER;
  }
  std::vector<Value> values;
  if (LSTATUS rc = snk::host::MergedValues(ref.path, &values)) return rc;
  if (index >= values.size()) return ERROR_NO_MORE_ITEMS;
  const Value& v = values[index];
  // As on Windows, a name that does not fit is neither written nor sized:
  // RegQueryInfoKeyW gives the longest name.
  std::u16string name = snk::host::ToUtf16(v.name);
  if (!snk::host::CopyWithTerminator(name, valueName, *valueNameLength)) {
    return ERROR_MORE_DATA;
  }
  *valueNameLength = static_cast<DWORD>(name.size());
  return snk::host::CopyValue(v, type, data, dataLength);
}

extern "C" LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR keyClass, DWORD* classLength, DWORD*, DWORD* subKeys,
                                    DWORD* maxSubKeyLength, DWORD* maxClassLength, DWORD* values,
                                    DWORD* maxValueNameLength, DWORD* maxValueLength,
                                    DWORD* securityDescriptor, void* lastWriteTime) {
  KeyRef ref;
  if (LSTATUS rc = snk::host::KeyWithRight(key, KEY_QUERY_VALUE, &ref)) return rc;
  std::vector<Value> all;
  if (LSTATUS rc = snk::host::MergedValues(ref.path, &all)) return rc;
  DWORD keyCount = 0, keyLength = 0;
  if (subKeys || maxSubKeyLength) {
    if (LSTATUS rc = snk::host::SubKeyStats(ref.path, &keyCount, &keyLength)) return rc;
  }
  DWORD nameLength = 0, dataLength = 0;
  for (const Value& v : all) {
    nameLength = std::max(nameLength, snk::host::Utf16Length(v.name));
    dataLength = std::max(dataLength, static_cast<DWORD>(v.data.size()));
  }
  if (keyClass && classLength && *classLength) keyClass[0] = u'\0';
  if (classLength) *classLength = 0;
  if (subKeys) *subKeys = keyCount;
  if (maxSubKeyLength) *maxSubKeyLength = keyLength;
  if (maxClassLength) *maxClassLength = 0;
  if (values) *values = static_cast<DWORD>(all.size());
  if (maxValueNameLength) *maxValueNameLength = nameLength;
  if (maxValueLength) *maxValueLength = dataLength;
  if (securityDescriptor) *securityDescriptor = 0;
  if (lastWriteTime) std::memset(lastWriteTime, 0, 8);  // a FILETIME
  return ERROR_SUCCESS;
}

extern "C" LSTATUS RegSetValueExW(HKEY key, LPCWSTR valueName, DWORD, DWORD type, const BYTE* data,
                                  DWORD dataLength) {
  KeyRef ref;
  if (LSTATUS rc = snk::host::KeyWithRight(key, KEY_SET_VALUE, &ref)) return rc;
  if (!data && dataLength) return ERROR_INVALID_PARAMETER;
  auto name = snk::host::ToUtf8(snk::host::WideView(valueName));
  if (!name) return ERROR_INVALID_PARAMETER;
  Value value{std::move(*name), type,
              data ? std::vector<BYTE>(data, data + dataLength) : std::vector<BYTE>()};
  return snk::host::configdb::SetValue(ref.path, value);
}

extern "C" LSTATUS RegDeleteValueW(HKEY key, LPCWSTR valueName) {
  KeyRef ref;
  if (LSTATUS rc = snk::host::KeyWithRight(key, KEY_SET_VALUE, &ref)) return rc;
  auto name = snk::host::ToUtf8(snk::host::WideView(valueName));
  if (!name) return ERROR_FILE_NOT_FOUND;
  return snk::host::configdb::DeleteValue(ref.path, *name);
}
