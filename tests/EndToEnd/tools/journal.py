#!/usr/bin/python3
"""Stands in for systemd's journal: reads entries in the journal's native protocol from a
datagram socket and appends each, as one JSON object of its fields, to a file.

    journal.py SOCKET ENTRIES

An entry is fields one after the other: NAME=value and a line break, or NAME, a line break, the
value's length as 64 bits little-endian, the value and a line break (a value with line breaks)."""
import json
import os
import socket
import struct
import sys


def fields(datagram):
    entry, rest = {}, datagram
    while rest:
        line, separator, after = rest.partition(b"\n")
        if b"=" in line:
            name, _, value = line.partition(b"=")
            rest = after
        else:
            if not separator or len(after) < 8:
                raise ValueError("a field name without a value")
            (length,) = struct.unpack("<Q", after[:8])
            value, end = after[8:8 + length], after[8 + length:9 + length]
            if len(value) != length or end != b"\n":
                raise ValueError("a binary value that is cut short or not ended by a line break")
            name, rest = line, after[9 + length:]
        entry[name.decode()] = value.decode()
    return entry


def main():
    path, entries = sys.argv[1:]
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM) as server:
        server.bind(path)
        print("listening", flush=True)
        while True:
            datagram = server.recv(1 << 20)
            try:
                entry = fields(datagram)
            except ValueError as error:
                entry = {"malformed": str(error)}
            with open(entries, "a", encoding="utf-8") as file:
                file.write(json.dumps(entry, ensure_ascii=False) + "\n")


if __name__ == "__main__":
    main()
