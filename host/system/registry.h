// Private: shared parts of the registry calls.
//
// The registry a caller sees has three layers, highest first: the overlay
// that the running program sets (host_control.h), the database
// (config_db.h), and values the host derives from the system (the country
// code from the locale). Reads merge them; writes go to the database only.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/system/config_db.h"
#include "host/system/handles.h"
#include "platform/win32.h"

namespace snk::host {

// The object behind an HKEY other than HKEY_CURRENT_USER.
class RegistryKey : public HostObject {
 public:
  RegistryKey(std::string p, DWORD a) : path(std::move(p)), access(a) {}
  std::string path;  // below HKEY_CURRENT_USER, UTF-8, components joined by '\'
  DWORD access;
};

// Appends `subKey` to `base`; '\' separates components and empty ones are
// dropped. nullopt when the name is not valid UTF-16.
std::optional<std::string> JoinKeyPath(std::string_view base, std::u16string_view subKey);

// The layers above and below the database, for one key.
std::vector<configdb::Value> OverlayValues(std::string_view path);
std::vector<configdb::Value> DerivedValues(std::string_view path);
// Whether a layer makes the key exist (it or a key below it has a value).
bool LayerKeyExists(std::string_view path);
// Direct subkeys that the layers make exist.
std::vector<std::string> LayerSubKeys(std::string_view path);

// The country code Windows keeps as iCountry, from the user's locale.
std::optional<std::string> CountryCodeFromLocale();

}  // namespace snk::host

namespace snk::host {

// What an HKEY stands for: its path and the access it was opened with.
struct KeyRef {
  std::string path;
  DWORD access = 0;
};
// nullopt for a handle that is neither HKEY_CURRENT_USER nor an open key.
std::optional<KeyRef> ResolveKey(HKEY key);

}  // namespace snk::host
