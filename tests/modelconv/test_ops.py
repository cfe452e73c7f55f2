#!/usr/bin/python3
# SPDX-License-Identifier: MIT
"""Each operator the converter knows, on tiny TFLite graphs written here: the converted ONNX
graph run by OpenCV's dnn against the NumPy evaluation of the TFLite graph in NHWC, plus
hand-computed answers for the layout rules both could get wrong together, and malformed files.
"""
import os
import sys
import unittest

import cv2
import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
TOOL = os.path.join(HERE, "..", "..", "tools", "modelconv")
sys.path.insert(0, TOOL)
sys.path.insert(0, HERE)

import convert  # noqa: E402
import reference  # noqa: E402
import tflite  # noqa: E402
from tiny_tflite import model, run_in_folder  # noqa: E402

rng = np.random.RandomState(7)
SAME, VALID, RELU, RELU6 = 0, 1, 1, 3


def w(*shape):
    return rng.uniform(-1, 1, shape).astype(np.float32)


def unary(code, shape=(1, 5, 6, 3), options=None, extra=(), out=None):
    """input -> op (with constant extra inputs) -> output, of the input's shape unless given"""
    tensors = [(list(shape), None)] + [(list(e.shape), e) for e in extra]
    tensors.append((list(out or shape), None))
    last = len(tensors) - 1
    return tensors, [(code, list(range(last)), [last], options)], [0], [last]


def conv(shape, weights, out, padding, sw, sh, act=0, dil=1):
    return unary(tflite.CONV_2D, shape, [(0, "b", padding), (1, "i", sw), (2, "i", sh),
                                         (3, "b", act), (4, "i", dil), (5, "i", dil)],
                 [weights, w(weights.shape[0])], out)


def depthwise(shape, weights, out, padding, stride, act=0):
    mult = weights.shape[3] // shape[3]
    return unary(tflite.DEPTHWISE_CONV_2D, shape, [(0, "b", padding), (1, "i", stride),
                                                   (2, "i", stride), (3, "i", mult), (4, "b", act)],
                 [weights, w(weights.shape[3])], out)


def pool(code, shape, out, padding, k, s):
    return unary(code, shape, [(0, "b", padding), (1, "i", s), (2, "i", s), (3, "i", k),
                               (4, "i", k)], out=out)


def binary(code, a, b_shape, act=0, const=None):
    """Two activations, or an activation and a constant."""
    b = (list(b_shape), None) if const is None else (list(const.shape), const)
    return ([(list(a), None), b, (list(a), None)], [(code, [0, 1], [2], [(0, "b", act)])],
            [0, 1] if const is None else [0], [2])


def resize(align, half):
    return unary(tflite.RESIZE_BILINEAR, (1, 3, 4, 2), [(2, "?", align), (3, "?", half)],
                 [np.array([6, 8], np.int32)], (1, 6, 8, 2))


def transpose_conv(shape, out, kernel, stride):
    options = np.array([1, stride, stride], np.int32).tobytes()
    tensors = [(list(shape), None), ([out[3], kernel, kernel, shape[3]], w(out[3], kernel, kernel,
                                                                          shape[3])),
               ([out[3]], w(out[3])), (list(out), None)]
    return tensors, [("Convolution2DTransposeBias", [0, 1, 2], [3], options)], [0], [3]


def mean(keep):
    return unary(tflite.MEAN, (1, 4, 5, 3), [(0, "?", keep)], [np.array([1, 2], np.int32)],
                 (1, 1, 1, 3) if keep else (1, 3))


def concat(axis, b_shape, out):
    tensors = [([1, 3, 4, 2], None), (list(b_shape), None), (list(out), None)]
    return tensors, [(tflite.CONCATENATION, [0, 1], [2], [(0, "i", axis)])], [0, 1], [2]


def dequantized_conv():
    half = w(4, 3, 3, 2).astype(np.float16)
    tensors = [([1, 6, 6, 2], None), ([4, 3, 3, 2], half), ([4, 3, 3, 2], None), ([4], w(4)),
               ([1, 6, 6, 4], None)]
    ops = [(tflite.DEQUANTIZE, [1], [2], None),
           (tflite.CONV_2D, [0, 2, 3], [4], [(0, "b", SAME), (1, "i", 1), (2, "i", 1)])]
    return tensors, ops, [0], [4]


CASES = {
    "conv_same_stride2_relu6": conv((1, 7, 9, 3), w(4, 3, 3, 3), (1, 4, 5, 4), SAME, 2, 2, RELU6),
    "conv_same_even_input": conv((1, 8, 6, 2), w(3, 3, 3, 2), (1, 4, 3, 3), SAME, 2, 2),
    "conv_valid_dilated": conv((1, 8, 8, 2), w(3, 3, 3, 2), (1, 4, 4, 3), VALID, 1, 1, RELU, 2),
    "depthwise_multiplier2_relu": depthwise((1, 6, 6, 3), w(1, 3, 3, 6), (1, 6, 6, 6), SAME, 1,
                                            RELU),
    "depthwise_stride2_even": depthwise((1, 8, 8, 4), w(1, 5, 5, 4), (1, 4, 4, 4), SAME, 2),
    "transpose_conv_2x2": transpose_conv((1, 4, 5, 3), (1, 8, 10, 2), 2, 2),
    "transpose_conv_4x4": transpose_conv((1, 3, 3, 2), (1, 6, 6, 2), 4, 2),
    "transpose_conv_3x3": transpose_conv((1, 3, 4, 2), (1, 6, 8, 2), 3, 2),
    "average_pool_same": pool(tflite.AVERAGE_POOL_2D, (1, 7, 7, 2), (1, 4, 4, 2), SAME, 3, 2),
    "average_pool_global": pool(tflite.AVERAGE_POOL_2D, (1, 4, 4, 3), (1, 1, 1, 3), VALID, 4, 1),
    "max_pool_valid": pool(tflite.MAX_POOL_2D, (1, 6, 6, 3), (1, 3, 3, 3), VALID, 2, 2),
    "max_pool_same": pool(tflite.MAX_POOL_2D, (1, 5, 5, 2), (1, 3, 3, 2), SAME, 3, 2),
    "add_relu": binary(tflite.ADD, (1, 4, 5, 3), (1, 4, 5, 3), RELU),
    "mul_broadcast": binary(tflite.MUL, (1, 4, 5, 3), (1, 1, 1, 3)),
    "sub_constant": binary(tflite.SUB, (1, 4, 5, 3), None, const=w(3)),
    "div_constant": binary(tflite.DIV, (1, 4, 5, 3), None, const=w(1, 1, 1, 3) + 2),
    **{name: unary(code) for name, code in (("logistic", tflite.LOGISTIC), ("tanh", tflite.TANH),
                                            ("relu", tflite.RELU), ("relu6", tflite.RELU6),
                                            ("hard_swish", tflite.HARD_SWISH))},
    "prelu": unary(tflite.PRELU, extra=[w(1, 1, 3)]),
    "pad_with_channels": unary(tflite.PAD, (1, 3, 4, 2), extra=[np.array(
        [[0, 0], [1, 2], [0, 1], [0, 3]], np.int32)], out=(1, 6, 5, 5)),
    "resize_half_pixel": resize(False, True),
    "resize_align_corners": resize(True, False),
    "resize_asymmetric": resize(False, False),
    "concat_channels": concat(3, (1, 3, 4, 5), (1, 3, 4, 7)),
    "concat_height": concat(1, (1, 2, 4, 2), (1, 5, 4, 2)),
    "reshape_to_3d": unary(tflite.RESHAPE, (1, 2, 3, 4), out=(1, 6, 4)),
    "reshape_4d_to_4d": unary(tflite.RESHAPE, (1, 2, 3, 4), out=(1, 3, 2, 4)),
    "depth_to_space": unary(tflite.DEPTH_TO_SPACE, (1, 2, 3, 8), [(0, "i", 2)], out=(1, 4, 6, 2)),
    "mean_keep_dims": mean(True),
    "mean_flat": mean(False),
    "dequantize_float16_weights": dequantized_conv(),
}


def run_onnx(onnx_model, inputs):
    net = cv2.dnn.readNetFromONNX(onnx_model.SerializeToString())
    names = [i.name for i in onnx_model.graph.input]
    for name, x in zip(names, inputs):
        net.setInput(np.ascontiguousarray(x.transpose(0, 3, 1, 2) if x.ndim == 4 else x), name)
    outs = net.forward(["onnx_node!" + o.name for o in onnx_model.graph.output])
    return [o.transpose(0, 2, 3, 1) if o.ndim == 4 else o for o in outs]


def relative_error(got, want):
    got = got.reshape(want.shape)
    return np.abs(got - want).max() / max(np.abs(want).max(), 1e-6)


class Operators(unittest.TestCase):
    def test_each_operator_matches_the_numpy_evaluation(self):
        for name, case in CASES.items():
            with self.subTest(name):
                data = model(*case)
                graph = tflite.read(data)
                inputs = [rng.uniform(-4, 4, graph.tensors[i].shape).astype(np.float32)
                          for i in graph.inputs]
                got = run_onnx(convert.convert(data), inputs)
                want = reference.evaluate(graph, inputs)
                for g, r in zip(got, want):
                    self.assertEqual(g.size, r.size)
                    self.assertLess(relative_error(g, r), 1e-5)

    def test_sparse_weights_equal_their_dense_form(self):
        # 1x1 convolution, 4 outputs x 4 inputs; the sparse form stores the nonzero 2-blocks
        # of each row (block map on the input axis), the dense model the same numbers.
        dense = np.array([[1, 2, 0, 0], [0, 0, 0, 0], [0, 0, 3, -4], [5, 6, 7, 8]],
                         np.float32).reshape(4, 1, 1, 4)
        stored = np.array([1, 2, 3, -4, 5, 6, 7, 8], np.float32)
        sparsity = ([0, 1, 2, 3, 4], [3], [(0, 4, None, None), (0, 1, None, None),
                                          (0, 1, None, None), (1, 2, [0, 1, 1, 2, 4],
                                                              [0, 1, 0, 1]),
                                          (0, 2, None, None)])
        bias = w(4)
        conv_options = [(0, "b", VALID), (1, "i", 1), (2, "i", 1)]
        sparse = model([([1, 3, 3, 4], None), ([4, 1, 1, 4], stored.astype(np.float16), sparsity),
                        ([4, 1, 1, 4], None), ([4, 1, 1, 4], None), ([4], bias),
                        ([1, 3, 3, 4], None)],
                       [(tflite.DENSIFY, [1], [2], None), (tflite.DEQUANTIZE, [2], [3], None),
                        (tflite.CONV_2D, [0, 3, 4], [5], conv_options)], [0], [5])
        plain = model(*unary(tflite.CONV_2D, (1, 3, 3, 4), conv_options, [dense, bias]))
        x = rng.uniform(-1, 1, (1, 3, 3, 4)).astype(np.float32)
        want = reference.evaluate(tflite.read(plain), [x])[0]
        got = run_onnx(convert.convert(sparse), [x])[0]
        self.assertLess(relative_error(got, want), 1e-6)

    def test_same_padding_puts_the_odd_pixel_after(self):
        # 3x3 ones, stride 2 on a 4x4 ramp: TFLite pads 0 before and 1 after each axis.
        x = np.arange(16, dtype=np.float32).reshape(1, 4, 4, 1)
        ones, zero = np.ones((1, 3, 3, 1), np.float32), np.zeros(1, np.float32)
        stride2 = [(0, "b", SAME), (1, "i", 2), (2, "i", 2)]
        data = model(*unary(tflite.CONV_2D, (1, 4, 4, 1), stride2, [ones, zero], (1, 2, 2, 1)))
        got = run_onnx(convert.convert(data), [x])[0].reshape(2, 2)
        r = x.reshape(4, 4)
        want = [[r[0:3, 0:3].sum(), r[0:3, 2:4].sum()], [r[2:4, 0:3].sum(), r[2:4, 2:4].sum()]]
        np.testing.assert_array_equal(got, want)

    def test_half_pixel_resize_clamps_at_the_border(self):
        # 2 -> 4 samples at -0.25, 0.25, 0.75, 1.25 of the source.
        x = np.array([10, 30], np.float32).reshape(1, 1, 2, 1)
        data = model(*unary(tflite.RESIZE_BILINEAR, (1, 1, 2, 1), [(3, "?", True)],
                            [np.array([1, 4], np.int32)], (1, 1, 4, 1)))
        got = run_onnx(convert.convert(data), [x])[0].reshape(-1)
        np.testing.assert_allclose(got, [10, 15, 25, 30], rtol=1e-6)


def convert_file(data):
    """Converts data over an earlier out.onnx, which a failure must leave as it was."""
    return run_in_folder({"in.tflite": data, "out.onnx": b"previous"},
                         [os.path.join(TOOL, "modelconv.py"), "in.tflite", "out.onnx"], "out.onnx")


class Failures(unittest.TestCase):
    def test_a_good_file_converts_and_malformed_files_fail_cleanly_writing_nothing(self):
        good = model(*CASES["conv_same_stride2_relu6"])
        run, left, _ = convert_file(good)
        self.assertEqual(run.returncode, 0, run.stderr)
        self.assertTrue(left.startswith(b"\x08"))  # ModelProto.ir_version comes first
        relu = lambda shape: model([(shape, None), (shape, None)], [(tflite.RELU, [0], [1], None)],
                                   [0], [1])
        add_const = lambda shape: model([([1, 4], None), (shape, np.ones(4, np.float32)),
                                         ([1, 4], None)],
                                        [(tflite.ADD, [0, 1], [2], None)], [0], [2])
        cases = {"empty": b"", "not tflite": b"\x10\x00\x00\x00ONNX" + bytes(64),
                 "wrong identifier": good[:4] + b"TFL2" + good[8:],
                 "unsupported operator": model([([1, 4], None), ([1, 4], None)],
                                               [(tflite.FULLY_CONNECTED, [0], [1], None)],
                                               [0], [1]),
                 "unknown custom operator": model([([1, 4], None), ([1, 4], None)],
                                                  [("NoSuchOp", [0], [1], b"")], [0], [1]),
                 "negative dimension": relu([1, -5, 4, 3]), "zero dimension": relu([1, 0, 4, 3]),
                 "too many elements": relu([1, 2**31 - 1, 2**31 - 1, 3]),
                 "negative constant shape": add_const([-2, -2]),
                 # Its element count overflows int64.
                 "wrapping constant shape": add_const([2**31 - 1] * 3 + [4])}
        for cut in (8, 40, len(good) // 3, len(good) // 2, len(good) - 4):
            cases["truncated at %d" % cut] = good[:cut]
        for name, data in cases.items():
            with self.subTest(name):
                run, left, files = convert_file(data)
                self.assertEqual(run.returncode, 1, run.stderr)
                self.assertRegex(run.stderr, r"^modelconv: .*in\.tflite: \S")
                self.assertNotIn("Traceback", run.stderr)
                self.assertEqual((left, files), (b"previous", ["in.tflite", "out.onnx"]))


if __name__ == "__main__":
    unittest.main()
