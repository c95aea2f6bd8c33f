#!/usr/bin/env python3
"""Runs k3-boundary-child under Wine with error events shown and checks that the
library's texts reached the event log, in order."""
import os
import subprocess
import sys

EXPECTED = {
    "busy-unload": ["Error closing thread: WAIT_TIMEOUT."],
    "dead-worker": [
        "ThreadMessage: PostThreadMessage failed. Msg: 0x00000401, GetLastError: 0x000005a4",
        "fn_vrt_lineOpenAndSelectExtVersion: Error sending ThreadMessage",
        "ThreadMessage: PostThreadMessage failed. Msg: 0x00000402, GetLastError: 0x000005a4",
        "fn_vrt_lineDevSpecific: Error sending ThreadMessage",
        "ThreadMessage: PostThreadMessage failed. Msg: 0x00000406, GetLastError: 0x000005a4",
        "fn_vrt_MonitorClear: Error sending ThreadMessage",
    ],
}


def main():
    emulator, child = sys.argv[1], sys.argv[2]
    env = dict(os.environ, WINEDEBUG="-all,err+eventlog")
    failed = False
    for scenario, texts in EXPECTED.items():
        run = subprocess.run([emulator, child, scenario], env=env, capture_output=True, text=True,
                             errors="replace", timeout=120)
        events = [line.split('ReportEventW L"', 1)[1].rsplit('"', 1)[0]
                  for line in run.stderr.splitlines() if 'ReportEventW L"' in line]
        print(f"== {scenario}: exit {run.returncode}\n{run.stdout}events: {events}")
        at = 0
        for text in texts:
            try:
                at = events.index(text, at) + 1
            except ValueError:
                print(f"missing (in order): {text!r}")
                failed = True
        if run.returncode != 0:
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
