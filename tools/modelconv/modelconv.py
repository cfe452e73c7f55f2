#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Converts a TFLite network to ONNX for OpenCV's dnn module.

usage: modelconv.py INPUT.tflite OUTPUT.onnx [--outputs NAME[,NAME...]]

--outputs keeps only the named graph outputs (TFLite tensor names) and drops the operators
only the others need. The ONNX file is written under a temporary name and renamed when
complete; on any error nothing is left at OUTPUT and the exit status is 1.
"""
import os
import sys

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))

import convert  # noqa: E402


def main(argv):
    args, keep = [], None
    it = iter(argv)
    for a in it:
        if a == "--outputs":
            keep = [n for n in next(it, "").split(",") if n]
        else:
            args.append(a)
    if len(args) != 2:
        print(__doc__.strip().splitlines()[2], file=sys.stderr)
        return 2
    source, target = args
    try:
        with open(source, "rb") as f:
            data = f.read()
        model = convert.convert(data, keep)
        temporary = "%s.tmp%d" % (target, os.getpid())
        try:
            with open(temporary, "wb") as f:
                f.write(model.SerializeToString())
            os.replace(temporary, target)
        finally:
            if os.path.exists(temporary):
                os.remove(temporary)
    except Exception as e:  # noqa: BLE001 - any failure is one line and no output file
        print("modelconv: %s: %s" % (source, e), file=sys.stderr)
        return 1
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
