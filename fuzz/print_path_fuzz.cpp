// Fuzz target for the whole print path: the bytes are an EMF page that the
// player plays through the engine into the driver (loaded as snkprint loads
// it), whose writer puts the PDF in a scratch folder. The file must then be
// complete: every page's content stream has balanced q/Q, and the
// cross-reference table lists every object at the offset where it starts.
#include <stdlib.h>
#include <zlib.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/byte_string.h"
#include "host/engine/print_job.h"
#include "host/gdi/driver_target.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_reader.h"
#include "host/system/host_control.h"

namespace {

[[noreturn]] void Broken(const char* what) {
  std::fprintf(stderr, "print_path_fuzz: %s\n", what);
  std::abort();
}

// A private configuration (settings, registry) and the driver, made once.
struct PrintSetup {
  std::filesystem::path folder;
  std::unique_ptr<snk::engine::DriverModule> driver;
  HANDLE printer = nullptr;

  PrintSetup() {
    std::string pattern = (std::filesystem::temp_directory_path() / "snk-print-fuzz-XXXXXX").string();
    if (!mkdtemp(pattern.data())) Broken("no scratch folder");
    folder = pattern;
    setenv("XDG_CONFIG_HOME", (folder / "config").c_str(), 1);
    setenv("XDG_DATA_HOME", (folder / "data").c_str(), 1);
    std::string error;
    driver = snk::engine::DriverModule::Load(SNK_DRIVER_PATH, &error);
    if (!driver) Broken(error.c_str());
    printer = snk::host::OpenHostPrinter(u"Fuzz Printer");
    snk::host::UiPolicy policy;
    policy.saveAnswer = CKM_WideString::FromUTF8(Output().string()).str();
    snk::host::SetUiPolicy(policy);
    snk::host::SetMessageBoxHook([](std::u16string_view, std::u16string_view, UINT) { return IDNO; });
  }
  std::filesystem::path Output() const { return folder / "out.pdf"; }
};

// A4 at 96 dots per inch keeps the surface small.
snk::engine::DeviceRequest A4Request() {
  snk::engine::DeviceRequest request;
  DEVMODEW& dm = request.devmode;
  dm.dmFields = DM_PAPERWIDTH | DM_PAPERLENGTH | DM_ORIENTATION | DM_PRINTQUALITY | DM_YRESOLUTION;
  dm.dmPaperWidth = 2100;
  dm.dmPaperLength = 2970;
  dm.dmOrientation = DMORIENT_PORTRAIT;
  dm.dmPrintQuality = dm.dmYResolution = 96;
  dm.dmScale = 100;
  return request;
}

bool IsDelimiter(char c) { return std::strchr(" \t\r\n\f()<>[]{}/%", c) || c == '\0'; }

// Skips a literal string at s[i] == '(' with its nesting and escapes.
size_t SkipString(std::string_view s, size_t i) {
  int depth = 0;
  for (; i < s.size(); ++i) {
    if (s[i] == '\\')
      ++i;
    else if (s[i] == '(')
      ++depth;
    else if (s[i] == ')' && --depth == 0)
      return i + 1;
  }
  return i;
}

// Checks that q and Q pair up in a content stream, outside strings and
// inline image data.
void CheckBalanced(std::string_view s) {
  int depth = 0;
  for (size_t i = 0; i < s.size();) {
    if (s[i] == '(') {
      i = SkipString(s, i);
      continue;
    }
    if (s[i] == '<' && (i + 1 >= s.size() || s[i + 1] != '<')) {
      i = s.find('>', i);
      continue;
    }
    if (IsDelimiter(s[i])) {
      ++i;
      continue;
    }
    size_t end = i;
    while (end < s.size() && !IsDelimiter(s[end])) ++end;
    std::string_view token = s.substr(i, end - i);
    if (token == "q") ++depth;
    if (token == "Q" && --depth < 0) Broken("Q without q");
    if (token == "ID") end = s.find("EI", end);  // inline image data
    i = end;
  }
  if (depth != 0) Broken("q without Q");
}

std::string Inflate(std::string_view data) {
  std::string out(std::max<size_t>(data.size() * 4, 4096), '\0');
  for (;;) {
    uLongf size = out.size();
    int rc = uncompress(reinterpret_cast<Bytef*>(out.data()), &size,
                        reinterpret_cast<const Bytef*>(data.data()), data.size());
    if (rc == Z_OK) return out.substr(0, size);
    if (rc != Z_BUF_ERROR || out.size() > (size_t{1} << 30)) Broken("content stream does not inflate");
    out.resize(out.size() * 4);
  }
}

// The offsets of objects 1 .. n-1 from the table at the end; checks the
// table, the trailer and that each object starts where its entry says.
std::vector<size_t> CheckXref(const std::string& pdf) {
  size_t start = pdf.rfind("startxref");
  if (start == std::string::npos || pdf.find("%%EOF", start) == std::string::npos) Broken("no startxref");
  size_t table = std::strtoull(pdf.c_str() + start + 9, nullptr, 10);
  if (pdf.compare(table, 5, "xref\n") != 0) Broken("startxref does not point at the table");
  char* end = nullptr;
  std::strtoull(pdf.c_str() + table + 5, &end, 10);  // first object: 0
  size_t count = std::strtoull(end, &end, 10);
  size_t entries = end - pdf.c_str() + 1;
  if (count < 2 || entries + count * 20 > pdf.size()) Broken("cross-reference table too short");
  if (pdf.compare(entries + count * 20, 7, "trailer") != 0) Broken("no trailer after the table");
  std::vector<size_t> offsets(count, 0);
  for (size_t n = 1; n < count; ++n) {
    const char* entry = pdf.c_str() + entries + n * 20;
    if (entry[17] != 'n') continue;
    offsets[n] = std::strtoull(entry, nullptr, 10);
    std::string head = std::to_string(n) + " 0 obj";
    if (offsets[n] >= pdf.size() || pdf.compare(offsets[n], head.size(), head) != 0)
      Broken("an entry does not point at its object");
  }
  return offsets;
}

void CheckContents(const std::string& pdf, const std::vector<size_t>& offsets) {
  for (size_t at = pdf.find("/Contents "); at != std::string::npos; at = pdf.find("/Contents ", at + 1)) {
    size_t n = std::strtoull(pdf.c_str() + at + 10, nullptr, 10);
    if (n == 0 || n >= offsets.size() || !offsets[n]) Broken("page contents not in the table");
    size_t object = offsets[n], stream = pdf.find("stream\n", object);
    size_t length = pdf.find("/Length ", object);
    if (stream == std::string::npos || length > stream) Broken("contents without stream");
    size_t size = std::strtoull(pdf.c_str() + length + 8, nullptr, 10);
    std::string_view data = std::string_view(pdf).substr(stream + 7, size);
    bool flate = pdf.find("/FlateDecode", object) < stream;
    CheckBalanced(flate ? std::string_view(Inflate(data)) : data);
  }
}

PrintSetup& Setup() {
  static PrintSetup setup;
  return setup;
}

}  // namespace

// The driver is loaded before fuzzing starts, so that its code is measured.
extern "C" int LLVMFuzzerInitialize(int*, char***) {
  Setup();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  PrintSetup& setup = Setup();
  const auto* first = reinterpret_cast<const std::byte*>(data);
  std::string error;
  auto page = snk::gdi::EmfFile::Parse("fuzz.emf", std::vector<std::byte>(first, first + size), &error);
  if (!page) return 0;
  std::error_code ignored;
  std::filesystem::remove(setup.Output(), ignored);
  {
    snk::engine::EngineJob job(*setup.driver);
    if (!job.Enable(A4Request(), u"Fuzz Printer", setup.printer, &error)) Broken(error.c_str());
    if (!job.StartDoc(u"Fuzz", 1)) Broken("StartDoc failed");
    job.StartPage();
    snk::gdi::DriverTarget target(job);
    snk::gdi::EmfPlayer().PlayPage(*page, target);
    job.SendPage();
    job.EndDoc();
    job.Disable();
  }
  std::ifstream in(setup.Output(), std::ios::binary);
  std::string pdf((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
  if (pdf.compare(0, 5, "%PDF-") != 0) Broken("no PDF header");
  CheckContents(pdf, CheckXref(pdf));
  return 0;
}
