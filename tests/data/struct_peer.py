#!/usr/bin/env python3
"""struct_peer.py PEER...: packs random records with struct, has the peer read them and write them again in both byte
orders, and compares every byte."""
import pathlib
import random
import struct
import subprocess
import sys
import tempfile
import uuid

SEED, RECORDS = 20260219, 500
FIELDS = "bBhHiIqQfd?"
SPAN = {"b": 8, "B": 8, "h": 16, "H": 16, "i": 32, "I": 32, "q": 64, "Q": 64}
EDGES = [0.0, -0.0, float("inf"), float("-inf"), 5e-324, 1.7976931348623157e308, 0.1]
LETTERS = ["a", "é", "€", "\U0001F600", "\0"]


def value_of(letter, rng):
    if letter in "fd":
        number = rng.choice(EDGES + [rng.uniform(-1e9, 1e9)])
        return number if letter == "d" else struct.unpack("<f", struct.pack("<f", number % 1e30))[0]
    if letter == "?":
        return rng.random() < 0.5
    bits = SPAN[letter]
    return rng.choice([0, -1, 1, rng.getrandbits(bits)]) % (1 << bits) - (1 << bits - 1 if letter.islower() else 0)


def var(number):
    out = bytearray()
    while number >= 0x80:
        out.append(number & 0x7F | 0x80)
        number >>= 7
    return bytes(out + bytes([number]))


def pack(record, order):
    values, text, number, identity = record
    units = text.encode("utf-16-le" if order == "<" else "utf-16-be")
    utf8 = text.encode()
    zigzag = number * 2 if number >= 0 else -number * 2 - 1
    return (struct.pack(order + FIELDS, *values) + var(len(utf8)) + utf8 + struct.pack(order + "I", len(units)) + units
            + var(zigzag) + (identity.bytes_le if order == "<" else identity.bytes))


def main():
    rng = random.Random(SEED)
    records = [([value_of(letter, rng) for letter in FIELDS],
                "".join(rng.choice(LETTERS) for _ in range(rng.choice([0, 1, 12, 50, 3000]))),
                rng.getrandbits(rng.randint(1, 63)) * rng.choice([1, -1]), uuid.UUID(int=rng.getrandbits(128)))
               for _ in range(RECORDS)]
    packed = {order: b"".join(pack(record, order) for record in records) for order in "<>"}
    with tempfile.TemporaryDirectory() as name:
        folder = pathlib.Path(name)
        for order in "<>":
            (folder / "in").write_bytes(packed[order])
            subprocess.run([*sys.argv[1:], "little" if order == "<" else "big",
                            *(str(folder / file) for file in ("in", "little", "big"))], check=True)
            for wanted, file in (("<", "little"), (">", "big")):
                if (folder / file).read_bytes() != packed[wanted]:
                    sys.exit(f"read in {order}, written in {wanted}: not what struct packs")
    print(f"{RECORDS} records agree in both orders")


main()
