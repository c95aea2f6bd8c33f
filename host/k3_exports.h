// The library's exports that a host program calls, as one table: filled from
// the DLL by GetProcAddress (k3_dll.h), or by a native test with stand-ins.
#ifndef K3_HOST_K3_EXPORTS_H
#define K3_HOST_K3_EXPORTS_H

#include "kestrel3.h"

namespace k3host {

struct LibraryExports {
  PFN_fn_vrt_lineOpenAndSelectExtVersion lineOpen = nullptr;
  PFN_fn_vrt_lineDevSpecific devSpecific = nullptr;
  PFN_fn_vrt_CSTAfromVorta fromVorta = nullptr;
  PFN_fn_vrt_MonitorStart monitorStart = nullptr;
  PFN_fn_vrt_MonitorStop monitorStop = nullptr;
  PFN_fn_vrt_MonitorClear monitorClear = nullptr;
};

}  // namespace k3host

#endif
