// The installed-font list behind SnkListInstalledFaceNames.
#include "platform/win32.h"

extern "C" ULONG SnkListInstalledFaceNames(WCHAR* buffer, ULONG capacity) {
  if (buffer && capacity >= 1) buffer[0] = u'\0';
  return 1;
}
