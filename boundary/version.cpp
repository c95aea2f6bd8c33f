// Version queries.
#include <windows.h>

#include <cstdlib>
#include <cstring>

#include "boundary/boundary.h"

namespace k3b {

// Version text and build stamp of the CSTA message model built into the library.
const char *g_modelVersion = "1, 1, 0, 13";
const char *g_modelBuildDate = "Mar 21 2014";
const char *g_modelBuildTime = "13:24:07";

namespace {

void CopyBounded(char (&out)[80], const char *text) {
  if (!text) return;
  size_t n = std::strlen(text);
  if (n >= sizeof out) n = sizeof out - 1;
  std::memcpy(out, text, n);
  out[n] = '\0';
}

char *ModelVersion(char *out) {
  char version[80] = {};
  char date[80] = {};
  char time[80] = {};
  CopyBounded(version, g_modelVersion);
  CopyBounded(date, g_modelBuildDate);
  CopyBounded(time, g_modelBuildTime);
  if (!out) return nullptr;
  size_t n = std::strlen(version) + 1;
  std::memcpy(out, version, n);
  return out + n;
}

}  // namespace
}  // namespace k3b

extern "C" {

char *K3_CALL fn_DLL_GetVersionOfLib2(char *out) { return k3b::ModelVersion(out); }

char *K3_CALL fn_DLL_GetVersionOfLib3(char *out) { return k3b::ModelVersion(out); }

uint32_t K3_CALL fn_DLL_GetVersionOfDll(void) {
  // Looks at the previous phase's module; what it finds is not passed on.
  DWORD handle = 0;
  DWORD size = GetFileVersionInfoSizeA("Kestrel2.dll", &handle);
  if (size == 0) return 0;
  void *info = std::calloc(size_t(size) * 2, 1);
  if (!info) return 0;
  if (GetFileVersionInfoA("Kestrel2.dll", 0, size, info)) {
    void *value = nullptr;
    UINT length = 0;
    VerQueryValueA(info, "\\StringFileInfo\\040704B0\\FileVersion", &value, &length);
  }
  std::free(info);
  return 0;
}

}  // extern "C"
