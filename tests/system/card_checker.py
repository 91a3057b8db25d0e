#!/usr/bin/env python3
# SPDX-License-Identifier: GPL-3.0-or-later
"""Judges what trovik-cli said of a simulated card, by the card's sectors themselves.

Two witnesses who share no code with the engine must agree with its report. The first
is the kept test files, read once more through the mount. The second is the file that
has the card's cells: from the card's options and the order in which a fresh card
hands out its sectors follows what the host must have seen, without the mount. Where
chance has a part in that (--flip-rate, garbage) the second says what it can. When
the card is gone, the cells alone are asked. The pattern and the four classes are
written here a second time, from their description, and so are the verdict's rules.

card_checker.py MOUNT CELLS REPORT EXIT_STATUS USED_SECTORS START_AT CARD_OPTION...

Silent but for the verdict's word, with status 0, when all is right; else every
disagreement in a line, and status 1.
"""
import collections
import errno
import fcntl
import json
import mmap
import operator
import os
import re
import struct
import sys

SECTOR, FULL_FILE = 512, 1 << 30
WORDS = struct.Struct("<64Q")
MASK = (1 << 48) - 1
CLASSES = ("ok", "corrupted", "changed", "overwritten")

# What k steps of X' = 0x5DEECE66D X + 11 (mod 2^48) do at once.
JUMPS = [(0x5DEECE66D, 11)]
while len(JUMPS) < 63:
    a, c = JUMPS[-1]
    JUMPS.append((a * 0x5DEECE66D & MASK, (c * 0x5DEECE66D + 11) & MASK))


def judge(sector, position):
    own, *body = WORDS.unpack(sector)
    x = (own & 0xFFFFFFFF) << 16 | 0x330E
    wrong = sum(map(operator.ne, body, [((a * x + c) & MASK) >> 17 for a, c in JUMPS]))
    if wrong > 2:
        return "corrupted"
    return "overwritten" if own != position else "changed" if wrong else "ok"


def judge_all(data, number):
    base = (number - 1) * FULL_FILE
    whole = len(data) // SECTOR * SECTOR
    kinds = collections.Counter(judge(data[at:at + SECTOR], base + at) for at in range(0, whole, SECTOR))
    return {kind: kinds[kind] for kind in CLASSES}


class Card:
    """What the host sees of the cells."""

    def __init__(self, cells, options):
        self.cells = cells
        given = collections.defaultdict(list)
        for option in options:
            name, _, value = option[2:].partition("=")
            given[name].append(value)
        one = lambda name, otherwise: given[name][0] if name in given else otherwise
        self.announced = int(one("size", 0)) // SECTOR
        usable = int(one("full-at", self.announced * SECTOR)) // SECTOR
        self.real = int(one("real-size", max(self.announced, usable) * SECTOR)) // SECTOR
        self.beyond, _, window = one("beyond", "drop-00").partition("=")
        self.window = int(window) // SECTOR if window else self.real
        self.statfs_free = one("statfs-free", None)
        self.statfs_fails = "statfs-fails" in given
        self.flips_by_chance = float(one("flip-rate", 0)) > 0
        self.dies_while_read = "unplug-after-read" in given
        self.flips = [tuple(map(int, pair.split(":"))) for text in given["flip"] for pair in text.split(",")]
        self.bad = [tuple(map(int, (text + "-" + text).split("-")[:2]))
                    for texts in given["read-error"] for text in texts.split(",")]

    def sector(self, at):
        """512 bytes, or None where they are random."""
        if at >= self.real and not self.beyond.startswith("wrap"):
            data = {"drop-00": b"\0" * SECTOR, "drop-ff": b"\xff" * SECTOR}.get(self.beyond)
        else:
            cell = at if at < self.real else self.real - self.window + (at - self.real) % self.window
            data = self.cells[cell * SECTOR:(cell + 1) * SECTOR]
        for sector, bit in self.flips:
            if sector == at and data is not None:
                changed = bytearray(data)
                changed[bit // 8] ^= 1 << bit % 8
                data = bytes(changed)
        return data

    def readable_bytes(self, first, size):
        """Up to the file's first dead sector."""
        dead = [sector for low, high in self.bad
                for sector in range(max(low, first), min(high, first + (size - 1) // SECTOR) + 1)]
        return (min(dead) - first) * SECTOR if size and dead else size

    def free(self, taken):
        """In bytes, or None: nobody knows."""
        if self.statfs_fails:
            return None
        if self.statfs_free is not None:
            return int(self.statfs_free) // SECTOR * SECTOR
        return max(0, self.announced - taken) * SECTOR

    def disagrees(self, data, first):
        """The first of these sectors, read through the mount, that the cells do not explain."""
        for index in range(len(data) // SECTOR):
            seen, meant = data[index * SECTOR:(index + 1) * SECTOR], self.sector(first + index)
            if meant is None or seen == meant:
                continue
            differing = int.from_bytes(seen, "little") ^ int.from_bytes(meant, "little")
            if not self.flips_by_chance or bin(differing).count("1") != 1:
                return first + index
        return None


def read_until_error(read_at, data):
    try:
        while piece := read_at(len(data)):
            data += piece
    except OSError as failure:
        if failure.errno != errno.EIO:
            raise
    return data


def read_through_mount(path):
    fd = os.open(path, os.O_RDONLY)
    sector = mmap.mmap(-1, SECTOR)  # direct I/O needs an aligned buffer
    try:
        os.fdatasync(fd)
        os.posix_fadvise(fd, 0, 0, os.POSIX_FADV_DONTNEED)
        data = read_until_error(lambda at: os.pread(fd, 65536, at), b"")
        fcntl.fcntl(fd, fcntl.F_SETFL, os.O_DIRECT)
        return read_until_error(lambda at: sector[:os.preadv(fd, [sector], at)], data)
    finally:
        os.close(fd)


def expected_verdict(report, files, card, used, start_at):
    totals = collections.Counter()
    for kinds, _, _ in files.values():
        totals.update(kinds)
    if sum(totals.values()) > totals["ok"]:
        return "data_lost"
    if not totals["ok"]:
        return "nothing_tested"
    numbers = sorted(files)
    speaks_against = numbers != list(range(start_at, start_at + len(numbers)))
    for number, (_, read, size) in files.items():
        speaks_against |= read < size or size % SECTOR != 0
        speaks_against |= number != numbers[-1] and size < FULL_FILE
    if report["command"] == "test":
        taken = used + sum((size + SECTOR - 1) // SECTOR for _, _, size in files.values())
        left, at_start = card.free(taken), card.free(used)
        speaks_against |= left is None or left > 0 and left * 100 >= at_start
    return "incomplete" if speaks_against else "intact"


def check(mount, report, status, card, used, start_at):
    """Yields disagreements."""
    if report["fatal"] is not None:
        if report["verdict"] == "intact" or status == 0:
            yield f"a run that was ended by force passed: {report['verdict']}, status {status}"
        return
    said = {file["number"]: file for file in report["files"]}
    gone = card.dies_while_read
    if gone:
        sizes = {number: file["bytes_read"] for number, file in said.items()}
    else:
        sizes = {int(name[:-4]): os.stat(f"{mount}/{name}").st_size
                 for name in os.listdir(mount) if re.fullmatch(r"[1-9][0-9]*\.fff", name)}
    first, files = used, {}
    for number, size in sorted(sizes.items()):
        readable = card.readable_bytes(first, size)
        if gone:
            parts = [card.sector(first + at) or b"?" * SECTOR for at in range((readable + SECTOR - 1) // SECTOR)]
            data = b"".join(parts)[:readable]
        else:
            data = read_through_mount(f"{mount}/{number}.fff")
            if len(data) != readable:
                yield f"{number}.fff: {len(data)} bytes could be read, {readable} by the cells"
            if (odd := card.disagrees(data, first)) is not None:
                yield f"{number}.fff: the card's sector {odd} is not what the cells explain"
        if number >= start_at:
            stopped = gone and not said[number]["read_to_end"]
            files[number] = (judge_all(data, number), len(data), size + stopped)
        first += (size + SECTOR - 1) // SECTOR
    if sorted(said) != sorted(files):
        yield f"files {sorted(said)} in the report, {sorted(files)} on the card"
        return
    for number, (kinds, read, size) in files.items():
        if said[number]["sectors"] != kinds:
            yield f"{number}.fff: {said[number]['sectors']} in the report, {kinds} by the checker"
        if said[number]["bytes_read"] != read or said[number]["read_to_end"] != (read == size):
            yield f"{number}.fff: {said[number]['bytes_read']} bytes in the report, {read} of {size} by the checker"
    totals = {kind: sum(kinds[kind] for kinds, _, _ in files.values()) for kind in CLASSES}
    if report["read"]["sectors"] != totals:
        yield f"{report['read']['sectors']} in all in the report, {totals} by the checker"
    if report["read"]["bytes"] != sum(read for _, read, _ in files.values()):
        yield f"{report['read']['bytes']} bytes in all are not those of the files"
    verdict = expected_verdict(report, files, card, used, start_at)
    wanted = {"intact": 0, "data_lost": 65}.get(verdict, 74)
    if (report["verdict"], report["exit_status"], status) != (verdict, wanted, wanted):
        yield f"verdict {report['verdict']}, status {status}; by the checker {verdict}, {wanted}"


def main(mount, cells, report, status, used, start_at, *options):
    with open(cells, "rb") as stream:
        card = Card(stream.read(), options)
    with open(report, encoding="utf-8") as stream:
        document = json.load(stream)
    problems = list(check(mount, document, int(status), card, int(used), int(start_at)))
    print("\n".join(problems) or ("ended by force" if document["fatal"] else document["verdict"]))
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
