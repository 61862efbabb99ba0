// The clip of the content stream.
//
// A clip is a "q " that stays open for as many drawing calls as share it.
// Whether it changed is decided on the text of its operators, not on GDI's
// identity number, which may change for an equal region.
#include "graphics/clipping.h"

#include <string>

#include "base/number_format.h"
#include "graphics/path_painting.h"

namespace {

// Whether a rectangular clip leaves the drawing within `bounds` alone. The
// right and bottom edges may fall one pixel short.
bool RectClipCovers(const RECTL& clip, const RECTL& bounds) {
  return clip.left <= bounds.left && clip.right >= bounds.right - 1 && clip.top <= bounds.top &&
         clip.bottom >= bounds.bottom - 1;
}

}  // namespace

void CKMC_Clipping::StartPage() {
  m_clipText.Empty();
  m_clipIdentity = 0;
}

void CKMC_Clipping::EndPage(CKM_BinaryBuf& out) const {
  if (m_clipIdentity) out.AppendString("Q ");
}

void CKMC_Clipping::EndClip(SURFOBJ* surface) {
  m_images.FlushDeferredBitmaps(surface);
  CKM_BinaryBuf& out = m_page.Operators();
  out.AppendString("Q ");
  m_state.Forget();
  m_clipIdentity = 0;
  m_clipText.Empty();
}

void CKMC_Clipping::SelectClip(SURFOBJ* surface, CLIPOBJ* clip, const RECTL* bounds) {
  if (m_switches.jobCancelled) return;

  const bool none = !clip || clip->iDComplexity == DC_TRIVIAL ||
                    (clip->iDComplexity == DC_RECT && bounds && RectClipCovers(clip->rclBounds, *bounds));
  if (none) {
    if (m_clipIdentity != 0) EndClip(surface);
    return;
  }

  // A region without an identity still counts as a clip in force.
  const uint32_t oldIdentity = m_clipIdentity;
  m_clipIdentity = clip->iUniq ? clip->iUniq : 0xFFFFFFFF;

  // The bounds rectangle intersected with the region's outline, both under
  // the even-odd rule.
  double left = clip->rclBounds.left, bottom = clip->rclBounds.bottom;
  double right = clip->rclBounds.right, top = clip->rclBounds.top;
  DeviceToUser(m_writer.Geometry(), left, bottom);
  DeviceToUser(m_writer.Geometry(), right, top);
  std::string text = snk::FormatNumber(left) + ' ' + snk::FormatNumber(bottom) + ' ' +
                     snk::FormatNumber(right - left) + ' ' + snk::FormatNumber(top - bottom) + " re W* n ";
  PATHOBJ* outline = CLIPOBJ_ppoGetPath(clip);
  text += PathOperators(outline, &m_writer.Geometry()).view();
  if (outline) EngDeletePath(outline);

  CKM_ByteString newText(std::move(text));
  if (newText == m_clipText) return;

  m_images.FlushDeferredBitmaps(surface);
  CKM_BinaryBuf& out = m_page.Operators();
  if (oldIdentity != 0) {
    out.AppendString("Q ");
    m_state.Forget();
  }
  m_clipText = newText;
  out.AppendString("q ");
  out.AppendString(m_clipText.view());
  out.AppendString("W* n\n");
}
