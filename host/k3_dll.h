// Loads Kestrel3.dll as a TSP does and resolves its exports; with the
// command-line helpers the Windows host programs (scenario runner, soak,
// speed) share.
#ifndef K3_HOST_K3_DLL_H
#define K3_HOST_K3_DLL_H

#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/k3_exports.h"
#include "kestrel3.h"

struct K3Dll : k3host::LibraryExports {
  HMODULE h = nullptr;
  PFN_fn_DLL_GetVersionOfLib2 lib2 = nullptr;

  // False, with the reason on stderr, when the library or one export is missing.
  bool Load(const char *path) {
    h = LoadLibraryA(path);
    if (!h) {
      std::fprintf(stderr, "cannot load %s (error %lu)\n", path, GetLastError());
      return false;
    }
    return Get(lineOpen, "fn_vrt_lineOpenAndSelectExtVersion") & Get(devSpecific, "fn_vrt_lineDevSpecific") &
           Get(fromVorta, "fn_vrt_CSTAfromVorta") & Get(monitorStart, "fn_vrt_MonitorStart") &
           Get(monitorStop, "fn_vrt_MonitorStop") & Get(monitorClear, "fn_vrt_MonitorClear") &
           Get(lib2, "fn_DLL_GetVersionOfLib2");
  }
  void Unload() {
    if (h) FreeLibrary(h);
    h = nullptr;
  }

 private:
  template <class F>
  bool Get(F &f, const char *name) {
    f = reinterpret_cast<F>(reinterpret_cast<void *>(GetProcAddress(h, name)));
    if (!f) std::fprintf(stderr, "the library lacks %s (error %lu)\n", name, GetLastError());
    return f != nullptr;
  }
};

// The number after option name ("--count 500", decimal or 0x hex), or dflt.
inline uint32_t ArgNumber(int argc, char **argv, const char *name, uint32_t dflt) {
  for (int i = 1; i + 1 < argc; ++i)
    if (std::strcmp(argv[i], name) == 0) return uint32_t(std::strtoul(argv[i + 1], nullptr, 0));
  return dflt;
}

// The text after option name ("--dll PATH"), or dflt.
inline const char *ArgText(int argc, char **argv, const char *name, const char *dflt) {
  for (int i = 1; i + 1 < argc; ++i)
    if (std::strcmp(argv[i], name) == 0) return argv[i + 1];
  return dflt;
}

#endif
