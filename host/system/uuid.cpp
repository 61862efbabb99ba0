// UUIDs: random (version 4) identifiers from the kernel's generator.
//
// Test switches, not for production: SNK_UUID_FIXED=<36-character UUID>
// makes every UuidCreate return that value (so it is not unique), and
// SNK_UUID_NO_ADDRESS=1 makes UuidCreate fail with RPC_S_UUID_NO_ADDRESS.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string_view>

#include "host/system/random.h"
#include "host/system/win_errors.h"
#include "platform/win32.h"

namespace snk::host {
namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// The 16 bytes of "xxxxxxxx-xxxx-xxxx-xxxx-xxxxxxxxxxxx" in text order.
std::optional<UUID> ParseUuid(std::string_view text) {
  if (text.size() != 36) return std::nullopt;
  BYTE bytes[16];
  size_t out = 0;
  for (size_t i = 0; i < text.size();) {
    if (i == 8 || i == 13 || i == 18 || i == 23) {
      if (text[i++] != '-') return std::nullopt;
      continue;
    }
    int hi = HexDigit(text[i]), lo = HexDigit(text[i + 1]);
    if (hi < 0 || lo < 0) return std::nullopt;
    bytes[out++] = static_cast<BYTE>(hi << 4 | lo);
    i += 2;
  }
  UUID uuid{};
  uuid.Data1 = uint32_t{bytes[0]} << 24 | uint32_t{bytes[1]} << 16 | uint32_t{bytes[2]} << 8 | bytes[3];
  uuid.Data2 = static_cast<uint16_t>(bytes[4] << 8 | bytes[5]);
  uuid.Data3 = static_cast<uint16_t>(bytes[6] << 8 | bytes[7]);
  std::memcpy(uuid.Data4, bytes + 8, 8);
  return uuid;
}

}  // namespace
}  // namespace snk::host

extern "C" int32_t UuidCreate(UUID* uuid) {
  using namespace snk::host;
  const char* noAddress = std::getenv("SNK_UUID_NO_ADDRESS");
  if (noAddress && std::strcmp(noAddress, "1") == 0) return RPC_S_UUID_NO_ADDRESS;
  if (const char* fixed = std::getenv("SNK_UUID_FIXED")) {
    std::optional<UUID> parsed = ParseUuid(fixed);
    if (!parsed) {
      std::fprintf(stderr, "snk: SNK_UUID_FIXED is not a UUID: \"%s\"\n", fixed);
      return static_cast<int32_t>(kRpcInvalidStringUuid);
    }
    *uuid = *parsed;
    return RPC_S_OK;
  }
  if (!RandomBytes(uuid, sizeof *uuid)) return RPC_S_UUID_NO_ADDRESS;
  // RFC 4122 section 4.4: version 4 in the top of Data3, variant 10xx.
  uuid->Data3 = static_cast<uint16_t>((uuid->Data3 & 0x0FFF) | 0x4000);
  uuid->Data4[0] = static_cast<BYTE>((uuid->Data4[0] & 0x3F) | 0x80);
  return RPC_S_OK;
}

extern "C" int32_t UuidToStringA(const UUID* uuid, BYTE** text) {
  if (!uuid || !text) return static_cast<int32_t>(ERROR_INVALID_PARAMETER);
  auto* out = static_cast<char*>(std::malloc(37));
  if (!out) return static_cast<int32_t>(ERROR_NOT_ENOUGH_MEMORY);
  const BYTE* d = uuid->Data4;
  std::snprintf(out, 37, "%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", uuid->Data1, uuid->Data2,
                uuid->Data3, d[0], d[1], d[2], d[3], d[4], d[5], d[6], d[7]);
  *text = reinterpret_cast<BYTE*>(out);
  return RPC_S_OK;
}

extern "C" int32_t RpcStringFreeA(BYTE** text) {
  if (text) {
    std::free(*text);
    *text = nullptr;
  }
  return RPC_S_OK;
}
