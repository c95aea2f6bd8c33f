#!/usr/bin/env python3
"""csta3-decode over streams made from the scenario runner's messages: offsets,
lengths, kinds, invoke ids and operations are worked out here from the octets
themselves (tag, length, first INTEGERs), not taken from the decoder; then the
stream is damaged in known places and the decoder must report exactly those and
still find every other message."""
import os
import random
import re
import subprocess
import sys
import tempfile

KINDS = {0xA1: "roiv-apdu", 0xA2: "rors-apdu", 0xA3: "roer-apdu", 0xA4: "rorj-apdu"}
# Operation values of the scenario's traffic and their ECMA-285 value names.
OPERATIONS = {21: "cSTAEventReport", 51: "escape", 110: "startDataPath", 111: "stopDataPath", 112: "sendData",
              202: "getPhysicalDeviceInformation", 304: "getAgentState", 312: "setAgentState",
              361: "cDRReport", 363: "startCDRTransmission", 364: "stopCDRTransmission"}

failures = []


def check(cond, what):
    if not cond:
        failures.append(what)
    return cond


def tlv(b, i):
    """(tag, content start, content end) of the definite-length TLV at i."""
    tag, first = b[i], b[i + 1]
    if first < 0x80:
        return tag, i + 2, i + 2 + first
    n = first & 0x7F
    length = int.from_bytes(b[i + 2:i + 2 + n], "big")
    return tag, i + 2 + n, i + 2 + n + length


def integer(b, i):
    tag, s, e = tlv(b, i)
    assert tag == 0x02
    return int.from_bytes(b[s:e], "big", signed=True), e


def expected_line(m):
    """The summary line's text after offset and length, from the octets."""
    kind = KINDS[m[0]]
    _, s, _ = tlv(m, 0)
    if m[0] == 0xA4:
        if m[s] == 0x05:
            invoke, pos = "NULL", s + 2
        else:
            v, pos = integer(m, s)
            invoke = str(v)
        problem = ["general", "invoke", "returnResult", "returnError"][m[pos] - 0x80]
        code = int.from_bytes(m[pos + 2:pos + 2 + m[pos + 1]], "big", signed=True)
        return "%s invokeID=%s reject %s %d" % (kind, invoke, problem, code), "reject %s %d" % (problem, code)
    invoke, pos = integer(m, s)
    if m[0] == 0xA1:
        if m[pos] == 0x80:  # linked-ID
            pos = tlv(m, pos)[2]
        op, _ = integer(m, pos)
        what = OPERATIONS[op]
    elif m[0] == 0xA2:
        _, seq_end = tlv(m, 0)[1:]
        if pos == seq_end:
            what = "no result"
        else:
            op, _ = integer(m, tlv(m, pos)[1])
            what = OPERATIONS[op] + " result"
    else:
        err, _ = integer(m, pos)
        what = "error %d" % err
    return "%s invokeID=%d %s" % (kind, invoke, what), what


def decode(exe, args, data=None, stdin=None):
    with tempfile.NamedTemporaryFile(delete=False) as f:
        f.write(data or b"")
        path = f.name
    try:
        argv = [exe] + [path if a == "FILE" else a for a in args]
        p = subprocess.run(argv, input=stdin, capture_output=True)
        return p.returncode, p.stdout.decode("latin-1"), p.stderr.decode("latin-1")
    finally:
        os.unlink(path)


def summary_lines(out):
    return [l for l in out.splitlines() if l.startswith("@")]


def read_capture(path):
    msgs = []
    with open(path) as f:
        for line in f:
            if line.startswith("#") or not line.strip():
                continue
            n, *octets = line.split()
            m = bytes(int(x, 16) for x in octets)
            assert len(m) == int(n)
            msgs.append(m)
    return msgs


def check_clean_stream(exe, msgs, stream, offsets):
    # 1. The whole stream: one line per message at its own offset, in order, and
    #    the counts by kind and operation.
    rc, out, err = decode(exe, ["--stream", "--summary", "FILE"], stream)
    check(rc == 0, "clean stream: exit %d, %s" % (rc, err))
    lines = summary_lines(out)
    check(len(lines) == len(msgs), "clean stream: %d lines for %d messages" % (len(lines), len(msgs)))
    counts = {}
    for m, off, line in zip(msgs, offsets, lines):
        text, what = expected_line(m)
        check(line == "@%d %d %s" % (off, len(m), text), "line %r, expected @%d %d %s" % (line, off, len(m), text))
        counts.setdefault(KINDS[m[0]], {}).setdefault(what, 0)
        counts[KINDS[m[0]]][what] += 1
    check("-- %d messages in %d octets: %d decoded, 0 failed\n" % (len(msgs), len(stream), len(msgs)) in out,
          "clean stream: summary head wrong:\n" + out[-600:])
    for kind, ops in counts.items():
        want = "   %d %s: %s" % (sum(ops.values()), kind, ", ".join("%d %s" % (n, w) for w, n in sorted(ops.items())))
        check(want in out.splitlines(), "clean stream: missing summary line %r" % want)

    # The same stream from standard input, as binary and as hex text, gives the same print.
    rc2, out2, _ = decode(exe, ["--stream", "--summary", "-"], stdin=stream)
    check(rc2 == 0 and out2 == out, "binary standard input differs from the file")
    rc3, out3, _ = decode(exe, ["--stream", "--summary", "--hex"], stdin=stream.hex(" ").encode())
    check(rc3 == 0 and out3 == out, "hex standard input differs from the file")

    # The full print: each message under its offset and length, then its value.
    rc, out, _ = decode(exe, ["--stream", "FILE"], stream)
    heads = [l for l in out.splitlines() if l.startswith("@")]
    check(rc == 0 and heads == ["@%d length %d" % (o, len(m)) for o, m in zip(offsets, msgs)], "full print heads")
    check(out.count("rOSE.") == len(msgs), "full print: %d values" % out.count("rOSE."))


def check_garbage(exe, msgs, stream, offsets):
    # 2. Garbage between messages 10 and 11 (no APDU tag): skipped, reported at its
    #    offset, and every message found at its shifted offset.
    junk = bytes([0x00, 0xFF, 0x13, 0x30])
    damaged = stream[:offsets[11]] + junk + stream[offsets[11]:]
    rc, out, _ = decode(exe, ["--stream", "--summary", "FILE"], damaged)
    lines = summary_lines(out)
    check(rc == 1, "garbage: exit %d" % rc)
    check(lines[11].startswith("@%d skipped 4 octets to %d:" % (offsets[11], offsets[11] + 4)),
          "garbage: %r" % lines[11])
    check(len(lines) == len(msgs) + 1 and lines[12].startswith("@%d %d " % (offsets[11] + 4, len(msgs[11]))),
          "garbage: message 11 not found after the skip")
    check("%d decoded, 0 failed; 4 octets skipped in 1 place" % len(msgs) in out, "garbage: summary")

    # Resynchronising lands on each kind of APDU.
    for tag in KINDS:
        i = next(i for i, m in enumerate(msgs) if i and m[0] == tag)
        damaged = stream[:offsets[i]] + b"\x00\x07" + stream[offsets[i]:]
        lines = summary_lines(decode(exe, ["--stream", "--summary", "FILE"], damaged)[1])
        check(len(lines) == len(msgs) + 1 and lines[i + 1].startswith("@%d %d %s" % (offsets[i] + 2, len(msgs[i]), KINDS[tag])),
              "garbage before a %s: %r" % (KINDS[tag], lines[i:i + 2]))


def check_bad_content(exe, msgs, stream, offsets):
    # 3. A message whose frame is sound but whose content is not (an invoke of an
    #    unknown operation with an argument): reported as one failed message, the
    #    next one decodes at the end of its frame.
    k = next(i for i, m in enumerate(msgs) if m[0] == 0xA1 and m[7:10] == bytes([0x02, 0x01, 0x33]))
    bad = bytearray(msgs[k])
    bad[9] = 0x03  # operation value 51 -> 3
    damaged = stream[:offsets[k]] + bytes(bad) + stream[offsets[k] + len(bad):]
    rc, out, _ = decode(exe, ["--stream", "--summary", "FILE"], damaged)
    lines = summary_lines(out)
    check(rc == 1 and len(lines) == len(msgs), "bad content: exit %d, %d lines" % (rc, len(lines)))
    check(lines[k].startswith("@%d %d decode error " % (offsets[k], len(bad))), "bad content: %r" % lines[k])
    check("Length discrepancy" in lines[k], "bad content: the decoder's text is missing: %r" % lines[k])
    check(lines[k + 1].startswith("@%d %d " % (offsets[k + 1], len(msgs[k + 1]))), "bad content: next message lost")
    check("%d decoded, 1 failed\n" % (len(msgs) - 1) in out, "bad content: summary")


def check_cut_and_bad_length(exe, msgs, stream, offsets):
    # 4. A frame whose length overruns the stream (the capture was cut): the rest is
    #    skipped to the end, everything before it is intact.
    cut = stream[:offsets[-1] + len(msgs[-1]) // 2]
    rc, out, _ = decode(exe, ["--stream", "--summary", "FILE"], cut)
    lines = summary_lines(out)
    check(rc == 1 and len(lines) == len(msgs), "cut stream: exit %d, %d lines" % (rc, len(lines)))
    check(lines[-1].startswith("@%d skipped %d octets to %d:" % (offsets[-1], len(cut) - offsets[-1], len(cut))),
          "cut stream: %r" % lines[-1])

    # 5. A corrupted length inside the stream sends the reader into the middle of a
    #    message; it must find the next message start again without losing more
    #    than the damaged one.
    j = 20
    broken = bytearray(stream)
    broken[offsets[j] + 1] = 0x05  # frame now ends inside message j
    rc, out, _ = decode(exe, ["--stream", "--summary", "FILE"], bytes(broken))
    lines = summary_lines(out)
    found = {int(l.split()[0][1:]) for l in lines if "skipped" not in l and "decode error" not in l}
    check(rc == 1 and set(offsets) - found == {offsets[j]}, "bad length: lost %s" % sorted(set(offsets) - found))


def check_random_damage(exe, msgs, stream, offsets):
    # Damage anywhere: every octet of the stream is accounted for exactly once, in
    # order (a message, a failed frame, or a skip), and the program never crashes.
    rnd = random.Random(14)
    for trial in range(25):
        broken = bytearray(stream)
        for _ in range(rnd.randint(1, 12)):
            broken[rnd.randrange(len(broken))] = rnd.randrange(256)
        rc, out, err = decode(exe, ["--stream", "--summary", "FILE"], bytes(broken))
        pos, ok = 0, rc in (0, 1)
        for l in summary_lines(out):
            m = re.match(r"@(\d+) (?:skipped \d+ octets to (\d+)|(\d+) )", l)
            if not m or int(m.group(1)) != pos:
                ok = False
                break
            pos = int(m.group(2)) if m.group(2) else pos + int(m.group(3))
        check(ok and pos == len(broken), "damaged stream %d: exit %d, accounted to %d of %d %s" % (trial, rc, pos, len(broken), err[-300:]))


def check_usage(exe, msgs, stream, offsets):
    # 6. Exit status 2 for usage and input errors; the single-message mode still
    #    reads one message and tells of octets after it.
    for args, data, stdin in ((["--stream"], None, None), (["--bogus", "FILE"], b"\xa1", None),
                              (["--stream", "/nonexistent/capture"], None, None),
                              (["--stream", "FILE"], b"", None), (["--stream", "--hex"], None, b"A1 0")):
        rc, _, _ = decode(exe, args, data, stdin)
        check(rc == 2, "usage/input error %s: exit %d" % (args, rc))
    rc, out, _ = decode(exe, ["FILE"], msgs[0] + b"\x00\x00")
    check(rc == 0 and "(2 octets after the message ignored)" in out and out.startswith("rOSE.roiv-apdu"),
          "single message with trailing octets")
    rc, out, _ = decode(exe, ["--summary", "FILE"], msgs[1])
    check(rc == 0 and out == "@0 %d %s\n" % (len(msgs[1]), expected_line(msgs[1])[0]), "single --summary: %r" % out)


def main():
    exe, capture = sys.argv[1], sys.argv[2]
    msgs = read_capture(capture)
    stream = b"".join(msgs)
    offsets = [sum(len(m) for m in msgs[:i]) for i in range(len(msgs))]
    for check_part in (check_clean_stream, check_garbage, check_bad_content, check_cut_and_bad_length,
                       check_random_damage, check_usage):
        check_part(exe, msgs, stream, offsets)

    for f in failures:
        print("FAIL:", f)
    print("%d messages, %d checks failed" % (len(msgs), len(failures)))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
