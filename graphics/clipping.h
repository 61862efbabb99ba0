// CKMC_Clipping: the clip of the content stream.
//
// A clip is a "q " that stays open for as many drawing calls as share it.
// Whether it changed is decided on the text of its operators, not on GDI's
// identity number, which may change for an equal region.
#pragma once

#include <cstdint>

#include "base/byte_string.h"
#include "graphics/graphic_state.h"
#include "graphics/image_queue.h"
#include "graphics/page_stream.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

class CKMC_Clipping {
 public:
  CKMC_Clipping(CKMC_DocumentWriter& writer, IKMC_PageStream& page, CKMC_GraphicState& state,
                CKMC_ImageQueue& images, const CKMC_GraphicsSwitches& switches)
      : m_writer(writer), m_page(page), m_state(state), m_images(images), m_switches(switches) {}
  CKMC_Clipping(const CKMC_Clipping&) = delete;
  CKMC_Clipping& operator=(const CKMC_Clipping&) = delete;

  // Makes the content stream's clip that of `clip`, for a drawing within
  // `bounds` (null: unknown).
  void SelectClip(SURFOBJ* surface, CLIPOBJ* clip, const RECTL* bounds);
  // A new page: no clip open.
  void StartPage();
  // A new document: no clip's "q " open. The operators are kept until the
  // first page starts.
  void ForgetIdentity() { m_clipIdentity = 0; }
  // Ends the clip's "q " at the end of the page, if one is open.
  void EndPage(CKM_BinaryBuf& out) const;
  // GDI's identity number of the clip in force, 0 when no clip's "q " is
  // open.
  uint32_t ClipIdentity() const { return m_clipIdentity; }
  // The operators of the clip in force (empty: none).
  const CKM_ByteString& ClipText() const { return m_clipText; }

 private:
  // Ends an open clip: "Q ", and the graphic state is forgotten.
  void EndClip(SURFOBJ* surface);

  CKMC_DocumentWriter& m_writer;
  IKMC_PageStream& m_page;
  CKMC_GraphicState& m_state;
  CKMC_ImageQueue& m_images;
  const CKMC_GraphicsSwitches& m_switches;
  // The clip operators in force, and GDI's number of the clip.
  CKM_ByteString m_clipText;
  uint32_t m_clipIdentity = 0;
};
