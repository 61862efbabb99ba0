#include "host/fonts/shared_face.h"

#include FT_FONT_FORMATS_H
#include FT_OUTLINE_H
#include FT_SIZES_H

#include <string_view>

#include "host/fonts/font_lookup.h"

namespace snk::fonts::detail {
namespace {

// Pixel sizes kept per face; a job with more starts over.
constexpr size_t kMaxSizes = 64;

std::string FreeTypeError(FT_Error error) {
  const char* text = FT_Error_String(error);
  return text ? text : "FreeType error " + std::to_string(error);
}

}  // namespace

std::shared_ptr<SharedFace> SharedFace::Installed(const std::string& path, int32_t index,
                                                  std::string* error) {
  static std::mutex mutex;
  static std::map<std::pair<std::string, int32_t>, std::shared_ptr<SharedFace>> faces;
  std::lock_guard lock(mutex);
  auto known = faces.find({path, index});
  if (known != faces.end()) return known->second;
  auto file = ReadFontFile(path, error);
  if (!file) return nullptr;
  auto face = FromBytes(std::move(file), index, path, error);
  // A face that cannot be opened is tried again next time: the message
  // goes with every failure.
  if (face) faces.emplace(std::pair{path, index}, face);
  return face;
}

std::shared_ptr<SharedFace> SharedFace::FromBytes(std::shared_ptr<const std::vector<uint8_t>> file,
                                                  int32_t index, const std::string& label,
                                                  std::string* error) {
  std::shared_ptr<SharedFace> face(new SharedFace());
  face->file_ = std::move(file);
  if (!face->Open(label, index, error)) return nullptr;
  return face;
}

SharedFace::~SharedFace() {
  for (auto& [key, size] : sizes_) FT_Done_Size(size.size);
  if (face_) FT_Done_Face(face_);
  if (library_) FT_Done_FreeType(library_);
}

bool SharedFace::Open(const std::string& label, int32_t index, std::string* error) {
  auto fail = [&](const std::string& what) {
    if (error) *error = "font file " + label + " (face " + std::to_string(index) + "): " + what;
    return false;
  };
  if (FT_Error e = FT_Init_FreeType(&library_)) {
    library_ = nullptr;
    return fail("FreeType cannot start: " + FreeTypeError(e));
  }
  if (!file_ || file_->empty()) return fail("empty");
  FT_Face probe = nullptr;
  if (FT_Error e = FT_New_Memory_Face(library_, file_->data(), FT_Long(file_->size()), -1, &probe))
    return fail("FreeType refuses it: " + FreeTypeError(e));
  const FT_Long faces = probe->num_faces;
  FT_Done_Face(probe);
  if (index < 0 || index >= faces) return fail("no such face in the file");
  if (FT_Error e = FT_New_Memory_Face(library_, file_->data(), FT_Long(file_->size()), index, &face_)) {
    face_ = nullptr;
    return fail("FreeType refuses it: " + FreeTypeError(e));
  }
  // TrueType and OpenType faces, and Type 1 faces (PFB and PFA files).
  const char* format = FT_Get_Font_Format(face_);
  const bool type1 = format && std::string_view(format) == "Type 1";
  if (!FT_IS_SCALABLE(face_) || (!FT_IS_SFNT(face_) && !type1))
    return fail("not a TrueType, OpenType or Type 1 outline face");
  if (face_->units_per_EM < 16 || face_->units_per_EM > 16384)
    return fail("unusable units per em " + std::to_string(face_->units_per_EM));
  if (face_->num_glyphs <= 0) return fail("no glyphs");
  return true;
}

const FaceNames& SharedFace::Names() {
  if (!names_) names_ = ReadFaceNames(face_);
  return *names_;
}

bool SharedFace::IsSymbolFace() {
  if (!symbolFace_) symbolFace_ = detail::IsSymbolFace(face_);
  return *symbolFace_;
}

bool SharedFace::IsSymbolStandIn() {
  if (!standIn_) standIn_ = detail::IsSymbolStandIn(face_);
  return *standIn_;
}

const std::vector<FT_UInt>& SharedFace::SymbolByNames() {
  if (!byNames_) byNames_ = SymbolEncodingGlyphs(face_);
  return *byNames_;
}

bool SharedFace::IsBold() {
  if (!bold_) bold_ = FaceIsBold(face_);
  return *bold_;
}

bool SharedFace::IsItalic() {
  if (!italic_) italic_ = FaceIsItalic(face_);
  return *italic_;
}

const SharedFace::Mapping& SharedFace::MappingFor(CharMapping mapping) {
  auto known = mappings_.find(mapping);
  if (known != mappings_.end()) {
    FT_Set_Charmap(face_, known->second.charmap);
    return known->second;
  }
  // The steps and their order are those of a face opened afresh: the
  // metrics read the selected map, and the glyph set walks its own.
  const bool symbol = mapping != CharMapping::kUnicode;
  const FT_Encoding encoding =
      mapping == CharMapping::kSymbolMap ? FT_ENCODING_MS_SYMBOL : FT_ENCODING_UNICODE;
  if (FT_Select_Charmap(face_, encoding) != 0 && face_->num_charmaps > 0)
    FT_Set_Charmap(face_, face_->charmaps[0]);
  Mapping& m = mappings_[mapping];
  m.metrics = FaceMetrics(face_, symbol);
  m.covered = CoveredCharsets(face_, symbol);
  m.glyphSet = mapping == CharMapping::kSymbolByNames
                   ? BuildGlyphSet(SymbolByNames())
                   : BuildGlyphSet(face_, mapping == CharMapping::kSymbolMap);
  // BuildGlyphSet walks the selected map; leave the mapping's own one selected.
  FT_Select_Charmap(face_, encoding);
  m.charmap = face_->charmap;
  return m;
}

const Block& SharedFace::Ifi(CharMapping mapping, uint8_t charset, const FaceNames& names) {
  auto key = std::tuple{mapping, charset, names.family, names.full, names.unique};
  auto known = ifis_.find(key);
  if (known != ifis_.end()) return known->second;
  const Mapping& m = MappingFor(mapping);
  IFIMETRICS metrics = m.metrics;
  metrics.jWinCharSet = charset;
  return ifis_.emplace(std::move(key), BuildIfiBlock(metrics, names, m.covered)).first->second;
}

SharedFace::Size& SharedFace::SizeFor(FT_UInt ppemX, FT_UInt ppemY) {
  auto known = sizes_.find({ppemX, ppemY});
  if (known != sizes_.end()) {
    FT_Activate_Size(known->second.size);
    return known->second;
  }
  if (sizes_.size() >= kMaxSizes) {
    for (auto& [key, size] : sizes_) FT_Done_Size(size.size);
    sizes_.clear();
  }
  Size& entry = sizes_[{ppemX, ppemY}];
  if (FT_New_Size(face_, &entry.size) == 0) FT_Activate_Size(entry.size);
  if (FT_Set_Pixel_Sizes(face_, ppemX, ppemY) != 0) FT_Set_Pixel_Sizes(face_, 16, 16);
  entry.ppem = face_->size->metrics.x_ppem;
  return entry;
}

std::optional<double> SharedFace::HintedAdvance(FT_UInt ppemX, FT_UInt ppemY, FT_UInt glyph,
                                                double* hintedPpem) {
  Size& size = SizeFor(ppemX, ppemY);
  *hintedPpem = size.ppem;
  auto known = size.advances.find(glyph);
  if (known != size.advances.end()) return known->second;
  std::optional<double> pixels;
  if (glyph < FT_ULong(face_->num_glyphs) &&
      FT_Load_Glyph(face_, glyph, FT_LOAD_TARGET_MONO | FT_LOAD_NO_BITMAP) == 0)
    pixels = double((face_->glyph->advance.x + 32) >> 6);
  size.advances.emplace(glyph, pixels);
  return pixels;
}

std::optional<FT_BBox> SharedFace::InkBox(FT_UInt glyph) {
  auto known = inkBoxes_.find(glyph);
  if (known != inkBoxes_.end()) return known->second;
  std::optional<FT_BBox> box;
  if (glyph < FT_ULong(face_->num_glyphs) &&
      FT_Load_Glyph(face_, glyph, FT_LOAD_NO_SCALE | FT_LOAD_NO_BITMAP) == 0 &&
      face_->glyph->format == FT_GLYPH_FORMAT_OUTLINE) {
    box.emplace();
    FT_Outline_Get_CBox(&face_->glyph->outline, &*box);
  }
  inkBoxes_.emplace(glyph, box);
  return box;
}

}  // namespace snk::fonts::detail
