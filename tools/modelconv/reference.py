# SPDX-License-Identifier: MIT
"""Evaluates a TFLite graph with NumPy in its own NHWC layout, op by op.

This is the converter's yardstick: it shares only the file reader with the converter and
states each operator the way TFLite defines it, in float64, without ONNX or OpenCV.
"""
import struct

import numpy as np
from numpy.lib.stride_tricks import sliding_window_view

import tflite


def _same(size, kernel, stride, dilation=1):
    eff = (kernel - 1) * dilation + 1
    out = -(-size // stride)
    total = max((out - 1) * stride + eff - size, 0)
    return total // 2, total - total // 2


def _pad_hw(x, padding, kh, kw, sh, sw, dh=1, dw=1, value=0.0):
    if padding == tflite.VALID:
        return x
    t, b = _same(x.shape[1], kh, sh, dh)
    l, r = _same(x.shape[2], kw, sw, dw)
    return np.pad(x, ((0, 0), (t, b), (l, r), (0, 0)), constant_values=value)


def _windows(x, kh, kw, sh, sw, dh=1, dw=1):
    """N, OH, OW, C, KH, KW views of the (already padded) input."""
    v = sliding_window_view(x, ((kh - 1) * dh + 1, (kw - 1) * dw + 1), axis=(1, 2))
    return v[:, ::sh, ::sw, :, ::dh, ::dw]


def _act(x, code):
    if code == tflite.ACT_RELU:
        return np.maximum(x, 0)
    if code == tflite.ACT_RELU6:
        return np.clip(x, 0, 6)
    if code == tflite.ACT_TANH:
        return np.tanh(x)
    if code == tflite.ACT_RELU_N1_TO_1:
        return np.clip(x, -1, 1)
    return x


def _conv(x, w, b, o, depthwise):
    if depthwise:
        padding, sw, sh, mult, act = (o.scalar(0, "b"), o.scalar(1, "i"), o.scalar(2, "i"),
                                      o.scalar(3, "i"), o.scalar(4, "b"))
        dw, dh = o.scalar(5, "i", 1), o.scalar(6, "i", 1)
    else:
        padding, sw, sh, act = o.scalar(0, "b"), o.scalar(1, "i"), o.scalar(2, "i"), o.scalar(3, "b")
        dw, dh = o.scalar(4, "i", 1), o.scalar(5, "i", 1)
    kh, kw = w.shape[1], w.shape[2]
    win = _windows(_pad_hw(x, padding, kh, kw, sh, sw, dh, dw), kh, kw, sh, sw, dh, dw)
    if depthwise:
        mult = w.shape[3] // x.shape[3]
        # Output channel c*mult + m reads input channel c.
        wk = w[0].reshape(kh, kw, x.shape[3], mult)
        y = np.einsum("nhwcij,ijcm->nhwcm", win, wk).reshape(win.shape[:3] + (-1,))
    else:
        y = np.einsum("nhwcij,oijc->nhwo", win, w)
    if b is not None:
        y = y + b
    return _act(y, act)


def _transpose_conv(x, w, b, options, out_shape):
    padding, sw, sh = struct.unpack_from("<iii", options, 0)
    o_ch, kh, kw, _ = w.shape
    n, h, wi, _ = x.shape
    full = np.zeros((n, (h - 1) * sh + kh, (wi - 1) * sw + kw, o_ch))
    for i in range(kh):
        for j in range(kw):
            full[:, i:i + (h - 1) * sh + 1:sh, j:j + (wi - 1) * sw + 1:sw, :] += \
                np.einsum("nhwc,oc->nhwo", x, w[:, i, j, :])
    oh, ow = out_shape[1], out_shape[2]
    top = max(full.shape[1] - oh, 0) // 2 if padding == 1 else 0
    left = max(full.shape[2] - ow, 0) // 2 if padding == 1 else 0
    return full[:, top:top + oh, left:left + ow, :] + b


def _pool(x, o, kind):
    padding, sw, sh, fw, fh, act = (o.scalar(0, "b"), o.scalar(1, "i"), o.scalar(2, "i"),
                                    o.scalar(3, "i"), o.scalar(4, "i"), o.scalar(5, "b"))
    if kind == "max":
        y = _windows(_pad_hw(x, padding, fh, fw, sh, sw, value=-np.inf), fh, fw, sh, sw).max(
            axis=(4, 5))
    else:
        ones = np.ones(x.shape[:3] + (1,))
        total = _windows(_pad_hw(x, padding, fh, fw, sh, sw), fh, fw, sh, sw).sum(axis=(4, 5))
        count = _windows(_pad_hw(ones, padding, fh, fw, sh, sw), fh, fw, sh, sw).sum(axis=(4, 5))
        y = total / count
    return _act(y, act)


def _resize(x, oh, ow, align, half):
    def coords(out, size):
        if align and out > 1:
            src = np.arange(out) * ((size - 1) / (out - 1))
        elif half:
            src = (np.arange(out) + 0.5) * (size / out) - 0.5
        else:
            src = np.arange(out) * (size / out)
        lo = np.floor(src)
        frac = src - lo
        lo0 = np.clip(lo, 0, size - 1).astype(int)
        hi = np.clip(lo + 1, 0, size - 1).astype(int)
        return lo0, hi, frac

    y0, y1, fy = coords(oh, x.shape[1])
    x0, x1, fx = coords(ow, x.shape[2])
    top = x[:, y0][:, :, x0] * (1 - fx)[None, None, :, None] + \
        x[:, y0][:, :, x1] * fx[None, None, :, None]
    bottom = x[:, y1][:, :, x0] * (1 - fx)[None, None, :, None] + \
        x[:, y1][:, :, x1] * fx[None, None, :, None]
    return top * (1 - fy)[None, :, None, None] + bottom * fy[None, :, None, None]


def evaluate(graph, inputs, wanted=None):
    """inputs: list of NHWC arrays for the graph's inputs. Returns the graph outputs (or the
    tensors listed in `wanted`) as float64 arrays in TFLite's layout."""
    values = {}
    for t in graph.tensors:
        if t.data is not None and t.sparsity is None:
            values[t.index] = t.data.astype(np.float64) if t.dtype in (np.float16, np.float32) \
                else t.data
    for i, x in zip(graph.inputs, inputs):
        values[i] = np.asarray(x, np.float64)
    for op in graph.operators:
        get = [values.get(i) if i >= 0 else None for i in op.inputs]
        o = op.options
        out_shape = graph.tensors[op.outputs[0]].shape
        c = op.code
        if c == tflite.DENSIFY:
            y = tflite.densify(graph.tensors[op.inputs[0]]).astype(np.float64)
        elif c == tflite.DEQUANTIZE:
            y = get[0].astype(np.float64)
        elif c in (tflite.CONV_2D, tflite.DEPTHWISE_CONV_2D):
            y = _conv(get[0], get[1], get[2] if len(get) > 2 else None, o,
                      c == tflite.DEPTHWISE_CONV_2D)
        elif c == tflite.CUSTOM and op.custom == "Convolution2DTransposeBias":
            y = _transpose_conv(get[0], get[1], get[2], op.custom_options, out_shape)
        elif c in (tflite.AVERAGE_POOL_2D, tflite.MAX_POOL_2D):
            y = _pool(get[0], o, "max" if c == tflite.MAX_POOL_2D else "avg")
        elif c in (tflite.ADD, tflite.SUB, tflite.MUL, tflite.DIV):
            f = {tflite.ADD: np.add, tflite.SUB: np.subtract, tflite.MUL: np.multiply,
                 tflite.DIV: np.divide}[c]
            y = _act(f(get[0], get[1]), o.scalar(0, "b") if o is not None else 0)
        elif c == tflite.RELU:
            y = np.maximum(get[0], 0)
        elif c == tflite.RELU6:
            y = np.clip(get[0], 0, 6)
        elif c == tflite.LOGISTIC:
            y = 1 / (1 + np.exp(-get[0]))
        elif c == tflite.TANH:
            y = np.tanh(get[0])
        elif c == tflite.HARD_SWISH:
            y = get[0] * np.clip(get[0] + 3, 0, 6) / 6
        elif c == tflite.PRELU:
            y = np.where(get[0] >= 0, get[0], get[0] * get[1])
        elif c == tflite.PAD:
            y = np.pad(get[0], get[1].astype(int))
        elif c == tflite.RESIZE_BILINEAR:
            y = _resize(get[0], out_shape[1], out_shape[2], o.scalar(2, "?"), o.scalar(3, "?"))
        elif c == tflite.CONCATENATION:
            y = _act(np.concatenate(get, axis=o.scalar(0, "i")), o.scalar(1, "b"))
        elif c == tflite.RESHAPE:
            y = get[0].reshape(out_shape)
        elif c == tflite.DEPTH_TO_SPACE:
            b = o.scalar(0, "i")
            n, h, w, ch = get[0].shape
            y = get[0].reshape(n, h, w, b, b, ch // (b * b)).transpose(0, 1, 3, 2, 4, 5) \
                .reshape(n, h * b, w * b, ch // (b * b))
        elif c == tflite.MEAN:
            y = get[0].mean(axis=tuple(int(a) for a in get[1].reshape(-1)),
                            keepdims=bool(o.scalar(0, "?")))
        else:
            raise ValueError("reference: operator %s" % op.name)
        values[op.outputs[0]] = y
    return [values[i] for i in (wanted or graph.outputs)]
