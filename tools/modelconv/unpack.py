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
        blob = os.path.join(package, loader[:-len("_loader.js")] + ".data")
        for entry in table.get("files", []):
            if os.path.basename(entry["filename"]) == name:
                start, end = int(entry["start"]), int(entry["end"])
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
        with open(argv[2], "wb") as f:
            f.write(data)
    except (OSError, ValueError, KeyError) as e:
        print("unpack: %s" % e, file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
