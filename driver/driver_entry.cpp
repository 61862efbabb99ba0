#include "driver/driver_entry.h"

#include <algorithm>
#include <cstring>

#include "driver/device.h"
#include "driver/drawing_entries.h"
#include "driver/print_job.h"
#include "modules/plugin_modules.h"
#include "platform/win32.h"
#include "services/core_module.h"
#include "services/language.h"
#include "services/message_box.h"

KMC_ModuleState& ModuleState() {
  static KMC_ModuleState state;
  return state;
}

void OnModuleAttach(HMODULE instance) {
  ModuleState().instance = instance;
  OSVERSIONINFOW version{};
  version.dwOSVersionInfoSize = sizeof version;
  if (GetVersionExW(&version))
    ModuleState().osVersion = version.dwMajorVersion * 100 + version.dwMinorVersion;
  CKMC_CoreModule::Startup(instance, &RegisterPluginModules);
}

void OnModuleDetach() { CKMC_CoreModule::Shutdown(); }

void ReportError(const char16_t* name) {
  char16_t text[260] = {};
  if (!LoadLanguageString(IDS_ERROR_HAPPENED, text, 260)) return;
  CKM_WideString message = CKM_WideString::FromBuffer(text, 260);
  message += u"\"";
  message += name;
  message += u"\".\n\n";
  char16_t report[260] = {};
  LoadLanguageString(IDS_PLEASE_REPORT, report, 260);
  message += report;
  ShowMessage(nullptr, message.c_str(), u"Kelmo PDF Printer Driver", MB_OK);
}

namespace {

// ------------------------------------------------------------ device

DHPDEV APIENTRY DrvEnablePDEV(DEVMODEW* request, LPWSTR logAddress, ULONG, HSURF*, ULONG capsSize,
                              ULONG* caps, ULONG infoSize, DEVINFO* info, HDEV engineDevice,
                              LPWSTR deviceName, HANDLE printer) {
  return Guarded(u"DrvEnablePDEV", DHPDEV{nullptr}, [&]() -> DHPDEV {
    auto device = std::make_unique<CKMC_Device>(CKMC_JobSettings::ReadForDevice());
    if (request) {
      // The public part as it is, and the private part that follows it: the
      // per-job settings path. Each is read only as far as the request says
      // it reaches.
      size_t publicSize = std::min<size_t>(request->dmSize, sizeof(DEVMODEW));
      std::memcpy(&device->devMode, request, publicSize);
      size_t privateSize = std::min<size_t>(request->dmDriverExtra, sizeof device->settingsFilePath);
      std::memcpy(device->settingsFilePath, reinterpret_cast<const BYTE*>(request) + request->dmSize,
                  privateSize);
    }
    if (auto* core = CKMC_CoreModule::Get(); core && core->GetDataExchange())
      core->GetDataExchange()->SetFileName(device->settingsFilePath);
    for (SHORT* resolution : {&device->devMode.dmPrintQuality, &device->devMode.dmYResolution}) {
      if (*resolution < 72) *resolution = 300;
      // The bitmap surface never goes beyond 300 dots per inch.
      if (device->settings.gdiPunt && *resolution >= 301) *resolution = 300;
    }
    device->deviceName = CKM_WideString(deviceName);
    device->engineDevice = engineDevice;
    device->printer = printer;
    device->logAddress = CKM_WideString(logAddress);
    device->ComputePageSize();
    if (info && infoSize >= sizeof(DEVINFO)) device->FillDevInfo(*info);
    if (caps && capsSize >= sizeof(GDIINFO)) device->FillGdiInfo(*reinterpret_cast<GDIINFO*>(caps));
    return reinterpret_cast<DHPDEV>(device.release());
  });
}

CKMC_Device* AsDevice(DHPDEV handle) { return reinterpret_cast<CKMC_Device*>(handle); }

void APIENTRY DrvCompletePDEV(DHPDEV handle, HDEV engineDevice) {
  Guarded(u"DrvCompletePDEV", 0, [&] {
    if (handle) AsDevice(handle)->engineDevice = engineDevice;
    return 0;
  });
}

BOOL APIENTRY DrvResetPDEV(DHPDEV oldHandle, DHPDEV newHandle) {
  return Guarded(u"DrvResetPDEV", FALSE, [&]() -> BOOL {
    CKMC_Device* oldDevice = AsDevice(oldHandle);
    CKMC_Device* newDevice = AsDevice(newHandle);
    if (!oldDevice || !oldDevice->document || !newDevice) return TRUE;
    // The job goes on with the same file and page list on the new device.
    newDevice->document = std::move(oldDevice->document);
    newDevice->surface = oldDevice->surface;
    newDevice->document->Configure(*newDevice);
    return TRUE;
  });
}

void APIENTRY DrvDisablePDEV(DHPDEV handle) {
  Guarded(u"DrvDisablePDEV", 0, [&] {
    delete AsDevice(handle);  // with its document and palette
    return 0;
  });
}

HSURF APIENTRY DrvEnableSurface(DHPDEV handle) {
  return Guarded(u"DrvEnableSurface", HSURF{nullptr},
                 [&]() -> HSURF { return handle ? AsDevice(handle)->EnableSurface() : nullptr; });
}

void APIENTRY DrvDisableSurface(DHPDEV handle) {
  Guarded(u"DrvDisableSurface", 0, [&] {
    if (handle) AsDevice(handle)->DisableSurface();
    return 0;
  });
}

void APIENTRY DrvDisableDriver() {}

// ------------------------------------------------------------ job

BOOL APIENTRY DrvStartDoc(SURFOBJ* surface, LPWSTR documentName, DWORD jobId) {
  return Guarded(u"DrvStartDoc", FALSE, [&]() -> BOOL {
    CKMC_Device* device = DeviceOf(surface);
    if (!device) return FALSE;
    if (device->document) {
      // Job id 0: a later part of the same job after a reset goes on.
      if (jobId == 0) return TRUE;
      device->document->ResetJob();
    } else {
      device->document = std::make_unique<CKMC_Document>();
    }
    device->document->Configure(*device);
    device->document->switches.jobCancelled = 0;
    return device->document->StartDocument(documentName, jobId) ? TRUE : FALSE;
  });
}

BOOL APIENTRY DrvStartPage(SURFOBJ* surface) {
  return Guarded(u"DrvStartPage", FALSE, [&]() -> BOOL {
    CKMC_Device* device = DeviceOf(surface);
    if (!device) return TRUE;
    if (surface->iType == STYPE_BITMAP && surface->pvBits) std::memset(surface->pvBits, 255, surface->cjBits);
    if (device->document) device->document->StartPage();
    return TRUE;
  });
}

BOOL APIENTRY DrvSendPage(SURFOBJ* surface) {
  return Guarded(u"DrvSendPage", FALSE, [&]() -> BOOL {
    CKMC_Device* device = DeviceOf(surface);
    if (device && device->document) device->document->EndPage(surface);
    return TRUE;
  });
}

BOOL APIENTRY DrvEndDoc(SURFOBJ* surface, FLONG /*flags*/) {
  return Guarded(u"DrvEndDoc", FALSE, [&]() -> BOOL {
    CKMC_Device* device = DeviceOf(surface);
    if (device && device->document) device->document->EndDocument();
    return TRUE;
  });
}

// ------------------------------------------------------------ small entries

ULONG APIENTRY DrvEscape(SURFOBJ*, ULONG code, ULONG inSize, PVOID in, ULONG, PVOID) {
  return Guarded(u"DrvEscape", ULONG{0}, [&]() -> ULONG {
    constexpr ULONG kQueryEscSupport = 8;
    if (code == kQueryEscSupport) {
      if (!in || inSize < sizeof(ULONG)) return 0;
      ULONG asked = 0;
      std::memcpy(&asked, in, sizeof asked);
      return asked == 6001 || asked == 6002 ? 1 : 0;
    }
    return code == 6001 || code == 6002 || code == 6003 ? 1 : 0;
  });
}

BOOL APIENTRY DrvRealizeBrush(BRUSHOBJ* brush, SURFOBJ*, SURFOBJ* pattern, SURFOBJ*, XLATEOBJ*, ULONG) {
  return Guarded(u"DrvRealizeBrush", FALSE, [&]() -> BOOL {
    // The driver keeps no realised brushes; the engine only needs to see one.
    if (pattern && brush) BRUSHOBJ_pvAllocRbrush(brush, 4);
    return TRUE;
  });
}

BOOL APIENTRY DrvQueryDeviceSupport(SURFOBJ*, XLATEOBJ*, XFORMOBJ*, ULONG, ULONG inSize, PVOID in, ULONG,
                                    PVOID) {
  if (!in || inSize == 0) return FALSE;
  return FALSE;
}

template <typename F>
DRVFN Entry(ULONG index, F* function) {
  return DRVFN{index, reinterpret_cast<PFN>(function)};
}

DRVFN g_table[] = {
    Entry(INDEX_DrvDisableDriver, &DrvDisableDriver),
    Entry(INDEX_DrvEnablePDEV, &DrvEnablePDEV),
    Entry(INDEX_DrvResetPDEV, &DrvResetPDEV),
    Entry(INDEX_DrvCompletePDEV, &DrvCompletePDEV),
    Entry(INDEX_DrvDisablePDEV, &DrvDisablePDEV),
    Entry(INDEX_DrvEnableSurface, &DrvEnableSurface),
    Entry(INDEX_DrvDisableSurface, &DrvDisableSurface),
    Entry(INDEX_DrvEscape, &DrvEscape),
    Entry(INDEX_DrvLineTo, &DrvLineTo),
    Entry(INDEX_DrvStrokePath, &DrvStrokePath),
    Entry(INDEX_DrvStrokeAndFillPath, &DrvStrokeAndFillPath),
    Entry(INDEX_DrvFillPath, &DrvFillPath),
    Entry(INDEX_DrvCopyBits, &DrvCopyBits),
    Entry(INDEX_DrvRealizeBrush, &DrvRealizeBrush),
    Entry(INDEX_DrvPlgBlt, &DrvPlgBlt),
    Entry(INDEX_DrvBitBlt, &DrvBitBlt),
    Entry(INDEX_DrvStretchBlt, &DrvStretchBlt),
    Entry(INDEX_DrvStretchBltROP, &DrvStretchBltROP),
    Entry(INDEX_DrvAlphaBlend, &DrvAlphaBlend),
    Entry(INDEX_DrvGradientFill, &DrvGradientFill),
    Entry(INDEX_DrvTransparentBlt, &DrvTransparentBlt),
    Entry(INDEX_DrvGetGlyphMode, &DrvGetGlyphMode),
    Entry(INDEX_DrvTextOut, &DrvTextOut),
    Entry(INDEX_DrvSendPage, &DrvSendPage),
    Entry(INDEX_DrvStartPage, &DrvStartPage),
    Entry(INDEX_DrvStartDoc, &DrvStartDoc),
    Entry(INDEX_DrvEndDoc, &DrvEndDoc),
    Entry(INDEX_DrvQueryDeviceSupport, &DrvQueryDeviceSupport),
};
static_assert(sizeof(g_table) / sizeof(g_table[0]) == 28);

}  // namespace

extern "C" BOOL APIENTRY DrvEnableDriver(ULONG /*engineVersion*/, ULONG size, DRVENABLEDATA* data) {
  if (size < sizeof(DRVENABLEDATA) || !data) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return FALSE;
  }
  data->iDriverVersion = DDI_DRIVER_VERSION_NT5_01;
  data->c = sizeof(g_table) / sizeof(g_table[0]);
  data->pdrvfn = g_table;
  return TRUE;
}

extern "C" BOOL APIENTRY DrvQueryDriverInfo(DWORD mode, PVOID buffer, DWORD bufferSize, DWORD* needed) {
  if (mode == DRVQUERY_USERMODE && buffer && bufferSize >= sizeof(DWORD)) {
    DWORD userMode = 1;
    std::memcpy(buffer, &userMode, sizeof userMode);
    return TRUE;
  }
  if (needed) *needed = sizeof(DWORD);
  SetLastError(ERROR_INVALID_PARAMETER);
  return FALSE;
}
