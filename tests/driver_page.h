// A fixture that loads the driver module and prints one page through it the
// way the engine does: A4 at 300 dpi (2480 x 3507 pixels, 841.68 points
// high), saved to out.pdf in the test's folder. Helpers pick the file apart.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

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

// Object n's text from "n 0 obj\n" up to and with its "endobj\n", found by
// its first mention.
inline std::string ObjectText(const std::string& pdf, int n) {
  const size_t at = pdf.find(std::to_string(n) + " 0 obj\n");
  if (at == std::string::npos) return {};
  return pdf.substr(at, pdf.find("endobj\n", at) + 7 - at);
}

// The user's name, as the driver reads its options under it.
inline std::u16string UserName() {
  char16_t user[257] = {};
  DWORD size = 257;
  GetUserNameW(user, &size);
  return user;
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

// How often `part` occurs in `text`.
inline size_t CountOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

// A source bitmap made by the engine over memory the test owns: `stride`
// bytes a row, top-down unless `flags` says otherwise, with the spare row
// and four zero bytes behind the rows that readers of whole words rely on.
// A JPEG or PNG source holds its file instead. Locked while it lives.
class SourceBitmap {
 public:
  SourceBitmap(LONG width, LONG height, ULONG format, LONG stride, FLONG flags = BMF_TOPDOWN)
      : bits_(static_cast<size_t>(stride) * (height + 1) + 4, 0) {
    Make(SIZEL{width, height}, stride, format, flags);
  }
  // A compressed file as the source.
  SourceBitmap(LONG width, LONG height, ULONG format, const std::string& file)
      : bits_(file.begin(), file.end()) {
    Make(SIZEL{width, height}, static_cast<LONG>(file.size()), format, 0);
  }
  ~SourceBitmap() {
    if (so_) EngUnlockSurface(so_);
    if (handle_) EngDeleteSurface(handle_);
  }
  SourceBitmap(const SourceBitmap&) = delete;
  SourceBitmap& operator=(const SourceBitmap&) = delete;

  SURFOBJ* so() const { return so_; }
  // Row y (0 = top) of the bitmap's pixels.
  uint8_t* Row(LONG y) const { return static_cast<uint8_t*>(so_->pvScan0) + int64_t{y} * so_->lDelta; }
  // Fills every 24-bit pixel of a top-down or bottom-up bitmap with `color`
  // (a COLORREF, stored R, G, B as the page surface stores it).
  void Fill24(uint32_t color) const {
    for (LONG y = 0; y < so_->sizlBitmap.cy; ++y)
      for (LONG x = 0; x < so_->sizlBitmap.cx; ++x) {
        Row(y)[x * 3] = static_cast<uint8_t>(color);
        Row(y)[x * 3 + 1] = static_cast<uint8_t>(color >> 8);
        Row(y)[x * 3 + 2] = static_cast<uint8_t>(color >> 16);
      }
  }

 private:
  void Make(SIZEL size, LONG stride, ULONG format, FLONG flags) {
    handle_ = reinterpret_cast<HSURF>(EngCreateBitmap(size, stride, format, flags, bits_.data()));
    if (handle_) so_ = EngLockSurface(handle_);
    EXPECT_NE(so_, nullptr) << "the engine made no bitmap of format " << format;
  }

  std::vector<uint8_t> bits_;
  HSURF handle_ = nullptr;
  SURFOBJ* so_ = nullptr;
};

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
    host::SetRegistryOverlayDword(u"Software\\Kelmo Software\\PDF Forge\\" + UserName(), name, value);
  }

  // Prints one page drawn by `draw`; returns the file's bytes.
  std::string PrintPage(const std::function<void(SURFOBJ*)>& draw) {
    return PrintJobPage([&](engine::EngineJob& job) { draw(job.Surface()); });
  }

  // The same, for drawing that needs the job itself (to play a page).
  std::string PrintJobPage(const std::function<void(engine::EngineJob&)>& draw) {
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
    draw(job);
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
