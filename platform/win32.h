// Win32-shaped services that the system asks of the operating system.
//
// Names, arguments and results follow the Windows API, so the system's code
// reads as it would on Windows. On Linux the host implements each of them
// (registry and printer data in SQLite, files through POSIX, message boxes
// and the save dialog by a policy that the calling program sets).
#pragma once

#include "platform/win_types.h"

// ------------------------------------------------------------ errors

inline constexpr DWORD ERROR_SUCCESS = 0;
inline constexpr DWORD ERROR_FILE_NOT_FOUND = 2;
inline constexpr DWORD ERROR_ACCESS_DENIED = 5;
inline constexpr DWORD ERROR_INVALID_HANDLE = 6;
inline constexpr DWORD ERROR_NOT_ENOUGH_MEMORY = 8;
inline constexpr DWORD ERROR_FILE_EXISTS = 80;
inline constexpr DWORD ERROR_INVALID_PARAMETER = 87;
inline constexpr DWORD ERROR_INSUFFICIENT_BUFFER = 122;
inline constexpr DWORD ERROR_ALREADY_EXISTS = 183;
inline constexpr DWORD ERROR_MORE_DATA = 234;
inline constexpr DWORD ERROR_NO_MORE_ITEMS = 259;
inline constexpr DWORD RPC_S_UUID_NO_ADDRESS = 1739;
inline constexpr DWORD RPC_S_OK = 0;

// ------------------------------------------------------------ registry

inline HKEY const HKEY_CURRENT_USER = reinterpret_cast<HKEY>(uintptr_t{0x80000001});

inline constexpr DWORD REG_NONE = 0;
inline constexpr DWORD REG_SZ = 1;
inline constexpr DWORD REG_BINARY = 3;
inline constexpr DWORD REG_DWORD = 4;
inline constexpr DWORD REG_MULTI_SZ = 7;

inline constexpr DWORD KEY_QUERY_VALUE = 0x0001;
inline constexpr DWORD KEY_SET_VALUE = 0x0002;
inline constexpr DWORD KEY_READ = 0x20019;
inline constexpr DWORD KEY_ALL_ACCESS = 0xF003F;
inline constexpr DWORD REG_OPTION_NON_VOLATILE = 0;
inline constexpr DWORD REG_CREATED_NEW_KEY = 1;
inline constexpr DWORD REG_OPENED_EXISTING_KEY = 2;

// ------------------------------------------------------------ files

inline constexpr DWORD GENERIC_READ = 0x80000000;
inline constexpr DWORD GENERIC_WRITE = 0x40000000;
inline constexpr DWORD CREATE_NEW = 1;
inline constexpr DWORD CREATE_ALWAYS = 2;
inline constexpr DWORD OPEN_EXISTING = 3;
inline constexpr DWORD OPEN_ALWAYS = 4;
inline constexpr DWORD FILE_ATTRIBUTE_DIRECTORY = 0x10;
inline constexpr DWORD FILE_ATTRIBUTE_NORMAL = 0x80;
inline constexpr DWORD INVALID_FILE_ATTRIBUTES = 0xFFFFFFFF;
inline constexpr DWORD MAX_PATH = 260;

// ------------------------------------------------------------ message boxes

inline constexpr UINT MB_OK = 0x0;
inline constexpr UINT MB_YESNO = 0x4;
inline constexpr UINT MB_SETFOREGROUND = 0x10000;
inline constexpr INT IDOK = 1;
inline constexpr INT IDYES = 6;
inline constexpr INT IDNO = 7;

// ------------------------------------------------------------ forms

inline constexpr DWORD FORM_USER = 0;
inline constexpr DWORD FORM_BUILTIN = 1;

struct FORM_INFO_1W {
  DWORD Flags;
  LPWSTR pName;
  SIZEL Size;  // thousandths of a millimetre
  RECTL ImageableArea;
};

// ------------------------------------------------------------ folders

inline constexpr int CSIDL_APPDATA = 26;        // per-user application data
inline constexpr int CSIDL_LOCAL_APPDATA = 28;  // per-user local application data

struct FILETIME {
  DWORD dwLowDateTime;
  DWORD dwHighDateTime;
};

struct WIN32_FIND_DATAW {
  DWORD dwFileAttributes;
  FILETIME ftCreationTime;
  FILETIME ftLastAccessTime;
  FILETIME ftLastWriteTime;
  DWORD nFileSizeHigh;
  DWORD nFileSizeLow;
  DWORD dwReserved0;
  DWORD dwReserved1;
  WCHAR cFileName[MAX_PATH];
  WCHAR cAlternateFileName[14];
};

// ------------------------------------------------------------ shell

inline constexpr INT SW_SHOWNORMAL = 1;

// ------------------------------------------------------------ time zone

struct TIME_ZONE_INFORMATION {
  LONG Bias;  // minutes, UTC = local time + Bias
  WCHAR StandardName[32];
  SYSTEMTIME StandardDate;
  LONG StandardBias;
  WCHAR DaylightName[32];
  SYSTEMTIME DaylightDate;
  LONG DaylightBias;
};
inline constexpr DWORD TIME_ZONE_ID_UNKNOWN = 0;
inline constexpr DWORD TIME_ZONE_ID_STANDARD = 1;
inline constexpr DWORD TIME_ZONE_ID_DAYLIGHT = 2;
inline constexpr DWORD TIME_ZONE_ID_INVALID = 0xFFFFFFFF;

// ------------------------------------------------------------ GDI memory canvas

struct HDC__;
using HDC = HDC__*;
struct HBITMAP__;
using HBITMAP = HBITMAP__*;  // the same handle type as the driver interface's
struct HBRUSH__;
using HBRUSH = HBRUSH__*;
struct HPEN__;
using HPEN = HPEN__*;
using HGDIOBJ = void*;  // any of HBITMAP, HBRUSH, HPEN
using COLORREF = DWORD;  // red in bits 0-7, green 8-15, blue 16-23

inline constexpr INT PS_SOLID = 0;
inline constexpr DWORD BI_RGB = 0;
inline constexpr UINT DIB_RGB_COLORS = 0;
inline constexpr DWORD SRCCOPY = 0x00CC0020;

struct BITMAPINFOHEADER {
  DWORD biSize;
  LONG biWidth;
  LONG biHeight;  // negative: rows top-down
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
};
static_assert(sizeof(BITMAPINFOHEADER) == 40);

struct RGBQUAD {
  BYTE rgbBlue;
  BYTE rgbGreen;
  BYTE rgbRed;
  BYTE rgbReserved;
};

struct BITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[1];
};

// ------------------------------------------------------------ code pages

inline constexpr UINT CP_ACP = 0;
inline constexpr UINT CP_UTF8 = 65001;

// ------------------------------------------------------------ save dialog

inline constexpr DWORD OFN_OVERWRITEPROMPT = 0x00000002;
inline constexpr DWORD OFN_ENABLESIZING = 0x00800000;

struct OPENFILENAMEW {
  DWORD lStructSize;
  HWND hwndOwner;
  HINSTANCE hInstance;
  LPCWSTR lpstrFilter;  // pairs of zero-terminated texts, ending in two zeros
  LPWSTR lpstrCustomFilter;
  DWORD nMaxCustFilter;
  DWORD nFilterIndex;
  LPWSTR lpstrFile;  // in: proposed name; out: the chosen path
  DWORD nMaxFile;
  LPWSTR lpstrFileTitle;
  DWORD nMaxFileTitle;
  LPCWSTR lpstrInitialDir;
  LPCWSTR lpstrTitle;
  DWORD Flags;
  WORD nFileOffset;
  WORD nFileExtension;
  LPCWSTR lpstrDefExt;
};

extern "C" {
// Errors.
DWORD GetLastError();
void SetLastError(DWORD error);

// Registry (HKEY_CURRENT_USER and keys below it).
LSTATUS RegCreateKeyExW(HKEY key, LPCWSTR subKey, DWORD reserved,
                        LPWSTR keyClass, DWORD options, DWORD access,
                        void* security, HKEY* result, DWORD* disposition);
LSTATUS RegOpenKeyExW(HKEY key, LPCWSTR subKey, DWORD options, DWORD access,
                      HKEY* result);
LSTATUS RegCloseKey(HKEY key);
LSTATUS RegQueryInfoKeyW(HKEY key, LPWSTR keyClass, DWORD* classLength,
                         DWORD* reserved, DWORD* subKeys,
                         DWORD* maxSubKeyLength, DWORD* maxClassLength,
                         DWORD* values, DWORD* maxValueNameLength,
                         DWORD* maxValueLength, DWORD* securityDescriptor,
                         void* lastWriteTime);
LSTATUS RegEnumValueW(HKEY key, DWORD index, LPWSTR valueName,
                      DWORD* valueNameLength, DWORD* reserved, DWORD* type,
                      BYTE* data, DWORD* dataLength);
LSTATUS RegQueryValueExW(HKEY key, LPCWSTR valueName, DWORD* reserved,
                         DWORD* type, BYTE* data, DWORD* dataLength);
LSTATUS RegSetValueExW(HKEY key, LPCWSTR valueName, DWORD reserved,
                       DWORD type, const BYTE* data, DWORD dataLength);
LSTATUS RegDeleteValueW(HKEY key, LPCWSTR valueName);

// The user running the job.
BOOL GetUserNameW(LPWSTR buffer, DWORD* size);

// Printer data and forms. `printer` is the driver's printer handle.
DWORD GetPrinterDataExW(HANDLE printer, LPCWSTR keyName, LPCWSTR valueName,
                        DWORD* type, BYTE* data, DWORD size, DWORD* needed);
DWORD SetPrinterDataExW(HANDLE printer, LPCWSTR keyName, LPCWSTR valueName,
                        DWORD type, const BYTE* data, DWORD size);
BOOL EnumFormsW(HANDLE printer, DWORD level, BYTE* forms, DWORD size,
                DWORD* needed, DWORD* returned);

// Files. Both '\' and '/' separate path components.
HANDLE CreateFileW(LPCWSTR name, DWORD access, DWORD shareMode,
                   void* security, DWORD creation, DWORD flags,
                   HANDLE templateFile);
BOOL WriteFile(HANDLE file, LPCVOID data, DWORD size, DWORD* written,
               void* overlapped);
BOOL ReadFile(HANDLE file, LPVOID data, DWORD size, DWORD* read,
              void* overlapped);
BOOL FlushFileBuffers(HANDLE file);
BOOL CloseHandle(HANDLE handle);
BOOL DeleteFileW(LPCWSTR name);
DWORD GetFileAttributesW(LPCWSTR name);
BOOL CreateDirectoryW(LPCWSTR name, void* security);

// Folder listing: `pattern` is a folder followed by "*" (or a file name).
HANDLE FindFirstFileW(LPCWSTR pattern, WIN32_FIND_DATAW* data);
BOOL FindNextFileW(HANDLE find, WIN32_FIND_DATAW* data);
BOOL FindClose(HANDLE find);
BOOL CopyFileW(LPCWSTR from, LPCWSTR to, BOOL failIfExists);

// Known folders (CSIDL_APPDATA, CSIDL_LOCAL_APPDATA), as XDG places.
BOOL SHGetSpecialFolderPathW(HWND owner, LPWSTR path, int folder, BOOL create);

// Profile (INI) files: UTF-16LE text with the Windows profile rules.
DWORD GetPrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR defaultValue,
                               LPWSTR out, DWORD size, LPCWSTR file);
BOOL WritePrivateProfileStringW(LPCWSTR section, LPCWSTR key, LPCWSTR value,
                                LPCWSTR file);
BOOL GetPrivateProfileStructW(LPCWSTR section, LPCWSTR key, LPVOID data,
                              UINT size, LPCWSTR file);
BOOL WritePrivateProfileStructW(LPCWSTR section, LPCWSTR key, LPCVOID data,
                                UINT size, LPCWSTR file);

// The shell's verbs; "open" hands a document to the desktop's viewer.
HINSTANCE ShellExecuteW(HWND owner, LPCWSTR verb, LPCWSTR file,
                        LPCWSTR parameters, LPCWSTR directory, INT show);

// Threads: a thread runs `start(parameter)`; its handle is waited for and
// closed with CloseHandle. Only the infinite wait is needed.
using LPTHREAD_START_ROUTINE = DWORD (*)(LPVOID parameter);
inline constexpr DWORD INFINITE = 0xFFFFFFFF;
inline constexpr DWORD WAIT_OBJECT_0 = 0;
inline constexpr DWORD WAIT_FAILED = 0xFFFFFFFF;
HANDLE CreateThread(void* security, SIZE_T stackSize, LPTHREAD_START_ROUTINE start,
                    LPVOID parameter, DWORD flags, DWORD* threadId);
DWORD WaitForSingleObject(HANDLE object, DWORD milliseconds);

// The C runtime's pseudo-random numbers (0 to 32767) after a seed. The
// Linux host mixes a value of the process's own into the seed, so that
// processes seeded in the same second draw different numbers.
void SnkSeedRandom(UINT seed);
INT SnkRandom();

// Modules: the file name of the module that holds the given handle.
DWORD GetModuleFileNameW(HMODULE module, LPWSTR buffer, DWORD size);

// User interface.
INT MessageBoxW(HWND owner, LPCWSTR text, LPCWSTR caption, UINT type);
BOOL GetSaveFileNameW(OPENFILENAMEW* dialog);
DWORD CommDlgExtendedError();
HWND GetForegroundWindow();
HWND GetDesktopWindow();
INT GetWindowTextW(HWND window, LPWSTR buffer, INT size);
INT GetClassNameW(HWND window, LPWSTR buffer, INT size);

// GDI memory canvas: a memory DC compatible with the screen's DC (GetDC of
// no window), a 24-bit bitmap in it, DIBs drawn into it and read back.
// Handles that are not live are refused.
HDC GetDC(HWND window);
INT ReleaseDC(HWND window, HDC dc);
HDC CreateCompatibleDC(HDC dc);
BOOL DeleteDC(HDC dc);
HBITMAP CreateCompatibleBitmap(HDC dc, INT width, INT height);
HBRUSH CreateSolidBrush(COLORREF color);
HPEN CreatePen(INT style, INT width, COLORREF color);
HGDIOBJ SelectObject(HDC dc, HGDIOBJ object);
BOOL DeleteObject(HGDIOBJ object);
INT StretchDIBits(HDC dc, INT xDest, INT yDest, INT destWidth, INT destHeight, INT xSrc, INT ySrc,
                  INT srcWidth, INT srcHeight, const void* bits, const BITMAPINFO* info, UINT usage,
                  DWORD rop);
INT GetDIBits(HDC dc, HBITMAP bitmap, UINT start, UINT lines, LPVOID bits, BITMAPINFO* info, UINT usage);

// Clock and zone. SOURCE_DATE_EPOCH, when set, replaces the clock.
void GetLocalTime(SYSTEMTIME* time);
void GetSystemTime(SYSTEMTIME* time);
DWORD GetTimeZoneInformation(TIME_ZONE_INFORMATION* zone);

// Identifiers.
int32_t UuidCreate(UUID* uuid);
int32_t UuidToStringA(const UUID* uuid, BYTE** text);
int32_t RpcStringFreeA(BYTE** text);

// Code pages.
UINT GetACP();
INT WideCharToMultiByte(UINT codePage, DWORD flags, LPCWSTR wide,
                        INT wideLength, LPSTR bytes, INT byteLength,
                        LPCSTR defaultChar, BOOL* usedDefault);
INT MultiByteToWideChar(UINT codePage, DWORD flags, LPCSTR bytes,
                        INT byteLength, LPWSTR wide, INT wideLength);

// The face names of the installed fonts, as the font mapper lists them:
// zero-ended strings one after another, the list ended by an empty string.
// A name that begins with a blank is the PostScript name of the face whose
// family name follows it (given for families whose name is not ASCII).
// Returns the number of WCHARs the whole list needs; writes only when
// `capacity` is at least that.
ULONG SnkListInstalledFaceNames(WCHAR* buffer, ULONG capacity);

// Writes a file of the process's private scratch folder, replacing it: a
// folder no other user can read, so that what the system notes there for
// its own diagnosis never overwrites a user's file. `name` is a plain file
// name. FALSE when the folder or the file cannot be made.
BOOL SnkWriteScratchFile(LPCWSTR name, LPCVOID data, DWORD size);

// The operating system's version.
struct OSVERSIONINFOW {
  DWORD dwOSVersionInfoSize;
  DWORD dwMajorVersion;
  DWORD dwMinorVersion;
  DWORD dwBuildNumber;
  DWORD dwPlatformId;
  WCHAR szCSDVersion[128];
};
BOOL GetVersionExW(OSVERSIONINFOW* info);
}
