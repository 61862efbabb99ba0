#include "base/byte_string.h"

#include <algorithm>

CKM_WideString CKM_WideString::FromBuffer(const char16_t* buffer, size_t capacity) {
  if (!buffer) return {};
  size_t length = 0;
  while (length < capacity && buffer[length] != 0) ++length;
  return CKM_WideString(buffer, length);
}

void CKM_WideString::CopyTo(char16_t* buffer, size_t capacity) const {
  if (capacity == 0) return;
  size_t n = std::min(m_str.size(), capacity - 1);
  std::copy_n(m_str.data(), n, buffer);
  buffer[n] = 0;
}

namespace {

// Decodes one UTF-8 sequence at text[i]; returns U+FFFD for anything that
// is not a well-formed shortest-form sequence of a scalar value.
char32_t DecodeUTF8(std::string_view text, size_t& i) {
  auto byte = [&](size_t k) { return static_cast<unsigned char>(text[k]); };
  unsigned char lead = byte(i++);
  if (lead < 0x80) return lead;
  int extra = lead >= 0xF0 ? 3 : lead >= 0xE0 ? 2 : lead >= 0xC0 ? 1 : -1;
  if (lead < 0xC2 || lead > 0xF4) return 0xFFFD;  // never a valid lead byte
  char32_t cp = lead & (0x3F >> extra);
  for (int k = 0; k < extra; ++k) {
    if (i >= text.size() || (byte(i) & 0xC0) != 0x80) return 0xFFFD;
    cp = (cp << 6) | (byte(i++) & 0x3F);
  }
  static constexpr char32_t kMin[] = {0, 0x80, 0x800, 0x10000};
  if (cp < kMin[extra] || cp > 0x10FFFF || (cp >= 0xD800 && cp < 0xE000)) return 0xFFFD;
  return cp;
}

}  // namespace

CKM_WideString CKM_WideString::FromUTF8(std::string_view text) {
  std::u16string out;
  out.reserve(text.size());
  for (size_t i = 0; i < text.size();) {
    char32_t cp = DecodeUTF8(text, i);
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out += static_cast<char16_t>(0xD800 + (cp >> 10));
      out += static_cast<char16_t>(0xDC00 + (cp & 0x3FF));
    } else {
      out += static_cast<char16_t>(cp);
    }
  }
  return CKM_WideString(std::move(out));
}

std::string CKM_WideString::ToUTF8() const {
  std::string out;
  out.reserve(m_str.size());
  for (size_t i = 0; i < m_str.size(); ++i) {
    char32_t cp = m_str[i];
    if (cp >= 0xD800 && cp < 0xDC00 && i + 1 < m_str.size() &&
        m_str[i + 1] >= 0xDC00 && m_str[i + 1] < 0xE000) {
      cp = 0x10000 + ((cp - 0xD800) << 10) + (m_str[++i] - 0xDC00);
    } else if (cp >= 0xD800 && cp < 0xE000) {
      cp = 0xFFFD;  // a lone surrogate
    }
    AppendUTF8(out, cp);
  }
  return out;
}

void AppendUTF8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out += static_cast<char>(cp);
  } else if (cp < 0x800) {
    out += static_cast<char>(0xC0 | (cp >> 6));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else if (cp < 0x10000) {
    out += static_cast<char>(0xE0 | (cp >> 12));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  } else {
    out += static_cast<char>(0xF0 | (cp >> 18));
    out += static_cast<char>(0x80 | ((cp >> 12) & 0x3F));
    out += static_cast<char>(0x80 | ((cp >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (cp & 0x3F));
  }
}

void AppendUTF16LE(std::vector<uint8_t>& out, std::u16string_view text) {
  for (char16_t unit : text) {
    out.push_back(static_cast<uint8_t>(unit & 0xFF));
    out.push_back(static_cast<uint8_t>(unit >> 8));
  }
}
