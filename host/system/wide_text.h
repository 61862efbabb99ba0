// Private: UTF-16 and UTF-8 text helpers of the host's system services.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/win_types.h"

namespace snk::host {

// The characters of a zero-terminated wide string (empty for null).
std::u16string_view WideView(const char16_t* text);

// Strict UTF-16 to UTF-8: nullopt when the text holds an unpaired surrogate.
std::optional<std::string> ToUtf8(std::u16string_view text);
// UTF-16 to UTF-8, unpaired surrogates replaced by U+FFFD.
std::string ToUtf8Lossy(std::u16string_view text);
// UTF-8 to UTF-16, malformed sequences replaced by U+FFFD.
std::u16string ToUtf16(std::string_view text);

// ASCII case folding, which is what registry and printer names compare by.
std::string FoldAscii(std::string_view text);
std::u16string FoldAscii(std::u16string_view text);

// Copies `text` and a terminator into `buffer` of `capacity` characters when
// it fits; returns false (and writes nothing) when it does not.
bool CopyWithTerminator(std::u16string_view text, char16_t* buffer, size_t capacity);

}  // namespace snk::host
