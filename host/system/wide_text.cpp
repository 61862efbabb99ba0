// UTF-16 and UTF-8 conversion for the host's system services (names, paths,
// terminal text). Code-page conversion lives in code_pages.cpp.
#include "host/system/wide_text.h"

#include <cstring>

#include "base/byte_string.h"

namespace snk::host {
namespace {

// Converts, calling `bad` for each unpaired surrogate; stops when it
// returns false.
template <typename OnBad>
bool Utf16To8(std::u16string_view in, std::string& out, OnBad bad) {
  for (size_t i = 0; i < in.size(); ++i) {
    char32_t c = in[i];
    if (c >= 0xD800 && c <= 0xDBFF && i + 1 < in.size() && in[i + 1] >= 0xDC00 && in[i + 1] <= 0xDFFF) {
      c = 0x10000 + ((c - 0xD800) << 10) + (in[i + 1] - 0xDC00);
      ++i;
    } else if (c >= 0xD800 && c <= 0xDFFF) {
      if (!bad()) return false;
      c = 0xFFFD;
    }
    AppendUTF8(out, c);
  }
  return true;
}

// Length of the UTF-8 sequence led by `lead`, 0 if it cannot lead one.
size_t SequenceLength(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead <= 0xDF) return 2;
  if (lead >= 0xE0 && lead <= 0xEF) return 3;
  if (lead >= 0xF0 && lead <= 0xF4) return 4;
  return 0;
}

}  // namespace

std::u16string_view WideView(const char16_t* text) {
  return text ? std::u16string_view(text) : std::u16string_view();
}

std::optional<std::string> ToUtf8(std::u16string_view text) {
  std::string out;
  if (!Utf16To8(text, out, [] { return false; })) return std::nullopt;
  return out;
}

std::string ToUtf8Lossy(std::u16string_view text) {
  std::string out;
  Utf16To8(text, out, [] { return true; });
  return out;
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string out;
  size_t i = 0;
  while (i < text.size()) {
    auto lead = static_cast<unsigned char>(text[i]);
    size_t n = SequenceLength(lead);
    char32_t c = n == 1 ? lead : n == 2 ? lead & 0x1F : n == 3 ? lead & 0x0F : lead & 0x07;
    bool ok = n != 0 && text.size() - i >= n;
    for (size_t k = 1; ok && k < n; ++k) {
      auto b = static_cast<unsigned char>(text[i + k]);
      ok = (b & 0xC0) == 0x80;
      c = (c << 6) | (b & 0x3F);
    }
    // Overlong forms, surrogates and values past U+10FFFF are malformed.
    if (ok && ((n == 3 && c < 0x800) || (n == 4 && (c < 0x10000 || c > 0x10FFFF)) ||
               (c >= 0xD800 && c <= 0xDFFF))) {
      ok = false;
    }
    if (!ok) {
      out += u'\xFFFD';
      ++i;
      continue;
    }
    if (c >= 0x10000) {
      out += static_cast<char16_t>(0xD800 + ((c - 0x10000) >> 10));
      out += static_cast<char16_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
    } else {
      out += static_cast<char16_t>(c);
    }
    i += n;
  }
  return out;
}

std::string FoldAscii(std::string_view text) {
  std::string out(text);
  for (char& c : out) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return out;
}

std::u16string FoldAscii(std::u16string_view text) {
  std::u16string out(text);
  for (char16_t& c : out) {
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c - u'A' + u'a');
  }
  return out;
}

bool CopyWithTerminator(std::u16string_view text, char16_t* buffer, size_t capacity) {
  if (!buffer || capacity < text.size() + 1) return false;
  std::memcpy(buffer, text.data(), text.size() * sizeof(char16_t));
  buffer[text.size()] = u'\0';
  return true;
}

}  // namespace snk::host
