// CKMC_Device: the object behind the driver's device handle.
//
// It lives from DrvEnablePDEV to DrvDisablePDEV and holds the printing
// request, the user's settings as read at that moment, the page size in
// device pixels, the surface, and the running job's document.
#pragma once

#include <cstdint>
#include <memory>

#include "base/byte_string.h"
#include "platform/winddi.h"

class CKMC_Document;

class CKMC_Device {
 public:
  CKMC_Device();
  ~CKMC_Device();

  // Reads the device options from the user's settings key.
  void LoadSettings();
  // Page size in device pixels from the request's paper and resolution.
  void ComputePageSize();
  void FillGdiInfo(GDIINFO& info) const;
  void FillDevInfo(DEVINFO& info);
  HSURF EnableSurface();
  void DisableSurface();

  int32_t Dpi() const { return devMode.dmPrintQuality; }

  DEVMODEW devMode{};
  char16_t settingsFilePath[260] = {};

  // Settings.
  char16_t folder[260] = {};
  uint32_t overwrite = 0;
  uint32_t useDefaultName = 0;
  uint32_t openFile = 1;
  uint32_t gdiPunt = 1;
  uint32_t imageCompress = 1;
  uint32_t ignoreBackground = 0;
  uint32_t mergeImages = 1;
  uint32_t pdfa = 0;
  uint32_t pdfVersion = 14;
  uint32_t showDialog = 1;
  uint32_t bitmapFontSize = 100;
  uint32_t fontEmbed = 2;
  uint32_t fontWarn = 1;
  uint32_t postProcess = 0;

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
