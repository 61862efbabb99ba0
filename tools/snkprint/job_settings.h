// The settings of one job: the values snkprint lays over the user's stored
// settings for this run, and the per-job settings file it hands the driver.
//
// The driver reads its device options (folder, overwrite, naming, PDF/A,
// version, embedding...) from the user's settings key when the device is
// made, and the per-job sections (document information, watermark, header
// and footer) from the settings file only. So a per-job choice that the
// driver takes from the settings key travels as an in-memory value of that
// key for this run; every choice is also written to the file, as the
// property pages of an interface module would.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tools/snkprint/options.h"

class IKMC_DataExchange;

namespace snk::print {

// One value of the user's settings key as it is for this run only.
struct RunValue {
  std::u16string name;
  bool isText = false;
  uint32_t number = 0;
  std::u16string text;
};

// The values --set gives: decimal numbers of up to 32 bits are numbers,
// anything else text.
std::vector<RunValue> SetOptionValues(const Options& options);

// The values of the per-job options, applied after those of --set.
// `currentFolder` is where the file goes with --default-name when no folder
// is given and none is stored (`folderStored` false).
// -o wins over --default-name: with -o the default name is never used.
std::vector<RunValue> JobOptionValues(const Options& options, std::u16string_view currentFolder,
                                      bool folderStored);

// Lays the values over the user's settings key for this run; later values
// win over earlier ones of the same name.
void ApplyRunValues(const std::vector<RunValue>& values);

// One key of the settings file and the value of the user's settings key
// whose twin it is.
struct FileTwin {
  std::u16string_view section;
  std::u16string_view fileKey;
  std::string_view registryName;
};
// Every key the job's settings file mirrors from the user's settings key.
const std::vector<FileTwin>& FileTwins();

// Writes the job's settings into `file`: every twin with the value the
// driver would read from the user's key now (overlays included), then the
// document information of the --info-* options.
void WriteJobSettings(IKMC_DataExchange& file, const JobOptions& job);

}  // namespace snk::print
