#!/usr/bin/env python3
"""Falsifies fields of a good capture: the name of each must be in the complaints."""

import copy
import os
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor

from capture_file import CaptureFile
from conversation import Conversation
from dissection import complaints, frames
from frame_kinds import kind_of
from scenarios import LEVEL
from tools import Simulator, capture

SESSION_REQUEST = "RegisterSession request"
SESSION_REPLY = "RegisterSession reply"
OPEN_REQUEST = "Forward Open request"
OPEN_REPLY = "Forward Open reply"
READ_REQUEST = "Read Tag request"
READ_REPLY = "Read Tag reply"
WRITE_REQUEST = "Write Tag Fragmented request"
WRITE_REPLY = "Write Tag Fragmented reply"

# Kind of frame, and what is falsified in it at once: offset, other bytes, and the field that must
# be missed, each of them.
FALSIFIED = [
    (SESSION_REQUEST, [(4, b"\x01", "enip.session"), (12, b"\x01", "enip.context"),
                       (24, b"\x02", "enip.rs.version"), (26, b"\x01", "enip.rs.flags")]),
    (SESSION_REQUEST, [(2, b"\x03", "enip.length")]),
    (SESSION_REPLY, [(4, b"\0\0\0\0", "enip.session")]),
    (SESSION_REPLY, [(8, b"\x64", "enip.status")]),
    (OPEN_REQUEST, [(20, b"\x01", "enip.options"), (46, b"\x15", "cip.cm.priority"),
                    (47, b"\x01", "cip.cm.timeout_tick"), (48, b"\x03", "cip.cm.ot_connid"),
                    (52, b"\x02", "cip.cm.to_connid"), (56, b"\x03", "cip.cm.conn_serial_num"),
                    (58, b"\x51", "cip.cm.vendor"), (60, b"\x01", "cip.cm.orig_serial_num"),
                    (64, b"\x03", "cip.cm.timeout_multiplier"), (68, b"\x81", "cip.cm.otrpi"),
                    (72, b"\xf4", "cip.cm.fwo.consize"), (73, b"\x23", "cip.cm.fwo.type"),
                    (74, b"\x81", "cip.cm.torpi"), (78, b"\xf4", "cip.cm.to_net_params"),
                    (80, b"\xa1", "cip.cm.fwo.transport"), (83, b"\x04", "cip.class")]),
    (OPEN_REQUEST, [(24, b"\x01", "no known kind")]),
    (OPEN_REQUEST, [(36, b"\xb1", "no known kind")]),
    (OPEN_REPLY, [(42, b"\x01", "Forward Open refused")]),
    (OPEN_REPLY, [(44, b"\0\0\0\0", "cip.cm.ot_connid"), (48, b"\x02", "cip.cm.to_connid"),
                  (52, b"\x77", "cip.cm.conn_serial_num"), (60, b"\x01", "cip.cm.otapi")]),
    (READ_REQUEST, [(4, b"\x01\x02", "enip.session"), (28, b"\x00", "enip.timeout"),
                    (36, b"\x01\x02\x03", "enip.cpf.cai.connid"), (44, b"\x77", "cip.seq")]),
    (READ_REQUEST, [(32, b"\xa2", "enip.cpf.typeid")]),
    (READ_REQUEST, [(40, b"\xb2", "no known kind")]),
    (READ_REQUEST, [(42, b"\x07", "enip.length")]),
    (READ_REQUEST, [(46, b"\x4d", "no known kind")]),
    (READ_REQUEST, [(47, b"\x03", "cip.request_path_size")]),
    (READ_REPLY, [(36, b"\x01\x02\x03", "enip.cpf.cai.connid"), (44, b"\x77", "cip.seq")]),
    (READ_REPLY, [(40, b"\xa1", "no known kind")]),
    (READ_REPLY, [(46, b"\xcd", "no known kind")]),
    (READ_REPLY, [(48, b"\x06", "cip.data")]),
    (WRITE_REQUEST, [(46, b"\x4c", "cip.sc")]),
    (WRITE_REPLY, [(49, b"\x02", "cip.addstat_size")]),
]


def swap_two(packets, at):
    packets[at], packets[at + 1] = packets[at + 1], packets[at]


def change_text(packets, at):
    packets[at].data[-1] ^= 1  # and leave the checksum as it was


# What is done to the segments of a link.
DISARRANGED = [
    ("a segment lost", lambda packets, at: packets.pop(at)),
    ("a segment sent again", lambda packets, at: packets.insert(at, packets[at])),
    ("two segments in the wrong order", swap_two),
    ("a wrong checksum", change_text),
]


def good_capture(directory):
    """A capture with every kind of good frame."""
    with Simulator(LEVEL, "--response-time", "0") as simulator:
        path, done = capture(directory, simulator, "write", "Level=258")
    assert done.returncode == 0, done.stderr
    return path


def faults_of(path):
    return Conversation(frames(path)).faults or [f"malformed: {line}" for line in complaints(path)]


def changed(file, change):
    """The faults of a copy of the capture, made by a function of its packets."""
    other = copy.deepcopy(file)
    change(other.packets)
    with tempfile.TemporaryDirectory() as directory:
        path = os.path.join(directory, "changed.pcap")
        other.save(path)
        return faults_of(path)


def main():
    with tempfile.TemporaryDirectory() as directory:
        path = good_capture(directory)
        file = CaptureFile(path)
        first = {}  # packet index of each kind
        for frame in frames(path):
            first.setdefault(kind_of(frame)[0], frame.number - 1)
        assert not faults_of(path), faults_of(path)

    def try_fields(row):
        kind, changes = row

        def falsify(packets):
            for at, value, _ in changes:
                packets[first[kind]].change(at, value)

        faults = changed(file, falsify)
        return [f"{kind}, offset {at}, {field}: {faults}" for at, _, field in changes
                if not any(field in fault for fault in faults)]

    def try_segments(row):
        name, change = row
        return [] if changed(file, lambda packets: change(packets, first[READ_REPLY])) else [name]

    with ThreadPoolExecutor(os.cpu_count()) as pool:
        results = [*pool.map(try_fields, FALSIFIED), *pool.map(try_segments, DISARRANGED)]
    missed = [line for result in results for line in result]
    tried = sum(len(changes) for _, changes in FALSIFIED) + len(DISARRANGED)
    print(f"{tried - len(missed)} of {tried} falsifications were found out")
    print("".join(f"missed: {line}\n" for line in missed), end="")
    return 1 if missed else 0


if __name__ == "__main__":
    sys.exit(main())
