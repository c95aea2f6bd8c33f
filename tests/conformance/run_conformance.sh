#!/usr/bin/env bash
# The conformance suite: the Erlang judge against Kestrel3, both directions.
#   run_conformance.sh K3_CONFORM WORKDIR [COUNT] [SEED]
# COUNT random values per argument and result type (events get COUNT/5, at
# least 2 each); SEED picks them.  The published modules are read from
# ../shared/ecma-285 beside the checkout (K3_ECMA285 overrides), adapted and
# compiled once into WORKDIR.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
conform=$1 work=$2 count=${3:-10} seed=${4:-1}
modules=${K3_ECMA285:-$here/../../../shared/ecma-285}
judge="escript $here/judge.escript"
[ -d "$modules" ] || { echo "conformance: no modules at $modules" >&2; exit 1; }
mkdir -p "$work"

# Compile the judge's modules when the modules or the adaptations changed.
stamp=$(cat "$modules"/*.asn1 "$here"/adapt_modules.py "$here"/asn1/*.asn1 | sha1sum | cut -c1-16)
if [ "$(cat "$work/ebin/stamp" 2>/dev/null)" != "$stamp" ]; then
  rm -rf "$work/src" "$work/ebin"
  python3 "$here/adapt_modules.py" "$modules" "$work/src"
  $judge compile "$work/src" "$work/ebin" >"$work/compile.log" 2>&1 || { cat "$work/compile.log"; exit 1; }
  echo "$stamp" >"$work/ebin/stamp"
fi

status=0
# Direction 1: the judge encodes random values; Kestrel3 decodes each whole
# message, prints it and re-encodes it.
$judge gen "$work/ebin" "$count" "$seed" >"$work/judge.txt"
"$conform" decode <"$work/judge.txt" >"$work/kestrel3.txt"
$judge check1 "$work/ebin" "$work/judge.txt" "$work/kestrel3.txt" || status=1
# Direction 2: Kestrel3 encodes filled values; the judge decodes and re-encodes.
"$conform" fill "$count" "$seed" >"$work/filled.txt"
$judge check2 "$work/ebin" "$work/filled.txt" || status=1
exit $status
