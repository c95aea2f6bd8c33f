#!/usr/bin/env bash
# Kestrel3: set up, build, test and run on a Debian machine.
#   ./kestrel3.sh demo [--ber] [--with-timeout]   build the Windows preset and run the default scenarios under Wine
#   ./kestrel3.sh test [PRESET]   build everything and run every test (native, sanitizers, Wine);
#                                 with a preset (native, native-asan, windows, windows-release)
#                                 build that one and run its tests only
#   ./kestrel3.sh build           build everything (build/native, build/native-asan, build/windows)
#   ./kestrel3.sh fuzz [SECONDS] [TARGET]   build the libFuzzer targets and run each (default 60 s)
#   ./kestrel3.sh bench           build and run the native benchmarks
#   ./kestrel3.sh package         build the Windows release and write dist/Kestrel3-<version>-win64.zip
#   ./kestrel3.sh mutants [--only REGEX]   run the source mutants of tools/mutants against the
#                                 native tests (by hand, after changing asn/, csta3/, link/ or bridge/)
#   ./kestrel3.sh conformance [COUNT] [SEED]   Kestrel3 against the Erlang ASN.1 judge, both
#                                 directions, COUNT random values per type (default 10)
set -euo pipefail
cd "$(dirname "$0")"
ROOT=$(pwd)
JOBS=${JOBS:-$(nproc)}

PACKAGES=(cmake ninja-build g++ clang libclang-rt-14-dev googletest libbenchmark-dev python3
          g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64 wine64 erlang-base erlang-asn1)
# The release package: llvm-dlltool writes Kestrel3.lib; lld-link checks it.
PACKAGES+=(llvm-14 lld-14)

log() { printf '== %s\n' "$*"; }

setup() {
  local missing=()
  for p in "${PACKAGES[@]}"; do
    dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed' || missing+=("$p")
  done
  if [ ${#missing[@]} -gt 0 ]; then
    log "installing: ${missing[*]}"
    local sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
    $sudo apt-get update -q
    DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
  fi
  # Wine keeps its own Windows tree for this checkout, quiet unless a test asks for a channel.
  export WINEPREFIX="$ROOT/build/wineprefix"
  export WINEDEBUG="${WINEDEBUG:--all}"
  export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
  mkdir -p "$ROOT/build"
  if [ ! -f "$WINEPREFIX/system.reg" ]; then
    log "preparing the Wine prefix"
    /usr/lib/wine/wine64 wineboot -i >/dev/null 2>&1 || true
    /usr/lib/wine/wineserver -w || true
  fi
}

configure_build() {
  local preset=$1; shift
  log "configure + build: $preset"
  cmake --preset "$preset" >/dev/null
  cmake --build --preset "$preset" -j "$JOBS" "$@"
}

build_all() {
  configure_build native
  configure_build native-asan
  configure_build windows
}

# The release build and its package, then the package used as a host author would.
package() {
  configure_build windows-release --target k3-package
}
check_package() {
  log "tests: package"
  python3 tests/package/check_package.py dist/Kestrel3-*-win64.zip
}

# The test presets of CMakePresets.json hold the settings (output, time-out, Wine).
run_tests() {
  local preset=$1
  log "tests: $preset"
  ctest --preset "$preset" -j "$JOBS"
}

cmd=${1:-test}
case "$cmd" in
  build)
    setup; build_all ;;
  test)
    if [ -n "${2:-}" ]; then
      case "$2" in
        native|native-asan|windows|windows-release) ;;
        *) echo "usage: $0 test [native|native-asan|windows|windows-release]" >&2; exit 2 ;;
      esac
      setup; configure_build "$2"; run_tests "$2"
      log "tests passed: $2"
      exit 0
    fi
    setup; build_all
    run_tests native
    run_tests native-asan
    run_tests windows
    package; check_package
    log "all tests passed" ;;
  demo)
    setup; configure_build windows
    log "demo"
    # The scenario runner plays TSP and PBX around the DLL; options such as
    # --ber or --with-timeout pass through (the time-out file runs only with it).
    /usr/lib/wine/wine64 build/windows/k3-scenario.exe "${@:2}" scenarios/default.scn scenarios/timeout.scn ;;
  fuzz)
    setup; configure_build fuzz
    secs=${2:-60}; only=${3:-}
    for f in build/fuzz/fuzz-*; do
      [ -x "$f" ] || continue
      name=$(basename "$f")
      [ -z "$only" ] || [ "$name" = "$only" ] || continue
      corpus="build/fuzz/corpus/$name"; mkdir -p "$corpus"
      seeds="fuzz/seeds/$name"; [ -d "$seeds" ] || seeds=""
      log "fuzz: $name for $secs s"
      "$f" -max_total_time="$secs" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 "$corpus" $seeds
    done ;;
  package)
    setup; package ;;
  bench)
    setup; configure_build native
    for b in build/native/bench-*; do [ -x "$b" ] && "$b"; done ;;
  mutants)
    setup; tools/mutants/run "${@:2}" ;;
  conformance)
    setup; configure_build native --target k3-conform
    tests/conformance/run_conformance.sh build/native/k3-conform build/native/conformance "${2:-10}" "${3:-1}" ;;
  *)
    echo "usage: $0 {demo|test [PRESET]|build|fuzz [SECONDS] [TARGET]|bench|package|mutants [--only REGEX]|conformance [COUNT] [SEED]}" >&2; exit 2 ;;
esac
