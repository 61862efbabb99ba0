// CKM_ByteString and CKM_WideString: value strings of 8-bit bytes and of
// UTF-16 code units.
//
// Copies are independent values (a change to one never shows in another),
// and an empty string owns no storage. std::basic_string gives exactly that
// observable behaviour, so these wrap it and add the few operations the
// system uses, with the system's names.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

// Appends the UTF-8 form of one scalar value.
void AppendUTF8(std::string& out, char32_t cp);
// Appends UTF-16 code units as little-endian bytes (the registry's and the
// settings file's form); terminators are the caller's.
void AppendUTF16LE(std::vector<uint8_t>& out, std::u16string_view text);

class CKM_ByteString {
 public:
  CKM_ByteString() = default;
  CKM_ByteString(const char* text) : m_str(text ? text : "") {}
  CKM_ByteString(std::string_view text) : m_str(text) {}
  CKM_ByteString(const void* data, size_t length)
      : m_str(static_cast<const char*>(data), length) {}
  explicit CKM_ByteString(std::string text) : m_str(std::move(text)) {}

  size_t GetLength() const { return m_str.size(); }
  bool IsEmpty() const { return m_str.empty(); }
  const char* c_str() const { return m_str.c_str(); }
  const uint8_t* raw_str() const {
    return reinterpret_cast<const uint8_t*>(m_str.data());
  }
  std::string_view view() const { return m_str; }
  std::span<const std::byte> bytes() const {
    return std::as_bytes(std::span<const char>(m_str.data(), m_str.size()));
  }
  const std::string& str() const { return m_str; }

  char operator[](size_t i) const { return m_str[i]; }
  CKM_ByteString& operator+=(std::string_view text) {
    m_str += text;
    return *this;
  }
  CKM_ByteString& operator+=(const CKM_ByteString& text) {
    m_str += text.m_str;
    return *this;
  }
  CKM_ByteString& operator+=(const char* text) {
    if (text) m_str += text;
    return *this;
  }
  CKM_ByteString& operator+=(char c) {
    m_str += c;
    return *this;
  }
  void Empty() { m_str.clear(); }

  friend CKM_ByteString operator+(CKM_ByteString a, std::string_view b) {
    a += b;
    return a;
  }
  friend bool operator==(const CKM_ByteString&, const CKM_ByteString&) = default;
  friend auto operator<=>(const CKM_ByteString& a, const CKM_ByteString& b) {
    return a.m_str <=> b.m_str;
  }

 private:
  std::string m_str;
};

class CKM_WideString {
 public:
  CKM_WideString() = default;
  CKM_WideString(const char16_t* text) : m_str(text ? text : u"") {}
  CKM_WideString(std::u16string_view text) : m_str(text) {}
  CKM_WideString(const char16_t* text, size_t length) : m_str(text, length) {}
  explicit CKM_WideString(std::u16string text) : m_str(std::move(text)) {}

  // Reads a zero-terminated text of at most `capacity` units from a fixed
  // buffer that may lack its terminator.
  static CKM_WideString FromBuffer(const char16_t* buffer, size_t capacity);
  // Converts ASCII or UTF-8 text; invalid sequences become U+FFFD.
  static CKM_WideString FromUTF8(std::string_view text);
  std::string ToUTF8() const;

  size_t GetLength() const { return m_str.size(); }
  bool IsEmpty() const { return m_str.empty(); }
  const char16_t* c_str() const { return m_str.c_str(); }
  std::u16string_view view() const { return m_str; }
  const std::u16string& str() const { return m_str; }

  char16_t operator[](size_t i) const { return m_str[i]; }
  CKM_WideString& operator+=(std::u16string_view text) {
    m_str += text;
    return *this;
  }
  CKM_WideString& operator+=(const CKM_WideString& text) {
    m_str += text.m_str;
    return *this;
  }
  CKM_WideString& operator+=(const char16_t* text) {
    if (text) m_str += text;
    return *this;
  }
  CKM_WideString& operator+=(char16_t c) {
    m_str += c;
    return *this;
  }
  void Empty() { m_str.clear(); }

  // Copies into a fixed buffer of `capacity` units, always terminated when
  // capacity > 0; longer text is cut.
  void CopyTo(char16_t* buffer, size_t capacity) const;

  friend CKM_WideString operator+(CKM_WideString a, std::u16string_view b) {
    a += b;
    return a;
  }
  friend bool operator==(const CKM_WideString&, const CKM_WideString&) = default;
  friend auto operator<=>(const CKM_WideString& a, const CKM_WideString& b) {
    return a.m_str <=> b.m_str;
  }

 private:
  std::u16string m_str;
};
