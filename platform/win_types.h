// Windows base types used across the platform seam.
//
// Every type that crosses the seam has a fixed width: Windows LONG is 32-bit
// on every target, so LONG/ULONG map to int32_t/uint32_t, never to `long`.
// Text is UTF-16 in char16_t.
#pragma once

#include <cstddef>
#include <cstdint>

using BOOL = int32_t;
using BYTE = uint8_t;
using WORD = uint16_t;
using DWORD = uint32_t;
using LONG = int32_t;
using ULONG = uint32_t;
using FLONG = uint32_t;
using SHORT = int16_t;
using USHORT = uint16_t;
using INT = int32_t;
using UINT = uint32_t;
using LONGLONG = int64_t;
using ULONG_PTR = uintptr_t;
using SIZE_T = size_t;
using WCHAR = char16_t;
using LPWSTR = char16_t*;
using LPCWSTR = const char16_t*;
using LPSTR = char*;
using LPCSTR = const char*;
using PVOID = void*;
using LPVOID = void*;
using LPCVOID = const void*;
using LSTATUS = int32_t;
using HRESULT = int32_t;

using HANDLE = void*;
struct HWND__;
using HWND = HWND__*;
struct HKEY__;
using HKEY = HKEY__*;
struct HMODULE__;
// A module handle. On Linux it is any address inside the module; the host
// finds the module's file from it.
using HMODULE = HMODULE__*;
using HINSTANCE = HMODULE;

inline constexpr BOOL TRUE = 1;
inline constexpr BOOL FALSE = 0;
inline HANDLE const INVALID_HANDLE_VALUE = reinterpret_cast<HANDLE>(~uintptr_t{0});

struct POINTL {
  LONG x;
  LONG y;
};
struct SIZEL {
  LONG cx;
  LONG cy;
};
struct RECTL {
  LONG left;
  LONG top;
  LONG right;
  LONG bottom;
};
static_assert(sizeof(RECTL) == 16);

struct SYSTEMTIME {
  WORD wYear;
  WORD wMonth;
  WORD wDayOfWeek;
  WORD wDay;
  WORD wHour;
  WORD wMinute;
  WORD wSecond;
  WORD wMilliseconds;
};
static_assert(sizeof(SYSTEMTIME) == 16);

struct GUID {
  uint32_t Data1;
  uint16_t Data2;
  uint16_t Data3;
  uint8_t Data4[8];
};
using UUID = GUID;
static_assert(sizeof(GUID) == 16);
