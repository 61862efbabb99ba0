// The graphic state of the content stream and the mapping to points.
#include <cmath>
#include <new>

#include "base/number_format.h"
#include "graphics/graphics.h"

CKMC_Graphics::CKMC_Graphics(CKMC_DocumentWriter& writer, const uint32_t& gdiPunt,
                             const uint32_t& jobCancelled)
    : writer_(writer), gdiPunt_(gdiPunt), jobCancelled_(jobCancelled) {}

void CKMC_Graphics::StartPage() {
  clipText.Empty();
  m_clipIdentity = 0;
  ResetGraphicCache();
}

CKM_BinaryBuf& CKMC_Graphics::Stream() {
  if (!writer_.HasPageContent()) {
    writer_.BeginPageContent();
    StartPage();
  }
  return writer_.Content();
}

void CKMC_Graphics::EndPage(SURFOBJ* surface) {
  // What the engine drew and an open text object go in before the clip's
  // last "Q ".
  FlushDeferredBitmaps(surface);
  CKM_BinaryBuf& out = Stream();
  CloseTextRun(out);
  if (m_clipIdentity) out.AppendString("Q ");
}

void CKMC_Graphics::DeviceToUser(double& x, double& y) const {
  const CKMC_PageGeometry& g = writer_.Geometry();
  x = x * g.pixelToPoint;
  y = (static_cast<double>(g.heightPixels) - y) * g.pixelToPoint;
}

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

void CKMC_Graphics::SetStrokeColor(CKM_BinaryBuf& out, uint32_t color) {
  if (strokeColorKnown && strokeColor == color) return;
  AppendRgb(out, color);
  out.AppendString(" SC ");
  strokeColorKnown = true;
  strokeColor = color;
  lastStrokeColor = color;
}

void CKMC_Graphics::SetFillColor(CKM_BinaryBuf& out, uint32_t color) {
  if (fillColorKnown && fillColor == color) return;
  AppendRgb(out, color);
  out.AppendString(" sc ");
  fillColorKnown = true;
  fillColor = color;
  lastFillColor = color;
}

void CKMC_Graphics::SetLineWidth(CKM_BinaryBuf& out, double width) {
  if (lineWidthKnown && lineWidth == width) return;
  out.AppendString(snk::FormatNumber(std::fabs(width)));
  out.AppendString(" w ");
  lineWidthKnown = true;
  lineWidth = width;
}

void CKMC_Graphics::SetDash(CKM_BinaryBuf& out, const CKM_ByteString& newDash) {
  if (newDash == dash) return;
  out.AppendString(newDash.view());
  dash = newDash;
}

void CKMC_Graphics::ResetGraphicCache() {
  strokeColorKnown = false;
  fillColorKnown = false;
  lineWidthKnown = false;
  dash.Empty();
}

void CKMC_Graphics::CloseTextRun(CKM_BinaryBuf& out) {
  if (!textRunOpen) return;
  textRunOpen = false;
  if (textSink) textSink->FlushText(out);
}

CKM_BinaryBuf& CKMC_Graphics::BeginText(SURFOBJ* surface) {
  FlushDeferredBitmaps(surface);
  return Stream();
}

void CKMC_Graphics::BeginBackground(CKM_BinaryBuf& out, uint32_t color) {
  CloseTextRun(out);
  SetFillColor(out, color);
  SetStrokeColor(out, color);
}

CKMC_ColorState CKMC_Graphics::Colors() const {
  return CKMC_ColorState{fillColorKnown, strokeColorKnown, fillColor, strokeColor};
}

void CKMC_Graphics::SetColors(const CKMC_ColorState& colors) {
  fillColorKnown = colors.fillKnown;
  strokeColorKnown = colors.strokeKnown;
  fillColor = colors.fill;
  strokeColor = colors.stroke;
}

void CKMC_RectList::Add(const RECTL& rect) {
  if (static_cast<uint32_t>(count_) >= capacity_) {
    uint32_t capacity = capacity_ + kGrowth;
    std::unique_ptr<RECTL[]> grown(new (std::nothrow) RECTL[capacity]);
    if (!grown) return;
    for (int32_t i = 0; i < count_; ++i) grown[i] = rects_[i];
    rects_ = std::move(grown);
    capacity_ = capacity;
  }
  rects_[count_++] = rect;
}
