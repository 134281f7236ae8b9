#!/usr/bin/env python3
"""Tells whether a shared library loads on the oldest systems that a release is for: floor.py LIBRARY

Exits with 1, and names what is needed, when that is newer than the floor: glibc 2.28, libstdc++ of GCC 8, Qt 5.9.
Qt does not number its functions, so those that may be used are listed in floor-qt.txt.
"""

import pathlib
import subprocess
import sys

FLOOR = {
    "GLIBC": (2, 28),
    "GLIBCXX": (3, 4, 25),
    "CXXABI": (1, 3, 11),
    "GCC": (7, 0, 0),
    "LIBUDEV": (183,),
    "Qt": (5,),
}
QT_FUNCTIONS = pathlib.Path(__file__).with_name("floor-qt.txt")


def needs(library):
    """Pairs of an undefined symbol and its version, such as ("stat", "GLIBC_2.33")."""
    listing = subprocess.run(["nm", "--dynamic", "--demangle", "--undefined-only", library], check=False,
                             stdout=subprocess.PIPE, text=True).stdout
    symbols = (line.split(maxsplit=1)[1] for line in listing.splitlines())
    return [symbol.rsplit("@", 1) for symbol in symbols if "@" in symbol]


def is_above_floor(symbol, version, qt_functions):
    name, _, number = version.partition("_")
    if tuple(int(part) for part in number.split(".")) > FLOOR[name]:
        return True
    return name == "Qt" and symbol not in qt_functions


def main():
    (library,) = sys.argv[1:]
    qt_functions = set(QT_FUNCTIONS.read_text(encoding="utf-8").splitlines())
    found = needs(library)
    if not found:
        print(f"{library}: not a library that needs others")
        return 1
    above = [(symbol, version) for symbol, version in found if is_above_floor(symbol, version, qt_functions)]
    for symbol, version in above:
        print(f"{library}: newer than the floor: {symbol} ({version})")
    return 1 if above else 0


if __name__ == "__main__":
    sys.exit(main())
