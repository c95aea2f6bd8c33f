// Loads Kestrel3.dll as a TSP does and resolves the exports the soak and speed
// programs use.
#ifndef K3_SOAK_K3_DLL_H
#define K3_SOAK_K3_DLL_H

#include <windows.h>

#include <cstdio>

#include "kestrel3.h"

struct K3Dll {
  HMODULE h = nullptr;
  PFN_fn_vrt_lineOpenAndSelectExtVersion lineOpen = nullptr;
  PFN_fn_vrt_lineDevSpecific devSpecific = nullptr;
  PFN_fn_vrt_CSTAfromVorta fromVorta = nullptr;
  PFN_fn_vrt_MonitorStart monitorStart = nullptr;
  PFN_fn_vrt_MonitorClear monitorClear = nullptr;

  bool Load(const char *path) {
    h = LoadLibraryA(path);
    if (!h) {
      std::fprintf(stderr, "cannot load %s (error %lu)\n", path, GetLastError());
      return false;
    }
    Get(lineOpen, "fn_vrt_lineOpenAndSelectExtVersion");
    Get(devSpecific, "fn_vrt_lineDevSpecific");
    Get(fromVorta, "fn_vrt_CSTAfromVorta");
    Get(monitorStart, "fn_vrt_MonitorStart");
    Get(monitorClear, "fn_vrt_MonitorClear");
    if (!lineOpen || !devSpecific || !fromVorta || !monitorStart || !monitorClear) {
      std::fprintf(stderr, "%s lacks an export\n", path);
      return false;
    }
    return true;
  }
  template <class F>
  void Get(F &f, const char *name) {
    f = reinterpret_cast<F>(reinterpret_cast<void *>(GetProcAddress(h, name)));
  }
  void Unload() {
    if (h) FreeLibrary(h);
    h = nullptr;
  }
};

#endif
