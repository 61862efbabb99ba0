// Private to host/fonts: finding installed faces through fontconfig, and
// the font files' bytes.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

namespace snk::fonts::detail {

// One face fontconfig offers for a request.
struct FaceCandidate {
  std::string path;
  int32_t index = 0;                     // face within a collection
  std::vector<std::u16string> families;  // every family name the face answers to
};

// The faces that fit a request best first, by fontconfig's own rules (its
// configuration supplies the metric-compatible substitutes). Only faces
// with TrueType or CFF outlines in an sfnt wrapper are offered; at most
// `limit` of them.
std::vector<FaceCandidate> MatchFaces(const std::u16string& family, int32_t weight, bool italic,
                                      uint8_t charset, size_t limit);

// The bytes of a font file, shared by every font realized from it while
// any of them lives. Null with `error` set when the file cannot be read.
std::shared_ptr<const std::vector<uint8_t>> ReadFontFile(const std::string& path, std::string* error);

// The Windows family that an installed face was made to stand in for,
// metric for metric (Liberation Sans for Arial, Carlito for Calibri), when
// `asked` is that family and `installed` one of its stand-ins; empty
// otherwise. Such a face is realized under the name that was asked for, as
// the face itself would be, so that documents keep naming the fonts they
// were written in.
std::u16string StandInFor(const std::u16string& asked, const std::u16string& installed);

// Case-insensitive (ASCII) equality of family names.
bool SameFamily(const std::u16string& a, const std::u16string& b);

}  // namespace snk::fonts::detail
