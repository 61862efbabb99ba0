#include <gtest/gtest.h>

#include "driver/device.h"
#include "driver/driver_entry.h"
#include "host/engine/surface.h"
#include "host/system/host_control.h"
#include "services/core_module.h"
#include "services/data_exchange.h"
#include "test_support.h"

namespace {

class Device : public snk::test::HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    OnModuleAttach(nullptr);
    printer_ = snk::host::OpenHostPrinter(u"Test Printer");
  }
  void TearDown() override {
    snk::host::ClosePrinter(printer_);
    OnModuleDetach();
    HostTest::TearDown();
  }

  // Runs DrvEnablePDEV through the table, as the engine does.
  CKMC_Device* Enable(DEVMODEW dm, GDIINFO* gdi = nullptr) {
    DRVENABLEDATA data{};
    DrvEnableDriver(0, sizeof data, &data);
    PFN_DrvEnablePDEV enable = nullptr;
    for (ULONG i = 0; i < data.c; ++i)
      if (data.pdrvfn[i].iFunc == INDEX_DrvEnablePDEV) enable = reinterpret_cast<PFN_DrvEnablePDEV>(data.pdrvfn[i].pfn);
    GDIINFO local{};
    DEVINFO info{};
    struct {
      DEVMODEW dm;
      char16_t path[260];
    } request{dm, {}};
    auto* device = reinterpret_cast<CKMC_Device*>(enable(&request.dm, nullptr, 0, nullptr, sizeof(GDIINFO),
                                                         reinterpret_cast<ULONG*>(gdi ? gdi : &local),
                                                         sizeof info, &info, nullptr, nullptr, printer_));
    devices_.emplace_back(device);
    return device;
  }

  static DEVMODEW Paper(SHORT width, SHORT length, SHORT dpi, SHORT orientation = 1) {
    DEVMODEW dm{};
    dm.dmFields = DM_PAPERWIDTH | DM_PAPERLENGTH;
    dm.dmPaperWidth = width;
    dm.dmPaperLength = length;
    dm.dmPrintQuality = dm.dmYResolution = dpi;
    dm.dmOrientation = orientation;
    dm.dmScale = 100;
    return dm;
  }

  void SetUserInt(const char16_t* name, DWORD value) {
    CreateUserSettingsKey();
    SetRegInt(name, value);
  }

  HANDLE printer_ = nullptr;
  std::vector<std::unique_ptr<CKMC_Device>> devices_;
};

TEST_F(Device, ResolutionIsAtLeast72AndAtMost300ForTheBitmapSurface) {
  EXPECT_EQ(Enable(Paper(2100, 2970, 50))->Dpi(), 300);
  EXPECT_EQ(Enable(Paper(2100, 2970, 600))->Dpi(), 300);
  EXPECT_EQ(Enable(Paper(2100, 2970, 600))->devMode.dmYResolution, 300);
  SetUserInt(u"GDIPunt", 0);
  EXPECT_EQ(Enable(Paper(2100, 2970, 600))->Dpi(), 600);
  EXPECT_EQ(Enable(Paper(2100, 2970, 72))->Dpi(), 72);
}

TEST_F(Device, PageSizeFollowsPaperAndOrientation) {
  auto* portrait = Enable(Paper(2100, 2970, 300));
  EXPECT_EQ(portrait->surfaceWidth, 2480);
  EXPECT_EQ(portrait->surfaceHeight, 3507);
  auto* landscape = Enable(Paper(2100, 2970, 300, DMORIENT_LANDSCAPE));
  EXPECT_EQ(landscape->surfaceWidth, 3507);
  EXPECT_EQ(landscape->surfaceHeight, 2480);
  // Only the orientation decides the shape: a wide paper still prints portrait.
  auto* wide = Enable(Paper(2970, 2100, 300));
  EXPECT_EQ(wide->surfaceWidth, 2480);
  EXPECT_EQ(wide->surfaceHeight, 3507);
  EXPECT_EQ(wide->paperWidth, 2970);  // the paper itself is kept as given
}

TEST_F(Device, PaperComesFromTheFormListByNumberOrName) {
  DEVMODEW dm = Paper(1000, 1000, 300);
  dm.dmFields = DM_PAPERSIZE | DM_PAPERWIDTH | DM_PAPERLENGTH;
  dm.dmPaperSize = 9;  // A4 in the standard list
  auto* a4 = Enable(dm);
  EXPECT_EQ(a4->surfaceWidth, 2480);
  EXPECT_EQ(a4->surfaceHeight, 3507);
  dm.dmPaperSize = 200;  // past the end: the values stay as they were
  auto* past = Enable(dm);
  EXPECT_EQ(past->paperWidth, 1000);
  EXPECT_EQ(past->surfaceWidth, 1181);

  DEVMODEW named = Paper(0, 0, 300);
  named.dmFields = DM_FORMNAME;
  std::u16string form = u"lETTER";
  std::copy(form.begin(), form.end(), named.dmFormName);
  auto* letter = Enable(named);
  EXPECT_EQ(letter->surfaceWidth, 2550);
  EXPECT_EQ(letter->surfaceHeight, 3300);
}

TEST_F(Device, WithoutPaperTheUsersCountryDecides) {
  DEVMODEW dm = Paper(0, 0, 300);
  dm.dmFields = 0;
  snk::host::SetRegistryOverlayString(u"Control Panel\\International", u"iCountry", u"1");
  auto* us = Enable(dm);
  EXPECT_EQ(us->surfaceWidth, 2550);
  EXPECT_EQ(us->surfaceHeight, 3300);
  snk::host::SetRegistryOverlayString(u"Control Panel\\International", u"iCountry", u"49");
  auto* de = Enable(dm);
  EXPECT_EQ(de->surfaceWidth, 2480);
  EXPECT_EQ(de->surfaceHeight, 3507);
}

TEST_F(Device, CapabilityRecordsDescribeA24BitRasterPrinter) {
  GDIINFO gdi{};
  auto* device = Enable(Paper(2100, 2970, 300), &gdi);
  EXPECT_EQ(gdi.ulVersion, 0x5001u);
  EXPECT_EQ(gdi.ulTechnology, 2u);
  EXPECT_EQ(gdi.ulHorzSize, 209u);  // millimetres: trunc(2480 / 300 * 25.4)
  EXPECT_EQ(gdi.ulVertSize, 296u);
  EXPECT_EQ(gdi.ulHorzRes, 2480u);
  EXPECT_EQ(gdi.ulVertRes, 3507u);
  EXPECT_EQ(gdi.cBitsPixel, 24u);
  EXPECT_EQ(gdi.ulNumColors, 512u);
  EXPECT_EQ(gdi.ulLogPixelsX, 300u);
  EXPECT_EQ(gdi.ulAspectXY, 424u);
  EXPECT_EQ(gdi.denStyleStep, 50);
  EXPECT_EQ(gdi.szlPhysSize.cx, 2480);
  EXPECT_EQ(gdi.ulDevicePelsDPI, 300u);
  EXPECT_NE(device->palette, nullptr);
}

TEST_F(Device, ATooLargeBitmapFallsBackToADeviceSurfaceWithOneBox) {
  auto* huge = Enable(Paper(30000, 30000, 300));
  snk::engine::HostDevice hdev{reinterpret_cast<DHPDEV>(huge)};
  huge->engineDevice = reinterpret_cast<HDEV>(&hdev);
  HSURF surface = huge->EnableSurface();
  ASSERT_NE(surface, nullptr);
  ASSERT_EQ(boxes_.size(), 1u);
  EXPECT_EQ(boxes_[0].text.find(u"The page size is too large"), 0u);
  EXPECT_EQ(boxes_[0].type, MB_SETFOREGROUND);
  EXPECT_EQ(huge->gdiPunt, 0u);
  SURFOBJ* so = EngLockSurface(surface);
  EXPECT_EQ(so->iType, STYPE_DEVICE);
  EXPECT_EQ(DeviceOf(so), huge);
  EngUnlockSurface(so);
  huge->DisableSurface();

  auto* a4 = Enable(Paper(2100, 2970, 300));
  a4->engineDevice = reinterpret_cast<HDEV>(&hdev);
  hdev.dhpdev = reinterpret_cast<DHPDEV>(a4);
  so = EngLockSurface(a4->EnableSurface());
  EXPECT_EQ(so->iType, STYPE_BITMAP);
  EXPECT_EQ(so->lDelta, 7440);
  EXPECT_EQ(static_cast<uint8_t*>(so->pvBits)[so->cjBits - 1], 255);  // white
  EngUnlockSurface(so);
  a4->DisableSurface();
  EXPECT_EQ(boxes_.size(), 1u);
}

}  // namespace
