#include "services/core_module.h"

#include <algorithm>
#include <new>
#include <string>

#include "platform/win32.h"

namespace {

CKMC_CoreModule* g_core = nullptr;

constexpr std::u16string_view kVirtualizedFolder =
    u"Microsoft\\Windows\\Temporary Internet Files\\Virtualized\\";

// `text` without blanks and hyphens.
std::u16string WithoutBlanksAndHyphens(std::u16string_view text) {
  std::u16string out;
  for (char16_t c : text)
    if (c != u' ' && c != u'-') out += c;
  return out;
}

}  // namespace

std::vector<CKM_WideString> GetInstalledFaceNames() {
  // The mapper loads its list at the first request and answers that one
  // with the list as it stood before, which was empty.
  static bool loaded = false;
  if (!loaded) {
    loaded = true;
    return {};
  }
  std::vector<CKM_WideString> names;
  const ULONG needed = SnkListInstalledFaceNames(nullptr, 0);
  if (needed == 0) return names;
  std::u16string buffer(needed, u'\0');
  if (SnkListInstalledFaceNames(buffer.data(), needed) != needed) return names;
  for (size_t at = 0; at < buffer.size() && buffer[at] != u'\0';) {
    const size_t end = buffer.find(u'\0', at);
    if (end == std::u16string::npos) break;
    names.emplace_back(std::u16string_view(buffer).substr(at, end - at));
    at = end + 1;
  }
  return names;
}

CKMC_CoreModule::CKMC_CoreModule(HMODULE module) : m_module(module) {
  m_dataExchange = std::make_unique<CKMC_DataExchange>();
  auto language = std::make_unique<CKMC_Language>();
  language->SetModule(module);
  language->LoadLanguageFile();
  m_language = std::move(language);
  LoadFontNames();
  CreateUserSettingsKey();
}

// Modules are not owned: they leave through Release.
CKMC_CoreModule::~CKMC_CoreModule() {
  m_dataExchange.reset();
  m_language.reset();
  m_fontNames.clear();
  m_printerContext.reset();
}

CKMC_CoreModule* CKMC_CoreModule::Get() { return g_core; }

CKMC_CoreModule* CKMC_CoreModule::Startup(HMODULE module, ModuleRegistration registerModules) {
  if (!g_core) {
    g_core = new (std::nothrow) CKMC_CoreModule(module);
    if (!g_core) return nullptr;
  }
  if (IKMC_Language* language = g_core->GetLanguage()) language->SetModule(g_core->m_module);
  g_core->GetFontNameList();
  // Each factory registers its module once per process, so a second
  // start-up adds nothing.
  if (registerModules) registerModules(module);
  return g_core;
}

void CKMC_CoreModule::Shutdown() {
  if (g_core) g_core->Release();
}

void CKMC_CoreModule::Release() {
  // A module's Release may not add or remove modules; the list is taken
  // out first so that a module asking for the core sees an empty walk.
  std::vector<IKMC_PluginModule*> modules;
  modules.swap(m_modules);
  for (IKMC_PluginModule* module : modules) module->Release();
  if (g_core == this) g_core = nullptr;
  delete this;
}

const std::vector<CKMC_FontNamePair>& CKMC_CoreModule::GetFontNameList() {
  if (m_fontNames.empty()) LoadFontNames();
  return m_fontNames;
}

void CKMC_CoreModule::LoadFontNames() {
  if (!m_fontNames.empty()) return;
  std::vector<CKM_WideString> names = GetInstalledFaceNames();
  LoadFontNames(names);
}

void CKMC_CoreModule::LoadFontNames(std::span<const CKM_WideString> names) {
  if (!m_fontNames.empty()) return;
  for (size_t i = 0; i < names.size(); ++i) {
    CKMC_FontNamePair pair;
    std::u16string_view entry = names[i].view();
    if (!entry.empty() && entry[0] == u' ') {
      // An alternate name; its face is the next entry, which also comes
      // round as an entry of its own.
      if (i + 1 >= names.size()) break;
      pair.AlternateName = CKM_WideString(entry.substr(1));
      pair.FaceName = names[i + 1];
    } else {
      pair.FaceName = names[i];
      pair.AlternateName = names[i];
    }
    // An empty face name would be found inside every name.
    if (pair.FaceName.IsEmpty()) continue;
    bool present = std::any_of(m_fontNames.begin(), m_fontNames.end(),
                               [&](const CKMC_FontNamePair& p) { return p.FaceName == pair.FaceName; });
    if (!present) m_fontNames.push_back(std::move(pair));
  }
}

CKM_WideString CKMC_CoreModule::GetFontAlternateName(std::u16string_view name) {
  if (name.empty()) return {};
  for (const CKMC_FontNamePair& pair : m_fontNames)
    if (pair.FaceName.view() == name) return pair.AlternateName;
  for (const CKMC_FontNamePair& pair : m_fontNames) {
    std::u16string_view face = pair.FaceName.view();
    if (face.find(name) != std::u16string_view::npos || name.find(face) != std::u16string_view::npos)
      return pair.AlternateName;
  }
  return {};
}

CKM_WideString CKMC_CoreModule::GetFontFaceName(std::u16string_view name) {
  std::u16string cleaned = WithoutBlanksAndHyphens(name);
  if (cleaned.empty()) return {};
  for (const CKMC_FontNamePair& pair : m_fontNames) {
    if (WithoutBlanksAndHyphens(pair.AlternateName.view()) == cleaned ||
        WithoutBlanksAndHyphens(pair.FaceName.view()) == cleaned)
      return pair.FaceName;
  }
  return {};
}

int CKMC_CoreModule::GetVirtualizedPath(const char16_t* path, char16_t* out) {
  if (!path || !out) return 0;
  std::u16string_view source(path);
  if (source.size() >= kVirtualizedPathCapacity) return 0;
  if (source.size() < 3 || source[1] != u':' || source[2] != u'\\') return 0;
  char16_t folder[MAX_PATH] = {};
  if (!SHGetSpecialFolderPathW(nullptr, folder, CSIDL_LOCAL_APPDATA, FALSE)) return 0;
  std::u16string result(folder);
  if (result.empty() || result.back() != u'\\') result += u'\\';
  result += kVirtualizedFolder;
  result += source[0];
  result += u'\\';
  result += source.substr(3);
  if (result.size() >= kVirtualizedPathCapacity) return 0;
  std::copy(result.begin(), result.end(), out);
  out[result.size()] = 0;
  return 1;
}

void CKMC_CoreModule::ApplySettings() {
  if (!m_dirty) return;
  for (IKMC_PluginModule* module : m_modules) module->LoadSettings();
  if (m_dataExchange) {
    const char16_t* file = m_dataExchange->GetFileName();
    char16_t twin[kVirtualizedPathCapacity];
    if (file && *file && GetVirtualizedPath(file, twin)) CopyFileW(file, twin, FALSE);
  }
  m_dirty = 0;
}

void CKMC_CoreModule::SaveSettings() {
  for (IKMC_PluginModule* module : m_modules) module->SaveSettings();
}

CKMC_PrinterContext* CKMC_CoreModule::GetPrinterContext() {
  if (!m_printerContext) m_printerContext.reset(new (std::nothrow) CKMC_PrinterContext{});
  return m_printerContext.get();
}

void CKMC_CoreModule::AddPluginModule(IKMC_PluginModule* module) {
  if (module) m_modules.push_back(module);
}

IKMC_PluginModule* CKMC_CoreModule::GetNextPluginModule(size_t& position) {
  if (position == 0 || position > m_modules.size()) {
    position = 0;
    return nullptr;
  }
  IKMC_PluginModule* module = m_modules[position - 1];
  position = position < m_modules.size() ? position + 1 : 0;
  return module;
}

bool LoadLanguageString(uint32_t id, char16_t* out, size_t capacity) {
  if (!out || capacity == 0) return false;
  out[0] = 0;
  CKMC_CoreModule* core = CKMC_CoreModule::Get();
  IKMC_Language* language = core ? core->GetLanguage() : nullptr;
  return language && language->GetString(id, out, capacity);
}
