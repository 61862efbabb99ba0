// The engine's side of a print job: it loads the driver module by path,
// enters it through DrvEnableDriver and the table it returns, and calls the
// entries in the order the graphics engine uses:
//   DrvEnablePDEV, DrvCompletePDEV, DrvEnableSurface,
//   DrvStartDoc, (DrvStartPage, drawing..., DrvSendPage)*, DrvEndDoc,
//   DrvDisableSurface, DrvDisablePDEV.
// Between pages a job may move to a device with other paper, as the engine
// does after an application changes its device mode (see Reset).
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
  // Moves the running job to a new device made from `request`, between
  // pages: DrvEnablePDEV and DrvCompletePDEV for the new device,
  // DrvResetPDEV from the old one, DrvEnableSurface, DrvStartDoc with job
  // id 0, then DrvDisableSurface and DrvDisablePDEV for the old device.
  // A failure before DrvResetPDEV leaves the job on the old device; after
  // it the job is the new device's, with or without a surface. `error`
  // says what failed.
  bool Reset(DeviceRequest request, std::string* error);
  bool StartPage();
  bool SendPage();
  bool EndDoc();
  void Disable();

  SURFOBJ* Surface() const { return current_.surface; }
  const GDIINFO& GdiInfo() const { return current_.gdiInfo; }
  const DEVINFO& DevInfo() const { return current_.devInfo; }
  const DriverModule& Driver() const { return driver_; }

 private:
  // One enabled driver device with its surface. The engine record lives on
  // the heap: its address is the device's HDEV and must not move.
  struct Device {
    std::unique_ptr<HostDevice> engine = std::make_unique<HostDevice>();
    GDIINFO gdiInfo{};
    DEVINFO devInfo{};
    HSURF hsurf = nullptr;
    SURFOBJ* surface = nullptr;
  };

  bool EnableDevice(Device& device, DeviceRequest& request, std::string* error);
  // DrvEnableSurface for the device, and the engine surface locked.
  bool EnableSurface(Device& device, std::string* error);
  void DisableDevice(Device& device);

  const DriverModule& driver_;
  Device current_;
  HANDLE printer_ = nullptr;
  std::u16string deviceName_;
  std::u16string documentName_;
};

}  // namespace snk::engine
