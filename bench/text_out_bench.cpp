// Glyphs per second through DrvTextOut.
//
//   bench_text_out [PAGES] [OUT.pdf]
//
// Loads the driver module and prints PAGES pages (default 100) of 60 lines
// of 90 glyphs each in one face, as an engine would hand them over: one
// DrvTextOut per line, with the line's text in pwszOrg. Every fifth line
// is Cyrillic and every tenth Greek, so that the charset subfonts switch as
// they do in real documents. FontEmbed and GDIPunt are off: what is timed is
// the driver's translation into PDF text, not the engine's drawing of the
// glyphs.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "base/byte_string.h"
#include "host/engine/brush.h"
#include "host/engine/print_job.h"
#include "host/fonts/host_font.h"
#include "host/system/host_control.h"
#include "platform/win32.h"

namespace {

constexpr int kLines = 60;
constexpr int kGlyphs = 90;

std::u16string LineText(int line) {
  std::u16string text;
  const char16_t base = line % 10 == 9 ? u'\x03B1' : line % 5 == 4 ? u'\x0430' : u'a';
  for (int i = 0; i < kGlyphs; ++i) text += (i % 7 == 6) ? u' ' : static_cast<char16_t>(base + (i * 5 + line) % 24);
  return text;
}

}  // namespace

int main(int argc, char** argv) {
  const int pages = argc > 1 ? std::atoi(argv[1]) : 100;
  const std::string out = argc > 2 ? argv[2] : "/tmp/snk-bench-text.pdf";
  snk::host::UiPolicy policy;
  policy.saveAnswer = CKM_WideString::FromUTF8(std::filesystem::absolute(out).string()).str();
  snk::host::SetUiPolicy(policy);
  // Fonts as they are, not embedded; no drawing by the engine (the host
  // then reports a system version outside the one that draws text).
  char16_t user[257] = {};
  DWORD userSize = 257;
  GetUserNameW(user, &userSize);
  const std::u16string key = u"Software\\Kelmo Software\\PDF Forge\\" + std::u16string(user);
  snk::host::SetRegistryOverlayDword(key, u"FontEmbed", 0);
  snk::host::SetRegistryOverlayDword(key, u"GDIPunt", 0);

  std::string error;
  auto driver = snk::engine::DriverModule::Load(SNK_BINARY_DIR "/snk_drv.so", &error);
  if (!driver) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  auto textOut = driver->Get<PFN_DrvTextOut>(INDEX_DrvTextOut);
  snk::engine::DeviceRequest request;
  DEVMODEW& dm = request.devmode;
  dm.dmFields = DM_PAPERWIDTH | DM_PAPERLENGTH;
  dm.dmPaperWidth = 2100;
  dm.dmPaperLength = 2970;
  dm.dmPrintQuality = dm.dmYResolution = 300;
  dm.dmScale = 100;

  // Liberation Sans (or what stands for Arial here) at 10 points: 42 pixels.
  snk::fonts::FontRequest fontRequest;
  fontRequest.faceName = u"Arial";
  fontRequest.height = -42;
  auto font = snk::fonts::HostFont::Realize(fontRequest, &error);
  if (!font) {
    std::fprintf(stderr, "no font: %s\n", error.c_str());
    return 1;
  }
  std::vector<std::u16string> texts;
  std::vector<std::vector<GLYPHPOS>> positions;
  for (int line = 0; line < kLines; ++line) {
    texts.push_back(LineText(line));
    std::vector<GLYPHPOS> glyphs;
    double x = 300;
    for (char16_t c : texts.back()) {
      const HGLYPH glyph = font->GlyphOf(c);
      glyphs.push_back(GLYPHPOS{glyph, nullptr, POINTL{static_cast<LONG>(x), 300 + line * 50}});
      x += font->Advance(glyph);
    }
    positions.push_back(std::move(glyphs));
  }
  snk::engine::HostBrush brush = snk::engine::HostBrush::Solid(0x000000);

  uint64_t glyphCount = 0;
  double seconds = 0;
  {
    snk::engine::EngineJob job(*driver);
    HANDLE printer = snk::host::OpenHostPrinter(u"Bench Printer");
    if (!job.Enable(request, u"Bench Printer", printer, &error) || !job.StartDoc(u"bench text", 1)) {
      std::fprintf(stderr, "job failed: %s\n", error.c_str());
      return 1;
    }
    for (int page = 0; page < pages; ++page) {
      job.StartPage();
      const auto start = std::chrono::steady_clock::now();
      for (int line = 0; line < kLines; ++line) {
        snk::fonts::HostStrobj run(*font, positions[line], texts[line], 0);
        textOut(job.Surface(), run.Strobj(), font->Fontobj(), nullptr, nullptr, nullptr, &brush.bo, nullptr,
                nullptr, 0x0D0D);
        glyphCount += positions[line].size();
      }
      seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
      job.SendPage();
    }
    job.EndDoc();
    job.Disable();
    snk::host::ClosePrinter(printer);
  }
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("pages %d  glyphs %ju  DrvTextOut time %.3f s  %.0f glyphs/s  peak RSS %.1f MiB  file %ju bytes\n",
              pages, static_cast<uintmax_t>(glyphCount), seconds, glyphCount / seconds,
              usage.ru_maxrss / 1024.0, static_cast<uintmax_t>(std::filesystem::file_size(out)));
  return 0;
}
