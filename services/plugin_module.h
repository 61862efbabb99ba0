// IKMC_PluginModule: a post-processing module registered with the core.
//
// The finishing step of a job walks the core's module list: if any module
// is enabled it reopens the written document and hands it to every module
// in registration order. The settings and page operations serve the
// interface module, which shares these sources; in the driver they are
// never called.
#pragma once

class CPDF_Document;

class IKMC_PluginModule {
 public:
  virtual ~IKMC_PluginModule() = default;
  // Destroys the module's property page, if one was made, and the module
  // itself, and clears the module's own global pointer.
  virtual void Release() = 0;
  // Interface module: the page reads its stored values from the user's
  // registry key and mirrors them into the settings file.
  virtual void LoadSettings() = 0;
  // Interface module: the page writes its state back to the user's key
  // when the printer context's SaveToRegistry is set.
  virtual void SaveSettings() = 0;
  // True when the module wants the finished document reopened (every job).
  virtual bool IsEnabled() = 0;
  // Changes the reopened document. `batch` is non-zero for a job in batch
  // mode. The result is not used by the caller.
  virtual int ProcessDocument(CPDF_Document* document, bool batch) = 0;
  // Interface module: builds the module's property pages.
  virtual void CreatePages() = 0;
};
