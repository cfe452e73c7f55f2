# SPDX-License-Identifier: MIT
"""TFLite graph -> ONNX graph that OpenCV 4.6's dnn module loads.

Activations of rank 4 are NCHW inside the ONNX graph (TFLite's are NHWC), so the graph's
picture input is 1x3xHxW and 4-D outputs are 1xCxHxW; other ranks keep TFLite's layout.
Weights are transposed here, float16 weights dequantized and sparse weights densified.
"""
import struct

import numpy as np
import onnx
from onnx import TensorProto, helper, numpy_helper

import tflite

OPSET = 11
TO_NCHW = [0, 3, 1, 2]
TO_NHWC = [0, 2, 3, 1]


class ConversionError(ValueError):
    pass


def _same_pads(size, kernel, stride, dilation):
    """TFLite's SAME padding for one axis: (before, after); the odd pixel goes after."""
    effective = (kernel - 1) * dilation + 1
    out = -(-size // stride)
    total = max((out - 1) * stride + effective - size, 0)
    return total // 2, total - total // 2


def _nchw_axis(axis):
    return {0: 0, 1: 2, 2: 3, 3: 1}[axis % 4]


class Converter:
    def __init__(self, graph, keep_outputs=None):
        self.g = graph
        self.nodes = []
        self.inits = []
        self.names = {}
        self.consts = {}
        self.counter = 0
        self.keep = keep_outputs

    # --- naming and constants -------------------------------------------------------------
    def name(self, index):
        if index not in self.names:
            raw = self.g.tensors[index].name
            self.names[index] = "".join(c if c.isalnum() or c in "_." else "_" for c in raw) + \
                "_%d" % index
        return self.names[index]

    def fresh(self, hint):
        self.counter += 1
        return "%s__%d" % (hint, self.counter)

    def init(self, value, hint):
        name = self.fresh(hint)
        self.inits.append(numpy_helper.from_array(np.ascontiguousarray(value), name))
        return name

    def const(self, index):
        if index in self.consts:
            return self.consts[index]
        t = self.g.tensors[index]
        if t.data is None:
            return None
        if t.sparsity is not None:
            return None  # only DENSIFY may read a sparse tensor
        return t.data

    def shape(self, index):
        return self.g.tensors[index].shape

    def node(self, op, inputs, outputs, **attrs):
        # Named after its output, so a tensor can be read back from OpenCV by its TFLite name.
        self.nodes.append(helper.make_node(op, inputs, outputs, name=outputs[0], **attrs))

    # --- operand helpers ------------------------------------------------------------------
    def operand(self, index, partner_rank):
        """An elementwise operand: activations by name, constants laid out to broadcast
        against a partner of the given rank in ONNX's layout."""
        value = self.const(index)
        if value is None:
            return self.name(index)
        value = value.astype(np.float32) if value.dtype != np.int32 else value
        if partner_rank == 4 and value.ndim >= 1:
            full = value.reshape((1,) * (4 - value.ndim) + value.shape)
            value = full.transpose(TO_NCHW)
        return self.init(value, "c")

    def activation(self, code, source, target):
        if code == tflite.ACT_NONE:
            self.node("Identity", [source], [target])
        elif code == tflite.ACT_RELU:
            self.node("Relu", [source], [target])
        elif code == tflite.ACT_RELU6:
            self.relu6(source, target)
        elif code == tflite.ACT_TANH:
            self.node("Tanh", [source], [target])
        else:
            raise ConversionError("fused activation %d is not supported" % code)

    def relu6(self, source, target):
        # OpenCV 4.6 takes only the attribute form of Clip; 6 * HardSigmoid(x/6) is ReLU6.
        hs = self.fresh("relu6")
        self.node("HardSigmoid", [source], [hs], alpha=1.0 / 6.0, beta=0.0)
        self.node("Mul", [hs, self.init(np.array(6.0, np.float32), "six")], [target])

    def fused(self, op, act_field):
        """Output name for the op's own node, then the activation node when one is fused."""
        code = op.options.scalar(act_field, "b") if op.options is not None else 0
        target = self.name(op.outputs[0])
        if code == tflite.ACT_NONE:
            return target, None
        return self.fresh("preact"), (code, target)

    def finish(self, pending, source):
        if pending is not None:
            self.activation(pending[0], source, pending[1])

    # --- ops ------------------------------------------------------------------------------
    def conv_pads(self, op, kernel, strides, dilations, padding):
        if padding == tflite.VALID:
            return [0, 0, 0, 0]
        _, h, w, _ = self.shape(op.inputs[0])
        top, bottom = _same_pads(h, kernel[0], strides[0], dilations[0])
        left, right = _same_pads(w, kernel[1], strides[1], dilations[1])
        return [top, left, bottom, right]

    def weight(self, op, index):
        value = self.const(op.inputs[index])
        if value is None:
            raise ConversionError("%s: weights are not constant" % op.name)
        return value.astype(np.float32)

    def bias(self, op, channels):
        if len(op.inputs) > 2 and op.inputs[2] >= 0:
            b = self.const(op.inputs[2])
            if b is None:
                raise ConversionError("%s: bias is not constant" % op.name)
            return b.astype(np.float32).reshape(-1)
        return np.zeros(channels, np.float32)

    def op_conv(self, op, depthwise):
        o = op.options
        w = self.weight(op, 1)  # conv: O H W I; depthwise: 1 H W C*M
        if depthwise:
            padding, sw, sh, _, act, dw, dh = (o.scalar(0, "b"), o.scalar(1, "i"), o.scalar(2, "i"),
                                               o.scalar(3, "i"), 4, o.scalar(5, "i", 1),
                                               o.scalar(6, "i", 1))
            groups = self.shape(op.inputs[0])[3]
            w = w.transpose(3, 0, 1, 2)  # C*M 1 H W... as OIHW with I = 1
        else:
            padding, sw, sh, act, dw, dh = (o.scalar(0, "b"), o.scalar(1, "i"), o.scalar(2, "i"),
                                            3, o.scalar(4, "i", 1), o.scalar(5, "i", 1))
            groups = 1
            w = w.transpose(0, 3, 1, 2)
        kernel = list(w.shape[2:])
        pads = self.conv_pads(op, kernel, [sh, sw], [dh, dw], padding)
        target, pending = self.fused(op, act)
        self.node("Conv", [self.name(op.inputs[0]), self.init(np.ascontiguousarray(w), "w"),
                           self.init(self.bias(op, w.shape[0]), "b")], [target],
                  kernel_shape=kernel, strides=[sh, sw], dilations=[dh, dw], pads=pads,
                  group=groups)
        self.finish(pending, target)

    def op_transpose_conv_bias(self, op):
        if op.custom_options is None or len(op.custom_options) < 12:
            raise ConversionError("Convolution2DTransposeBias: missing options")
        padding, sw, sh = struct.unpack_from("<iii", op.custom_options, 0)
        w = self.weight(op, 1)  # O H W I -> I O H W
        kh, kw = w.shape[1], w.shape[2]
        _, h, wi, _ = self.shape(op.inputs[0])
        _, oh, ow, _ = self.shape(op.outputs[0])
        # Padding code 1 is SAME (output = input * stride), 2 is VALID.
        if padding == 1:
            th, tw = max((h - 1) * sh + kh - oh, 0), max((wi - 1) * sw + kw - ow, 0)
            pads = [th // 2, tw // 2, th - th // 2, tw - tw // 2]
        elif padding == 2:
            pads = [0, 0, 0, 0]
        else:
            raise ConversionError("Convolution2DTransposeBias: padding code %d" % padding)
        inputs = [self.name(op.inputs[0]),
                  self.init(np.ascontiguousarray(w.transpose(3, 0, 1, 2)), "w"),
                  self.init(self.bias(op, w.shape[0]), "b")]
        target = self.name(op.outputs[0])
        if pads[:2] == pads[2:]:
            self.node("ConvTranspose", inputs, [target], kernel_shape=[kh, kw],
                      strides=[sh, sw], pads=pads)
            return
        # OpenCV refuses uneven padding here: pad by the smaller amount, then cut the extra
        # row and column off the end.
        wide = self.fresh("wide")
        self.node("ConvTranspose", inputs, [wide], kernel_shape=[kh, kw], strides=[sh, sw],
                  pads=pads[:2] + pads[:2])
        self.node("Slice", [wide, self.init(np.array([0, 0], np.int64), "starts"),
                            self.init(np.array([oh, ow], np.int64), "ends"),
                            self.init(np.array([2, 3], np.int64), "axes")], [target])

    def op_pool(self, op, kind):
        o = op.options
        padding, sw, sh, fw, fh, act = (o.scalar(0, "b"), o.scalar(1, "i"), o.scalar(2, "i"),
                                        o.scalar(3, "i"), o.scalar(4, "i"), 5)
        pads = self.conv_pads(op, [fh, fw], [sh, sw], [1, 1], padding)
        target, pending = self.fused(op, act)
        attrs = dict(kernel_shape=[fh, fw], strides=[sh, sw], pads=pads)
        if kind == "AveragePool":
            attrs["count_include_pad"] = 0  # TFLite averages only the pixels inside
        self.node(kind, [self.name(op.inputs[0])], [target], **attrs)
        self.finish(pending, target)

    def op_binary(self, op, kind):
        rank = max(len(self.shape(i)) for i in op.inputs[:2])
        a = self.operand(op.inputs[0], rank)
        b = self.operand(op.inputs[1], rank)
        target, pending = self.fused(op, 0)
        self.node(kind, [a, b], [target])
        self.finish(pending, target)

    def op_concat(self, op):
        axis = op.options.scalar(0, "i") if op.options is not None else 0
        rank = len(self.shape(op.outputs[0]))
        if rank == 4:
            axis = _nchw_axis(axis)
        target, pending = self.fused(op, 1)
        self.node("Concat", [self.operand(i, rank) for i in op.inputs], [target], axis=axis)
        self.finish(pending, target)

    def op_reshape(self, op):
        source = self.name(op.inputs[0])
        in_rank = len(self.shape(op.inputs[0]))
        out_shape = self.shape(op.outputs[0])
        if in_rank == 4:
            nhwc = self.fresh("nhwc")
            self.node("Transpose", [source], [nhwc], perm=TO_NHWC)
            source = nhwc
        shape = self.init(np.array(out_shape, np.int64), "shape")
        if len(out_shape) == 4:
            flat = self.fresh("reshaped")
            self.node("Reshape", [source, shape], [flat])
            self.node("Transpose", [flat], [self.name(op.outputs[0])], perm=TO_NCHW)
        else:
            self.node("Reshape", [source, shape], [self.name(op.outputs[0])])

    def op_resize(self, op):
        o = op.options
        align = o.scalar(2, "?") if o is not None else False
        half = o.scalar(3, "?") if o is not None else False
        mode = "align_corners" if align else "half_pixel" if half else "asymmetric"
        n, h, w, c = self.shape(op.outputs[0])
        self.node("Resize", [self.name(op.inputs[0]), self.init(np.zeros(0, np.float32), "roi"),
                             self.init(np.zeros(0, np.float32), "scales"),
                             self.init(np.array([n, c, h, w], np.int64), "sizes")],
                  [self.name(op.outputs[0])], mode="linear",
                  coordinate_transformation_mode=mode)

    def op_pad(self, op):
        pads = self.const(op.inputs[1])
        if pads is None or pads.shape != (len(self.shape(op.inputs[0])), 2):
            raise ConversionError("PAD: paddings must be a constant rank x 2 table")
        pads = pads.astype(np.int64)
        if pads.shape[0] == 4:
            pads = pads[TO_NCHW]
        self.node("Pad", [self.name(op.inputs[0]),
                          self.init(np.concatenate([pads[:, 0], pads[:, 1]]), "pads")],
                  [self.name(op.outputs[0])], mode="constant")

    def op_mean(self, op):
        axes = self.const(op.inputs[1])
        keep = op.options.scalar(0, "?") if op.options is not None else False
        in_shape = self.shape(op.inputs[0])
        if len(in_shape) != 4 or axes is None or sorted(int(a) % 4 for a in axes.reshape(-1)) != [1, 2]:
            raise ConversionError("MEAN: only the mean over height and width is supported")
        if keep:
            self.node("GlobalAveragePool", [self.name(op.inputs[0])], [self.name(op.outputs[0])])
        else:
            pooled = self.fresh("pooled")
            self.node("GlobalAveragePool", [self.name(op.inputs[0])], [pooled])
            self.node("Reshape", [pooled, self.init(np.array(self.shape(op.outputs[0]), np.int64),
                                                    "shape")], [self.name(op.outputs[0])])

    def op_prelu(self, op):
        slope = self.const(op.inputs[1])
        if slope is None:
            raise ConversionError("PRELU: slope is not constant")
        channels = self.shape(op.inputs[0])[-1]
        if slope.size != channels:
            raise ConversionError("PRELU: only one slope per channel is supported")
        self.node("PRelu", [self.name(op.inputs[0]),
                            self.init(slope.astype(np.float32).reshape(channels, 1, 1), "slope")],
                  [self.name(op.outputs[0])])

    def op_depth_to_space(self, op):
        block = op.options.scalar(0, "i")
        self.node("DepthToSpace", [self.name(op.inputs[0])], [self.name(op.outputs[0])],
                  blocksize=block, mode="DCR")

    def op_hard_swish(self, op):
        gate = self.fresh("gate")
        source = self.name(op.inputs[0])
        self.node("HardSigmoid", [source], [gate], alpha=1.0 / 6.0, beta=0.5)
        self.node("Mul", [source, gate], [self.name(op.outputs[0])])

    def fold(self, op):
        """DEQUANTIZE and DENSIFY of constants become constants."""
        t = self.g.tensors[op.inputs[0]]
        if op.code == tflite.DENSIFY:
            if t.sparsity is None or t.data is None:
                raise ConversionError("DENSIFY of a tensor that is not a sparse constant")
            value = tflite.densify(t)
        else:
            value = self.consts.get(op.inputs[0], t.data if t.sparsity is None else None)
            if value is None:
                raise ConversionError("DEQUANTIZE of a value that is not a constant")
            if value.dtype != np.float16 and value.dtype != np.float32:
                raise ConversionError("DEQUANTIZE of %s (only float16 is supported)" % value.dtype)
        self.consts[op.outputs[0]] = value.astype(np.float32) \
            if op.code == tflite.DEQUANTIZE else value

    # --- whole graph ----------------------------------------------------------------------
    def emit(self, op):
        unary = {tflite.RELU: "Relu", tflite.LOGISTIC: "Sigmoid", tflite.TANH: "Tanh"}
        binary = {tflite.ADD: "Add", tflite.SUB: "Sub", tflite.MUL: "Mul", tflite.DIV: "Div"}
        code = op.code
        if code in (tflite.DEQUANTIZE, tflite.DENSIFY):
            self.fold(op)
        elif code == tflite.CONV_2D:
            self.op_conv(op, False)
        elif code == tflite.DEPTHWISE_CONV_2D:
            self.op_conv(op, True)
        elif code == tflite.CUSTOM and op.custom == "Convolution2DTransposeBias":
            self.op_transpose_conv_bias(op)
        elif code == tflite.AVERAGE_POOL_2D:
            self.op_pool(op, "AveragePool")
        elif code == tflite.MAX_POOL_2D:
            self.op_pool(op, "MaxPool")
        elif code in binary:
            self.op_binary(op, binary[code])
        elif code in unary:
            self.node(unary[code], [self.name(op.inputs[0])], [self.name(op.outputs[0])])
        elif code == tflite.RELU6:
            self.relu6(self.name(op.inputs[0]), self.name(op.outputs[0]))
        elif code == tflite.HARD_SWISH:
            self.op_hard_swish(op)
        elif code == tflite.PRELU:
            self.op_prelu(op)
        elif code == tflite.PAD:
            self.op_pad(op)
        elif code == tflite.RESIZE_BILINEAR:
            self.op_resize(op)
        elif code == tflite.CONCATENATION:
            self.op_concat(op)
        elif code == tflite.RESHAPE:
            self.op_reshape(op)
        elif code == tflite.DEPTH_TO_SPACE:
            self.op_depth_to_space(op)
        elif code == tflite.MEAN:
            self.op_mean(op)
        else:
            raise ConversionError("operator %s is not supported" % op.name)

    def needed(self, outputs):
        """Operators that the kept outputs depend on, in graph order."""
        producer = {}
        for k, op in enumerate(self.g.operators):
            for t in op.outputs:
                producer[t] = k
        wanted, stack = set(), list(outputs)
        while stack:
            t = stack.pop()
            k = producer.get(t)
            if k is None or k in wanted:
                continue
            wanted.add(k)
            stack.extend(i for i in self.g.operators[k].inputs if i >= 0)
        return [op for k, op in enumerate(self.g.operators) if k in wanted]

    def run(self):
        outputs = self.g.outputs
        if self.keep:
            by_name = {self.g.tensors[i].name: i for i in outputs}
            missing = [n for n in self.keep if n not in by_name]
            if missing:
                raise ConversionError("no output named %s (outputs: %s)"
                                      % (", ".join(missing), ", ".join(by_name)))
            outputs = [by_name[n] for n in self.keep]
        for op in self.needed(outputs):
            self.emit(op)

        def info(index):
            shape = list(self.shape(index))
            if len(shape) == 4:
                shape = [shape[i] for i in TO_NCHW]
            return helper.make_tensor_value_info(self.name(index), TensorProto.FLOAT, shape)

        for i in self.g.inputs:
            if self.g.tensors[i].dtype != np.float32:
                raise ConversionError("input %s is not float32" % self.g.tensors[i].name)
        graph = helper.make_graph(self.nodes, "converted", [info(i) for i in self.g.inputs],
                                  [info(i) for i in outputs], self.inits)
        model = helper.make_model(graph, producer_name="kaz-modelconv",
                                  opset_imports=[helper.make_opsetid("", OPSET)])
        model.ir_version = 7
        onnx.checker.check_model(model)
        return model


def convert(data, keep_outputs=None):
    """TFLite bytes -> onnx.ModelProto. Raises TfliteError or ConversionError."""
    return Converter(tflite.read(data), keep_outputs).run()
