// Where the graphics part and the text output meet.
//
// The text output holds its text block back between calls; the graphics
// part ends the block through IKMC_TextSink before it writes anything else.
// The text output writes a run through IKMC_TextCanvas, which gives it the
// page's content stream and the graphic state's colours.
#pragma once

#include <cstdint>

#include "base/binary_buf.h"
#include "platform/winddi.h"

class IKMC_TextSink {
 public:
  // Writes the open text block to `out`, if there is one.
  virtual void FlushText(CKM_BinaryBuf& out) = 0;

 protected:
  ~IKMC_TextSink() = default;
};

// The colours the content stream holds, as far as they are known.
struct CKMC_ColorState {
  bool fillKnown = false;
  bool strokeKnown = false;
  uint32_t fill = 0;
  uint32_t stroke = 0;
};

class IKMC_TextCanvas {
 public:
  // Brings what the engine drew so far into the content stream and returns
  // the stream, for a run to come.
  virtual CKM_BinaryBuf& BeginText(SURFOBJ* surface) = 0;
  // Ends an open text block and sets both colours to `color`, for a run's
  // opaque background.
  virtual void BeginBackground(CKM_BinaryBuf& out, uint32_t color) = 0;
  virtual void SetLineWidth(CKM_BinaryBuf& out, double width) = 0;
  virtual CKMC_ColorState Colors() const = 0;
  // Takes over the colours a text block set (or leaves them as they were).
  virtual void SetColors(const CKMC_ColorState& colors) = 0;
  // A text block is open from now on: the next other operator ends it.
  virtual void OpenTextRun() = 0;

 protected:
  ~IKMC_TextCanvas() = default;
};
