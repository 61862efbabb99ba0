// The installed faces, as fontconfig knows them: lookups for realizing
// fonts, the catalogue of installed faces and the font mapper's name list
// behind SnkListInstalledFaceNames.
#include <fontconfig/fontconfig.h>

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <set>
#include <tuple>

#include "host/fonts/font_lookup.h"
#include "host/fonts/host_font.h"
#include "host/system/wide_text.h"
#include "platform/win32.h"

namespace snk::fonts {
namespace detail {
namespace {

constexpr uint64_t kMaxFontFileBytes = uint64_t{256} << 20;

// fontconfig's configuration is shared by the process; calls into it are
// made one at a time.
std::mutex& FcMutex() {
  static std::mutex mutex;
  return mutex;
}

// The process's own configuration, loaded once and released at exit (the
// library's default one would stay allocated).
FcConfig* Config() {
  struct Holder {
    FcConfig* config = FcInitLoadConfigAndFonts();
    ~Holder() {
      if (config) FcConfigDestroy(config);
    }
  };
  static Holder holder;
  return holder.config;
}

// The outline formats whose faces the engine realizes: TrueType and CFF in
// an sfnt wrapper, and Type 1.
enum class OutlineFormat { kNone, kSfnt, kType1 };

OutlineFormat FormatOf(FcPattern* font) {
  FcChar8* format = nullptr;
  if (FcPatternGetString(font, FC_FONTFORMAT, 0, &format) != FcResultMatch) return OutlineFormat::kNone;
  const std::string f(reinterpret_cast<const char*>(format));
  if (f == "TrueType" || f == "CFF") return OutlineFormat::kSfnt;
  return f == "Type 1" ? OutlineFormat::kType1 : OutlineFormat::kNone;
}

std::vector<std::u16string> Families(FcPattern* font) {
  std::vector<std::u16string> out;
  FcChar8* name = nullptr;
  for (int i = 0; FcPatternGetString(font, FC_FAMILY, i, &name) == FcResultMatch; ++i)
    out.push_back(host::ToUtf16(reinterpret_cast<const char*>(name)));
  return out;
}

std::string StringOf(FcPattern* font, const char* key) {
  FcChar8* value = nullptr;
  if (FcPatternGetString(font, key, 0, &value) != FcResultMatch) return {};
  return reinterpret_cast<const char*>(value);
}

// A face's family (its first name, folded), weight and slant: faces alike
// in these are one face in two forms.
std::string StyleKey(FcPattern* font) {
  std::string key = StringOf(font, FC_FAMILY);
  for (char& c : key) c = char(std::tolower(static_cast<unsigned char>(c)));
  int weight = 0, slant = 0;
  FcPatternGetInteger(font, FC_WEIGHT, 0, &weight);
  FcPatternGetInteger(font, FC_SLANT, 0, &slant);
  return key + '/' + std::to_string(weight) + '/' + std::to_string(slant);
}

// Windows families and the installed faces made to their metrics.
struct StandIn {
  const char16_t* windows;
  const char16_t* faces[2];
};
constexpr StandIn kStandIns[] = {
    {u"Arial", {u"Liberation Sans", u"Arimo"}},
    {u"Times New Roman", {u"Liberation Serif", u"Tinos"}},
    {u"Courier New", {u"Liberation Mono", u"Cousine"}},
    {u"Calibri", {u"Carlito", nullptr}},
    {u"Cambria", {u"Caladea", nullptr}},
};

int32_t IndexOf(FcPattern* font) {
  int index = 0;
  if (FcPatternGetInteger(font, FC_INDEX, 0, &index) != FcResultMatch) return 0;
  return index & 0xFFFF;  // the upper bits name a named instance of a variable face
}

// The language fontconfig should prefer for a Windows charset, so that a
// face not installed falls back to one that has the script.
const char* LanguageOfCharset(uint8_t charset) {
  switch (charset) {
    case 128:
      return "ja";
    case 129:
    case 130:
      return "ko";
    case 134:
      return "zh-cn";
    case 136:
      return "zh-tw";
    case 161:
      return "el";
    case 162:
      return "tr";
    case 177:
      return "he";
    case 178:
      return "ar";
    case 186:
      return "lt";
    case 163:
      return "vi";
    case 204:
      return "ru";
    case 222:
      return "th";
    case 238:
      return "pl";
    default:
      return nullptr;
  }
}

// The language a face name written in its own script suggests ("MS Gothic"
// in Japanese, "SimHei" in Chinese), for requests that name no charset.
const char* LanguageOfName(const std::u16string& name) {
  auto any = [&](char16_t low, char16_t high) {
    return std::any_of(name.begin(), name.end(), [&](char16_t c) { return c >= low && c <= high; });
  };
  if (any(0x3040, 0x30FF)) return "ja";  // kana
  if (any(0xAC00, 0xD7AF) || any(0x1100, 0x11FF) || any(0x3130, 0x318F)) return "ko";
  if (any(0x4E00, 0x9FFF)) return "zh-cn";
  if (any(0x0E00, 0x0E7F)) return "th";
  if (any(0x0590, 0x05FF)) return "he";
  if (any(0x0600, 0x06FF)) return "ar";
  if (any(0x0400, 0x04FF)) return "ru";
  if (any(0x0370, 0x03FF)) return "el";
  return nullptr;
}

std::vector<InstalledFace> ListFaces() {
  std::lock_guard lock(FcMutex());
  std::vector<InstalledFace> faces;
  FcPattern* pattern = FcPatternCreate();
  FcObjectSet* objects =
      FcObjectSetBuild(FC_FAMILY, FC_STYLE, FC_FILE, FC_INDEX, FC_POSTSCRIPT_NAME, nullptr);
  FcFontSet* set = FcFontList(Config(), pattern, objects);
  std::vector<std::pair<std::string, InstalledFace>> styled;
  for (int i = 0; set && i < set->nfont; ++i) {
    FcPattern* font = set->fonts[i];
    InstalledFace face;
    face.path = StringOf(font, FC_FILE);
    face.index = IndexOf(font);
    std::vector<std::u16string> families = Families(font);
    if (face.path.empty() || families.empty()) continue;
    face.family = families.front();
    face.postscript = host::ToUtf16(StringOf(font, FC_POSTSCRIPT_NAME));
    styled.emplace_back(StringOf(font, FC_STYLE), std::move(face));
  }
  std::sort(styled.begin(), styled.end(), [](const auto& a, const auto& b) {
    return std::tie(a.second.family, a.first, a.second.path, a.second.index) <
           std::tie(b.second.family, b.first, b.second.path, b.second.index);
  });
  for (auto& entry : styled) faces.push_back(std::move(entry.second));
  if (set) FcFontSetDestroy(set);
  FcObjectSetDestroy(objects);
  FcPatternDestroy(pattern);
  return faces;
}

bool IsAscii(const std::u16string& text) {
  return std::all_of(text.begin(), text.end(), [](char16_t c) { return c < 0x80; });
}

// The font mapper's list: every family name, sorted, each once; a name
// with a character outside ASCII comes after its face's PostScript name
// marked by a leading blank.
std::u16string FaceNameList() {
  // name -> the PostScript name of the family's most regular face, and how
  // far that face is from regular.
  std::map<std::u16string, std::pair<int, std::u16string>> families;
  {
    std::lock_guard lock(FcMutex());
    FcPattern* pattern = FcPatternCreate();
    FcObjectSet* objects = FcObjectSetBuild(FC_FAMILY, FC_POSTSCRIPT_NAME, FC_WEIGHT, FC_SLANT, nullptr);
    FcFontSet* set = FcFontList(Config(), pattern, objects);
    for (int i = 0; set && i < set->nfont; ++i) {
      FcPattern* font = set->fonts[i];
      const std::u16string postscript = host::ToUtf16(StringOf(font, FC_POSTSCRIPT_NAME));
      int weight = FC_WEIGHT_REGULAR, slant = FC_SLANT_ROMAN;
      FcPatternGetInteger(font, FC_WEIGHT, 0, &weight);
      FcPatternGetInteger(font, FC_SLANT, 0, &slant);
      const int distance = std::abs(weight - FC_WEIGHT_REGULAR) + slant;
      for (std::u16string& family : Families(font)) {
        if (family.empty()) continue;
        auto [it, added] = families.try_emplace(family, distance, postscript);
        const auto candidate = std::make_pair(distance, postscript);
        if (!added && !postscript.empty() && (it->second.second.empty() || candidate < it->second))
          it->second = candidate;
      }
    }
    if (set) FcFontSetDestroy(set);
    FcObjectSetDestroy(objects);
    FcPatternDestroy(pattern);
  }
  // The Windows families whose stand-ins are installed are installed
  // faces to the font mapper too.
  for (const StandIn& standIn : kStandIns) {
    for (const char16_t* face : standIn.faces) {
      if (face && families.count(face)) {
        families.try_emplace(standIn.windows, 0, std::u16string());
        break;
      }
    }
  }
  std::u16string list;
  for (const auto& [family, regular] : families) {
    const std::u16string& postscript = regular.second;
    if (!IsAscii(family) && !postscript.empty()) {
      list += u' ';
      list += postscript;
      list += u'\0';
    }
    list += family;
    list += u'\0';
  }
  list += u'\0';
  return list;
}

}  // namespace

namespace {

// What fontconfig offers for one request: sorting the installed faces is
// the costly part, and a job asks for the same few requests again and
// again, so each is answered once per process.
std::vector<FaceCandidate> SortFaces(const std::u16string& family, int32_t weight, bool italic, uint8_t charset,
                                     size_t limit) {
  FcConfig* config = Config();
  FcPattern* pattern = FcPatternCreate();
  if (!family.empty()) {
    const std::string name = host::ToUtf8Lossy(family);
    FcPatternAddString(pattern, FC_FAMILY, reinterpret_cast<const FcChar8*>(name.c_str()));
  }
  FcPatternAddInteger(pattern, FC_WEIGHT, FcWeightFromOpenType(std::clamp(weight, 1, 1000)));
  FcPatternAddInteger(pattern, FC_SLANT, italic ? FC_SLANT_ITALIC : FC_SLANT_ROMAN);
  FcPatternAddBool(pattern, FC_SCALABLE, FcTrue);
  const char* language = LanguageOfCharset(charset);
  if (!language) language = LanguageOfName(family);
  if (language) FcPatternAddString(pattern, FC_LANG, reinterpret_cast<const FcChar8*>(language));
  FcConfigSubstitute(config, pattern, FcMatchPattern);
  FcDefaultSubstitute(pattern);
  FcResult result = FcResultNoMatch;
  FcFontSet* sorted = FcFontSort(config, pattern, FcTrue, nullptr, &result);
  // A face installed both as sfnt and as Type 1 (URW's faces come in both)
  // is offered in its sfnt form only: a Type 1 face is taken where it is
  // the only form of its family and style.
  std::set<std::string> sfntStyles;
  for (int i = 0; sorted && i < sorted->nfont; ++i)
    if (FormatOf(sorted->fonts[i]) == OutlineFormat::kSfnt) sfntStyles.insert(StyleKey(sorted->fonts[i]));
  std::vector<FaceCandidate> out;
  for (int i = 0; sorted && i < sorted->nfont && out.size() < limit; ++i) {
    FcPattern* font = sorted->fonts[i];
    const OutlineFormat format = FormatOf(font);
    if (format == OutlineFormat::kNone) continue;
    if (format == OutlineFormat::kType1 && sfntStyles.count(StyleKey(font))) continue;
    FaceCandidate candidate;
    candidate.path = StringOf(font, FC_FILE);
    candidate.index = IndexOf(font);
    candidate.families = Families(font);
    if (!candidate.path.empty()) out.push_back(std::move(candidate));
  }
  if (sorted) FcFontSetDestroy(sorted);
  FcPatternDestroy(pattern);
  return out;
}

}  // namespace

std::vector<FaceCandidate> MatchFaces(const std::u16string& family, int32_t weight, bool italic,
                                      uint8_t charset, size_t limit) {
  using Request = std::tuple<std::u16string, int32_t, bool, uint8_t, size_t>;
  static std::map<Request, std::vector<FaceCandidate>> answers;
  std::lock_guard lock(FcMutex());
  Request request{family, weight, italic, charset, limit};
  auto known = answers.find(request);
  if (known == answers.end())
    known = answers.emplace(std::move(request), SortFaces(family, weight, italic, charset, limit)).first;
  return known->second;
}

std::shared_ptr<const std::vector<uint8_t>> ReadFontFile(const std::string& path, std::string* error) {
  static std::mutex mutex;
  // Files stay loaded once read: a job asks for the same few faces again
  // and again, at every size and angle.
  static std::map<std::string, std::shared_ptr<const std::vector<uint8_t>>> files;
  std::lock_guard lock(mutex);
  if (auto known = files[path]) return known;
  std::ifstream in(path, std::ios::binary | std::ios::ate);
  const std::streamoff size = in ? std::streamoff(in.tellg()) : -1;
  if (size <= 0 || uint64_t(size) > kMaxFontFileBytes) {
    if (error) *error = "cannot read font file " + path + (size > 0 ? ": too large" : "");
    return nullptr;
  }
  auto bytes = std::make_shared<std::vector<uint8_t>>(size_t(size));
  in.seekg(0);
  if (!in.read(reinterpret_cast<char*>(bytes->data()), size)) {
    if (error) *error = "cannot read font file " + path;
    return nullptr;
  }
  files[path] = bytes;
  return bytes;
}

std::u16string StandInFor(const std::u16string& asked, const std::u16string& installed) {
  for (const StandIn& standIn : kStandIns) {
    if (!SameFamily(asked, standIn.windows)) continue;
    for (const char16_t* face : standIn.faces)
      if (face && SameFamily(installed, face)) return standIn.windows;
  }
  return {};
}

bool SameFamily(const std::u16string& a, const std::u16string& b) {
  return host::FoldAscii(a) == host::FoldAscii(b);
}

}  // namespace detail

const std::vector<InstalledFace>& InstalledFaces() {
  static const std::vector<InstalledFace> faces = detail::ListFaces();
  return faces;
}

}  // namespace snk::fonts

extern "C" ULONG SnkListInstalledFaceNames(WCHAR* buffer, ULONG capacity) {
  static const std::u16string list = snk::fonts::detail::FaceNameList();
  const ULONG needed = ULONG(list.size());
  if (buffer && capacity >= needed) std::copy(list.begin(), list.end(), buffer);
  return needed;
}
