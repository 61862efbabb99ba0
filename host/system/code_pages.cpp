// Code pages: the ANSI code page and conversions between UTF-16 and the
// Windows code pages 874, 932, 936, 949, 950, 1250 to 1258 and UTF-8,
// through iconv.
//
// Windows rules: a length of -1 means zero-terminated and the count then
// includes the terminator; an output size of 0 asks for the size needed;
// a small buffer fails with ERROR_INSUFFICIENT_BUFFER. A character the
// code page lacks becomes the default character ("?" unless given) and
// sets *usedDefault; for UTF-8 an unpaired surrogate becomes U+FFFD. Bytes
// that do not decode become U+FFFD (the five bytes CP1252 leaves undefined
// map to the C1 controls of the same value, as Windows maps them), or fail
// with ERROR_NO_UNICODE_TRANSLATION under MB_ERR_INVALID_CHARS.
#include <iconv.h>

#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <mutex>
#include <string>

#include "host/system/win_errors.h"
#include "platform/win32.h"

static_assert(std::endian::native == std::endian::little, "char16_t text is handed to iconv as UTF-16LE");

namespace snk::host {
namespace {

constexpr DWORD kMbErrInvalidChars = 0x8;
const iconv_t kNoConverter = reinterpret_cast<iconv_t>(-1);

bool Supported(UINT cp) {
  return cp == 874 || cp == 932 || cp == 936 || cp == 949 || cp == 950 || (cp >= 1250 && cp <= 1258) ||
         cp == CP_UTF8;
}

// The code page a call means, or 0 if it is not one we convert.
UINT Resolve(UINT cp) {
  if (cp == CP_ACP) cp = GetACP();
  return Supported(cp) ? cp : 0;
}

// Open descriptors per thread, so no lock is needed around iconv.
class Converters {
 public:
  ~Converters() {
    for (auto& [key, cd] : open_) iconv_close(cd);
  }
  iconv_t Get(UINT cp, bool toWide) {
    auto key = std::make_pair(cp, toWide);
    auto it = open_.find(key);
    if (it != open_.end()) return it->second;
    std::string name = cp == CP_UTF8 ? "UTF-8" : "CP" + std::to_string(cp);
    iconv_t cd = toWide ? iconv_open("UTF-16LE", name.c_str()) : iconv_open(name.c_str(), "UTF-16LE");
    if (cd != kNoConverter) open_.emplace(key, cd);
    return cd;
  }

 private:
  std::map<std::pair<UINT, bool>, iconv_t> open_;
};

thread_local Converters converters;

// Runs `cd` over the input; `onBad(in, left, out)` handles an input
// sequence iconv refuses and returns how many bytes it consumed (0 stops
// the conversion with failure).
template <typename OnBad>
bool Convert(iconv_t cd, const char* in, size_t size, std::string& out, OnBad onBad) {
  iconv(cd, nullptr, nullptr, nullptr, nullptr);
  auto* inp = const_cast<char*>(in);
  size_t left = size;
  char buffer[512];
  while (left > 0) {
    char* outp = buffer;
    size_t room = sizeof buffer;
    size_t rc = iconv(cd, &inp, &left, &outp, &room);
    out.append(buffer, static_cast<size_t>(outp - buffer));
    if (rc != static_cast<size_t>(-1) || errno == E2BIG) continue;
    size_t used = onBad(inp, left, out);
    if (used == 0) return false;
    inp += used;
    left -= used;
    iconv(cd, nullptr, nullptr, nullptr, nullptr);
  }
  char* outp = buffer;
  size_t room = sizeof buffer;
  iconv(cd, nullptr, nullptr, &outp, &room);
  out.append(buffer, static_cast<size_t>(outp - buffer));
  return true;
}

// Bytes of one refused UTF-16 character: a whole surrogate pair, else one
// unit.
size_t RefusedWideBytes(const char* in, size_t left) {
  if (left < 4) return 2;
  char16_t a, b;
  std::memcpy(&a, in, 2);
  std::memcpy(&b, in + 2, 2);
  return a >= 0xD800 && a <= 0xDBFF && b >= 0xDC00 && b <= 0xDFFF ? 4 : 2;
}

void AppendWide(std::string& out, char16_t c) { out.append(reinterpret_cast<const char*>(&c), sizeof c); }

INT Fail(DWORD error) {
  SetLastError(error);
  return 0;
}

// Hands `out` to a caller's buffer of `capacity` units of `unit` bytes.
INT Deliver(const std::string& out, size_t unit, void* buffer, INT capacity) {
  size_t units = out.size() / unit;
  if (units > 0x7FFFFFFF) return Fail(ERROR_INVALID_PARAMETER);
  if (capacity == 0) return static_cast<INT>(units);
  if (units > static_cast<size_t>(capacity)) return Fail(ERROR_INSUFFICIENT_BUFFER);
  std::memcpy(buffer, out.data(), out.size());
  return static_cast<INT>(units);
}

}  // namespace
}  // namespace snk::host

extern "C" UINT GetACP() {
  const char* text = std::getenv("SNK_ACP");
  if (!text) return 1252;
  char* end = nullptr;
  unsigned long cp = std::strtoul(text, &end, 10);
  if (*text && end && *end == '\0' && cp <= 65535 && snk::host::Supported(static_cast<UINT>(cp))) {
    return static_cast<UINT>(cp);
  }
  static std::once_flag warned;
  std::call_once(warned, [&] { std::fprintf(stderr, "snk: ignoring unsupported SNK_ACP \"%s\"\n", text); });
  return 1252;
}

extern "C" INT WideCharToMultiByte(UINT codePage, DWORD, LPCWSTR wide, INT wideLength, LPSTR bytes,
                                   INT byteLength, LPCSTR defaultChar, BOOL* usedDefault) {
  using namespace snk::host;
  UINT cp = Resolve(codePage);
  bool utf8 = cp == CP_UTF8;
  if (!cp || !wide || wideLength == 0 || wideLength < -1 || byteLength < 0 || (!bytes && byteLength) ||
      (utf8 && (defaultChar || usedDefault))) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  if (usedDefault) *usedDefault = FALSE;
  size_t units =
      wideLength == -1 ? std::char_traits<char16_t>::length(wide) + 1 : static_cast<size_t>(wideLength);
  iconv_t cd = converters.Get(cp, false);
  if (cd == kNoConverter) return Fail(ERROR_INVALID_PARAMETER);
  std::string replacement = utf8                          ? "\xEF\xBF\xBD"
                            : defaultChar && *defaultChar ? std::string(defaultChar, strnlen(defaultChar, 2))
                                                          : "?";
  std::string out;
  Convert(cd, reinterpret_cast<const char*>(wide), units * 2, out,
          [&](const char* in, size_t left, std::string& o) {
            o += replacement;
            if (usedDefault && !utf8) *usedDefault = TRUE;
            return RefusedWideBytes(in, left);
          });
  return Deliver(out, 1, bytes, byteLength);
}

extern "C" INT MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR bytes, INT byteLength, LPWSTR wide,
                                   INT wideLength) {
  using namespace snk::host;
  UINT cp = Resolve(codePage);
  if (!cp || !bytes || byteLength == 0 || byteLength < -1 || wideLength < 0 || (!wide && wideLength)) {
    return Fail(ERROR_INVALID_PARAMETER);
  }
  size_t size = byteLength == -1 ? std::strlen(bytes) + 1 : static_cast<size_t>(byteLength);
  iconv_t cd = converters.Get(cp, true);
  if (cd == kNoConverter) return Fail(ERROR_INVALID_PARAMETER);
  bool strict = flags & kMbErrInvalidChars;
  std::string out;
  bool ok = Convert(cd, bytes, size, out, [&](const char* in, size_t, std::string& o) -> size_t {
    if (strict) return 0;
    auto b = static_cast<unsigned char>(*in);
    bool c1 = cp == 1252 && (b == 0x81 || b == 0x8D || b == 0x8F || b == 0x90 || b == 0x9D);
    AppendWide(o, c1 ? char16_t{b} : u'\xFFFD');
    return 1;
  });
  if (!ok) return Fail(kErrorNoUnicodeTranslation);
  return Deliver(out, 2, wide, wideLength);
}
