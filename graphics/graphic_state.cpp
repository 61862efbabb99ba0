// The graphic state of the content stream.
#include "graphics/graphic_state.h"

#include <cmath>

#include "base/number_format.h"

namespace {

// "r g b" of a colour word (red in the low byte), each part in 0..1; the
// top byte is not written.
void AppendRgb(CKM_BinaryBuf& out, uint32_t color) {
  out.AppendString(snk::FormatNumber((color & 0xFF) / 255.0));
  out.AppendByte(' ');
  out.AppendString(snk::FormatNumber(((color >> 8) & 0xFF) / 255.0));
  out.AppendByte(' ');
  out.AppendString(snk::FormatNumber(((color >> 16) & 0xFF) / 255.0));
}

}  // namespace

void CKMC_GraphicState::SetStrokeColor(CKM_BinaryBuf& out, uint32_t color) {
  if (m_colors.strokeKnown && m_colors.stroke == color) return;
  AppendRgb(out, color);
  out.AppendString(" SC ");
  m_colors.strokeKnown = true;
  m_colors.stroke = color;
  m_lastStrokeColor = color;
}

void CKMC_GraphicState::SetFillColor(CKM_BinaryBuf& out, uint32_t color) {
  if (m_colors.fillKnown && m_colors.fill == color) return;
  AppendRgb(out, color);
  out.AppendString(" sc ");
  m_colors.fillKnown = true;
  m_colors.fill = color;
  m_lastFillColor = color;
}

void CKMC_GraphicState::SetLineWidth(CKM_BinaryBuf& out, double width) {
  if (m_lineWidthKnown && m_lineWidth == width) return;
  out.AppendString(snk::FormatNumber(std::fabs(width)));
  out.AppendString(" w ");
  m_lineWidthKnown = true;
  m_lineWidth = width;
}

void CKMC_GraphicState::SetDash(CKM_BinaryBuf& out, const CKM_ByteString& dash) {
  if (dash == m_dash) return;
  out.AppendString(dash.view());
  m_dash = dash;
}

void CKMC_GraphicState::Forget() {
  m_colors.strokeKnown = false;
  m_colors.fillKnown = false;
  m_lineWidthKnown = false;
  m_dash.Empty();
}
