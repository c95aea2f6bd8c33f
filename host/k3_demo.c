/* k3-demo: loads Kestrel3.dll like a TAPI service provider (LoadLibraryA and
 * GetProcAddress), opens line 0 with its three callbacks, asks the three version
 * questions, closes the line and unloads the library, printing every step. */
#include <windows.h>

#include <stdio.h>
#include <string.h>

#include "kestrel3.h"

static uint32_t K3_CALL OnSendToPbx(uint32_t line, const void *message, void *block, uint32_t invokeId) {
  printf("  callback: send to PBX (line %u, invoke id %u)\n", line, invokeId);
  return 1;
}

static uint32_t K3_CALL OnReply(uint32_t line, uint32_t requestId, uint32_t result) {
  printf("  callback: reply (line %u, request 0x%08x, result 0x%08x)\n", line, requestId, result);
  return 1;
}

static uint32_t K3_CALL OnEvent(uint32_t line, uint32_t message, uint32_t p1, uint32_t p2, uint32_t p3) {
  printf("  callback: event (line %u, message 0x%x, 0x%x, 0x%x, 0x%x)\n", line, message, p1, p2, p3);
  return 0;
}

/* GetProcAddress, as a generic function pointer that converts to any other. */
typedef void (*GenericFunction)(void);
static GenericFunction Need(HMODULE dll, const char *name) {
  FARPROC f = GetProcAddress(dll, name);
  if (!f) printf("GetProcAddress(%s) failed: error %lu\n", name, GetLastError());
  return (GenericFunction)f;
}

int main(int argc, char **argv) {
  const char *path = argc > 1 ? argv[1] : "Kestrel3.dll";
  printf("Loading %s\n", path);
  HMODULE dll = LoadLibraryA(path);
  if (!dll) {
    printf("LoadLibrary failed: error %lu\n", GetLastError());
    return 1;
  }
  printf("Loaded at %p\n", (void *)dll);

  PFN_fn_vrt_lineOpenAndSelectExtVersion lineOpen =
      (PFN_fn_vrt_lineOpenAndSelectExtVersion)Need(dll, "fn_vrt_lineOpenAndSelectExtVersion");
  PFN_fn_DLL_GetVersionOfLib2 lib2 = (PFN_fn_DLL_GetVersionOfLib2)Need(dll, "fn_DLL_GetVersionOfLib2");
  PFN_fn_DLL_GetVersionOfLib3 lib3 = (PFN_fn_DLL_GetVersionOfLib3)Need(dll, "fn_DLL_GetVersionOfLib3");
  PFN_fn_DLL_GetVersionOfDll dllVersion = (PFN_fn_DLL_GetVersionOfDll)Need(dll, "fn_DLL_GetVersionOfDll");
  if (!lineOpen || !lib2 || !lib3 || !dllVersion) {
    FreeLibrary(dll);
    return 1;
  }

  const uint32_t extVersion = 0x00010000;
  printf("Opening line 0 (extension version 0x%08x)\n", extVersion);
  uint32_t opened = lineOpen(0, extVersion, OnReply, OnEvent, NULL, OnSendToPbx, NULL);
  printf("  result %u\n", opened);

  char text[80];
  memset(text, 0, sizeof text);
  char *end = lib2(text);
  printf("fn_DLL_GetVersionOfLib2: \"%s\" (%d bytes written)\n", text, (int)(end - text));
  memset(text, 0, sizeof text);
  end = lib3(text);
  printf("fn_DLL_GetVersionOfLib3: \"%s\" (%d bytes written)\n", text, (int)(end - text));
  uint32_t v = dllVersion();
  printf("fn_DLL_GetVersionOfDll: returned %u (looks at Kestrel2.dll, passes nothing on)\n", v);

  printf("Closing line 0 (extension version 0)\n");
  uint32_t closed = lineOpen(0, 0, NULL, NULL, NULL, NULL, NULL);
  printf("  result %u\n", closed);

  printf("Unloading\n");
  BOOL freed = FreeLibrary(dll);
  printf("  %s\n", freed ? "unloaded" : "FreeLibrary failed");
  return opened == 1 && closed == 1 && freed ? 0 : 1;
}
