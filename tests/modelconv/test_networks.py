#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Each installed network (scripts/models.sh) against the NumPy evaluation of its TFLite
source on a fixed picture: every operator's output OpenCV exposes, not only the last.

Needs the installed networks; exits with 77 (reported by CTest as skipped) without them.
usage: test_networks.py NETWORKS_DIR
"""
import glob
import os
import sys

import cv2
import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "tools", "modelconv"))

import convert  # noqa: E402
import onnx  # noqa: E402
import reference  # noqa: E402
import tflite  # noqa: E402

SKIP = 77


def picture(shape):
    """A smooth, deterministic picture-like input in 0..1, NHWC."""
    _, h, w, c = shape
    y, x = np.mgrid[0:h, 0:w].astype(np.float32)
    planes = [(np.sin(x / 7 + k) * np.cos(y / 11 - k) + 1) / 2 for k in range(c)]
    return np.stack(planes, -1)[None].astype(np.float32)


def check(onnx_path, tflite_path):
    """The worst relative error over the tensors compared, their count, and whether the graph's
    outputs were among them."""
    graph = tflite.read(open(tflite_path, "rb").read())
    proto = onnx.load(onnx_path)
    net = cv2.dnn.readNetFromONNX(onnx_path)
    produced = {n.output[0] for n in proto.graph.node} & {
        name[len("onnx_node!"):] for name in net.getLayerNames()}
    names = convert.Converter(graph)
    wanted = [(names.name(t.index), t.index) for t in graph.tensors
              if t.data is None and names.name(t.index) in produced]
    x = picture(graph.tensors[graph.inputs[0]].shape)
    net.setInput(x.transpose(0, 3, 1, 2).copy())
    got = net.forward(["onnx_node!" + name for name, _ in wanted])
    want = reference.evaluate(graph, [x], [i for _, i in wanted])
    worst = 0.0
    for g, r in zip(got, want):
        g = g.transpose(0, 2, 3, 1) if g.ndim == 4 else g
        worst = max(worst, np.abs(g.reshape(r.shape) - r).max() / max(np.abs(r).max(), 1e-6))
    outputs = {o.name for o in proto.graph.output}
    return worst, len(wanted), outputs <= {n for n, _ in wanted}


def main(argv):
    folder = argv[0] if argv else ""
    networks = sorted(glob.glob(os.path.join(folder, "*.onnx")))
    if not networks:
        print("SKIPPED: needs the installed networks in '%s' (run scripts/models.sh)" % folder)
        return SKIP
    failed = 0
    for path in networks:
        source = os.path.join(folder, "source", os.path.basename(path)[:-5] + ".tflite")
        worst, count, all_outputs = check(path, source)
        ok = worst <= 1e-3 and count > 0 and all_outputs
        failed += not ok
        print("%s %s: %d tensors, worst relative error %.1e"
              % ("ok  " if ok else "FAIL", os.path.basename(path), count, worst))
    return 1 if failed else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
