// Private: the text of a profile (INI) file, decoded, looked up and edited
// with the Windows profile rules. profile_api.cpp puts the Win32 calls on
// top of it and does the file input and output.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace snk::host {

// How the file's bytes encode its text. A rewritten file keeps the form it
// was read in; a new file is UTF-16LE with its byte order mark.
enum class ProfileEncoding {
  kUtf16Le,  // FF FE, then UTF-16LE
  kUtf16Be,  // FE FF, then UTF-16BE
  kUtf8Bom,  // EF BB BF, then UTF-8
  kUtf8,     // no mark, and the bytes are valid UTF-8
  kAnsi,     // no mark, not UTF-8: the ANSI code page (GetACP)
};

// Section and key names compare after this folding (ASCII, Latin-1, Greek
// and Cyrillic letters), standing in for the case-insensitive comparison of
// Windows.
std::u16string FoldProfileName(std::u16string_view name);

// A profile file as lines of UTF-16 text (line ends removed). Lines are
// kept as they stand, so an edit changes only the lines it must; the file
// is written back with CR LF after every line.
class ProfileText {
 public:
  ProfileText() = default;

  // Decodes any bytes: never fails (see the contract in profile_file.cpp).
  static ProfileText Decode(std::span<const std::byte> bytes);
  // The bytes of the file in its encoding.
  std::vector<std::byte> Encode() const;

  ProfileEncoding encoding() const { return encoding_; }
  const std::vector<std::u16string>& lines() const { return lines_; }

  // The value of a key, blanks trimmed, quotes not yet removed; nullopt
  // when the section or the key is missing.
  std::optional<std::u16string> Find(std::u16string_view section, std::u16string_view key) const;
  // Section names in file order, each once.
  std::vector<std::u16string> SectionNames() const;
  // Key names of a section in file order, each once; empty if missing.
  std::vector<std::u16string> KeyNames(std::u16string_view section) const;

  // Sets a value: replaces the key's line, or adds "key=value" at the end
  // of the section, or adds the section (and the key) at the end.
  void Set(std::u16string_view section, std::u16string_view key, std::u16string_view value);
  // Removes every line of the key in the section; true if any was there.
  bool DeleteKey(std::u16string_view section, std::u16string_view key);
  // Removes the section (every occurrence, header and lines); true if any.
  bool DeleteSection(std::u16string_view section);

 private:
  struct Range {
    size_t header;  // index of the "[name]" line
    size_t end;     // one past the section's last line
  };
  std::optional<Range> FindSection(std::u16string_view folded) const;
  std::optional<size_t> FindKeyLine(const Range& range, std::u16string_view folded) const;

  ProfileEncoding encoding_ = ProfileEncoding::kUtf16Le;
  std::vector<std::u16string> lines_;
};

}  // namespace snk::host
