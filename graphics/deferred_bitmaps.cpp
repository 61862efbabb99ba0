// Areas the engine drew on the page surface, waiting to be shown as images.
#include "graphics/graphics.h"

void CKMC_Graphics::AddDirtyRect(RECTL& rect) {
  if (Cancelled()) return;
  if (rect.left < 0) rect.left = 0;
  if (rect.top < 0) rect.top = 0;
  if (rect.right > writer_.pageWidthPixels) rect.right = writer_.pageWidthPixels;
  if (rect.bottom > writer_.pageHeightPixels) rect.bottom = writer_.pageHeightPixels;
  if (rect.left < rect.right && rect.top < rect.bottom) dirtyRegion.Add(rect);
}

void CKMC_Graphics::FlushDeferredBitmaps(SURFOBJ* surface) {
  if (!gdiPunt_) {
    FlushPendingImages();
    return;
  }
  // Without a surface there is nothing to cut the areas from.
  if (!surface) {
    dirtyRegion.Clear();
    return;
  }
  CaptureDirtyAreas(surface);
}

void CKMC_Graphics::FlushPendingImages() {
  // Source bitmaps are not captured yet, so no image is ever pending.
}

void CKMC_Graphics::CaptureDirtyAreas(SURFOBJ* /*surface*/) {
  // The areas are not cut from the surface yet; they stay listed.
}

void CKMC_Graphics::TransferBitmap(SURFOBJ* /*source*/, const RECTL& /*target*/,
                                   const POINTL* /*sourceOrigin*/) {
  if (Cancelled()) return;
  // The source bitmap is not captured yet: nothing is drawn.
}
