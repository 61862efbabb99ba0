// The page's content stream as the parts of the graphics share it.
#include "graphics/graphics.h"

CKMC_Graphics::CKMC_Graphics(CKMC_DocumentWriter& writer, const CKMC_GraphicsSwitches& switches)
    : m_writer(writer),
      m_images(writer, *this, switches),
      m_paths(writer, *this, m_state, m_images, switches),
      m_clipping(writer, *this, m_state, m_images, switches),
      m_gradients(writer, *this, switches) {}

CKMC_Graphics::~CKMC_Graphics() = default;

void CKMC_Graphics::StartPage() {
  m_clipping.StartPage();
  m_state.Forget();
}

CKM_BinaryBuf& CKMC_Graphics::Stream() {
  if (!m_writer.HasPageContent()) {
    m_writer.BeginPageContent();
    StartPage();
  }
  return m_writer.Content();
}

void CKMC_Graphics::CloseTextRun(CKM_BinaryBuf& out) {
  if (!m_textRunOpen) return;
  m_textRunOpen = false;
  if (m_textSink) m_textSink->FlushText(out);
}

void CKMC_Graphics::EndPage(SURFOBJ* surface) {
  // What the engine drew and an open text object go in before the clip's
  // last "Q ".
  m_images.FlushDeferredBitmaps(surface);
  CKM_BinaryBuf& out = Stream();
  CloseTextRun(out);
  m_clipping.EndPage(out);
}

CKM_BinaryBuf& CKMC_Graphics::BeginText(SURFOBJ* surface) {
  m_images.FlushDeferredBitmaps(surface);
  return Stream();
}

void CKMC_Graphics::BeginBackground(CKM_BinaryBuf& out, uint32_t color) {
  CloseTextRun(out);
  m_state.SetFillColor(out, color);
  m_state.SetStrokeColor(out, color);
}
