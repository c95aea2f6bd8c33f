#!/usr/bin/env python3
"""Runs k3-boundary-child under Wine with its event-log channels shown and checks
that the library's texts reached the event log, in order, each as an error
event (type 1, id 0xC0000103) of its category. Wine prints every event's type,
category and id on its advapi fixme line, then each error text on its
eventlog err line. (The texts of every export are checked by test-boundary.)"""
import os
import re
import subprocess
import sys

THREAD = 1  # thread and message posting faults
EXPECTED = {
    "busy-unload": [("Error closing thread: WAIT_TIMEOUT.", THREAD)],
    "dead-worker": [
        ("ThreadMessage: PostThreadMessage failed. Msg: 0x00000401, GetLastError: 0x000005a4", THREAD),
        ("fn_vrt_lineOpenAndSelectExtVersion: Error sending ThreadMessage", THREAD),
        ("ThreadMessage: PostThreadMessage failed. Msg: 0x00000402, GetLastError: 0x000005a4", THREAD),
        ("fn_vrt_lineDevSpecific: Error sending ThreadMessage", THREAD),
    ],
}
ERROR_TYPE, ERROR_ID = 1, 0xC0000103
HEADER = re.compile(r'ReportEventW \(([^,]*),0x([0-9a-f]+),0x([0-9a-f]+),0x([0-9a-f]+),')


def events_of(stderr):
    """(text, type, category, id) of every error event, in order."""
    events, last = [], None
    for line in stderr.splitlines():
        m = HEADER.search(line)
        if m:
            last = tuple(int(g, 16) for g in m.groups()[1:])
        elif 'ReportEventW L"' in line:
            text = line.split('ReportEventW L"', 1)[1].rsplit('"', 1)[0]
            events.append((text,) + (last or (None, None, None)))
            last = None
    return events


def main():
    emulator, child = sys.argv[1], sys.argv[2]
    env = dict(os.environ, WINEDEBUG="-all,err+eventlog,fixme+advapi")
    failed = False
    for scenario, expected in EXPECTED.items():
        run = subprocess.run([emulator, child, scenario], env=env, capture_output=True, text=True,
                             errors="replace", timeout=120)
        events = events_of(run.stderr)
        print(f"== {scenario}: exit {run.returncode}\n{run.stdout}events: {events}")
        at = 0
        for text, category in expected:
            want = (text, ERROR_TYPE, category, ERROR_ID)
            try:
                at = events.index(want, at) + 1
            except ValueError:
                print(f"missing (in order): {want!r}")
                failed = True
        if run.returncode != 0:
            failed = True
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main())
