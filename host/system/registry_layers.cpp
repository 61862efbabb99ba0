// The registry layers around the database: the overlay the running program
// sets, and the values derived from the system.
#include <algorithm>
#include <mutex>

#include "host/system/host_control.h"
#include "host/system/registry.h"
#include "host/system/wide_text.h"

namespace snk::host {
namespace {

constexpr std::string_view kInternational = "control panel\\international";

struct OverlayEntry {
  std::string folded;  // key path, folded
  std::string path;    // as given
  configdb::Value value;
};

struct Overlay {
  std::mutex mutex;
  std::vector<OverlayEntry> entries;  // in the order they were set
};

Overlay& TheOverlay() {
  static Overlay* overlay = new Overlay;
  return *overlay;
}

// Whether `folded` is `key` or a key below it.
bool IsAtOrBelow(std::string_view folded, std::string_view key) {
  if (key.empty()) return true;
  return folded.size() >= key.size() && folded.substr(0, key.size()) == key &&
         (folded.size() == key.size() || folded[key.size()] == '\\');
}

// The direct child of `key` on the way to `path` (both folded), if any;
// returned in the original case taken from `original`.
std::optional<std::string> ChildToward(std::string_view path, std::string_view original,
                                       std::string_view key) {
  if (path.size() <= key.size() || !IsAtOrBelow(path, key)) return std::nullopt;
  size_t start = key.empty() ? 0 : key.size() + 1;
  size_t end = path.find('\\', start);
  if (end == std::string_view::npos) end = path.size();
  return std::string(original.substr(start, end - start));
}

// Key paths (folded, original case) that the layers populate.
std::vector<std::pair<std::string, std::string>> LayerKeys() {
  std::vector<std::pair<std::string, std::string>> keys;
  {
    Overlay& o = TheOverlay();
    std::lock_guard lock(o.mutex);
    for (const OverlayEntry& e : o.entries) keys.emplace_back(e.folded, e.path);
  }
  if (CountryCodeFromLocale()) {
    keys.emplace_back(std::string(kInternational), "Control Panel\\International");
  }
  return keys;
}

}  // namespace

std::optional<std::string> JoinKeyPath(std::string_view base, std::u16string_view subKey) {
  std::optional<std::string> sub = ToUtf8(subKey);
  if (!sub) return std::nullopt;
  std::string path(base);
  size_t pos = 0;
  while (pos <= sub->size()) {
    size_t end = sub->find('\\', pos);
    if (end == std::string::npos) end = sub->size();
    if (end > pos) {
      if (!path.empty()) path += '\\';
      path.append(*sub, pos, end - pos);
    }
    pos = end + 1;
  }
  return path;
}

std::vector<configdb::Value> OverlayValues(std::string_view path) {
  std::string folded = FoldAscii(path);
  std::vector<configdb::Value> values;
  Overlay& o = TheOverlay();
  std::lock_guard lock(o.mutex);
  for (const OverlayEntry& e : o.entries) {
    if (e.folded == folded) values.push_back(e.value);
  }
  return values;
}

std::vector<configdb::Value> DerivedValues(std::string_view path) {
  if (FoldAscii(path) != kInternational) return {};
  std::optional<std::string> code = CountryCodeFromLocale();
  if (!code) return {};
  // REG_SZ as Windows stores it: UTF-16LE with the terminator.
  std::vector<BYTE> data;
  for (char c : *code) {
    data.push_back(static_cast<BYTE>(c));
    data.push_back(0);
  }
  data.insert(data.end(), {0, 0});
  return {configdb::Value{"iCountry", REG_SZ, std::move(data)}};
}

bool LayerKeyExists(std::string_view path) {
  std::string folded = FoldAscii(path);
  for (const auto& [key, original] : LayerKeys()) {
    if (IsAtOrBelow(key, folded)) return true;
  }
  return false;
}

std::vector<std::string> LayerSubKeys(std::string_view path) {
  std::string folded = FoldAscii(path);
  std::vector<std::string> children;
  for (const auto& [key, original] : LayerKeys()) {
    auto child = ChildToward(key, original, folded);
    if (!child) continue;
    bool known = std::any_of(children.begin(), children.end(),
                             [&](auto& c) { return FoldAscii(c) == FoldAscii(*child); });
    if (!known) children.push_back(*child);
  }
  return children;
}

void SetRegistryOverlay(std::u16string_view keyPath, std::u16string_view valueName, DWORD type,
                        std::vector<BYTE> data) {
  std::optional<std::string> path = JoinKeyPath("", keyPath);
  std::optional<std::string> name = ToUtf8(valueName);
  if (!path || !name) return;
  Overlay& o = TheOverlay();
  std::lock_guard lock(o.mutex);
  std::string folded = FoldAscii(*path);
  std::string foldedName = FoldAscii(*name);
  for (OverlayEntry& e : o.entries) {
    if (e.folded == folded && FoldAscii(e.value.name) == foldedName) {
      e.value.type = type;
      e.value.data = std::move(data);
      return;
    }
  }
  o.entries.push_back({folded, *path, {*name, type, std::move(data)}});
}

void SetRegistryOverlayString(std::u16string_view keyPath, std::u16string_view valueName,
                              std::u16string_view text) {
  std::vector<BYTE> data;
  for (char16_t c : text) {
    data.push_back(static_cast<BYTE>(c & 0xFF));
    data.push_back(static_cast<BYTE>(c >> 8));
  }
  data.insert(data.end(), {0, 0});
  SetRegistryOverlay(keyPath, valueName, REG_SZ, std::move(data));
}

void SetRegistryOverlayDword(std::u16string_view keyPath, std::u16string_view valueName, DWORD value) {
  std::vector<BYTE> data;
  for (int i = 0; i < 4; ++i) data.push_back(static_cast<BYTE>(value >> (8 * i)));
  SetRegistryOverlay(keyPath, valueName, REG_DWORD, std::move(data));
}

void ClearRegistryOverlay() {
  Overlay& o = TheOverlay();
  std::lock_guard lock(o.mutex);
  o.entries.clear();
}

}  // namespace snk::host
