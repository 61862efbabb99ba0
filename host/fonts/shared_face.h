// Private to host/fonts: one face of a font file, opened with FreeType once
// and shared by every font realized from it, with what depends on the face
// alone worked out once: its names, metrics, character maps and glyph sets,
// the hinted advances at each pixel size and the glyphs' ink boxes.
//
// FreeType faces are not thread-safe: every call on face() and on the
// caches happens under mutex().
#pragma once

#include <ft2build.h>
#include FT_FREETYPE_H

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>
#include <unordered_map>
#include <vector>

#include "host/fonts/face_info.h"

namespace snk::fonts::detail {

// How a realization maps characters to glyphs.
enum class CharMapping : uint8_t {
  kUnicode,        // the face's Unicode map
  kSymbolMap,      // the face's (3,0) symbol map
  kSymbolByNames,  // a stand-in for Symbol: the encoding's glyph names
};

class SharedFace {
 public:
  // The face `index` of the installed file at `path`, opened on first use
  // and kept for the process. Null with `error` set when FreeType refuses
  // it or it is not a usable outline face.
  static std::shared_ptr<SharedFace> Installed(const std::string& path, int32_t index, std::string* error);
  // A face of the given bytes, not shared with anything else; `label`
  // names the file in errors.
  static std::shared_ptr<SharedFace> FromBytes(std::shared_ptr<const std::vector<uint8_t>> file,
                                               int32_t index, const std::string& label, std::string* error);
  ~SharedFace();
  SharedFace(const SharedFace&) = delete;
  SharedFace& operator=(const SharedFace&) = delete;

  std::mutex& mutex() { return mutex_; }
  FT_Face face() const { return face_; }
  const std::vector<uint8_t>& file() const { return *file_; }

  // What one character mapping of the face gives; its map is left
  // selected in the face as a fresh realization would leave it.
  struct Mapping {
    IFIMETRICS metrics{};
    std::vector<uint8_t> covered;  // Windows charsets
    Block glyphSet;
    FT_CharMap charmap = nullptr;
  };

  // The rest under the lock.
  const FaceNames& Names();
  bool IsSymbolFace();
  bool IsSymbolStandIn();
  const std::vector<FT_UInt>& SymbolByNames();
  bool IsBold();
  bool IsItalic();
  const Mapping& MappingFor(CharMapping mapping);
  // The IFIMETRICS block of a realization: the mapping's metrics with the
  // charset, names and charset list given.
  const Block& Ifi(CharMapping mapping, uint8_t charset, const FaceNames& names);
  // The glyph's advance hinted at (x, y) pixels per em in whole pixels,
  // and the pixels per em of that size; nullopt when the glyph does not
  // load. A size FreeType refuses is replaced by 16 by 16.
  std::optional<double> HintedAdvance(FT_UInt ppemX, FT_UInt ppemY, FT_UInt glyph, double* hintedPpem);
  // The glyph outline's control box in font units (y up); nullopt for a
  // glyph without an outline.
  std::optional<FT_BBox> InkBox(FT_UInt glyph);

 private:
  SharedFace() = default;
  bool Open(const std::string& label, int32_t index, std::string* error);
  struct Size {
    FT_Size size = nullptr;
    double ppem = 0;
    std::unordered_map<FT_UInt, std::optional<double>> advances;
  };
  Size& SizeFor(FT_UInt ppemX, FT_UInt ppemY);

  std::mutex mutex_;
  std::shared_ptr<const std::vector<uint8_t>> file_;
  FT_Library library_ = nullptr;
  FT_Face face_ = nullptr;
  std::optional<FaceNames> names_;
  std::optional<bool> symbolFace_, standIn_, bold_, italic_;
  std::optional<std::vector<FT_UInt>> byNames_;
  std::map<CharMapping, Mapping> mappings_;
  std::map<std::tuple<CharMapping, uint8_t, std::u16string, std::u16string, std::u16string>, Block> ifis_;
  std::map<std::pair<FT_UInt, FT_UInt>, Size> sizes_;
  std::unordered_map<FT_UInt, std::optional<FT_BBox>> inkBoxes_;
};

}  // namespace snk::fonts::detail
