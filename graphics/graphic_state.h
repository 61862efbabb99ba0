// CKMC_GraphicState: what the content stream's graphic state holds.
//
// Colours, line width and dash are written only when they change; after
// every "Q " the cache forgets them. The last colours set are remembered
// across "Q ", and the colour of the last blit's brush, which the mask-pen
// fill paints with.
#pragma once

#include <cstdint>

#include "base/binary_buf.h"
#include "base/byte_string.h"
#include "graphics/text_sink.h"

class CKMC_GraphicState {
 public:
  void SetStrokeColor(CKM_BinaryBuf& out, uint32_t color);
  void SetFillColor(CKM_BinaryBuf& out, uint32_t color);
  void SetLineWidth(CKM_BinaryBuf& out, double width);
  void SetDash(CKM_BinaryBuf& out, const CKM_ByteString& dash);
  // Forgets colours, width and dash; to be called after every "Q ".
  void Forget();

  CKMC_ColorState Colors() const { return m_colors; }
  void SetColors(const CKMC_ColorState& colors) { m_colors = colors; }
  bool LineWidthKnown() const { return m_lineWidthKnown; }
  uint32_t LastFillColor() const { return m_lastFillColor; }
  uint32_t LastStrokeColor() const { return m_lastStrokeColor; }
  void SetLastFillColor(uint32_t color) { m_lastFillColor = color; }

 private:
  CKMC_ColorState m_colors;
  bool m_lineWidthKnown = false;
  double m_lineWidth = 0;
  CKM_ByteString m_dash;
  uint32_t m_lastFillColor = 0;
  uint32_t m_lastStrokeColor = 0;
};
