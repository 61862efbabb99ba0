// CKMC_Device: the object behind the driver's device handle.
//
// It lives from DrvEnablePDEV to DrvDisablePDEV and holds the printing
// request, the user's settings as read at that moment, the page size in
// device pixels, the surface, and the running job's document.
#pragma once

#include <cstdint>
#include <memory>

#include "base/byte_string.h"
#include "driver/job_settings.h"
#include "platform/winddi.h"

class CKMC_Document;

class CKMC_Device {
 public:
  explicit CKMC_Device(CKMC_JobSettings settings = {});
  ~CKMC_Device();

  // Page size in device pixels from the request's paper and resolution.
  void ComputePageSize();
  void FillGdiInfo(GDIINFO& info) const;
  void FillDevInfo(DEVINFO& info);
  HSURF EnableSurface();
  void DisableSurface();

  int32_t Dpi() const { return devMode.dmPrintQuality; }
  // Whether the surface is a bitmap that the engine draws on too.
  bool UsesBitmapSurface() const { return settings.gdiPunt && !bitmapRefused; }

  DEVMODEW devMode{};
  char16_t settingsFilePath[260] = {};

  // The user's settings as read when the device was made.
  const CKMC_JobSettings settings;
  // The engine could not make the bitmap surface: the device draws without
  // one, whatever the GDIPunt setting says.
  bool bitmapRefused = false;

  // Paper in tenths of a millimetre as the request gave it (before any
  // orientation swap), and the page size in device pixels.
  int32_t paperWidth = 0;
  int32_t paperLength = 0;
  int32_t surfaceWidth = 0;
  int32_t surfaceHeight = 0;

  CKM_WideString logAddress;
  CKM_WideString deviceName;
  HDEV engineDevice = nullptr;
  HANDLE printer = nullptr;
  HSURF surface = nullptr;
  HPALETTE palette = nullptr;
  std::unique_ptr<CKMC_Document> document;
};

// The device behind a surface, or null for a surface that has none.
inline CKMC_Device* DeviceOf(SURFOBJ* surface) {
  return surface ? reinterpret_cast<CKMC_Device*>(surface->dhpdev) : nullptr;
}
