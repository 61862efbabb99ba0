// CKMC_CoreModule: the one service object of the driver module.
//
// Created once when the module is loaded and released when it is unloaded,
// it owns the settings store, the language table, the font name table and
// the printer context, and keeps the ordered list of plug-in modules that
// the finishing step of a job walks. Nothing here throws; where an object
// is missing the result is null or zero.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "base/byte_string.h"
#include "platform/win_types.h"
#include "services/data_exchange.h"
#include "services/language.h"
#include "services/plugin_module.h"

// A face name and the other name the font mapper knows it by (for a face
// without one, the face name again).
struct CKMC_FontNamePair {
  CKM_WideString FaceName;
  CKM_WideString AlternateName;
};

// Job-wide printer state shared by the modules' pages. Zero-filled.
struct CKMC_PrinterContext {
  uintptr_t reserved;
  HANDLE printer;
  // Pages write their state back to the user's registry key only when set.
  uint32_t SaveToRegistry;
  uint8_t reservedRoom[516];
};
static_assert(sizeof(CKMC_PrinterContext) == 536);

// The capacity, in characters, of GetVirtualizedPath's output.
inline constexpr size_t kVirtualizedPathCapacity = 256;

class IKMC_CoreModule {
 public:
  // Releases every registered module, empties the list, destroys the core
  // and clears the process-wide pointer.
  virtual void Release() = 0;
  virtual ~IKMC_CoreModule() = default;
  // The font name table, filled by LoadFontNames if it is empty.
  virtual const std::vector<CKMC_FontNamePair>& GetFontNameList() = 0;
  virtual IKMC_DataExchange* GetDataExchange() = 0;
  // Where a low-integrity process finds its copy of `path` ("X:\..." only,
  // shorter than 256 characters): below the local application data folder,
  // "Microsoft\Windows\Temporary Internet Files\Virtualized\", the drive
  // letter, '\' and the rest of the path. `out` holds
  // kVirtualizedPathCapacity characters. 1 on success; 0 leaves `out`
  // undefined.
  virtual int GetVirtualizedPath(const char16_t* path, char16_t* out) = 0;
  virtual IKMC_Language* GetLanguage() = 0;
  virtual uintptr_t GetUserValue() = 0;
  virtual void SetUserValue(uintptr_t value) = 0;
  virtual void SetDirty() = 0;
  virtual void ClearDirty() = 0;
  virtual int IsDirty() = 0;
  // When dirty: every module loads its settings, the settings file is
  // copied over its virtualized twin, and the flag is cleared. Else nothing.
  virtual void ApplySettings() = 0;
  // Every module saves its settings.
  virtual void SaveSettings() = 0;
  // Made zero-filled on first use.
  virtual CKMC_PrinterContext* GetPrinterContext() = 0;
  // Appends to the module list (no test for duplicates).
  virtual void AddPluginModule(IKMC_PluginModule* module) = 0;
  // Non-zero when a module is registered: the start position of a walk.
  virtual size_t HasPluginModules() = 0;
  // The module at `position` (1-based), which then moves on; after the
  // last module it becomes 0. Null for a position outside the list.
  virtual IKMC_PluginModule* GetNextPluginModule(size_t& position) = 0;
  // The alternate name of the pair whose face name is `name`, else of the
  // first pair where either name contains the other; else empty.
  virtual CKM_WideString GetFontAlternateName(std::u16string_view name) = 0;
  // The face name of the first pair whose face or alternate name equals
  // `name` once blanks and hyphens are removed from both; else empty.
  virtual CKM_WideString GetFontFaceName(std::u16string_view name) = 0;
};

class CKMC_CoreModule : public IKMC_CoreModule {
 public:
  explicit CKMC_CoreModule(HMODULE module);
  ~CKMC_CoreModule() override;
  CKMC_CoreModule(const CKMC_CoreModule&) = delete;
  CKMC_CoreModule& operator=(const CKMC_CoreModule&) = delete;

  void Release() override;
  const std::vector<CKMC_FontNamePair>& GetFontNameList() override;
  IKMC_DataExchange* GetDataExchange() override { return m_dataExchange.get(); }
  int GetVirtualizedPath(const char16_t* path, char16_t* out) override;
  IKMC_Language* GetLanguage() override { return m_language.get(); }
  uintptr_t GetUserValue() override { return m_userValue; }
  void SetUserValue(uintptr_t value) override { m_userValue = value; }
  void SetDirty() override { m_dirty = 1; }
  void ClearDirty() override { m_dirty = 0; }
  int IsDirty() override { return m_dirty; }
  void ApplySettings() override;
  void SaveSettings() override;
  CKMC_PrinterContext* GetPrinterContext() override;
  void AddPluginModule(IKMC_PluginModule* module) override;
  size_t HasPluginModules() override { return m_modules.empty() ? 0 : 1; }
  IKMC_PluginModule* GetNextPluginModule(size_t& position) override;
  CKM_WideString GetFontAlternateName(std::u16string_view name) override;
  CKM_WideString GetFontFaceName(std::u16string_view name) override;

  // Fills the font name table from the font mapper's list of installed
  // face names, unless it holds entries already.
  void LoadFontNames();
  // The same from a given list: an entry that begins with a blank is an
  // alternate name (without the blank) of the face named by the entry after
  // it; any other entry is its own alternate name. A pair whose face name is
  // already present (case-sensitive) is not added again.
  void LoadFontNames(std::span<const CKM_WideString> names);

  HMODULE GetModule() const { return m_module; }

  // The module's instance, or null before start-up and after shut-down.
  static CKMC_CoreModule* Get();
  // The caller's registration of the plug-in modules: each module's
  // factory registers it with the running core, once per process.
  using ModuleRegistration = void (*)(HMODULE module);
  // Creates the instance (once per process), then lets `registerModules`
  // register the plug-in modules in their order. Calling it again returns
  // the running instance.
  static CKMC_CoreModule* Startup(HMODULE module, ModuleRegistration registerModules = nullptr);
  // Release of the running instance, if any.
  static void Shutdown();

  // For tests: replaces the language object (null: no language at all).
  void SetLanguage(std::unique_ptr<IKMC_Language> language) { m_language = std::move(language); }
  // For tests: replaces the font name table (empty: the next load fills it).
  void SetFontNames(std::vector<CKMC_FontNamePair> pairs) { m_fontNames = std::move(pairs); }

 private:
  HMODULE m_module;
  uint32_t m_dirty = 1;
  uintptr_t m_userValue = 0;
  std::vector<CKMC_FontNamePair> m_fontNames;
  std::unique_ptr<CKMC_PrinterContext> m_printerContext;
  std::unique_ptr<IKMC_Language> m_language;
  std::unique_ptr<IKMC_DataExchange> m_dataExchange;
  std::vector<IKMC_PluginModule*> m_modules;
};

// The face names the font mapper lists as installed, in its order; a name
// that begins with a blank is the alternate name of the face that follows
// it. The mapper answers with the list it had before this call: a list it
// had not loaded yet gives nothing the first time.
std::vector<CKM_WideString> GetInstalledFaceNames();

// Text `id` of the module's language object into `out`; false (and an
// empty text) when there is no core module, no language object or no text.
bool LoadLanguageString(uint32_t id, char16_t* out, size_t capacity);
