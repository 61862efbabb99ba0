// A fixture that loads the driver module and prints one page through it the
// way the engine does: A4 at 300 dpi (2480 x 3507 pixels, 841.68 points
// high), saved to out.pdf in the test's folder. Helpers pick the file apart.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>

#include "host/engine/print_job.h"
#include "host/system/host_control.h"
#include "test_support.h"

namespace snk::test {

// Object n's text from "n 0 obj\n" up to its "endobj\n"; a stream's data
// is skipped by its /Length.
inline std::string Object(const std::string& pdf, uint32_t n) {
  std::string mark = "\n" + std::to_string(n) + " 0 obj\n";
  size_t at = pdf.find(mark);
  if (at == std::string::npos) return {};
  size_t end = pdf.find("endobj\n", at);
  size_t stream = pdf.find(">>\nstream\n", at);
  if (stream != std::string::npos && stream < end) {
    size_t length = pdf.find("/Length ", at);
    if (length == std::string::npos || length > stream) return {};
    end = pdf.find("endobj\n", stream + 10 + std::stoul(pdf.substr(length + 8)));
  }
  return end == std::string::npos ? std::string() : pdf.substr(at + 1, end - at - 1);
}

// The raw data of a stream object as Object() returns it.
inline std::string StreamData(const std::string& object) {
  size_t start = object.find(">>\nstream\n");
  size_t end = object.rfind("\nendstream\n");
  if (start == std::string::npos || end == std::string::npos || end < start + 10) return {};
  return object.substr(start + 10, end - start - 10);
}

// The inflated content stream of the first page object.
inline std::string ContentOfFirstPage(const std::string& pdf) {
  const size_t contents = pdf.find("/Contents ");
  if (contents == std::string::npos) return {};
  const std::string number = pdf.substr(contents + 10, pdf.find(' ', contents + 10) - contents - 10);
  return Inflate(StreamData(Object(pdf, static_cast<uint32_t>(std::stoul(number)))));
}

class DriverPageTest : public HostTest {
 protected:
  void SetUp() override {
    HostTest::SetUp();
    std::string error;
    driver_ = engine::DriverModule::Load(SNK_BINARY_DIR "/snk_drv.so", &error);
    ASSERT_TRUE(driver_) << error;
    printer_ = host::OpenHostPrinter(u"Test Printer");
    host::UiPolicy policy;
    policy.saveAnswer = Path("out.pdf");
    host::SetUiPolicy(policy);
  }
  void TearDown() override {
    host::ClosePrinter(printer_);
    driver_.reset();
    HostTest::TearDown();
  }

  // Sets one of the user's options before the job starts.
  void SetOption(const char16_t* name, DWORD value) {
    char16_t user[257] = {};
    DWORD size = 257;
    GetUserNameW(user, &size);
    host::SetRegistryOverlayDword(u"Software\\Kelmo Software\\PDF Forge\\" + std::u16string(user), name, value);
  }

  // Prints one page drawn by `draw`; returns the file's bytes.
  std::string PrintPage(const std::function<void(SURFOBJ*)>& draw) {
    engine::DeviceRequest request;
    request.devmode.dmFields = DM_PAPERWIDTH | DM_PAPERLENGTH | DM_ORIENTATION;
    request.devmode.dmPaperWidth = 2100;
    request.devmode.dmPaperLength = 2970;
    request.devmode.dmOrientation = DMORIENT_PORTRAIT;
    request.devmode.dmPrintQuality = request.devmode.dmYResolution = 300;
    request.devmode.dmScale = 100;
    engine::EngineJob job(*driver_);
    std::string error;
    EXPECT_TRUE(job.Enable(request, u"Test Printer", printer_, &error)) << error;
    EXPECT_TRUE(job.StartDoc(u"Drawing", 1));
    EXPECT_TRUE(job.StartPage());
    draw(job.Surface());
    EXPECT_TRUE(job.SendPage());
    EXPECT_TRUE(job.EndDoc());
    job.Disable();
    return ReadFile(Dir() / "out.pdf");
  }

  template <typename F>
  F Entry(ULONG index) {
    return driver_->Get<F>(index);
  }

  // The surface pixel (x, y) as a COLORREF.
  static uint32_t Pixel(SURFOBJ* so, int x, int y) {
    if (!so->pvScan0) return 0xFFFFFFFF;
    auto* row = static_cast<const uint8_t*>(so->pvScan0) + y * so->lDelta + x * 3;
    return row[0] | row[1] << 8 | row[2] << 16;
  }

  std::unique_ptr<engine::DriverModule> driver_;
  HANDLE printer_ = nullptr;
};

}  // namespace snk::test
