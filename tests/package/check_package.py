#!/usr/bin/env python3
"""The release package as a host author receives it: unpacked into an empty
folder, checked against its SHA256SUMS, its DLL inspected (exports, imports,
size, version resource, stripped image linked to its debug file),
and used with nothing but its own files: k3_demo.c built against its header and
MinGW import library and run under Wine, a C program linked in Microsoft's
linker's mode against Kestrel3.lib, a C++ program against the model's headers
and static libraries, and csta3-decode.exe on a message.

usage: check_package.py ZIP   (tools are found on PATH; WINE may name the emulator)"""
import hashlib
import os
import re
import shutil
import struct
import subprocess
import sys
import tempfile
import zipfile
import zlib

# The shipped DLL's expected exports and imports, and how they are read.
sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "boundary"))
from check_image import EXPORTS, SYSTEM_DLLS, read_image  # noqa: E402

WINE = os.environ.get("WINE", "/usr/lib/wine/wine64")
# llvm-14 and lld-14 keep their programs here; the unversioned names are optional packages.
os.environ["PATH"] = "/usr/lib/llvm-14/bin" + os.pathsep + os.environ.get("PATH", "")
MINGW = "x86_64-w64-mingw32"
FILES = [
    "bin/Kestrel3.dll", "bin/Kestrel3.dll.debug", "bin/csta3-decode.exe", "bin/k3-scenario.exe",
    "lib/libKestrel3.dll.a", "lib/Kestrel3.lib", "lib/Kestrel3.def", "lib/libk3asn.a", "lib/libk3csta3.a",
    "include/kestrel3.h", "include/kestrel3_structures.h", "include/csta3_model.h", "include/asn/asn.h",
    "include/csta3/private/private_data.h", "scenarios/default.scn", "host/k3_demo.c",
    "HOST.md", "README.md", "licenses/NOTICE.txt", "licenses/gcc-runtime-copyright.txt",
    "licenses/mingw-w64-copyright.txt", "licenses/GPL-3.txt", "SHA256SUMS",
]

# The same in Microsoft's linker's mode, without a C runtime: clang for the MSVC
# target, lld-link against Kestrel3.lib. Exit code 0 only for the right answer.
MSVC_C = r"""
#include "kestrel3.h"
__declspec(dllimport) void __stdcall ExitProcess(unsigned code);
void __cdecl start(void) {
  static const char want[] = "1, 1, 0, 13";
  char text[16];
  char *end = fn_DLL_GetVersionOfLib3(text);
  unsigned bad = end - text != 12;
  for (int i = 0; i < 12; ++i) bad |= text[i] != want[i];
  ExitProcess(bad | (fn_vrt_lineDevSpecificFeature() != 0) << 1);
}
"""

# A host that shares the codec: decodes a message with the package's model,
# encodes it again and compares.
MODEL_CPP = r"""
#include <cstdio>
#include <sstream>
#include <vector>
#include "csta3_model.h"
int main() {
  using namespace CSTA3V6;
  const std::vector<unsigned char> in = {0xA1, 0x0D, 0x02, 0x01, 0x02, 0x02, 0x01, 0x33,
                                         0x30, 0x05, 0x04, 0x03, 0x41, 0x42, 0x43};
  CSTAMsg msg;
  std::ostringstream err;
  if (DecodeFrom(in.data(), in.size(), msg, err) != 0) { std::printf("decode failed: %s\n", err.str().c_str()); return 1; }
  bool same = EncodeToVector(msg) == in && msg.choiceId == CSTAMsg::rOSECid &&
              msg.rOSE->choiceId == ROSEapdus::roiv_apduCid && int32_t(msg.rOSE->roiv_apdu->operation_value) == 51;
  std::printf("model round trip %s\n", same ? "ok" : "differs");
  return same ? 0 : 1;
}
"""

failures = []


def check(cond, what):
    if not cond:
        failures.append(what)
        print("FAIL:", what)
    return cond


def run(cmd, cwd=None, stdin=None):
    p = subprocess.run(cmd, cwd=cwd, input=stdin, capture_output=True, text=True, errors="replace")
    return p.returncode, p.stdout + p.stderr


def fixed_file_version(image):
    """dwFileVersionMS/LS of the VS_FIXEDFILEINFO in the image, as a dotted text."""
    i = image.find(struct.pack("<I", 0xFEEF04BD))
    if i < 0:
        return None
    ms, ls = struct.unpack_from("<II", image, i + 8)
    return "%d.%d.%d.%d" % (ms >> 16, ms & 0xFFFF, ls >> 16, ls & 0xFFFF)


def debuglink(objdump, dll):
    """(file name, CRC) from the .gnu_debuglink section, or None."""
    rc, out = run([objdump, "-s", "-j", ".gnu_debuglink", dll])
    if rc != 0:
        return None
    data = b""
    for line in out.splitlines():
        m = re.match(r"^ [0-9a-f]+ ((?:[0-9a-f]{2,8} ){1,4})", line)
        if m:
            data += bytes.fromhex(m.group(1).replace(" ", ""))
    name = data.split(b"\0", 1)[0]
    off = (len(name) + 1 + 3) & ~3
    return name.decode(), struct.unpack_from("<I", data, off)[0]


def check_contents(pkg, work, version):
    lib = os.path.join(pkg, "lib")
    # Contents and checksums.
    for f in FILES:
        check(os.path.isfile(os.path.join(pkg, f)), "missing " + f)
    listed = {}
    with open(os.path.join(pkg, "SHA256SUMS")) as f:
        for line in f:
            digest, rel = line.rstrip("\n").split("  ", 1)
            listed[rel] = digest
    present = {os.path.relpath(os.path.join(d, f), pkg).replace(os.sep, "/")
               for d, _, fs in os.walk(pkg) for f in fs} - {"SHA256SUMS"}
    check(set(listed) == present, "SHA256SUMS lists %s, tree has %s" % (sorted(set(listed) ^ present), ""))
    for rel, digest in listed.items():
        with open(os.path.join(pkg, rel), "rb") as f:
            check(hashlib.sha256(f.read()).hexdigest() == digest, "checksum of " + rel)
    check(not any(n.startswith(("libgtest", "gtest")) for n in os.listdir(lib)), "GoogleTest is shipped")


def check_image(pkg, work, version):
    bin_ = os.path.join(pkg, "bin")
    # The DLL's image.
    dll = os.path.join(bin_, "Kestrel3.dll")
    image = open(dll, "rb").read()
    check(len(image) < 5 * 1024 * 1024, "Kestrel3.dll is %d bytes" % len(image))
    objdump = MINGW + "-objdump"
    exports, imports, lines = read_image(objdump, dll)
    check(exports == EXPORTS, "exports: extra %s, missing %s" % (sorted(exports - EXPORTS), sorted(EXPORTS - exports)))
    check(imports and imports <= SYSTEM_DLLS, "imports beyond the system DLLs: %s" % sorted(imports - SYSTEM_DLLS))
    sections = {l.split()[1] for l in lines if re.match(r"^\s+\d+ \.", l)}
    check(".rsrc" in sections and not any(s.startswith(".debug") for s in sections),
          "sections: %s" % sorted(sections))
    check(fixed_file_version(image) == version, "file version %s, package says %s" % (fixed_file_version(image), version))
    link = debuglink(objdump, dll)
    debug = os.path.join(bin_, "Kestrel3.dll.debug")
    crc = zlib.crc32(open(debug, "rb").read()) & 0xFFFFFFFF
    check(link == ("Kestrel3.dll.debug", crc), "debug link %s, debug file CRC %08x" % (link, crc))
    rc, out = run([objdump, "-h", debug])
    check(".debug_info" in out, "the debug file holds no .debug_info")


def check_c_hosts(pkg, work, version):
    bin_, lib, inc = (os.path.join(pkg, d) for d in ("bin", "lib", "include"))
    # k3_demo.c, as C, against the header and the MinGW import library.
    gcc = MINGW + "-gcc"
    rc, out = run([gcc, "-std=c11", "-Wall", "-Werror", "-O2", "-I", inc, os.path.join(pkg, "host", "k3_demo.c"),
                   "-L", lib, "-lKestrel3", "-o", os.path.join(bin_, "k3_demo.exe")])
    check(rc == 0, "building k3_demo.exe: " + out)
    # The minimal host printed in HOST.md, as it stands there.
    guide = open(os.path.join(pkg, "HOST.md")).read()
    example = re.search(r"## 12\..*?```c\n(.*?)```", guide, re.S)
    if check(example, "HOST.md has no C example in section 12"):
        with open(os.path.join(work, "guide.c"), "w") as f:
            f.write(example.group(1))
        rc, out = run([gcc, "-std=c11", "-Wall", "-Werror", "-Wno-unused-variable", "-I", inc,
                       os.path.join(work, "guide.c"), "-L", lib, "-lKestrel3", "-o", os.path.join(bin_, "guide.exe")])
        if check(rc == 0, "building the HOST.md example: " + out):
            rc, out = run([WINE, "guide.exe"], cwd=bin_)
            check(rc == 0, "the HOST.md example exited with %d %s" % (rc, out))
    rc, out = run([WINE, "k3_demo.exe"], cwd=bin_)
    check(rc == 0 and '"1, 1, 0, 13" (12 bytes written)' in out and "unloaded" in out, "k3_demo: %d %s" % (rc, out))


def check_msvc_host(pkg, work, version):
    bin_, lib, inc = (os.path.join(pkg, d) for d in ("bin", "lib", "include"))
    # Microsoft's linker's mode: the twelve exports in Kestrel3.lib, and a
    # program linked by lld-link that runs.
    rc, out = run(["llvm-nm", os.path.join(lib, "Kestrel3.lib")])
    imp = {l.split()[-1][len("__imp_"):] for l in out.splitlines() if "__imp_" in l}
    check(imp == EXPORTS, "Kestrel3.lib import symbols: %s" % sorted(imp ^ EXPORTS))
    with open(os.path.join(work, "msvc.c"), "w") as f:
        f.write(MSVC_C)
    with open(os.path.join(work, "kernel32.def"), "w") as f:
        f.write("LIBRARY kernel32.dll\nEXPORTS\n  ExitProcess\n")
    steps = [
        ["llvm-dlltool", "-m", "i386:x86-64", "-d", os.path.join(work, "kernel32.def"), "-l",
         os.path.join(work, "kernel32.lib")],
        ["clang", "--target=x86_64-pc-windows-msvc", "-ffreestanding", "-fno-stack-protector", "-O2", "-I", inc,
         "-c", os.path.join(work, "msvc.c"), "-o", os.path.join(work, "msvc.obj")],
        ["lld-link", "/nologo", "/entry:start", "/subsystem:console", "/nodefaultlib",
         "/out:" + os.path.join(bin_, "msvc.exe"), os.path.join(work, "msvc.obj"),
         os.path.join(lib, "Kestrel3.lib"), os.path.join(work, "kernel32.lib")],
    ]
    for step in steps:
        rc, out = run(step)
        if not check(rc == 0, "%s: %s" % (step[0], out)):
            break
    else:
        rc, out = run([WINE, "msvc.exe"], cwd=bin_)
        check(rc == 0, "the lld-link program exited with %d %s" % (rc, out))


def check_model_host(pkg, work, version):
    bin_, lib, inc = (os.path.join(pkg, d) for d in ("bin", "lib", "include"))
    # A C++ host that shares the codec, with the compiler and flags HOST.md names.
    with open(os.path.join(work, "model.cpp"), "w") as f:
        f.write(MODEL_CPP)
    rc, out = run([MINGW + "-g++-posix", "-std=c++17", "-O2", "-I", inc, os.path.join(work, "model.cpp"),
                   os.path.join(lib, "libk3csta3.a"), os.path.join(lib, "libk3asn.a"),
                   "-static-libgcc", "-static-libstdc++", "-static", "-o", os.path.join(bin_, "model.exe")])
    if check(rc == 0, "building the model host: " + out[-2000:]):
        rc, out = run([WINE, "model.exe"], cwd=bin_)
        check(rc == 0 and "model round trip ok" in out, "model host: %d %s" % (rc, out))


def check_decoder(pkg, work, version):
    bin_ = os.path.join(pkg, "bin")
    # csta3-decode.exe on one message.
    rc, out = run([WINE, "csta3-decode.exe", "--hex"], cwd=bin_, stdin="A1 0D 02 01 02 02 01 33 30 05 04 03 41 42 43\n")
    check(rc == 0 and "rOSE.roiv-apdu" in out and 'privateData.string = "ABC"' in out, "csta3-decode --hex: %d %s" % (rc, out))


def main():
    archive = os.path.abspath(sys.argv[1])
    base = os.path.basename(archive)
    m = re.fullmatch(r"Kestrel3-(\d+\.\d+\.\d+\.\d+)-win64\.zip", base)
    if not check(m, "package name %s" % base):
        return 1
    version = m.group(1)
    work = tempfile.mkdtemp(prefix="k3-package-")
    try:
        with zipfile.ZipFile(archive) as z:
            tops = {n.split("/", 1)[0] for n in z.namelist()}
            check(tops == {base[:-4]}, "one top folder named after the package: %s" % sorted(tops))
            z.extractall(work)
        pkg = os.path.join(work, base[:-4])
        for check_part in (check_contents, check_image, check_c_hosts, check_msvc_host, check_model_host,
                           check_decoder):
            check_part(pkg, work, version)
    finally:
        shutil.rmtree(work, ignore_errors=True)
    print("package %s: %d checks failed" % (base, len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
