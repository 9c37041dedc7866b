#!/usr/bin/env python3
"""Marks a finished 64-bit Windows program as not aware of large addresses: all its memory then lies below 2 GiB, where
the 32-bit addresses of the service library's record reach.  The cross linker has no option for it.

  small-addresses.py PROGRAM
"""
import pathlib
import struct
import sys

LARGE_ADDRESS_AWARE = 0x20
program = pathlib.Path(sys.argv[1])
image = bytearray(program.read_bytes())
header = struct.unpack_from("<I", image, 0x3C)[0]
assert image[header:header + 4] == b"PE\0\0", "no Windows program"
image[header + 22] &= ~LARGE_ADDRESS_AWARE
program.write_bytes(image)
