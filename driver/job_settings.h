// CKMC_JobSettings: the settings a job runs with, as one value.
//
// A device reads its value from the user's settings key when it is made.
// Each document start (and each reset of the device under a running job)
// derives the job's value from the device's: the printer's batch controls
// and the file name setting are read at that moment, so that a job sees
// the printer's data as it is when the job starts, and the rules that tie
// settings together are applied. Nothing changes a value once it is built;
// a new one replaces it.
#pragma once

#include <cstdint>
#include <vector>

#include "base/byte_string.h"
#include "platform/win_types.h"

struct CKMC_JobSettings {
  // The user's settings key, read when the device is made.
  CKM_WideString folder{};  // default output folder
  uint32_t overwrite = 0;
  uint32_t useDefaultName = 0;
  uint32_t openFile = 1;
  uint32_t gdiPunt = 1;  // bitmap-backed surface
  uint32_t imageCompress = 1;
  uint32_t ignoreBackground = 0;
  uint32_t mergeImages = 1;
  uint32_t pdfa = 0;
  uint32_t pdfVersion = 14;
  uint32_t showDialog = 1;        // kept; has no effect
  uint32_t bitmapFontSize = 100;  // kept; has no effect
  uint32_t fontEmbed = 2;         // 0 none, 1 the faces of `faceBlock`, 2 all, 3 all but the standard 14
  uint32_t fontWarn = 1;
  // No setting feeds the program launched after a job: it stays off.
  uint32_t postProcess = 0;

  // Read when a document starts.
  uint32_t batch = 0;              // the printer's "Batch": an outside caller drives the job
  CKM_WideString batchDestName{};  // the batch destination's name
  CKM_WideString fileName{};       // the user's "FileName": the default file name
  // The printer's "FFaces" block while embedding is on: a 32-bit size that
  // counts itself, then zero-ended UTF-16 names.
  std::vector<uint8_t> faceBlock{};

  // Whether the file is PDF/A-1b: the low byte of the setting counts.
  bool Pdfa() const { return static_cast<uint8_t>(pdfa) != 0; }

  // The device's value: the user's settings key.
  static CKMC_JobSettings ReadForDevice();
  // The job's value on a device with this value: `printer`'s batch controls
  // laid over it, the file name setting, and PDF/A's embedding of every
  // font. `bitmapRefused`: the device could not have its bitmap surface.
  CKMC_JobSettings ForJob(HANDLE printer, bool bitmapRefused) const;
  // The same value once the job has ended: the face list is the job's own.
  CKMC_JobSettings AfterJob() const;

  friend bool operator==(const CKMC_JobSettings&, const CKMC_JobSettings&) = default;
};
