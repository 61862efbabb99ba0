// The Type 1 subsetter. The encryption is the published Type 1 scheme:
// eexec with r = 55665, charstrings with r = 4330, c1 = 52845, c2 = 22719.
// Every position taken from the program is checked against the bytes held.
#include "fonts/type1_subset.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <string>
#include <unordered_map>

#include "base/byte_reader.h"
#include "platform/win32.h"

namespace {

constexpr uint64_t kMaxProgramBytes = uint64_t{64} << 20;
constexpr uint16_t kEexecKey = 55665;
constexpr uint16_t kCharStringKey = 4330;
constexpr uint16_t kC1 = 52845;
constexpr uint16_t kC2 = 22719;
constexpr size_t kLenIV = 4;
constexpr uint32_t kSeac = 32 + 6;  // escape 12, 6

// The key after one cipher byte, in unsigned arithmetic.
uint16_t NextKey(uint8_t cipher, uint16_t key) { return uint16_t((uint32_t{cipher} + key) * kC1 + kC2); }

// What a charstring draws when the font has no .notdef: "0 0 hsbw endchar"
// without its four leading bytes, as the font's own bytes would stand.
constexpr uint8_t kSyntheticNotdef[] = {0x00, 0x78, 0x38, 0x42, 0x00};

// Adobe StandardEncoding: the glyph name of each code, null where the
// encoding leaves the code empty.
const char* StandardName(uint32_t code) {
  // clang-format off
  static const char* const kLow[] = {  // 32 to 126
      "space", "exclam", "quotedbl", "numbersign", "dollar", "percent", "ampersand", "quoteright",
      "parenleft", "parenright", "asterisk", "plus", "comma", "hyphen", "period", "slash", "zero", "one",
      "two", "three", "four", "five", "six", "seven", "eight", "nine", "colon", "semicolon", "less",
      "equal", "greater", "question", "at", "A", "B", "C", "D", "E", "F", "G", "H", "I", "J", "K", "L",
      "M", "N", "O", "P", "Q", "R", "S", "T", "U", "V", "W", "X", "Y", "Z", "bracketleft", "backslash",
      "bracketright", "asciicircum", "underscore", "quoteleft", "a", "b", "c", "d", "e", "f", "g", "h",
      "i", "j", "k", "l", "m", "n", "o", "p", "q", "r", "s", "t", "u", "v", "w", "x", "y", "z",
      "braceleft", "bar", "braceright", "asciitilde"};
  static const char* const kHigh[] = {  // 161 to 208
      "exclamdown", "cent", "sterling", "fraction", "yen", "florin", "section", "currency", "quotesingle",
      "quotedblleft", "guillemotleft", "guilsinglleft", "guilsinglright", "fi", "fl", nullptr, "endash",
      "dagger", "daggerdbl", "periodcentered", nullptr, "paragraph", "bullet", "quotesinglbase",
      "quotedblbase", "quotedblright", "guillemotright", "ellipsis", "perthousand", nullptr,
      "questiondown", nullptr, "grave", "acute", "circumflex", "tilde", "macron", "breve", "dotaccent",
      "dieresis", nullptr, "ring", "cedilla", nullptr, "hungarumlaut", "ogonek", "caron", "emdash"};
  // clang-format on
  if (code >= 32 && code <= 126) return kLow[code - 32];
  if (code >= 161 && code <= 208) return kHigh[code - 161];
  switch (code) {
    case 225:
      return "AE";
    case 227:
      return "ordfeminine";
    case 232:
      return "Lslash";
    case 233:
      return "Oslash";
    case 234:
      return "OE";
    case 235:
      return "ordmasculine";
    case 241:
      return "ae";
    case 245:
      return "dotlessi";
    case 248:
      return "lslash";
    case 249:
      return "oslash";
    case 250:
      return "oe";
    case 251:
      return "germandbls";
    default:
      return nullptr;
  }
}

bool IsBlank(uint8_t byte) {
  return byte == ' ' || byte == '\t' || byte == '\r' || byte == '\n' || byte == '\f' || byte == 0;
}
bool IsDelimiter(uint8_t byte) { return std::strchr("()[]{}<>/% \t\r\n", byte) != nullptr && byte != 0; }
bool IsHexDigit(uint8_t byte) {
  return (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'F') || (byte >= 'a' && byte <= 'f');
}
uint8_t HexValue(uint8_t digit) {
  return uint8_t(digit < ':' ? digit - 48 : digit < 'G' ? digit - 55 : digit - 87);
}

snk::ByteReader ReaderOver(const std::vector<uint8_t>& bytes) {
  return snk::ByteReader(std::as_bytes(std::span<const uint8_t>(bytes)));
}

// The number a charstring byte of 32 and above (`lead`) starts, with the
// bytes that follow it; false when the charstring ends inside it.
bool ReadCharStringNumber(snk::ByteReader& reader, uint8_t lead, int32_t& value) {
  if (lead <= 246) {
    value = int32_t(lead) - 139;
    return true;
  }
  if (lead <= 254) {
    uint8_t next = 0;
    if (!reader.ReadU8(next)) return false;
    value = lead <= 250 ? (lead - 247) * 256 + next + 108 : -(lead - 251) * 256 - next - 108;
    return true;
  }
  uint32_t word = 0;
  if (!reader.ReadU32BE(word)) return false;
  value = int32_t(word);
  return true;
}

// The first place of `token` in [from, to) of `text` that stands as a
// token: a delimiter (or the start of the range) before it, unless the
// token is a name, and a delimiter or the end behind it; not behind a "%"
// on its line. `to` if there is none.
size_t FindToken(const std::vector<uint8_t>& text, size_t from, size_t to, std::string_view token) {
  const auto* begin = reinterpret_cast<const uint8_t*>(token.data());
  size_t at = from;
  // Whether a "%" stands on the current line before `scanned`; kept as the
  // search goes on, so that a long line with many hits is read once.
  size_t scanned = from;
  bool comment = false;
  while (at < to) {
    auto hit = std::search(text.begin() + at, text.begin() + to, begin, begin + token.size());
    if (hit == text.begin() + to) return to;
    const size_t pos = size_t(hit - text.begin());
    at = pos + 1;
    if (token[0] != '/' && pos > from && !IsDelimiter(text[pos - 1])) continue;
    const size_t after = pos + token.size();
    if (after < to && !IsDelimiter(text[after])) continue;
    for (; scanned < pos; ++scanned) {
      if (text[scanned] == '\n' || text[scanned] == '\r')
        comment = false;
      else if (text[scanned] == '%')
        comment = true;
    }
    if (!comment) return pos;
  }
  return to;
}

size_t SkipBlanks(const std::vector<uint8_t>& text, size_t at, size_t end) {
  while (at < end && IsBlank(text[at])) ++at;
  return at;
}

// A decimal number at `at` (blanks before it skipped); false without one.
bool ReadDecimal(const std::vector<uint8_t>& text, size_t& at, size_t end, uint64_t& value) {
  at = SkipBlanks(text, at, end);
  size_t digits = 0;
  value = 0;
  while (at < end && text[at] >= '0' && text[at] <= '9' && digits < 10) {
    value = value * 10 + (text[at] - '0');
    ++at, ++digits;
  }
  return digits > 0;
}

void PutLittle32(std::vector<uint8_t>& out, size_t at, uint32_t value) {
  for (int i = 0; i < 4; ++i) out[at + i] = uint8_t(value >> (8 * i));
}

}  // namespace

CKMC_Type1Subset::CKMC_Type1Subset(CKMC_FontReadProc read, CKMC_FontSizeProc size, void* context) {
  const uint64_t bytes = size(context);
  if (bytes < 16 || bytes > kMaxProgramBytes) return;
  data.resize(bytes);
  if (read(context, 0, data.data(), data.size()) != 0) return;
  if (Parse()) status = 0;
}

std::string_view CKMC_Type1Subset::GlyphName(uint32_t index) const {
  return index < glyphs.size() ? glyphs[index].name : std::string_view();
}

bool CKMC_Type1Subset::Parse() {
  if (!FindSections()) return false;

  // The private part, decrypted; its four leading bytes are kept.
  plain.reserve(isHex ? (cipherEnd - cipherStart) / 2 : cipherEnd - cipherStart);
  uint16_t key = kEexecKey;
  for (size_t at = cipherStart; at < cipherEnd;) {
    uint8_t cipher;
    if (isHex) {
      uint8_t digits[2];
      int got = 0;
      while (at < cipherEnd && got < 2) {
        const uint8_t digit = data[at++];
        if ((digit >= 9 && digit <= 13) || digit == 32) continue;
        digits[got++] = digit;
      }
      if (got < 2) break;
      cipher = uint8_t(HexValue(digits[0]) << 4 | (HexValue(digits[1]) & 0xF));
    } else {
      cipher = data[at++];
    }
    plain.push_back(uint8_t(cipher ^ (key >> 8)));
    key = NextKey(cipher, key);
  }
  // The decrypted text goes to the host's private scratch folder, where it
  // can be read when a program does not parse as expected.
  SnkWriteScratchFile(u"clear_text.txt", plain.data(), static_cast<DWORD>(plain.size()));

  if (FindToken(plain, 0, plain.size(), "/-|") != plain.size()) {
    rdToken = "-|";
    ndToken = "|-";
  }
  return FindCharStrings();
}

bool CKMC_Type1Subset::FindSections() {
  size_t text = 0;
  const bool pfb = data[0] == 0x80 && data[1] == 0x01;
  if (pfb) text = 6;
  auto startsWith = [&](std::string_view prefix) {
    return data.size() - text >= prefix.size() &&
           std::memcmp(data.data() + text, prefix.data(), prefix.size()) == 0;
  };
  if (!startsWith("%!PS-AdobeFont") && !startsWith("%!FontType")) return false;

  if (pfb) {
    // Segments: 0x80, type, little-endian length. The first is the clear
    // text, the second the cipher; the others run to the end mark (type 3).
    snk::ByteReader reader = ReaderOver(data);
    auto segment = [&](size_t at, uint8_t& type, size_t& length) {
      uint8_t mark = 0;
      uint32_t size = 0;
      if (!reader.Seek(at) || !reader.Has(6) || !reader.ReadU8(mark) || mark != 0x80 || !reader.ReadU8(type))
        return false;
      if (type == 3) return true;
      reader.ReadU32(size);
      length = size;
      return length <= reader.remaining();
    };
    uint8_t type = 0;
    size_t length = 0;
    if (!segment(0, type, length) || type != 1) return false;
    clearStart = 6;
    clearEnd = clearStart + length;
    if (!segment(clearEnd, type, length) || (type != 1 && type != 2)) return false;
    isHex = type == 1;
    cipherStart = clearEnd + 6;
    cipherEnd = cipherStart + length;
    dataEnd = cipherEnd;
    for (size_t at = cipherEnd; segment(at, type, length) && type != 3; at = dataEnd)
      dataEnd = at + 6 + length;
  } else {
    clearStart = 0;
    dataEnd = data.size();
    const size_t eexec = FindToken(data, 0, data.size(), "eexec");
    if (eexec == data.size()) return false;
    cipherStart = std::min(eexec + 6, data.size());
    if (eexec + 6 < data.size() && data[eexec + 5] == '\r' && data[eexec + 6] == '\n') ++cipherStart;
    clearEnd = cipherStart;
    // A PFA's private part is hexadecimal when its first four bytes are hex
    // digits, as the Type 1 format tells them apart; the URW faces carry a
    // binary one. Blank lines before a hexadecimal part are passed over.
    size_t digits = cipherStart;
    while (digits < data.size() && data[digits] != 0 && IsBlank(data[digits])) ++digits;
    isHex = digits + 4 <= data.size() &&
            std::all_of(data.begin() + digits, data.begin() + digits + 4, IsHexDigit);
    if (isHex) cipherStart = digits;
    // The cipher ends where the trailer of zeros before the last
    // "cleartomark" begins.
    size_t mark = data.size();
    for (size_t at = FindToken(data, cipherStart, data.size(), "cleartomark"); at < data.size();
         at = FindToken(data, at + 1, data.size(), "cleartomark"))
      mark = at;
    if (mark == data.size()) return false;
    cipherEnd = mark;
    while (cipherEnd > cipherStart && (data[cipherEnd - 1] == '0' || IsBlank(data[cipherEnd - 1])))
      --cipherEnd;
  }
  clearToMark = FindToken(data, cipherEnd, dataEnd, "cleartomark");
  return clearToMark != dataEnd;
}

bool CKMC_Type1Subset::FindCharStrings() {
  const size_t end = plain.size();
  charStringsAt = FindToken(plain, 0, end, "/CharStrings");
  if (charStringsAt == end) return false;
  afterCount = charStringsAt + std::strlen("/CharStrings");
  uint64_t count = 0;
  if (!ReadDecimal(plain, afterCount, end, count) || count < 1 || count > 65536) return false;
  firstGlyph = std::find(plain.begin() + afterCount, plain.end(), '/') - plain.begin();

  size_t at = firstGlyph;
  while (at < end && plain[at] == '/' && glyphs.size() < count) {
    Glyph glyph;
    size_t nameEnd = at + 1;
    while (nameEnd < end && !IsBlank(plain[nameEnd])) ++nameEnd;
    glyph.name = std::string_view(reinterpret_cast<const char*>(plain.data()) + at + 1, nameEnd - at - 1);
    at = nameEnd;
    uint64_t length = 0;
    if (!ReadDecimal(plain, at, end, length)) return false;
    // The RD word and one blank stand between the length and the bytes.
    at = SkipBlanks(plain, at, end);
    while (at < end && !IsBlank(plain[at])) ++at;
    ++at;
    if (at > end || length > end - at) return false;
    glyph.start = plain.data() + at;
    glyph.end = glyph.start + length;
    glyphs.push_back(glyph);
    // Behind the bytes: the ND word (or "noaccess def" and the like), then
    // the next glyph's name.
    at = SkipBlanks(plain, at + length, end);
    auto atEnd = [&] {
      return end - at >= 3 && std::memcmp(plain.data() + at, "end", 3) == 0 &&
             (end - at == 3 || IsDelimiter(plain[at + 3]));
    };
    while (at < end && plain[at] != '/' && !atEnd()) {
      while (at < end && !IsBlank(plain[at])) ++at;
      at = SkipBlanks(plain, at, end);
    }
    if (at >= end) return false;
  }
  if (glyphs.empty()) return false;
  afterGlyphs = at;

  PlaceNotdef();
  IndexStandardNames();

  closeFileAt = FindToken(plain, afterGlyphs, end, "closefile");
  return closeFileAt != end;
}

// .notdef becomes glyph 0: moved there, or made when the font lacks it.
void CKMC_Type1Subset::PlaceNotdef() {
  auto notdef = std::find_if(glyphs.begin(), glyphs.end(),
                             [](const Glyph& candidate) { return candidate.name == ".notdef"; });
  if (notdef == glyphs.end()) {
    Glyph made;
    made.name = ".notdef";
    made.start = kSyntheticNotdef;
    made.end = kSyntheticNotdef + sizeof kSyntheticNotdef;
    glyphs.push_back(made);
    notdef = glyphs.end() - 1;
  }
  std::swap(glyphs.front(), *notdef);
  order.assign(1, 0);
}

void CKMC_Type1Subset::IndexStandardNames() {
  std::unordered_map<std::string_view, uint32_t> standardCode;
  for (uint32_t code = 0; code < 256; ++code)
    if (const char* name = StandardName(code)) standardCode.emplace(name, code);
  for (uint32_t i = 1; i < glyphs.size(); ++i) {
    auto found = standardCode.find(glyphs[i].name);
    if (found != standardCode.end() && standardGlyph[found->second] == 0) standardGlyph[found->second] = i;
  }
}

uint32_t CKMC_Type1Subset::MapCharString(uint32_t index) {
  if (status != 0 || index == 0 || index >= glyphs.size()) return 0;
  Glyph& glyph = glyphs[index];
  if (glyph.newIndex != 0) return glyph.newIndex;
  // A glyph already on its way in (an accent built on itself) is not
  // taken again.
  if (glyph.inClosure) return 0;
  glyph.inClosure = true;
  Closure(glyph);
  glyph.inClosure = false;
  glyph.newIndex = nextGlyph++;
  order.push_back(index);
  return glyph.newIndex;
}

// Takes in the base and accent of a glyph built with seac.
void CKMC_Type1Subset::Closure(const Glyph& glyph) {
  std::vector<uint8_t> bytes;
  bytes.reserve(size_t(glyph.end - glyph.start));
  uint16_t key = kCharStringKey;
  for (const uint8_t* cipher = glyph.start; cipher < glyph.end; ++cipher) {
    bytes.push_back(uint8_t(*cipher ^ (key >> 8)));
    key = NextKey(*cipher, key);
  }
  snk::ByteReader reader = ReaderOver(bytes);
  if (!reader.Skip(kLenIV)) return;
  int32_t numbers[5];
  size_t count = 0;
  uint8_t lead = 0;
  while (reader.ReadU8(lead)) {
    if (lead >= 32) {
      int32_t value = 0;
      if (!ReadCharStringNumber(reader, lead, value)) return;
      if (count < 5) numbers[count++] = value;
      continue;
    }
    uint32_t op = lead;
    if (lead == 12) {
      uint8_t second = 0;
      if (!reader.ReadU8(second)) return;
      op = 32 + second;
    }
    if (op == kSeac && count == 5) {
      for (int32_t code : {numbers[3], numbers[4]})
        if (code >= 0 && code <= 255 && standardGlyph[code] != 0) MapCharString(standardGlyph[code]);
    }
    count = 0;
  }
}

void CKMC_Type1Subset::Encrypt(const uint8_t* from, size_t length) {
  static constexpr char kHex[] = "0123456789abcdef";
  for (size_t i = 0; i < length; ++i) {
    if (outputForm == 2) {
      output.push_back(from[i]);
      continue;
    }
    const uint8_t out = uint8_t(from[i] ^ (encryptKey >> 8));
    encryptKey = NextKey(out, encryptKey);
    if (outputForm == 1) {
      output.push_back(uint8_t(kHex[out >> 4]));
      output.push_back(uint8_t(kHex[out & 0xF]));
    } else {
      output.push_back(out);
    }
  }
}

int CKMC_Type1Subset::WriteFontProgram() {
  if (status != 0) return -1;
  try {
    output.clear();
    encryptKey = kEexecKey;
    auto append = [&](const std::vector<uint8_t>& from, size_t begin, size_t end) {
      output.insert(output.end(), from.begin() + begin, from.begin() + end);
    };
    auto appendText = [&](std::string_view text) { output.insert(output.end(), text.begin(), text.end()); };
    // In form 0 each section opens with a PFB segment head, patched with
    // the section's length once it is known.
    auto openSegment = [&](uint8_t type) {
      if (outputForm != 0) return;
      const uint8_t head[6] = {0x80, type, 0, 0, 0, 0};
      output.insert(output.end(), head, head + 6);
    };
    auto closeSegment = [&](size_t start) {
      if (outputForm == 0) PutLittle32(output, start + 2, uint32_t(output.size() - start - 6));
      return uint32_t(output.size() - start);
    };

    // The clear text, its /Encoding rebuilt for the kept glyphs.
    const size_t encoding = FindToken(data, clearStart, clearEnd, "/Encoding");
    if (encoding == clearEnd) return -1;
    const size_t def = FindToken(data, encoding, clearEnd, "def");
    if (def == clearEnd) return -1;
    size_t section = output.size();
    openSegment(1);
    append(data, clearStart, encoding);
    appendText("/Encoding 256 array\n0 1 255 {1 index exch /.notdef put} for\n");
    for (uint32_t index = 0; index < order.size(); ++index) {
      appendText("dup " + std::to_string(index) + " /");
      appendText(glyphs[order[index]].name);
      appendText(" put\n");
    }
    appendText("readonly def");
    append(data, def + 3, clearEnd);
    length1 = closeSegment(section);
    if (outputForm == 1) output.push_back('\n');

    // The private part with the kept charstrings, encrypted anew.
    section = output.size() - (outputForm == 1 ? 1 : 0);
    openSegment(2);
    Encrypt(plain.data(), charStringsAt);
    Encrypt("/CharStrings " + std::to_string(nextGlyph));
    Encrypt(plain.data() + afterCount, firstGlyph - afterCount);
    for (uint32_t index : order) {
      const Glyph& glyph = glyphs[index];
      std::string head =
          "/" + std::string(glyph.name) + " " + std::to_string(glyph.end - glyph.start) + " " + rdToken + " ";
      Encrypt(head);
      Encrypt(glyph.start, size_t(glyph.end - glyph.start));
      Encrypt(std::string(ndToken) + "\n");
    }
    Encrypt(plain.data() + afterGlyphs, closeFileAt + std::strlen("closefile") - afterGlyphs);
    Encrypt("\n");
    length2 = closeSegment(section);
    if (outputForm == 1) output.push_back('\n');

    // The trailer: 512 zeros and the source's cleartomark part.
    section = output.size() - (outputForm == 1 ? 1 : 0);
    openSegment(1);
    for (int line = 0; line < 8; ++line) appendText(std::string(64, '0') + "\n");
    append(data, clearToMark, dataEnd);
    length3 = closeSegment(section);
    if (outputForm == 0) appendText("\x80\x03");
    return 0;
  } catch (const std::bad_alloc&) {
    output.clear();
    return -1;
  }
}
