// snkprint: prints EMF pages to PDF through the snk_drv printer driver.
//
// It plays the parts that Windows plays around a printer driver: the
// spooler and engine load the driver by path and call its entries in order,
// and the EMF player turns each page's records into drawing calls.
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "base/byte_string.h"
#include "host/engine/print_job.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_reader.h"
#include "host/system/host_control.h"
#include "tools/snkprint/options.h"

namespace {

using snk::print::Options;

constexpr char16_t kPrinterName[] = u"Kelmo PDF Forge";

void Say(const std::string& text) { std::fprintf(stderr, "snkprint: %s\n", text.c_str()); }

std::string DefaultDriverPath() {
  std::error_code ec;
  auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
  return (ec ? std::filesystem::path(".") : self.parent_path()) / "snk_drv.so";
}

// The user's settings key, which --set overrides for this run.
std::u16string UserSettingsKey() {
  char16_t user[257] = {};
  DWORD size = 257;
  if (!GetUserNameW(user, &size)) user[0] = 0;
  return std::u16string(u"Software\\Kelmo Software\\PDF Forge\\") + user;
}

void ApplySettingOverrides(const Options& options) {
  std::u16string key = UserSettingsKey();
  for (const auto& [name, value] : options.settings) {
    auto wideName = CKM_WideString::FromUTF8(name).str();
    bool number = !value.empty() && value.size() <= 10 &&
                  std::all_of(value.begin(), value.end(), [](char c) { return c >= '0' && c <= '9'; }) &&
                  std::stoull(value) <= 0xFFFFFFFFull;
    if (number) {
      snk::host::SetRegistryOverlayDword(key, wideName, static_cast<DWORD>(std::stoull(value)));
    } else {
      // Text settings are stored as a one-string list, as the driver keeps them.
      std::u16string text = CKM_WideString::FromUTF8(value).str();
      std::vector<BYTE> data;
      for (char16_t c : text + std::u16string(2, u'\0')) {
        data.push_back(static_cast<BYTE>(c & 0xFF));
        data.push_back(static_cast<BYTE>(c >> 8));
      }
      snk::host::SetRegistryOverlay(key, wideName, REG_MULTI_SZ, std::move(data));
    }
  }
}

// Paper fields of the device mode, in tenths of a millimetre; a size beyond
// what the device mode can hold is cut to its limit.
SHORT Tenths(double mm) { return static_cast<SHORT>(std::clamp(std::lround(mm * 10), 1L, 32767L)); }

snk::engine::DeviceRequest BuildRequest(const Options& options, const snk::gdi::EmfFile& first) {
  snk::engine::DeviceRequest request;
  DEVMODEW& dm = request.devmode;
  std::copy_n(kPrinterName, std::char_traits<char16_t>::length(kPrinterName), dm.dmDeviceName);
  dm.dmSpecVersion = 0x0401;
  dm.dmSize = sizeof(DEVMODEW);
  dm.dmDriverExtra = sizeof request.settingsFile;
  dm.dmFields = DM_ORIENTATION | DM_SCALE | DM_PRINTQUALITY | DM_YRESOLUTION;
  dm.dmScale = 100;
  dm.dmCopies = 1;
  dm.dmPrintQuality = static_cast<SHORT>(options.dpi);
  dm.dmYResolution = static_cast<SHORT>(options.dpi);
  dm.dmOrientation = DMORIENT_PORTRAIT;

  auto frame = first.PageSizeMm();
  if (frame && frame->width > frame->height) dm.dmOrientation = DMORIENT_LANDSCAPE;
  if (options.paper && options.paper->formNumber) {
    dm.dmFields |= DM_PAPERSIZE;
    dm.dmPaperSize = static_cast<SHORT>(options.paper->formNumber);
  } else if (options.paper || frame) {
    double w = options.paper ? options.paper->widthMm : frame->width;
    double h = options.paper ? options.paper->heightMm : frame->height;
    if (options.paper && !frame) dm.dmOrientation = w > h ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    if (std::max(w, h) > 3276.7) Say("the page is larger than 3276.7 mm; it is cut to that size");
    dm.dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    dm.dmPaperWidth = Tenths(std::min(w, h));
    dm.dmPaperLength = Tenths(std::max(w, h));
  }
  // Without a usable frame or --paper the driver picks the paper from the
  // user's region (Letter or A4).
  return request;
}

std::u16string DocumentName(const Options& options) {
  if (options.title) return CKM_WideString::FromUTF8(*options.title).str();
  return CKM_WideString::FromUTF8(std::filesystem::path(options.pages.front()).filename().string()).str();
}

// Set when the save dialog was answered "cancel" without a terminal.
bool g_dialogRefused = false;

void SetDialogPolicy(const Options& options) {
  snk::host::UiPolicy policy;
  policy.interactive = isatty(STDIN_FILENO) && isatty(STDERR_FILENO);
  if (options.output) {
    std::filesystem::path path = std::filesystem::absolute(*options.output);
    policy.saveAnswer = CKM_WideString::FromUTF8(path.string()).str();
  } else if (!policy.interactive) {
    // Not on a terminal: take the proposed name, in the current folder, but
    // never replace a file without being told to (-o).
    policy.ask = [asked = false](std::u16string_view) mutable -> std::optional<std::u16string> {
      if (asked) {
        g_dialogRefused = true;
        return std::nullopt;
      }
      asked = true;
      return u"";
    };
  }
  snk::host::SetUiPolicy(policy);
}

class DriverTarget : public snk::gdi::PlayTarget {};

int Run(const Options& options) {
  std::vector<snk::gdi::EmfFile> pages;
  for (const auto& path : options.pages) {
    std::string error;
    auto file = snk::gdi::EmfFile::Open(path, &error);
    if (!file) {
      Say(error);
      return 1;
    }
    if (options.verbose)
      for (const auto& warning : file->warnings()) Say("warning: " + warning);
    pages.push_back(std::move(*file));
  }

  std::string error;
  auto driver = snk::engine::DriverModule::Load(options.driver.value_or(DefaultDriverPath()), &error);
  if (!driver) {
    Say(error);
    return 1;
  }
  ApplySettingOverrides(options);
  SetDialogPolicy(options);

  HANDLE printer = snk::host::OpenHostPrinter(kPrinterName);
  int status = 0;
  {
    snk::engine::EngineJob job(*driver);
    if (!job.Enable(BuildRequest(options, pages.front()), kPrinterName, printer, &error)) {
      Say(error);
      status = 1;
    } else if (!job.StartDoc(DocumentName(options), 1)) {
      Say("the driver did not start the job; no file was written");
      status = 1;
    } else {
      snk::gdi::EmfPlayer player;
      snk::gdi::PlayStats stats;
      DriverTarget target;
      bool ok = true;
      for (const auto& page : pages) {
        ok &= job.StartPage();
        auto pageStats = player.PlayPage(page, target);
        for (const auto& [type, count] : pageStats.notPlayed) stats.notPlayed[type] += count;
        ok &= job.SendPage();
      }
      ok &= job.EndDoc();
      if (g_dialogRefused) {
        Say("the proposed file exists already; nothing was written (name the output with -o)");
        status = 1;
      }
      if (options.verbose && !stats.notPlayed.empty()) {
        std::fprintf(stderr, "snkprint: records not played:\n");
        snk::gdi::PrintNotPlayed(stats, stderr);
      }
      if (!ok) {
        Say("the driver reported errors; the document may be incomplete");
        status = 1;
      } else if (options.verbose) {
        Say("printed " + std::to_string(pages.size()) + " page(s)");
      }
    }
  }
  snk::host::ClosePrinter(printer);
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  std::string error;
  auto options = snk::print::ParseOptions(argc, argv, &error);
  if (!options) {
    Say(error);
    std::fputs(snk::print::UsageText(), stderr);
    return 2;
  }
  if (options->help) {
    std::fputs(snk::print::UsageText(), stdout);
    return 0;
  }
  return Run(*options);
}
