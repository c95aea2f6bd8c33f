#!/usr/bin/env python3
"""Checks the shipped DLL's image: exactly the twelve exports under their plain
names, imports from Windows system DLLs only, and a resource section."""
import subprocess
import sys

EXPORTS = {
    "fn_vrt_lineOpenAndSelectExtVersion", "fn_vrt_lineDevSpecific", "fn_vrt_lineDevSpecificFeature",
    "fn_vrt_CSTAfromVorta", "fn_vrt_MonitorStart", "fn_vrt_MonitorStop", "fn_vrt_MonitorClear",
    "fn_vrt_phoneOpenAndSelectExtVersion", "fn_vrt_phoneDevSpecific", "fn_DLL_GetVersionOfDll",
    "fn_DLL_GetVersionOfLib2", "fn_DLL_GetVersionOfLib3",
}
SYSTEM_DLLS = {"kernel32.dll", "user32.dll", "advapi32.dll", "version.dll", "msvcrt.dll", "ntdll.dll"}


def read_image(objdump, dll):
    """(exports, imported DLL names in lower case, objdump -p -h lines) of a PE image."""
    text = subprocess.run([objdump, "-p", "-h", dll], capture_output=True, text=True, check=True).stdout
    lines = text.splitlines()
    imports = {l.split("DLL Name:")[1].strip().lower() for l in lines if "DLL Name:" in l}
    start = next((i for i, l in enumerate(lines) if "[Ordinal/Name Pointer] Table" in l), len(lines))
    exports = set()
    for l in lines[start + 1:]:
        l = l.strip()
        if not l.startswith("["):
            break
        exports.add(l.split("]", 1)[1].strip())
    return exports, imports, lines


def main():
    objdump, dll = sys.argv[1], sys.argv[2]
    exports, imports, lines = read_image(objdump, dll)
    ok = True
    if exports != EXPORTS:
        print("exports differ: extra", sorted(exports - EXPORTS), "missing", sorted(EXPORTS - exports))
        ok = False
    if not imports or not imports <= SYSTEM_DLLS:
        print("imports beyond the system DLLs:", sorted(imports - SYSTEM_DLLS))
        ok = False
    if not any(l.split()[1:2] == [".rsrc"] for l in lines if l.strip()[:1].isdigit()):
        print("no .rsrc section")
        ok = False
    print("exports:", len(exports), "imports:", sorted(imports))
    return 0 if ok else 1


if __name__ == "__main__":
    sys.exit(main())
