#!/usr/bin/env python3
"""Writes the release package: dist/Kestrel3-<version>-win64/ and the same tree as
dist/Kestrel3-<version>-win64.zip, with SHA256SUMS over every file.

The DLL is stripped; its debug information goes to bin/Kestrel3.dll.debug, which
the DLL names in its .gnu_debuglink section so that a debugger finds it."""
import argparse
import glob
import hashlib
import os
import shutil
import subprocess
import sys
import zipfile

# The notices of what the DLL and the programs link statically (MinGW-w64's GCC
# runtime: libstdc++, libgcc; its CRT and winpthreads), as the distribution ships them.
NOTICES = [
    ("/usr/share/doc/gcc-mingw-w64-base/copyright", "gcc-runtime-copyright.txt"),
    ("/usr/share/doc/mingw-w64-x86-64-dev/copyright", "mingw-w64-copyright.txt"),
    ("/usr/share/common-licenses/GPL-3", "GPL-3.txt"),
]

NOTICE_TEXT = """Kestrel3 release package: notices of bundled third-party code

Kestrel3.dll, csta3-decode.exe and k3-scenario.exe are linked statically with the
runtime of the MinGW-w64 GCC cross compiler that built them:

- libstdc++ and libgcc (GCC): GNU General Public License version 3 with the GCC
  Runtime Library Exception version 3.1, which allows distributing the compiled
  programs under terms of one's choice. The exception's text and the copyright
  statements are in gcc-runtime-copyright.txt (Debian package gcc-mingw-w64-base);
  the GPL's text is in GPL-3.txt.
- The MinGW-w64 C runtime start-up code and winpthreads (the POSIX thread layer
  under the C++ threads): MIT/expat-style and BSD licences (winpthreads' pthread.h:
  BSD-3-clause of Lockless Inc.), all in mingw-w64-copyright.txt (Debian package
  mingw-w64-x86-64-dev), section "mingw-w64-libraries/winpthreads".

No other third-party code is in the package; the test framework used to build
Kestrel3 is not shipped.
"""


def run(*cmd):
    subprocess.run(cmd, check=True)


def copy(src, dst):
    os.makedirs(os.path.dirname(dst), exist_ok=True)
    shutil.copy2(src, dst)


def main():
    ap = argparse.ArgumentParser()
    for name in ("source", "out", "version", "objcopy", "strip", "llvm-dlltool", "dll", "implib", "model-headers"):
        ap.add_argument("--" + name, required=True)
    ap.add_argument("--exe", action="append", default=[])
    ap.add_argument("--lib", action="append", default=[])
    a = ap.parse_args()

    name = "Kestrel3-%s-win64" % a.version
    tree = os.path.join(a.out, name)
    # One package in dist/ at a time, whatever version was written before.
    for old in glob.glob(os.path.join(a.out, "Kestrel3-*-win64*")):
        shutil.rmtree(old) if os.path.isdir(old) else os.remove(old)
    bin_, lib, inc = (os.path.join(tree, d) for d in ("bin", "lib", "include"))

    # The DLL: debug information apart, the image stripped and linked to it.
    dll = os.path.join(bin_, "Kestrel3.dll")
    debug = dll + ".debug"
    copy(a.dll, dll)
    run(a.objcopy, "--only-keep-debug", dll, debug)
    run(a.strip, "--strip-all", dll)
    run(a.objcopy, "--add-gnu-debuglink=" + debug, dll)
    for exe in a.exe:
        dst = os.path.join(bin_, os.path.basename(exe))
        copy(exe, dst)
        run(a.strip, "--strip-all", dst)

    # Import libraries: MinGW's from the link, Microsoft's linker's from the .def.
    deffile = os.path.join(a.source, "boundary", "Kestrel3.def")
    copy(a.implib, os.path.join(lib, "libKestrel3.dll.a"))
    copy(deffile, os.path.join(lib, "Kestrel3.def"))
    run(a.llvm_dlltool, "-m", "i386:x86-64", "-d", deffile, "-D", "Kestrel3.dll", "-l", os.path.join(lib, "Kestrel3.lib"))
    # The message model for hosts that share the codec, without debug sections.
    for archive in a.lib:
        dst = os.path.join(lib, os.path.basename(archive))
        copy(archive, dst)
        run(a.strip, "--strip-debug", dst)

    # Headers: the C interface, and the model's headers in the folders they include each other from.
    for h in ("kestrel3.h", "kestrel3_structures.h"):
        copy(os.path.join(a.source, "include", h), os.path.join(inc, h))
    for h in sorted(glob.glob(os.path.join(a.source, "asn", "*.h"))):
        copy(h, os.path.join(inc, "asn", os.path.basename(h)))
    for h in sorted(glob.glob(os.path.join(a.source, "csta3", "private", "*.h"))):
        copy(h, os.path.join(inc, "csta3", "private", os.path.basename(h)))
    for h in sorted(glob.glob(os.path.join(a.model_headers, "*.h"))):
        copy(h, os.path.join(inc, os.path.basename(h)))

    # Scenarios, the demo host, the guides and the notices.
    for f in sorted(glob.glob(os.path.join(a.source, "scenarios", "*"))):
        copy(f, os.path.join(tree, "scenarios", os.path.basename(f)))
    copy(os.path.join(a.source, "host", "k3_demo.c"), os.path.join(tree, "host", "k3_demo.c"))
    for doc in ("HOST.md", "README.md"):
        copy(os.path.join(a.source, doc), os.path.join(tree, doc))
    for src, dst in NOTICES:
        copy(src, os.path.join(tree, "licenses", dst))
    with open(os.path.join(tree, "licenses", "NOTICE.txt"), "w") as f:
        f.write(NOTICE_TEXT)

    # Checksums of every file, in the form sha256sum -c reads.
    files = sorted(os.path.relpath(os.path.join(d, f), tree).replace(os.sep, "/")
                   for d, _, fs in os.walk(tree) for f in fs)
    with open(os.path.join(tree, "SHA256SUMS"), "w") as out:
        for rel in files:
            with open(os.path.join(tree, rel), "rb") as f:
                out.write("%s  %s\n" % (hashlib.sha256(f.read()).hexdigest(), rel))
    files.append("SHA256SUMS")

    archive = os.path.join(a.out, name + ".zip")
    with zipfile.ZipFile(archive, "w", zipfile.ZIP_DEFLATED) as z:
        for rel in files:
            z.write(os.path.join(tree, rel), name + "/" + rel)
    print("package:", archive, "(%d files, %d bytes)" % (len(files), os.path.getsize(archive)))
    return 0


if __name__ == "__main__":
    sys.exit(main())
