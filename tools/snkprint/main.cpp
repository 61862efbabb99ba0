// snkprint: prints EMF pages to PDF through the snk_drv printer driver.
//
// It plays the parts that Windows plays around a printer driver: the
// spooler and engine load the driver by path and call its entries in order,
// and the EMF player turns each page's records into drawing calls.
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "base/byte_string.h"
#include "host/engine/print_job.h"
#include "host/engine/surface.h"
#include "host/engine/surface_png.h"
#include "host/gdi/driver_target.h"
#include "host/gdi/emf_player.h"
#include "host/gdi/emf_reader.h"
#include "host/system/host_control.h"
#include "services/data_exchange.h"
#include "tools/snkprint/argument_checks.h"
#include "tools/snkprint/config_command.h"
#include "tools/snkprint/job_settings.h"
#include "tools/snkprint/messages.h"
#include "tools/snkprint/options.h"
#include "tools/snkprint/setting_keys.h"

namespace {

using snk::print::FormatMessage;
using snk::print::Msg;
using snk::print::Options;

const std::u16string kPrinterName(snk::print::kPrinterName);

// Whether the progress line stands on the terminal: a message clears it first.
bool g_progressShown = false;
constexpr char kClearLine[] = "\r\033[K";

void Say(const std::string& text) {
  if (g_progressShown) std::fputs(kClearLine, stderr);
  g_progressShown = false;
  std::fprintf(stderr, "snkprint: %s\n", text.c_str());
}

// One line on a terminal's standard error, rewritten for every page and
// cleared at the end.
class ProgressLine {
 public:
  ProgressLine(const Options& options) : on_(!options.quiet && isatty(STDERR_FILENO)) {}
  ~ProgressLine() {
    if (g_progressShown) std::fputs(kClearLine, stderr);
    g_progressShown = false;
  }
  ProgressLine(const ProgressLine&) = delete;
  ProgressLine& operator=(const ProgressLine&) = delete;

  void Show(size_t page, size_t total, const std::string& path) {
    if (!on_) return;
    std::string name = std::filesystem::path(path).filename().string();
    std::string text = FormatMessage(Msg::Progress, {std::to_string(page), std::to_string(total), name});
    std::fprintf(stderr, "%ssnkprint: %s", kClearLine, text.c_str());
    std::fflush(stderr);
    g_progressShown = true;
  }

 private:
  bool on_;
};

// What a SIGINT or SIGTERM handler may use: prepared before the job.
std::string g_interruptedText;
char g_settingsPath[4096] = {};

// Discards the output's temporary file and the job's settings file; the
// file that was under the output's name stays as it was.
extern "C" void OnInterrupt(int signal) {
  snk::host::DiscardOpenOutputs();
  if (g_settingsPath[0]) unlink(g_settingsPath);
  if (g_progressShown) (void)!write(STDERR_FILENO, kClearLine, sizeof kClearLine - 1);
  (void)!write(STDERR_FILENO, g_interruptedText.data(), g_interruptedText.size());
  _exit(128 + signal);
}

void CatchInterrupts() {
  g_interruptedText = "snkprint: " + FormatMessage(Msg::Interrupted) + "\n";
  struct sigaction action = {};
  action.sa_handler = OnInterrupt;
  sigemptyset(&action.sa_mask);
  sigaddset(&action.sa_mask, SIGINT);
  sigaddset(&action.sa_mask, SIGTERM);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGTERM, &action, nullptr);
}

// Reports every file whose writing failed; true when there was one.
bool ReportWriteFailures() {
  auto failures = snk::host::WriteFailures();
  for (const auto& failure : failures) Say(FormatMessage(Msg::OutputFailed, {failure.path, failure.cause}));
  return !failures.empty();
}

bool PrinterInBatchMode() {
  HANDLE printer = snk::host::OpenHostPrinter(kPrinterName);
  bool batch = printer && GetPrinterInt(printer, u"Batch", 0) != 0;
  if (printer) snk::host::ClosePrinter(printer);
  return batch;
}

std::string DefaultDriverPath() {
  std::error_code ec;
  auto self = std::filesystem::read_symlink("/proc/self/exe", ec);
  return (ec ? std::filesystem::path(".") : self.parent_path()) / "snk_drv.so";
}

std::u16string Wide(const std::string& utf8) { return CKM_WideString::FromUTF8(utf8).str(); }

// Lays --set and then the per-job options over the user's settings for this
// run, so that the per-job options win.
void ApplyRunSettings(const Options& options) {
  snk::print::ApplyRunValues(snk::print::SetOptionValues(options));
  char16_t folder[262] = {};
  GetRegString(u"Folder", folder, 261, u"");
  bool folderStored = std::char_traits<char16_t>::length(folder) >= 2;
  std::u16string current = Wide(std::filesystem::current_path().string());
  snk::print::ApplyRunValues(snk::print::JobOptionValues(options, current, folderStored));
}

// The resolution: --dpi, else the stored DPI value, else 300.
int Resolution(const Options& options) {
  if (options.dpi) return *options.dpi;
  uint32_t stored = GetRegInt(u"DPI", 300);
  return stored >= 1 && stored <= 32767 ? static_cast<int>(stored) : 300;
}

// A path of the settings store as the user can type it.
std::string ShownPath(const char16_t* path) {
  std::string text = CKM_WideString(path).ToUTF8();
  std::replace(text.begin(), text.end(), '\\', '/');
  return text;
}

// The job's settings file: made and filled before the job, removed after it
// unless it is to be kept.
class JobSettingsFile {
 public:
  explicit JobSettingsFile(const Options& options) : keep_(options.job.keepSettings) {
    made_ = file_.CreateFile() == 1;
    if (!made_) {
      Say(FormatMessage(Msg::SettingsFileFailed));
      return;
    }
    snk::print::WriteJobSettings(file_, options.job);
    if (!keep_) {
      std::string path = ShownPath(file_.GetFileName());
      if (path.size() < sizeof g_settingsPath) std::copy(path.begin(), path.end(), g_settingsPath);
    }
  }
  ~JobSettingsFile() {
    g_settingsPath[0] = '\0';
    if (!made_) return;
    if (keep_)
      Say(FormatMessage(Msg::SettingsFileKept, {ShownPath(file_.GetFileName())}));
    else
      file_.DeleteFile();
  }
  JobSettingsFile(const JobSettingsFile&) = delete;
  JobSettingsFile& operator=(const JobSettingsFile&) = delete;

  // Empty when the file could not be made: the driver then reads defaults.
  const char16_t* Path() { return made_ ? file_.GetFileName() : u""; }

 private:
  CKMC_DataExchange file_;
  bool made_ = false;
  bool keep_ = false;
};

// Paper fields of the device mode, in tenths of a millimetre; a size beyond
// what the device mode can hold is cut to its limit.
SHORT Tenths(double mm) { return static_cast<SHORT>(std::clamp(std::lround(mm * 10), 1L, 32767L)); }

// The device request for one page: its paper comes from --paper or from
// the page's frame, its orientation from the frame's shape.
snk::engine::DeviceRequest BuildRequest(const Options& options, const snk::gdi::EmfFile& page,
                                        const char16_t* settingsFile) {
  snk::engine::DeviceRequest request;
  CKM_WideString(settingsFile).CopyTo(request.settingsFile, 260);
  DEVMODEW& dm = request.devmode;
  std::copy_n(kPrinterName.begin(), std::min<size_t>(kPrinterName.size(), 31), dm.dmDeviceName);
  dm.dmSpecVersion = 0x0401;
  dm.dmSize = sizeof(DEVMODEW);
  dm.dmDriverExtra = sizeof request.settingsFile;
  dm.dmFields = DM_ORIENTATION | DM_SCALE | DM_PRINTQUALITY | DM_YRESOLUTION;
  dm.dmScale = 100;
  dm.dmCopies = 1;
  const int dpi = Resolution(options);
  dm.dmPrintQuality = static_cast<SHORT>(dpi);
  dm.dmYResolution = static_cast<SHORT>(dpi);
  dm.dmOrientation = DMORIENT_PORTRAIT;

  auto frame = page.PageSizeMm();
  if (frame && frame->width > frame->height) dm.dmOrientation = DMORIENT_LANDSCAPE;
  if (options.paper && options.paper->formNumber) {
    dm.dmFields |= DM_PAPERSIZE;
    dm.dmPaperSize = static_cast<SHORT>(options.paper->formNumber);
  } else if (options.paper || frame) {
    double w = options.paper ? options.paper->widthMm : frame->width;
    double h = options.paper ? options.paper->heightMm : frame->height;
    if (options.paper && !frame) dm.dmOrientation = w > h ? DMORIENT_LANDSCAPE : DMORIENT_PORTRAIT;
    if (std::max(w, h) > 3276.7) Say(FormatMessage(Msg::PageTooLarge));
    dm.dmFields |= DM_PAPERWIDTH | DM_PAPERLENGTH;
    dm.dmPaperWidth = Tenths(std::min(w, h));
    dm.dmPaperLength = Tenths(std::max(w, h));
  }
  // Without a usable frame or --paper the driver picks the paper from the
  // user's region (Letter or A4).
  return request;
}

bool SamePaper(const DEVMODEW& a, const DEVMODEW& b) {
  return a.dmFields == b.dmFields && a.dmOrientation == b.dmOrientation && a.dmPaperSize == b.dmPaperSize &&
         a.dmPaperWidth == b.dmPaperWidth && a.dmPaperLength == b.dmPaperLength;
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

// Writes each page's surface, as it stands when the page is sent, to
// DIR/page-0001.png, DIR/page-0002.png, ...
class SurfaceDumper {
 public:
  explicit SurfaceDumper(const std::optional<std::string>& folder) : folder_(folder) {
    std::error_code ignored;
    if (folder_) std::filesystem::create_directories(*folder_, ignored);
  }

  void Dump(const SURFOBJ& surface) {
    if (!folder_) return;
    ++page_;
    if (!surface.pvScan0) {
      if (page_ == 1) Say(FormatMessage(Msg::NoSurfaceBits));
      return;
    }
    char name[32];
    std::snprintf(name, sizeof name, "page-%04d.png", page_);
    const std::string path = (std::filesystem::path(*folder_) / name).string();
    std::string error;
    if (!snk::engine::WriteSurfacePng(surface, path, &error)) Say(FormatMessage(Msg::DumpFailed, {path, error}));
  }

 private:
  std::optional<std::string> folder_;
  int page_ = 0;
};

// What the pages of a job gave: whether every page went through, and the
// records that were not played or were faulty.
struct JobResult {
  bool ok = true;
  snk::gdi::PlayStats stats;
};

// Plays every page into the started job. A page whose paper differs from
// the current device's moves the job to a device with that paper first.
JobResult PrintPages(const Options& options, snk::gdi::EmfFile first, snk::engine::EngineJob& job,
                     snk::engine::DeviceRequest current, const char16_t* settingsFile) {
  JobResult result;
  snk::gdi::EmfPlayer player;
  snk::gdi::DriverTarget target(job);
  SurfaceDumper dumper(options.dumpSurface);
  ProgressLine progress(options);
  std::optional<snk::gdi::EmfFile> page = std::move(first);
  for (size_t i = 0; i < options.pages.size(); ++i) {
    progress.Show(i + 1, options.pages.size(), options.pages[i]);
    std::string error;
    if (i > 0) page = snk::gdi::EmfFile::Open(options.pages[i], &error);
    if (!page) {
      // The file changed since it was first read: the page is left out.
      Say(error);
      result.ok = false;
      continue;
    }
    if (i > 0) {
      snk::engine::DeviceRequest request = BuildRequest(options, *page, settingsFile);
      if (!SamePaper(request.devmode, current.devmode)) {
        if (!job.Reset(request, &error)) {
          Say(error);
          result.ok = false;
          if (!job.Surface()) break;
        }
        current = request;
      }
    }
    result.ok &= job.StartPage();
    auto pageStats = player.PlayPage(*page, target);
    for (const auto& [type, count] : pageStats.notPlayed) result.stats.notPlayed[type] += count;
    result.stats.errors.insert(result.stats.errors.end(), pageStats.errors.begin(), pageStats.errors.end());
    dumper.Dump(*job.Surface());
    result.ok &= job.SendPage();
  }
  return result;
}

void ReportPlayStats(const Options& options, const snk::gdi::PlayStats& stats) {
  if (!options.verbose) return;
  if (!stats.notPlayed.empty()) {
    Say(FormatMessage(Msg::NotPlayed));
    snk::gdi::PrintNotPlayed(stats, stderr);
  }
  if (!stats.errors.empty()) {
    Say(FormatMessage(Msg::RecordErrors));
    for (const auto& line : stats.errors) Say("  " + line);
  }
}

int Run(const Options& options) {
  // Every page is read once before the job starts, so that a file that
  // cannot be read stops it before anything is printed. Only the first is
  // kept (its header sets the first paper); the others are read again when
  // their turn comes, so that a long job holds one page at a time.
  std::optional<snk::gdi::EmfFile> first;
  for (const auto& path : options.pages) {
    std::string error;
    auto file = snk::gdi::EmfFile::Open(path, &error);
    if (!file) {
      Say(error);
      return 1;
    }
    if (options.verbose)
      for (const auto& warning : file->warnings()) Say("warning: " + warning);
    if (!first) first = std::move(file);
  }

  std::string error;
  auto driver = snk::engine::DriverModule::Load(options.driver.value_or(DefaultDriverPath()), &error);
  if (!driver) {
    Say(error);
    return 1;
  }
  ApplyRunSettings(options);
  SetDialogPolicy(options);
  if (options.maxSurfaceMb) snk::engine::SetMaxSurfaceBytes(uint64_t(*options.maxSurfaceMb) << 20);
  if (options.output && options.job.useDefaultName.value_or(false))
    Say(FormatMessage(Msg::DefaultNameWithOutput));

  HANDLE printer = snk::host::OpenHostPrinter(kPrinterName);
  int status = 0;
  CatchInterrupts();
  {
    JobSettingsFile settings(options);
    snk::engine::EngineJob job(*driver);
    snk::engine::DeviceRequest request = BuildRequest(options, *first, settings.Path());
    if (!job.Enable(request, kPrinterName, printer, &error)) {
      Say(error);
      status = 1;
    } else if (!job.StartDoc(DocumentName(options), 1)) {
      Say(FormatMessage(Msg::NotStarted));
      status = 1;
    } else {
      JobResult result = PrintPages(options, std::move(*first), job, request, settings.Path());
      result.ok &= job.EndDoc();
      if (g_dialogRefused) {
        Say(FormatMessage(Msg::ProposedExists));
        status = 1;
      }
      ReportPlayStats(options, result.stats);
      if (!result.ok) {
        Say(FormatMessage(Msg::DriverErrors));
        status = 1;
      } else if (options.verbose) {
        Say(FormatMessage(Msg::Printed, {std::to_string(options.pages.size())}));
      }
    }
  }
  snk::host::ClosePrinter(printer);
  if (ReportWriteFailures()) status = 1;
  return status;
}

}  // namespace

int main(int argc, char** argv) {
  std::string error;
  auto options = snk::print::ParseOptions(argc, argv, &error);
  if (!options) {
    Say(error);
    if (argc < 2 || std::string_view(argv[1]) != "config") std::fputs(snk::print::UsageText(), stderr);
    return 2;
  }
  if (options->config) return snk::print::RunConfigCommand(*options->config, stdout, stderr);
  if (options->job.folder) options->job.folder = std::filesystem::absolute(*options->job.folder).string();
  if (options->help) {
    std::fputs(snk::print::UsageText(), stdout);
    return 0;
  }
  const bool batch = options->output && PrinterInBatchMode();
  if (auto refused = snk::print::RefusedArgument(*options, batch)) {
    Say(*refused);
    return 2;
  }
  for (const auto& [name, value] : options->settings)
    if (auto warning = snk::print::SettingWarning(name, value)) Say(*warning);
  return Run(*options);
}
