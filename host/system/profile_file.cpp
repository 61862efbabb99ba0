// The text of a profile file: decoding, lookup and editing.
//
// Contract (the bytes are untrusted; any input decodes, nothing is refused):
// - Encoding is decided once, from the first bytes: FF FE is UTF-16LE,
//   FE FF UTF-16BE, EF BB BF UTF-8. Without a mark the bytes are UTF-8 if
//   they are valid UTF-8, otherwise text in the ANSI code page. A UTF-16
//   file with an odd byte count loses its last byte; unpaired surrogates
//   stay as they are (they are 16-bit units like any other).
// - Lines end at CR LF, LF or a lone CR, and may be of any length.
// - Only the text of a line before its first NUL counts; the rest is kept
//   when the file is written back but never read.
// - A line whose first non-blank character is '[' opens a section; its name
//   runs to the first ']' (or the end of the line), blanks trimmed. Lines
//   before the first section belong to none and are never read.
// - Inside a section, a line starting with ';' is a comment and an empty
//   line is nothing. Any other line is a key: the text before its first '='
//   (the whole line if there is none), blanks and tabs trimmed; the value is
//   what follows the '=', trimmed the same way. A line with an empty key is
//   ignored.
// - When a name occurs twice, the first section, and the first key in it,
//   is the one read and changed.
#include "host/system/profile_file.h"

#include <algorithm>
#include <climits>
#include <unordered_set>

#include "host/system/wide_text.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

bool IsBlank(char16_t c) { return c == u' ' || c == u'\t'; }

std::u16string_view Trim(std::u16string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// The part of a line that is read: up to its first NUL, trimmed.
std::u16string_view Meaningful(std::u16string_view line) { return Trim(line.substr(0, line.find(u'\0'))); }

std::optional<std::u16string_view> HeaderName(std::u16string_view line) {
  std::u16string_view text = Meaningful(line);
  if (text.empty() || text.front() != u'[') return std::nullopt;
  text.remove_prefix(1);
  return Trim(text.substr(0, text.find(u']')));
}

struct KeyLine {
  std::u16string_view key;
  std::u16string_view value;
};

// A key line of a section (never a header: callers look at those first).
std::optional<KeyLine> ParseKey(std::u16string_view line) {
  std::u16string_view text = Meaningful(line);
  if (text.empty() || text.front() == u';') return std::nullopt;
  size_t equals = text.find(u'=');
  KeyLine result{Trim(text.substr(0, equals)), {}};
  if (equals != std::u16string_view::npos) result.value = Trim(text.substr(equals + 1));
  if (result.key.empty()) return std::nullopt;
  return result;
}

char16_t FoldChar(char16_t c) {
  if ((c >= u'A' && c <= u'Z') || (c >= 0xC0 && c <= 0xDE && c != 0xD7)) return c + 0x20;
  if (c >= 0x391 && c <= 0x3A9 && c != 0x3A2) return c + 0x20;  // Greek
  if (c >= 0x410 && c <= 0x42F) return c + 0x20;                // Cyrillic
  if (c >= 0x400 && c <= 0x40F) return c + 0x50;
  return c;
}

std::u16string DecodeUtf16(std::span<const std::byte> bytes, bool bigEndian) {
  std::u16string text;
  text.reserve(bytes.size() / 2);
  for (size_t i = 0; bytes.size() - i >= 2; i += 2) {
    auto a = static_cast<char16_t>(bytes[i]), b = static_cast<char16_t>(bytes[i + 1]);
    text += bigEndian ? static_cast<char16_t>(a << 8 | b) : static_cast<char16_t>(b << 8 | a);
  }
  return text;
}

std::u16string DecodeAnsi(std::string_view bytes) {
  if (bytes.empty() || bytes.size() > INT_MAX) return ToUtf16(bytes);
  int n = MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
  if (n <= 0) return ToUtf16(bytes);
  std::u16string text(static_cast<size_t>(n), u'\0');
  MultiByteToWideChar(CP_ACP, 0, bytes.data(), static_cast<int>(bytes.size()), text.data(), n);
  return text;
}

std::string EncodeAnsi(std::u16string_view text) {
  if (text.empty() || text.size() > INT_MAX / 4) return ToUtf8Lossy(text);
  int length = static_cast<int>(text.size());
  int n = WideCharToMultiByte(CP_ACP, 0, text.data(), length, nullptr, 0, nullptr, nullptr);
  if (n <= 0) return ToUtf8Lossy(text);
  std::string bytes(static_cast<size_t>(n), '\0');
  WideCharToMultiByte(CP_ACP, 0, text.data(), length, bytes.data(), n, nullptr, nullptr);
  return bytes;
}

std::vector<std::u16string> SplitLines(std::u16string_view text) {
  std::vector<std::u16string> lines;
  size_t start = 0;
  for (size_t i = 0; i < text.size(); ++i) {
    if (text[i] != u'\r' && text[i] != u'\n') continue;
    lines.emplace_back(text.substr(start, i - start));
    if (text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n') ++i;
    start = i + 1;
  }
  if (start < text.size()) lines.emplace_back(text.substr(start));
  return lines;
}

void AppendBytes(std::vector<std::byte>& out, std::string_view bytes) {
  for (char c : bytes) out.push_back(static_cast<std::byte>(c));
}

}  // namespace

std::u16string FoldProfileName(std::u16string_view name) {
  std::u16string folded(name);
  for (char16_t& c : folded) c = FoldChar(c);
  return folded;
}

ProfileText ProfileText::Decode(std::span<const std::byte> bytes) {
  auto starts = [&](std::initializer_list<unsigned> mark) {
    if (bytes.size() < mark.size()) return false;
    size_t i = 0;
    for (unsigned b : mark) {
      if (bytes[i++] != static_cast<std::byte>(b)) return false;
    }
    return true;
  };
  ProfileText profile;
  std::u16string text;
  std::string_view raw(reinterpret_cast<const char*>(bytes.data()), bytes.size());
  if (starts({0xFF, 0xFE}) || starts({0xFE, 0xFF})) {
    bool bigEndian = bytes[0] == std::byte{0xFE};
    profile.encoding_ = bigEndian ? ProfileEncoding::kUtf16Be : ProfileEncoding::kUtf16Le;
    text = DecodeUtf16(bytes.subspan(2), bigEndian);
  } else if (starts({0xEF, 0xBB, 0xBF})) {
    profile.encoding_ = ProfileEncoding::kUtf8Bom;
    text = ToUtf16(raw.substr(3));
  } else {
    text = ToUtf16(raw);
    // Valid UTF-8 survives the round trip; anything else was replaced.
    bool utf8 = ToUtf8Lossy(text) == raw;
    profile.encoding_ = utf8 ? ProfileEncoding::kUtf8 : ProfileEncoding::kAnsi;
    if (!utf8) text = DecodeAnsi(raw);
  }
  profile.lines_ = SplitLines(text);
  return profile;
}

std::vector<std::byte> ProfileText::Encode() const {
  std::u16string text;
  for (const std::u16string& line : lines_) text.append(line).append(u"\r\n");
  std::vector<std::byte> out;
  switch (encoding_) {
    case ProfileEncoding::kUtf16Le:
    case ProfileEncoding::kUtf16Be: {
      bool big = encoding_ == ProfileEncoding::kUtf16Be;
      out.reserve(2 + text.size() * 2);
      out.push_back(std::byte{big ? std::uint8_t{0xFE} : std::uint8_t{0xFF}});
      out.push_back(std::byte{big ? std::uint8_t{0xFF} : std::uint8_t{0xFE}});
      for (char16_t c : text) {
        auto hi = static_cast<std::byte>(c >> 8), lo = static_cast<std::byte>(c & 0xFF);
        out.push_back(big ? hi : lo);
        out.push_back(big ? lo : hi);
      }
      break;
    }
    case ProfileEncoding::kUtf8Bom:
      AppendBytes(out, "\xEF\xBB\xBF");
      [[fallthrough]];
    case ProfileEncoding::kUtf8:
      AppendBytes(out, ToUtf8Lossy(text));
      break;
    case ProfileEncoding::kAnsi:
      AppendBytes(out, EncodeAnsi(text));
      break;
  }
  return out;
}

std::optional<ProfileText::Range> ProfileText::FindSection(std::u16string_view folded) const {
  for (size_t i = 0; i < lines_.size(); ++i) {
    auto name = HeaderName(lines_[i]);
    if (!name || FoldProfileName(*name) != folded) continue;
    size_t end = i + 1;
    while (end < lines_.size() && !HeaderName(lines_[end])) ++end;
    return Range{i, end};
  }
  return std::nullopt;
}

std::optional<size_t> ProfileText::FindKeyLine(const Range& range, std::u16string_view folded) const {
  for (size_t i = range.header + 1; i < range.end; ++i) {
    auto line = ParseKey(lines_[i]);
    if (line && FoldProfileName(line->key) == folded) return i;
  }
  return std::nullopt;
}

std::optional<std::u16string> ProfileText::Find(std::u16string_view section, std::u16string_view key) const {
  auto range = FindSection(FoldProfileName(section));
  if (!range) return std::nullopt;
  auto index = FindKeyLine(*range, FoldProfileName(key));
  if (!index) return std::nullopt;
  return std::u16string(ParseKey(lines_[*index])->value);
}

std::vector<std::u16string> ProfileText::SectionNames() const {
  std::vector<std::u16string> names;
  std::unordered_set<std::u16string> seen;
  for (const std::u16string& line : lines_) {
    auto name = HeaderName(line);
    if (name && !name->empty() && seen.insert(FoldProfileName(*name)).second) names.emplace_back(*name);
  }
  return names;
}

std::vector<std::u16string> ProfileText::KeyNames(std::u16string_view section) const {
  std::vector<std::u16string> names;
  std::unordered_set<std::u16string> seen;
  auto range = FindSection(FoldProfileName(section));
  if (!range) return names;
  for (size_t i = range->header + 1; i < range->end; ++i) {
    auto line = ParseKey(lines_[i]);
    if (line && seen.insert(FoldProfileName(line->key)).second) names.emplace_back(line->key);
  }
  return names;
}

void ProfileText::Set(std::u16string_view section, std::u16string_view key, std::u16string_view value) {
  std::u16string line = std::u16string(key) + u"=" + std::u16string(value);
  auto range = FindSection(FoldProfileName(section));
  if (!range) {
    lines_.push_back(u"[" + std::u16string(section) + u"]");
    lines_.push_back(std::move(line));
    return;
  }
  if (auto index = FindKeyLine(*range, FoldProfileName(key))) {
    lines_[*index] = std::move(line);
    return;
  }
  // After the section's last line that says anything, before blank lines.
  size_t at = range->end;
  while (at > range->header + 1 && Meaningful(lines_[at - 1]).empty()) --at;
  lines_.insert(lines_.begin() + static_cast<std::ptrdiff_t>(at), std::move(line));
}

bool ProfileText::DeleteKey(std::u16string_view section, std::u16string_view key) {
  auto range = FindSection(FoldProfileName(section));
  if (!range) return false;
  std::u16string folded = FoldProfileName(key);
  auto first = lines_.begin() + static_cast<std::ptrdiff_t>(range->header + 1);
  auto last = lines_.begin() + static_cast<std::ptrdiff_t>(range->end);
  auto kept = std::remove_if(first, last, [&](const std::u16string& line) {
    auto parsed = ParseKey(line);
    return parsed && FoldProfileName(parsed->key) == folded;
  });
  if (kept == last) return false;
  lines_.erase(kept, last);
  return true;
}

bool ProfileText::DeleteSection(std::u16string_view section) {
  std::u16string folded = FoldProfileName(section);
  std::vector<std::u16string> kept;
  bool inside = false, removed = false;
  for (std::u16string& line : lines_) {
    if (auto name = HeaderName(line)) inside = FoldProfileName(*name) == folded;
    if (inside) {
      removed = true;
    } else {
      kept.push_back(std::move(line));
    }
  }
  lines_ = std::move(kept);
  return removed;
}

}  // namespace snk::host
