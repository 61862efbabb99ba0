// Registry keys: opening, creating and closing keys below HKEY_CURRENT_USER.
//
// Key paths are relative to HKEY_CURRENT_USER; '\' separates components and
// empty components (a leading, doubled or trailing '\') are ignored. An HKEY
// is a host object that remembers the path and the access asked for; calls
// that read need KEY_QUERY_VALUE and calls that write need KEY_SET_VALUE,
// as on Windows.
#include "host/system/registry.h"
#include "host/system/wide_text.h"

namespace snk::host {

std::optional<KeyRef> ResolveKey(HKEY key) {
  if (key == HKEY_CURRENT_USER) return KeyRef{"", KEY_ALL_ACCESS};
  auto object = FindHandleAs<RegistryKey>(key);
  if (!object) return std::nullopt;
  return KeyRef{object->path, object->access};
}

namespace {

HKEY NewKeyHandle(std::string path, DWORD access) {
  auto object = std::make_shared<RegistryKey>(std::move(path), access);
  return static_cast<HKEY>(RegisterHandle(std::move(object)));
}

}  // namespace
}  // namespace snk::host

using snk::host::JoinKeyPath;
using snk::host::ResolveKey;

extern "C" LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD, LPWSTR, DWORD, DWORD access, void*,
                                   HKEY* result, DWORD* disposition) {
  if (!result) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  auto base = ResolveKey(key);
  if (!base) return ERROR_INVALID_HANDLE;
  auto path = JoinKeyPath(base->path, snk::host::WideView(subKey));
  if (!path) return ERROR_INVALID_PARAMETER;
  bool created = false;
  if (LSTATUS rc = snk::host::configdb::CreateKey(*path, &created)) return rc;
  if (disposition) {
    *disposition = created ? REG_CREATED_NEW_KEY : REG_OPENED_EXISTING_KEY;
  }
  *result = snk::host::NewKeyHandle(std::move(*path), access);
  return ERROR_SUCCESS;
}

extern "C" LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD, DWORD access, HKEY* result) {
  if (!result) return ERROR_INVALID_PARAMETER;
  *result = nullptr;
  auto base = ResolveKey(key);
  if (!base) return ERROR_INVALID_HANDLE;
  auto path = JoinKeyPath(base->path, snk::host::WideView(subKey));
  if (!path) return ERROR_FILE_NOT_FOUND;
  // The root and keys that the overlay or derived values populate exist
  // without asking the database.
  if (!path->empty() && !snk::host::LayerKeyExists(*path)) {
    bool exists = false;
    if (LSTATUS rc = snk::host::configdb::KeyExists(*path, &exists)) return rc;
    if (!exists) return ERROR_FILE_NOT_FOUND;
  }
  *result = snk::host::NewKeyHandle(std::move(*path), access);
  return ERROR_SUCCESS;
}

extern "C" LSTATUS RegCloseKey(HKEY key) {
  if (key == HKEY_CURRENT_USER) return ERROR_SUCCESS;
  return snk::host::ReleaseHandleAs<snk::host::RegistryKey>(key) ? ERROR_SUCCESS : ERROR_INVALID_HANDLE;
}
