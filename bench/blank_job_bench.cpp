// Whole-job time and peak memory for a job of N blank pages.
//
//   bench_blank_job N [OUT.pdf]
//
// Loads the driver module and runs one job as the engine does, printing the
// wall time and the process's peak resident size. Run once per N (see
// bench/run.sh) so that each peak belongs to one job size.
#include <sys/resource.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "base/byte_string.h"
#include "host/engine/print_job.h"
#include "host/system/host_control.h"

int main(int argc, char** argv) {
  int pages = argc > 1 ? std::atoi(argv[1]) : 1;
  std::string out = argc > 2 ? argv[2] : "/tmp/snk-bench.pdf";
  snk::host::UiPolicy policy;
  policy.saveAnswer = CKM_WideString::FromUTF8(std::filesystem::absolute(out).string()).str();
  snk::host::SetUiPolicy(policy);

  auto start = std::chrono::steady_clock::now();
  std::string error;
  auto driver = snk::engine::DriverModule::Load(SNK_BINARY_DIR "/snk_drv.so", &error);
  if (!driver) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return 1;
  }
  snk::engine::DeviceRequest request;
  DEVMODEW& dm = request.devmode;
  dm.dmSize = sizeof dm;
  dm.dmFields = DM_PAPERWIDTH | DM_PAPERLENGTH;
  dm.dmPaperWidth = 2100;
  dm.dmPaperLength = 2970;
  dm.dmPrintQuality = dm.dmYResolution = 300;
  dm.dmScale = 100;
  {
    snk::engine::EngineJob job(*driver);
    HANDLE printer = snk::host::OpenHostPrinter(u"Bench Printer");
    if (!job.Enable(request, u"Bench Printer", printer, &error) || !job.StartDoc(u"bench", 1)) {
      std::fprintf(stderr, "job failed: %s\n", error.c_str());
      return 1;
    }
    for (int i = 0; i < pages; ++i) {
      job.StartPage();
      job.SendPage();
    }
    job.EndDoc();
    job.Disable();
    snk::host::ClosePrinter(printer);
  }
  double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  std::printf("pages %6d  time %8.3f s  %7.3f ms/page  peak RSS %7.1f MiB  file %ju bytes\n", pages, seconds,
              seconds * 1000 / pages, usage.ru_maxrss / 1024.0, std::uintmax_t(std::filesystem::file_size(out)));
  return 0;
}
