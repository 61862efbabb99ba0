// Fonts of the Linux host: installed faces found through fontconfig, opened
// with FreeType, and handed to the driver as the engine's text objects.
//
// A HostFont is one realized font: a face at one size and orientation, with
// the FONTOBJ, IFIMETRICS, FD_GLYPHSET and notional-to-device XFORMOBJ that
// the driver reads. A HostStrobj is one run of glyphs in such a font, with
// device positions, as STROBJ. EngTextOut draws a run on a surface with
// GDI's aliased rendering.
//
// Spaces. Font space: font units of the face, x along the baseline, y down
// (ascenders negative). The request's `toDevice` maps a font space scaled to
// the requested size (one unit = one logical unit of the request) to device
// pixels; the device context folds the world and page transforms and the
// escapement into it.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/engine/path.h"
#include "host/engine/surface.h"
#include "host/engine/xform.h"
#include "platform/winddi.h"

namespace snk::fonts {

// The em, in request units, of a request of height 0.
inline constexpr double kDefaultEm = 12;

// What a LOGFONTW asks for. Sizes are in the request's own units (the
// device context's logical units), with LOGFONTW's sign conventions.
struct FontRequest {
  std::u16string faceName;  // as the LOGFONTW holds it, a leading "@" included
  int32_t height = 0;       // < 0: em height; > 0: cell height (ascent + descent); 0: a default
  int32_t width = 0;        // average character width; 0: the face's own proportions
  int32_t weight = 400;     // 0 means 400
  bool italic = false;
  uint8_t charset = 1;  // DEFAULT_CHARSET
  uint8_t pitchAndFamily = 0;
  // Request units (x along the baseline, y down) to device pixels.
  double m11 = 1, m12 = 0, m21 = 0, m22 = 1;
};

// One installed face as the catalogue of installed fonts knows it.
struct InstalledFace {
  std::string path;           // the font file
  int32_t index = 0;          // face index within a collection
  std::u16string family;      // the family name as the face's name table gives it
  std::u16string postscript;  // name ID 6
};

// The installed faces, read once per process through fontconfig, in a fixed
// order (sorted by family, then style).
SNK_HOST_API const std::vector<InstalledFace>& InstalledFaces();

class SNK_HOST_API HostFont {
 public:
  // Finds the face through fontconfig (with its metric-compatible
  // substitutes: Liberation for Arial, Times New Roman, Courier New;
  // Carlito for Calibri), opens it and fills the engine objects. Null with
  // `error` set when no face can be opened or its tables are unusable.
  static std::unique_ptr<HostFont> Realize(const FontRequest& request, std::string* error);
  // The same from a font file's bytes (face `faceIndex` of a collection);
  // `label` names the file in errors and in Face().path. For tests and
  // fuzzing, and for faces that are not installed.
  static std::unique_ptr<HostFont> RealizeFromBytes(const FontRequest& request, std::vector<uint8_t> file,
                                                    int32_t faceIndex, const std::string& label,
                                                    std::string* error);
  ~HostFont();
  HostFont(const HostFont&) = delete;
  HostFont& operator=(const HostFont&) = delete;

  // The host font behind a FONTOBJ it handed out, or null.
  static HostFont* From(FONTOBJ* fo);

  FONTOBJ* Fontobj();
  const IFIMETRICS& Metrics() const;
  // What FONTOBJ_pfdg, FONTOBJ_pvTrueTypeFontFile and FONTOBJ_pxoGetXform
  // give: the glyph set, the whole font file (a collection's too), the
  // notional-to-device transform.
  FD_GLYPHSET* GlyphSet();
  std::span<const uint8_t> FileBytes() const;
  XFORMOBJ* Xform();
  // The face actually opened, and whether its family is not the one asked
  // for (a substitute: glyph numbers recorded with the asked face mean other
  // glyphs in it).
  const InstalledFace& Face() const;
  bool IsSubstitute() const;
  // A face with only a symbol character map, or one standing in for Symbol
  // (its glyph names cover the Symbol encoding) where Symbol or
  // SYMBOL_CHARSET was asked for.
  bool IsSymbol() const;
  bool IsVertical() const;  // the request's name began with "@"

  // Glyph of a UTF-16 value by the face's character map (for symbol faces
  // values below 0x100 are looked up at 0xF000 + value; for other faces
  // F020-F0FF, if not mapped, at value - 0xF000); 0 if none. A stand-in
  // for Symbol answers to 0020-00FF and F020-F0FF only, with the glyphs
  // the Symbol encoding names for the low byte.
  HGLYPH GlyphOf(char16_t value) const;
  // Advance of a glyph along the baseline in request units, as GDI places
  // glyphs: the hinted advance at the device size, in whole pixels (one
  // more for simulated bold), mapped back to request units.
  double Advance(HGLYPH glyph) const;
  // Ascent and descent in request units (positive both), from the face's
  // Windows metrics rounded to whole device pixels, for the alignment of
  // the reference point.
  double Ascent() const;
  double Descent() const;
  // Adds the glyph's outline to `path`, its origin at `origin` (device
  // pixels), transformed as the font is.
  void AppendOutline(engine::HostPath& path, HGLYPH glyph, double originX, double originY) const;

  // The engine's own drawing of text. A glyph's aliased bitmap at the
  // device size, simulations applied: `rows` rows of `width` bits (most
  // significant bit first), `pitch` bytes apart, the top-left pixel at
  // (left, top) from the glyph origin, device pixels, y down. The reference
  // stays valid until the next call on this font.
  struct GlyphBits {
    int32_t left = 0, top = 0, width = 0, rows = 0, pitch = 0;
    std::vector<uint8_t> bits;
  };
  const GlyphBits& Bits(HGLYPH glyph) const;
  // The glyph's cell (its advance by ascent and descent) joined with its
  // ink, in device pixels about the glyph origin.
  RECTL Box(HGLYPH glyph) const;

 private:
  HostFont();
  // `standsFor`: the family the face is realized as, for a stand-in.
  void Fill(const FontRequest& request, const std::string& path, int32_t index, const std::u16string& standsFor);
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

// One run of glyphs in one font, as the engine hands it to DrvTextOut.
class SNK_HOST_API HostStrobj {
 public:
  // `text` is the run's text, one UTF-16 value per glyph, or empty;
  // `flAccel` the STROBJ flags (SO_GLYPHINDEX_TEXTOUT for glyph-index text).
  HostStrobj(HostFont& font, std::vector<GLYPHPOS> glyphs, std::u16string text, FLONG flAccel);
  ~HostStrobj();
  HostStrobj(const HostStrobj&) = delete;
  HostStrobj& operator=(const HostStrobj&) = delete;

  static HostStrobj* From(STROBJ* so);
  STROBJ* Strobj() { return &so; }
  HostFont& Font() const { return font_; }
  const std::vector<GLYPHPOS>& Glyphs() const { return glyphs_; }

  STROBJ so{};  // handed to drivers as &so; kept first

 private:
  friend BOOL APIENTRY(::STROBJ_bEnumPositionsOnly)(STROBJ*, ULONG*, GLYPHPOS**);
  friend void APIENTRY(::STROBJ_vEnumStart)(STROBJ*);
  HostFont& font_;
  std::vector<GLYPHPOS> glyphs_;
  std::u16string text_;
  size_t enumAt_ = 0;
};

}  // namespace snk::fonts
