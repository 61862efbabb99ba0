#include "driver/device.h"

#include <cmath>
#include <cstring>
#include <vector>

#include "driver/print_job.h"
#include "platform/win32.h"
#include "services/core_module.h"
#include "services/data_exchange.h"
#include "services/language.h"
#include "services/message_box.h"

CKMC_Device::CKMC_Device(CKMC_JobSettings settings) : settings(std::move(settings)) {}
CKMC_Device::~CKMC_Device() {
  document.reset();
  if (palette) EngDeletePalette(palette);
}

namespace {

bool EqualsIgnoringCase(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  auto fold = [](char16_t c) { return (c >= u'a' && c <= u'z') ? char16_t(c - 32) : c; };
  for (size_t i = 0; i < a.size(); ++i)
    if (fold(a[i]) != fold(b[i])) return false;
  return true;
}

// The printer's form list; empty when the spooler gives none.
std::vector<FORM_INFO_1W> EnumPrinterForms(HANDLE printer, std::vector<BYTE>& storage) {
  DWORD needed = 0, returned = 0;
  EnumFormsW(printer, 1, nullptr, 0, &needed, &returned);
  if (needed == 0) return {};
  storage.assign(needed, 0);
  if (!EnumFormsW(printer, 1, storage.data(), needed, &needed, &returned)) return {};
  auto* forms = reinterpret_cast<FORM_INFO_1W*>(storage.data());
  return std::vector<FORM_INFO_1W>(forms, forms + returned);
}

}  // namespace

void CKMC_Device::ComputePageSize() {
  int32_t width = devMode.dmPaperWidth;
  int32_t length = devMode.dmPaperLength;
  std::vector<BYTE> storage;
  bool found = false;
  if ((devMode.dmFields & DM_PAPERSIZE) && devMode.dmPaperSize >= 1 && devMode.dmPaperSize <= 255) {
    auto forms = EnumPrinterForms(printer, storage);
    size_t index = static_cast<size_t>(devMode.dmPaperSize) - 1;
    if (index < forms.size()) {
      width = forms[index].Size.cx / 100;
      length = forms[index].Size.cy / 100;
    }
    found = true;
  }
  if (!found && (devMode.dmFields & DM_FORMNAME)) {
    auto name = CKM_WideString::FromBuffer(devMode.dmFormName, 32);
    for (const auto& form : EnumPrinterForms(printer, storage)) {
      if (form.pName && EqualsIgnoringCase(form.pName, name.view())) {
        width = form.Size.cx / 100;
        length = form.Size.cy / 100;
        found = true;
        break;
      }
    }
  }
  if (!found && (devMode.dmFields & DM_PAPERLENGTH) && (devMode.dmFields & DM_PAPERWIDTH)) {
    width = devMode.dmPaperWidth;
    length = devMode.dmPaperLength;
    found = true;
  }
  if (!found) {
    bool letter = IsMetricDefault() == 0;
    width = letter ? 2159 : 2100;
    length = letter ? 2794 : 2970;
  }
  paperWidth = width;
  paperLength = length;

  surfaceWidth = static_cast<int32_t>(std::trunc(width / 10.0 / 25.4 * Dpi()));
  surfaceHeight = static_cast<int32_t>(std::trunc(length / 10.0 / 25.4 * Dpi()));
  if (surfaceWidth > surfaceHeight) std::swap(surfaceWidth, surfaceHeight);
  if (devMode.dmOrientation == DMORIENT_LANDSCAPE) std::swap(surfaceWidth, surfaceHeight);
}

namespace {

// A request without a scale means actual size.
int32_t ScaleOf(const DEVMODEW& dm) { return dm.dmScale > 0 ? dm.dmScale : 100; }

}  // namespace

void CKMC_Device::FillGdiInfo(GDIINFO& info) const {
  std::memset(&info, 0, sizeof info);
  const int32_t dpi = Dpi();
  const int32_t scale = ScaleOf(devMode);
  info.ulVersion = GDI_DRIVER_VERSION;
  info.ulTechnology = DT_RASPRINTER;
  info.ulHorzSize = static_cast<ULONG>(std::trunc(double(surfaceWidth) / dpi * 25.4 * 100.0 / scale));
  info.ulVertSize = static_cast<ULONG>(std::trunc(double(surfaceHeight) / dpi * 25.4 * 100.0 / scale));
  info.ulHorzRes = static_cast<ULONG>(surfaceWidth);
  info.ulVertRes = static_cast<ULONG>(surfaceHeight);
  info.cBitsPixel = 24;
  info.cPlanes = 1;
  info.ulNumColors = 512;
  info.ulLogPixelsX = info.ulLogPixelsY = static_cast<ULONG>(dpi * scale / 100);
  info.ulAspectX = info.ulAspectY = static_cast<ULONG>(dpi);
  info.ulAspectXY = static_cast<ULONG>(std::trunc(std::sqrt(double(dpi) * dpi * 2.0) + 0.5));
  info.xStyleStep = info.yStyleStep = 1;
  info.denStyleStep = dpi / 6;
  info.szlPhysSize = {surfaceWidth, surfaceHeight};
  info.ulDevicePelsDPI = static_cast<ULONG>(dpi);
}

void CKMC_Device::FillDevInfo(DEVINFO& info) {
  std::memset(&info, 0, sizeof info);
  info.flGraphicsCaps = 0x5120A73F;
  info.iDitherFormat = BMF_24BPP;
  palette = EngCreatePalette(PAL_RGB, 0, nullptr, 0, 0, 0);
  info.hpalDefault = palette;
  info.flGraphicsCaps2 = GCAPS2_PNG;
}

namespace {

constexpr FLONG kHooks = HOOK_BITBLT | HOOK_STRETCHBLT | HOOK_PLGBLT | HOOK_TEXTOUT | HOOK_STROKEPATH |
                         HOOK_FILLPATH | HOOK_STROKEANDFILLPATH | HOOK_LINETO | HOOK_COPYBITS |
                         HOOK_STRETCHBLTROP | HOOK_TRANSPARENTBLT | HOOK_ALPHABLEND | HOOK_GRADIENTFILL;
static_assert(kHooks == 0x3A5EF);

}  // namespace

HSURF CKMC_Device::EnableSurface() {
  SIZEL size{surfaceWidth, surfaceHeight};
  if (UsesBitmapSurface()) {
    LONG stride = (surfaceWidth * 3 + 3) & ~3;
    HBITMAP bitmap = EngCreateBitmap(size, stride, BMF_24BPP, BMF_TOPDOWN, nullptr);
    if (bitmap) {
      surface = reinterpret_cast<HSURF>(bitmap);
      if (SURFOBJ* so = EngLockSurface(surface)) {
        std::memset(so->pvBits, 255, so->cjBits);
        EngUnlockSurface(so);
      }
      EngAssociateSurface(surface, engineDevice, kHooks);
      return surface;
    }
    char16_t text[260] = {};
    if (LoadLanguageString(IDS_PAGE_TOO_LARGE, text, 260))
      ShowMessage(nullptr, text, u"Kelmo PDF Printer Driver", MB_SETFOREGROUND);
    bitmapRefused = true;
  }
  surface = EngCreateDeviceSurface(reinterpret_cast<DHSURF>(this), size, BMF_24BPP);
  EngAssociateSurface(surface, engineDevice, kHooks);
  return surface;
}

void CKMC_Device::DisableSurface() {
  if (surface) EngDeleteSurface(surface);
  surface = nullptr;
}
