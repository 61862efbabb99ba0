// The engine's side of a print job: it loads the driver module by path,
// enters it through DrvEnableDriver and the table it returns, and calls the
// entries in the order the graphics engine uses:
//   DrvEnablePDEV, DrvCompletePDEV, DrvEnableSurface,
//   DrvStartDoc, (DrvStartPage, drawing..., DrvSendPage)*, DrvEndDoc,
//   DrvDisableSurface, DrvDisablePDEV.
#pragma once

#include <memory>
#include <string>

#include "host/engine/surface.h"
#include "platform/winddi.h"

namespace snk::engine {

class SNK_HOST_API DriverModule {
 public:
  // Opens the module and calls DrvEnableDriver; null with a message on error.
  static std::unique_ptr<DriverModule> Load(const std::string& path, std::string* error);
  ~DriverModule();
  DriverModule(const DriverModule&) = delete;
  DriverModule& operator=(const DriverModule&) = delete;

  // The driver's function for a table index, or null if it has none.
  PFN Function(ULONG index) const;
  template <typename F>
  F Get(ULONG index) const {
    return reinterpret_cast<F>(Function(index));
  }

 private:
  DriverModule() = default;
  void* handle_ = nullptr;
  DRVENABLEDATA table_{};
};

// The request the engine passes to DrvEnablePDEV: the public device mode
// and the driver's private part, the settings file path.
struct DeviceRequest {
  DeviceRequest() {
    devmode.dmSize = sizeof(DEVMODEW);
    devmode.dmDriverExtra = sizeof settingsFile;
  }
  DEVMODEW devmode{};
  char16_t settingsFile[260] = {};
};
static_assert(sizeof(DeviceRequest) == 220 + 520);

class SNK_HOST_API EngineJob {
 public:
  explicit EngineJob(const DriverModule& driver) : driver_(driver) {}
  ~EngineJob();

  bool Enable(DeviceRequest request, const std::u16string& deviceName, HANDLE printer,
              std::string* error);
  bool StartDoc(const std::u16string& documentName, DWORD jobId);
  bool StartPage();
  bool SendPage();
  bool EndDoc();
  void Disable();

  SURFOBJ* Surface() const { return surface_; }
  const GDIINFO& GdiInfo() const { return gdiInfo_; }
  const DEVINFO& DevInfo() const { return devInfo_; }
  const DriverModule& Driver() const { return driver_; }

 private:
  const DriverModule& driver_;
  HostDevice device_;
  GDIINFO gdiInfo_{};
  DEVINFO devInfo_{};
  std::u16string deviceName_;
  HSURF hsurf_ = nullptr;
  SURFOBJ* surface_ = nullptr;
};

}  // namespace snk::engine
