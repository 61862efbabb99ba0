// CKMC_GradientWriter: gradient fills as shadings.
#pragma once

#include "graphics/page_stream.h"
#include "platform/winddi.h"
#include "writer/document_writer.h"

class CKMC_GradientWriter {
 public:
  CKMC_GradientWriter(CKMC_DocumentWriter& writer, IKMC_PageStream& page,
                      const CKMC_GraphicsSwitches& switches)
      : m_writer(writer), m_page(page), m_switches(switches) {}
  CKMC_GradientWriter(const CKMC_GradientWriter&) = delete;
  CKMC_GradientWriter& operator=(const CKMC_GradientWriter&) = delete;

  // A gradient fill as a shading of Gouraud triangles over `extents`.
  // Throws std::invalid_argument for a mesh that cannot be written: a
  // vertex index past the vertices, or an empty extent.
  void WriteGradient(const TRIVERTEX* vertices, ULONG vertexCount, const void* mesh, ULONG meshCount,
                     const RECTL& extents, ULONG mode);

 private:
  CKMC_DocumentWriter& m_writer;
  IKMC_PageStream& m_page;
  const CKMC_GraphicsSwitches& m_switches;
};
