// IKMC_TextSink: the one thing the graphics part knows of text output.
#pragma once

#include "base/binary_buf.h"

// The text output, which holds its text block back between calls; the
// graphics part ends the block through this before it writes anything.
class IKMC_TextSink {
 public:
  // Writes the open text block to `out`, if there is one.
  virtual void FlushText(CKM_BinaryBuf& out) = 0;

 protected:
  ~IKMC_TextSink() = default;
};
