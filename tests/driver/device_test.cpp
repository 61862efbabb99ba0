#include "driver/device.h"

#include <gtest/gtest.h>

#include <cstring>

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

  // The driver's entry for `index`, from its table, as the engine finds it.
  template <typename F>
  static F Entry(ULONG index) {
    DRVENABLEDATA data{};
    DrvEnableDriver(0, sizeof data, &data);
    for (ULONG i = 0; i < data.c; ++i)
      if (data.pdrvfn[i].iFunc == index) return reinterpret_cast<F>(data.pdrvfn[i].pfn);
    return nullptr;
  }

  // Runs DrvEnablePDEV through the table, as the engine does.
  CKMC_Device* EnableRequest(DEVMODEW* request, GDIINFO* gdi = nullptr) {
    auto enable = Entry<PFN_DrvEnablePDEV>(INDEX_DrvEnablePDEV);
    GDIINFO local{};
    DEVINFO info{};
    auto* device = reinterpret_cast<CKMC_Device*>(enable(request, nullptr, 0, nullptr, sizeof(GDIINFO),
                                                         reinterpret_cast<ULONG*>(gdi ? gdi : &local),
                                                         sizeof info, &info, nullptr, nullptr, printer_));
    devices_.emplace_back(device);
    return device;
  }
  CKMC_Device* Enable(DEVMODEW dm, GDIINFO* gdi = nullptr) {
    struct {
      DEVMODEW dm;
      char16_t path[260];
    } request{dm, {}};
    return EnableRequest(&request.dm, gdi);
  }

  static DEVMODEW Paper(SHORT width, SHORT length, SHORT dpi, SHORT orientation = 1) {
    DEVMODEW dm{};
    dm.dmSize = sizeof(DEVMODEW);
    dm.dmDriverExtra = 520;
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

TEST_F(Device, SettingsMissingFromTheStoreTakeTheTablesDefaults) {
  EXPECT_EQ(Enable(Paper(2100, 2970, 300))->settings, CKMC_JobSettings{});
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

TEST_F(Device, ARequestIsReadOnlyAsFarAsItReaches) {
  // An older, shorter device mode: its private part starts where it ends.
  struct {
    DEVMODEW dm;
    char16_t tail[300];
  } request{};
  request.dm.dmSize = 156;
  request.dm.dmDriverExtra = 8;
  request.dm.dmPrintQuality = 300;
  request.dm.dmFields = DM_PAPERWIDTH | DM_PAPERLENGTH;
  request.dm.dmPaperWidth = 2100;
  request.dm.dmPaperLength = 2970;
  request.dm.dmPelsWidth = 7;  // beyond dmSize: not read
  char16_t path[] = {u'a', u'b', u'c', u'd', u'e'};
  std::memcpy(reinterpret_cast<BYTE*>(&request) + 156, path, sizeof path);
  auto* device = EnableRequest(&request.dm);
  EXPECT_EQ(device->devMode.dmPelsWidth, 0u);
  EXPECT_EQ(std::u16string(device->settingsFilePath), u"abcd");
  EXPECT_EQ(device->surfaceWidth, 2480);
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
  EXPECT_FALSE(huge->UsesBitmapSurface());
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

  // The host's limit decides what is too large: A4 at 300 dpi needs 26 MB.
  snk::engine::SetMaxSurfaceBytes(20 << 20);
  auto* limited = Enable(Paper(2100, 2970, 300));
  limited->engineDevice = reinterpret_cast<HDEV>(&hdev);
  hdev.dhpdev = reinterpret_cast<DHPDEV>(limited);
  so = EngLockSurface(limited->EnableSurface());
  snk::engine::SetMaxSurfaceBytes(snk::engine::kDefaultMaxSurfaceBytes);
  EXPECT_EQ(so->iType, STYPE_DEVICE);
  EXPECT_FALSE(limited->UsesBitmapSurface());
  EXPECT_EQ(boxes_.size(), 2u);
  EngUnlockSurface(so);
  limited->DisableSurface();
}

// Moving a running job to the new device is shown by the print job tests.
TEST_F(Device, ResetWithoutAJobLeavesTheNewDeviceWithoutOne) {
  auto reset = Entry<PFN_DrvResetPDEV>(INDEX_DrvResetPDEV);
  auto* portrait = Enable(Paper(2100, 2970, 300));
  snk::engine::HostDevice engineDevice{reinterpret_cast<DHPDEV>(portrait)};
  portrait->engineDevice = reinterpret_cast<HDEV>(&engineDevice);
  auto* landscape = Enable(Paper(2100, 2970, 300, DMORIENT_LANDSCAPE));
  EXPECT_TRUE(reset(reinterpret_cast<DHPDEV>(portrait), reinterpret_cast<DHPDEV>(landscape)));
  EXPECT_EQ(landscape->document, nullptr);
}

}  // namespace
