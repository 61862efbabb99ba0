// CKMC_Graphics: the vector side of a job's drawing calls.
//
// It owns the parts that turn the drawing entries' calls into operators of
// the current page's content stream: the graphic-state cache, the image
// queue and dirty list, path painting, clipping and gradients. It opens the
// page's stream for them, ends the text block the text output holds open
// before any other operator, and is the text output's canvas.
//
// One object per job (owned by CKMC_Document); all calls come on the one
// thread that draws the job.
#pragma once

#include <cstdint>

#include "base/binary_buf.h"
#include "graphics/clipping.h"
#include "graphics/gradients.h"
#include "graphics/graphic_state.h"
#include "graphics/image_queue.h"
#include "graphics/page_stream.h"
#include "graphics/path_painting.h"
#include "graphics/text_sink.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

// Whether a raster operation's result depends on the destination: the low
// byte m of a ROP or MIX, read as a ternary table, differs between D = 0
// and D = 1 somewhere.
inline bool ReadsDestination(ULONG rop) {
  ULONG m = rop & 0xFF;
  return (m & 0x55) != ((m >> 1) & 0x55);
}

class CKMC_Graphics final : public IKMC_TextCanvas, public IKMC_PageStream {
 public:
  // The switches are the job's own and are read at each call.
  CKMC_Graphics(CKMC_DocumentWriter& writer, const CKMC_GraphicsSwitches& switches);
  ~CKMC_Graphics();
  CKMC_Graphics(const CKMC_Graphics&) = delete;
  CKMC_Graphics& operator=(const CKMC_Graphics&) = delete;

  // Where an open text block goes (null: nothing ever opens one).
  void SetTextSink(IKMC_TextSink* sink) { m_textSink = sink; }

  // A new page: no clip open, nothing known about the stream's state.
  void StartPage();
  CKM_BinaryBuf& Stream() override;
  void CloseTextRun(CKM_BinaryBuf& out) override;
  // Brings what the engine drew into the page's content and ends an open
  // text object and clip, before the writer finishes the page.
  void EndPage(SURFOBJ* surface);

  // Device pixels to points, y flipped about the page height.
  void DeviceToUser(double& x, double& y) const { ::DeviceToUser(m_writer.Geometry(), x, y); }

  // ---- the text output's canvas

  CKM_BinaryBuf& BeginText(SURFOBJ* surface) override;
  void BeginBackground(CKM_BinaryBuf& out, uint32_t color) override;
  void SetLineWidth(CKM_BinaryBuf& out, double width) override { m_state.SetLineWidth(out, width); }
  CKMC_ColorState Colors() const override { return m_state.Colors(); }
  void SetColors(const CKMC_ColorState& colors) override { m_state.SetColors(colors); }
  void OpenTextRun() override { m_textRunOpen = true; }
  bool TextRunOpen() const { return m_textRunOpen; }
  // A new document: no text block and no clip open.
  void ForgetDocument() {
    m_textRunOpen = false;
    m_clipping.ForgetIdentity();
  }

  // ---- the parts

  CKMC_GraphicState& State() { return m_state; }
  CKMC_ImageQueue& Images() { return m_images; }
  CKMC_PathPainter& Paths() { return m_paths; }
  CKMC_Clipping& Clip() { return m_clipping; }
  CKMC_GradientWriter& Gradients() { return m_gradients; }

 private:
  CKMC_DocumentWriter& m_writer;
  CKMC_GraphicState m_state;
  CKMC_ImageQueue m_images;
  CKMC_PathPainter m_paths;
  CKMC_Clipping m_clipping;
  CKMC_GradientWriter m_gradients;
  // Set by the text output while a "BT " is open.
  bool m_textRunOpen = false;
  IKMC_TextSink* m_textSink = nullptr;
};
