#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Copies one file out of an npm package folder: a plain file, or a member of the package's
packed-assets blob, whose byte ranges the loader script passes to loadPackage({...}).

usage: unpack.py PACKAGE_DIR NAME OUTPUT
"""
import json
import os
import re
import sys


def member(package, name):
    direct = os.path.join(package, name)
    if os.path.isfile(direct):
        with open(direct, "rb") as f:
            return f.read()
    for loader in sorted(os.listdir(package)):
        if not loader.endswith("_loader.js"):
            continue
        with open(os.path.join(package, loader), encoding="utf-8") as f:
            found = re.search(r"loadPackage\((\{.*?\})\)", f.read(), re.S)
        if not found:
            continue
        table = json.loads(found.group(1))
        entries = table.get("files") if isinstance(table, dict) else None
        if not isinstance(entries, list) or not all(isinstance(e, dict) for e in entries):
            raise ValueError("%s: \"files\" is not a list of entries" % loader)
        blob = os.path.join(package, loader[:-len("_loader.js")] + ".data")
        for entry in entries:
            if os.path.basename(str(entry.get("filename", ""))) == name:
                try:
                    start, end = int(entry["start"]), int(entry["end"])
                except (KeyError, TypeError, ValueError):
                    start, end = -1, -1
                if not 0 <= start <= end:
                    raise ValueError("%s: %s has no usable byte range" % (loader, name))
                with open(blob, "rb") as f:
                    f.seek(start)
                    data = f.read(end - start)
                if len(data) != end - start:
                    raise ValueError("%s is shorter than its loader says" % blob)
                return data
    raise ValueError("no %s in %s" % (name, package))


def main(argv):
    if len(argv) != 3:
        print(__doc__.strip().splitlines()[-1], file=sys.stderr)
        return 2
    try:
        data = member(argv[0], argv[1])
        # Renamed when complete, so a failed write never leaves a file that looks whole.
        temporary = "%s.tmp%d" % (argv[2], os.getpid())
        try:
            with open(temporary, "wb") as f:
                f.write(data)
            os.replace(temporary, argv[2])
        finally:
            if os.path.exists(temporary):
                os.remove(temporary)
    except (OSError, ValueError) as e:
        print("unpack: %s" % e, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
