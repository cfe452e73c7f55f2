#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Writes the tiny ONNX networks the runtime tests and benchmarks run.

Their weights are 0 and 1, so what they compute is exact in float whatever order OpenCV
sums in, and the tests can state the expected masks with a plain formula.

usage: make_networks.py OUTPUT_DIR
"""
import os
import sys

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

OPSET = 11


def save(directory, name, nodes, inputs, outputs, initializers=(), check=True):
    graph = helper.make_graph(nodes, name, inputs, outputs, list(initializers))
    model = helper.make_model(graph, producer_name="kaz-tests",
                              opset_imports=[helper.make_opsetid("", OPSET)])
    model.ir_version = 7
    if check:
        onnx.checker.check_model(model)
    onnx.save(model, os.path.join(directory, name + ".onnx"))


def tensor(name, shape):
    return helper.make_tensor_value_info(name, TensorProto.FLOAT, shape)


def weights(name, rows):
    """1x1 convolution weights: output channel i = sum of input channels where rows[i] is 1."""
    w = np.array(rows, dtype=np.float32).reshape(len(rows), len(rows[0]), 1, 1)
    b = np.zeros(len(rows), dtype=np.float32)
    return [numpy_helper.from_array(w, name + "_w"), numpy_helper.from_array(b, name + "_b")]


def conv(name, source, target):
    return helper.make_node("Conv", [source, name + "_w", name + "_b"], [target],
                            kernel_shape=[1, 1])


IDENTITY = [[1, 0, 0], [0, 1, 0], [0, 0, 1]]


def main(directory):
    os.makedirs(directory, exist_ok=True)
    nchw = [1, 3, "height", "width"]

    # Output channel c is input channel c.
    save(directory, "passthrough_nchw", [conv("id", "input", "output")],
         [tensor("input", nchw)], [tensor("output", nchw)], weights("id", IDENTITY))

    # The same for pictures given as 1xHxWx3, answered as 1xHxWx3.
    save(directory, "passthrough_nhwc",
         [helper.make_node("Transpose", ["input"], ["planar"], perm=[0, 3, 1, 2]),
          conv("id", "planar", "mixed"),
          helper.make_node("Transpose", ["mixed"], ["output"], perm=[0, 2, 3, 1])],
         [tensor("input", [1, "height", "width", 3])],
         [tensor("output", [1, "height", "width", 3])], weights("id", IDENTITY))

    # Takes 1xHxWx3, answers planar 1x3xHxW.
    save(directory, "nhwc_to_nchw",
         [helper.make_node("Transpose", ["input"], ["planar"], perm=[0, 3, 1, 2]),
          conv("id", "planar", "output")],
         [tensor("input", [1, "height", "width", 3])], [tensor("output", nchw)],
         weights("id", IDENTITY))

    # A fixed 32x24 input; two output channels: input channels 0 and 2.
    save(directory, "fixed_32x24", [conv("pick", "input", "output")],
         [tensor("input", [1, 3, 24, 32])], [tensor("output", [1, 2, 24, 32])],
         weights("pick", [[1, 0, 0], [0, 0, 1]]))

    # One output channel: input channel 1.
    save(directory, "single_channel", [conv("pick", "input", "output")],
         [tensor("input", nchw)], [tensor("output", [1, 1, "height", "width"])],
         weights("pick", [[0, 1, 0]]))

    # The same, answered without its channel axis (1xHxW).
    save(directory, "single_channel_3d",
         [conv("pick", "input", "picked"),
          helper.make_node("Squeeze", ["picked"], ["output"], axes=[1])],
         [tensor("input", nchw)], [tensor("output", [1, "height", "width"])],
         weights("pick", [[0, 1, 0]]))

    # Two outputs: "aux" repeats the input, "mask" is input channel 2.
    save(directory, "two_outputs",
         [conv("id", "input", "aux"), conv("pick", "input", "mask")],
         [tensor("input", nchw)],
         [tensor("aux", nchw), tensor("mask", [1, 1, "height", "width"])],
         weights("id", IDENTITY) + weights("pick", [[0, 0, 1]]))

    # A grey-picture network: the module must refuse it, it needs colour.
    save(directory, "grey_input", [conv("id", "input", "output")],
         [tensor("input", [1, 1, "height", "width"])],
         [tensor("output", [1, 1, "height", "width"])], weights("id", [[1]]))

    # A well-formed model with an operator OpenCV does not know (nor does the checker).
    save(directory, "unknown_operator", [helper.make_node("Mystery", ["input"], ["output"])],
         [tensor("input", nchw)], [tensor("output", nchw)], check=False)

    # Matte networks (one probability channel, fixed input): a constant answer, told apart by
    # value, for the square and the landscape input; and the mean of the three channels.
    for name, shape, weight, bias in (("matte_square", [1, 3, 16, 16], 0, 0.25),
                                      ("matte_landscape", [1, 3, 9, 16], 0, 0.75),
                                      ("matte_mean", [1, 3, 16, 16], 1 / 3, 0),
                                      ("matte_mean_landscape", [1, 3, 9, 16], 1 / 3, 0)):
        save(directory, name, [conv("k", "input", "output")], [tensor("input", shape)],
             [tensor("output", [1, 1] + shape[2:])],
             [numpy_helper.from_array(np.full((1, 3, 1, 1), weight, np.float32), "k_w"),
              numpy_helper.from_array(np.full(1, bias, np.float32), "k_b")])

    # For the benchmark: a small 256x256 segmentation-shaped network (3x3 convolutions, ReLU,
    # two output channels), with fixed random weights.
    rng = np.random.default_rng(7)
    layers = [(3, 16), (16, 16), (16, 2)]
    nodes, inits, source = [], [], "input"
    for i, (cin, cout) in enumerate(layers):
        w = rng.normal(0, 0.3, (cout, cin, 3, 3)).astype(np.float32)
        inits += [numpy_helper.from_array(w, "w%d" % i),
                  numpy_helper.from_array(np.zeros(cout, np.float32), "b%d" % i)]
        out = "output" if i == len(layers) - 1 else "c%d" % i
        nodes.append(helper.make_node("Conv", [source, "w%d" % i, "b%d" % i], [out],
                                      kernel_shape=[3, 3], pads=[1, 1, 1, 1]))
        if out != "output":
            nodes.append(helper.make_node("Relu", [out], ["r%d" % i]))
            out = "r%d" % i
        source = out
    save(directory, "bench_256", nodes, [tensor("input", [1, 3, 256, 256])],
         [tensor("output", [1, 2, 256, 256])], inits)


if __name__ == "__main__":
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    main(sys.argv[1])
