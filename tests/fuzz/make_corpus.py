#!/usr/bin/env python3
# SPDX-License-Identifier: Apache-2.0
"""Writes the seed corpora of the fuzz targets to tests/fuzz/corpus/<target>/.

Each seed is a well-formed input in its target's input format (see the
comment at the top of each target): a few plausible replies, chunks and
stored values, full batches among them, from which the fuzzer mutates.
Run it again after changing an input format; the files are checked in.
"""
import os
import shutil
import struct
import sys

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.path.join(HERE, "corpus")


def be16(v): return struct.pack(">H", v & 0xFFFF)
def be32(v): return struct.pack(">I", v & 0xFFFFFFFF)


def pattern_body(length, pattern):
    """A chunk body: `length` bytes made of `pattern` repeated."""
    return be16(0x8000 | length) + be16(len(pattern)) + pattern


def raw_body(data):
    return be16(len(data)) + data


def record(size, seed):
    """A record of `size` bytes that is not all zeros: small counters, a
    protocol number, an address-like run."""
    out = bytearray(size)
    for i in range(0, size, 4):
        out[i:i + 4] = be32((seed * 7 + i // 4) % 300)[: max(0, min(4, size - i))]
    if size > 40:
        out[0:4] = bytes([10, 0, 0, seed & 0xFF])
    return bytes(out)


CONT, END = 1, 0  # pull result bytes: the continuation code, or an end


def dump_walk():
    seeds = {}
    arg = lambda v: be32(v >> 32) + be32(v)  # the eight bytes of arguments
    # display selector, record size, records per batch
    tables = [(0, 172, 46), (1, 140, 57), (2, 172, 46), (3, 76, 105), (4, 432, 18), (5, 208, 38), (6, 172, 46)]
    for sel, size, batch in tables:
        two = record(size, 1) + record(size, 2)
        seeds[f"table{sel}-short"] = bytes([sel, 0]) + arg(0) + bytes([CONT]) + raw_body(two)
        seeds[f"table{sel}-full"] = (bytes([sel, 0]) + arg(1) + bytes([CONT]) + pattern_body(size * batch, record(size, 3))
                                     + bytes([CONT]) + raw_body(record(size, 4)) + bytes([END]) + raw_body(b""))
    aging = be32(2) + record(20, 1) + record(20, 2)
    seeds["aging"] = bytes([7, 0]) + arg(0) + bytes([CONT]) + raw_body(aging) + bytes([END]) + raw_body(b"")
    # period 0, 720 samples of 12 bytes, a buffer of 8640 bytes
    seeds["history"] = bytes([8, 0]) + arg(8640 << 32 | 12 << 24 | 720 << 8) + bytes([CONT]) + pattern_body(666 * 12, record(12, 5)) + bytes([CONT]) + raw_body(record(12, 6) * 54)
    seeds["history-averages"] = bytes([9, 0]) + arg(0) + b"".join(bytes([CONT]) + raw_body(record(12, k) * 10) + bytes([0xFE]) for k in range(3))
    seeds["top-three-nodes"] = bytes([10, 0]) + arg(2) + b"".join(bytes([CONT]) + pattern_body(333 * 24, record(24, k)) + bytes([CONT]) + raw_body(record(24, k + 1)) + bytes([0xFE]) for k in range(3))
    seeds["hot-backup"] = bytes([11, 0]) + arg(0) + bytes([CONT]) + raw_body(be32(17)) + bytes([0xFE, CONT]) + raw_body(record(32, 1)) + bytes([0xFE, CONT]) + raw_body(record(32, 2))
    seeds["overstated"] = bytes([0, 0x11]) + arg(0) + bytes([CONT]) + raw_body(record(172, 9) * 3)
    seeds["stat-nodes"] = bytes([12, 0]) + arg(0) + bytes([CONT]) + raw_body(record(80, 1) + record(80, 2)) + bytes([END]) + raw_body(b"")
    seeds["stat-nodes-full"] = bytes([12, 0]) + arg(1) + bytes([CONT]) + pattern_body(8000, record(80, 3)) + bytes([CONT]) + raw_body(record(80, 4)) + bytes([END]) + raw_body(b"")
    # Call tables: a chunk of items is a mode byte (1 + mode % 8 items), then
    # per item a selector (below 200: the display's type), a length, a value.
    items = lambda mode, *its: bytes([CONT, mode]) + b"".join(bytes([sel]) + be16(n) + record(n, n) for sel, n in its)
    end = bytes([END, 0]) + be16(0)
    for sel in range(13, 18):
        seeds[f"calls{sel}"] = bytes([sel, 0]) + arg(0) + items(1, (0, 84), (0, 84)) + end
    seeds["calls14-verbose"] = bytes([14, 0]) + arg(0) + items(1, (0, 384), (0, 472)) + end
    seeds["calls13-two-chunks"] = bytes([13, 0]) + arg(0) + items(2, (0, 84), (0, 84), (0, 84)) + items(1, (0, 84), (0, 84)) + end
    seeds["calls13-other-type"] = bytes([13, 0]) + arg(0) + items(1, (0, 84), (201, 8)) + end
    return seeds


def record_query():
    # None: a connection-limit policy query, seeded below
    service_sizes = [68, 76, 4, 8, 4, 12, 76, 12, 648, 2912, 2884, 2, 2, 2, 4, 8, 2, 4, 4, 4, 4, 4, 20, 2, 8, 4, 4, 4,
                     None, None, None, None, None, None, 12, 8, 8, 16, 4]
    dump_sizes = [512, 68, 48, 80, 16, 928, 836, 8, 8, 32, 4, 16]
    control_sizes = [8, 8, 56, 56, 56, 56]
    seeds = {}
    for i, size in enumerate(service_sizes):
        arg = 0xFFFF if i in (8, 9, 10) else 1
        if size is not None:
            seeds[f"service{i:02d}"] = bytes([i, 0]) + be16(arg) + be32(7) + record(size, i)
    rule = lambda rid: be32(0) + be32(3000 + rid) + b"acl".ljust(64, b"\0") + be32(0) + be16(1) + be16(rid) + be32(10) + be32(20) + be32(30) + be32(1)
    head = lambda count, pid=1: be32(0) + be16(pid) + b"\0\0" + be32(count) + be32(0)
    policy = lambda i, arg, payload: bytes([i, 0]) + be16(arg) + be32(35) + payload
    seeds["policy"] = policy(28, 0, head(2) + rule(1) + rule(2))
    seeds["policy-bogus-count"] = policy(28, 0, head(0xFFFF))
    seeds["policy-count-over"] = policy(28, 0, head(258))  # one rule more than the record holds
    seeds["policy-info-count-over"] = policy(30, 144 + 96 * 2, head(3))
    seeds["next-policy-none"] = policy(29, 0, head(0, 0xFFFF))
    seeds["policy-info"] = policy(30, 144 + 96 * 2, head(2) + bytes(128) + rule(1) + rule(2))
    seeds["next-policy-info"] = policy(31, 0, head(1) + bytes(128) + rule(7))
    seeds["apply-list"] = policy(32, 0, be32(3) + be32(11) + be32(12) + be32(13))
    seeds["apply-list-bogus"] = policy(32, 0, be32(5000) + be32(11))
    seeds["rule"] = policy(33, 0, bytes(8) + be32(1) + bytes(4) + rule(4))
    seeds["service-error-reply"] = bytes([0, 1, 0, 0]) + be32(0xFFFFFFFF) + be32(8)
    seeds["service-short-length"] = bytes([4, 1, 0, 0]) + be32(1) + be32(12) + b"\0\0\0"
    base = len(service_sizes)
    for i, size in enumerate(dump_sizes):
        seeds[f"dump{base + i:02d}"] = bytes([base + i, 0]) + be16(1) + bytes([CONT]) + raw_body(record(size, i))
        seeds[f"dump{base + i:02d}-short"] = bytes([base + i, 2]) + be16(1) + bytes([CONT]) + raw_body(record(max(size - 1, 0), i))
    base += len(dump_sizes)
    for i, size in enumerate(control_sizes):
        seeds[f"control{base + i:02d}"] = bytes([base + i, 0]) + be16(1) + bytes([0]) + record(size, i)
    return seeds


def msg_framing():
    reply = lambda payload, t=1: bytes([1]) + bytes([0]) + be32(t) + raw_body(payload)
    return {
        "check-ok": bytes([0]) + be32(5) + be32(12) + be32(0),
        "check-error": bytes([0]) + be32(0xFFFFFFFF) + be32(8),
        "recv-ok": bytes([1, 0]) + be16(4) + reply(be32(0)),
        "recv-empty": bytes([1, 0]) + be16(4) + bytes([2]),
        "recv-too-long": bytes([1, 0]) + be16(4) + reply(bytes(40)),
        "patient-waits": bytes([2, 0]) + be16(4) + bytes([3, 4, 3]) + reply(be32(0)),
        "patient-reset": bytes([2, 0]) + be16(4) + bytes([3, 5]),
        "exchange": bytes([3, 0]) + be16(16) + reply(bytes(16)),
        "exchange-refused": bytes([3, 2]) + be16(4) + reply(be32(0)),
        "exchange-patient": bytes([4, 0]) + be16(8192) + bytes([3]) + bytes([0]) + pattern_body(8200, be32(1) + be32(8200)),
    }


def store_values():
    rule = lambda rid: struct.pack("<II", 0, 3000 + rid) + b"acl".ljust(64, b"\0") + struct.pack("<IHH3II", 0, 1, rid, 1, 2, 3, 1)
    desc = struct.pack("<IH", 0, 1) + b"\0\0" + b"web servers".ljust(130, b"\0") + b"\0\0"
    return {
        "rules": bytes([0, 0, 0, 4, 1, 3]) + raw_body(rule(1)) + raw_body(rule(2)) + raw_body(rule(3)[:50]),
        "rules-capacity": bytes([0, 1, 0, 1, 1, 2]) + raw_body(rule(5)) + raw_body(rule(6)),
        "description": bytes([1, 0, 1, 1]) + raw_body(desc[:136]),
        "description-long": bytes([1, 0, 1, 5]) + raw_body(desc + bytes(40)),
        "applied": bytes([2]) + be16(5) + bytes([1]) + raw_body(struct.pack("<I", 3)),
        "sip": bytes([3, 1, 1]) + raw_body(be16(5060) + be16(1) + bytes(16)),
        "sip-claims-more": bytes([3, 0, 9]) + raw_body(be16(5060) + be16(1)) + be16(600),
        "h323": bytes([4, 1, 1]) + raw_body(be16(1) + be16(1720) + bytes(12)),
    }


TARGETS = {
    "dump_walk_fuzz": dump_walk,
    "record_query_fuzz": record_query,
    "msg_framing_fuzz": msg_framing,
    "store_values_fuzz": store_values,
}


def main():
    for target, make in TARGETS.items():
        folder = os.path.join(CORPUS, target)
        shutil.rmtree(folder, ignore_errors=True)
        os.makedirs(folder)
        for name, data in make().items():
            with open(os.path.join(folder, name), "wb") as f:
                f.write(data)
    return 0


if __name__ == "__main__":
    sys.exit(main())
