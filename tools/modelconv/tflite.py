# SPDX-License-Identifier: MIT
"""Reads the parts of a TFLite flatbuffer the converter needs.

Only the tables our networks use are read, by field number, with bounds checked on every
access, so a truncated or corrupt file raises TfliteError instead of reading garbage.
"""
import math
import struct

import numpy as np

# Builtin operator codes (TFLite's BuiltinOperator enum).
ADD, AVERAGE_POOL_2D, CONCATENATION, CONV_2D, DEPTHWISE_CONV_2D, DEPTH_TO_SPACE, DEQUANTIZE = \
    0, 1, 2, 3, 4, 5, 6
FULLY_CONNECTED, LOGISTIC, MAX_POOL_2D, MUL, RELU, RELU6, RESHAPE, RESIZE_BILINEAR = \
    9, 14, 17, 18, 19, 21, 22, 23
TANH, CUSTOM, PAD, MEAN, SUB, DIV, PRELU, HARD_SWISH, DENSIFY = \
    28, 32, 34, 40, 41, 42, 54, 117, 124
OP_NAMES = {ADD: "ADD", AVERAGE_POOL_2D: "AVERAGE_POOL_2D", CONCATENATION: "CONCATENATION",
            CONV_2D: "CONV_2D", DEPTHWISE_CONV_2D: "DEPTHWISE_CONV_2D",
            DEPTH_TO_SPACE: "DEPTH_TO_SPACE", DEQUANTIZE: "DEQUANTIZE",
            FULLY_CONNECTED: "FULLY_CONNECTED", LOGISTIC: "LOGISTIC", MAX_POOL_2D: "MAX_POOL_2D",
            MUL: "MUL", RELU: "RELU", RELU6: "RELU6", RESHAPE: "RESHAPE",
            RESIZE_BILINEAR: "RESIZE_BILINEAR", TANH: "TANH", CUSTOM: "CUSTOM", PAD: "PAD",
            MEAN: "MEAN", SUB: "SUB", DIV: "DIV", PRELU: "PRELU", HARD_SWISH: "HARD_SWISH",
            DENSIFY: "DENSIFY"}

# TensorType -> numpy dtype (the types weights and activations of our networks use).
DTYPES = {0: np.float32, 1: np.float16, 2: np.int32, 3: np.uint8, 4: np.int64, 9: np.int8}

# Fused activation codes.
ACT_NONE, ACT_RELU, ACT_RELU_N1_TO_1, ACT_RELU6, ACT_TANH = 0, 1, 2, 3, 4
SAME, VALID = 0, 1


# Far above any network we convert (the largest tensor holds a few million values); a shape past
# it is corrupt, and would otherwise surface as a huge allocation or a reshape error.
MAX_ELEMENTS = 1 << 28


class TfliteError(ValueError):
    pass


class Table:
    """A flatbuffer table: fields by index, every offset checked against the buffer."""

    def __init__(self, buf, pos):
        self.buf = buf
        self.pos = pos
        _need(buf, pos, 4)
        vt = pos - struct.unpack_from("<i", buf, pos)[0]
        _need(buf, vt, 4)
        self.vt = vt
        self.vt_len, self.obj_len = struct.unpack_from("<HH", buf, vt)
        _need(buf, vt, self.vt_len)
        _need(buf, pos, self.obj_len)

    def _field(self, index):
        slot = 4 + 2 * index
        if slot + 2 > self.vt_len:
            return 0
        off = struct.unpack_from("<H", self.buf, self.vt + slot)[0]
        if off and off >= self.obj_len:
            raise TfliteError("field outside its table")
        return off

    def scalar(self, index, fmt, default=0):
        off = self._field(index)
        if not off:
            return default
        _need(self.buf, self.pos + off, struct.calcsize(fmt))
        return struct.unpack_from("<" + fmt, self.buf, self.pos + off)[0]

    def _indirect(self, index):
        off = self._field(index)
        if not off:
            return None
        at = self.pos + off
        _need(self.buf, at, 4)
        return at + struct.unpack_from("<I", self.buf, at)[0]

    def table(self, index):
        at = self._indirect(index)
        return None if at is None else Table(self.buf, at)

    def _vector(self, index):
        at = self._indirect(index)
        if at is None:
            return None, 0
        _need(self.buf, at, 4)
        return at + 4, struct.unpack_from("<I", self.buf, at)[0]

    def array(self, index, dtype):
        start, count = self._vector(index)
        if start is None:
            return None
        dtype = np.dtype(dtype).newbyteorder("<")
        _need(self.buf, start, count * dtype.itemsize)
        return np.frombuffer(self.buf, dtype, count, start)

    def string(self, index):
        raw = self.array(index, np.uint8)
        return None if raw is None else raw.tobytes().decode("utf-8", "replace")

    def tables(self, index):
        start, count = self._vector(index)
        if start is None:
            return []
        _need(self.buf, start, 4 * count)
        return [Table(self.buf, start + 4 * i + struct.unpack_from("<I", self.buf, start + 4 * i)[0])
                for i in range(count)]


def _need(buf, at, size):
    if at < 0 or size < 0 or at + size > len(buf):
        raise TfliteError("truncated or corrupt file (an offset points past the end)")


class Tensor:
    def __init__(self, index, name, shape, dtype, data, sparsity):
        self.index, self.name, self.shape, self.dtype = index, name, shape, dtype
        self.data = data          # numpy array for constants, else None
        self.sparsity = sparsity  # dict for sparse constants, else None


class Operator:
    def __init__(self, code, custom, inputs, outputs, options, custom_options):
        self.code, self.custom = code, custom
        self.inputs, self.outputs = inputs, outputs
        self.options = options              # Table or None
        self.custom_options = custom_options  # bytes or None

    @property
    def name(self):
        return self.custom if self.code == CUSTOM else OP_NAMES.get(self.code, str(self.code))


class Graph:
    def __init__(self, tensors, inputs, outputs, operators):
        self.tensors, self.inputs, self.outputs, self.operators = \
            tensors, inputs, outputs, operators


def _sparsity(table):
    if table is None:
        return None
    dims = []
    for d in table.tables(2):
        seg = d.table(3)
        idx = d.table(5)
        dims.append({
            "format": d.scalar(0, "b"),
            "dense_size": d.scalar(1, "i"),
            "segments": _index_vector(d.scalar(2, "B"), seg),
            "indices": _index_vector(d.scalar(4, "B"), idx),
        })
    order = table.array(0, np.int32)
    block_map = table.array(1, np.int32)
    return {"traversal_order": [] if order is None else order.tolist(),
            "block_map": [] if block_map is None else block_map.tolist(),
            "dims": dims}


def _index_vector(kind, table):
    if table is None or kind == 0:
        return None
    dtype = {1: np.int32, 2: np.uint16, 3: np.uint8}.get(kind)
    if dtype is None:
        raise TfliteError("unknown sparse index vector type %d" % kind)
    values = table.array(0, dtype)
    return np.zeros(0, np.int64) if values is None else values.astype(np.int64)


def read(data):
    """Parses a TFLite model (bytes); returns its first subgraph as a Graph."""
    if len(data) < 8:
        raise TfliteError("file too short to be a TFLite model")
    if data[4:8] != b"TFL3":
        raise TfliteError("not a TFLite model (no TFL3 identifier)")
    model = Table(data, struct.unpack_from("<I", data, 0)[0])
    codes = []
    for oc in model.tables(1):
        code = max(oc.scalar(0, "b"), oc.scalar(3, "i"))
        codes.append((code, oc.string(1)))
    buffers = [b.array(0, np.uint8) for b in model.tables(4)]
    subgraphs = model.tables(2)
    if not subgraphs:
        raise TfliteError("model has no subgraph")
    sg = subgraphs[0]
    tensors = []
    for i, t in enumerate(sg.tables(0)):
        shape = t.array(0, np.int32)
        shape = [] if shape is None else [int(v) for v in shape]
        # Checked in Python's exact integers: a product in int64 can wrap to the value count.
        if any(v < 1 for v in shape) or math.prod(shape) > MAX_ELEMENTS:
            raise TfliteError("tensor %d has an impossible shape %s" % (i, shape))
        ttype = t.scalar(1, "b")
        if ttype not in DTYPES:
            raise TfliteError("tensor %d has unsupported type %d" % (i, ttype))
        dtype = DTYPES[ttype]
        buffer_index = t.scalar(2, "I")
        if buffer_index >= len(buffers):
            raise TfliteError("tensor %d names buffer %d of %d" % (i, buffer_index, len(buffers)))
        raw = buffers[buffer_index]
        sparsity = _sparsity(t.table(6))
        value = None
        if raw is not None and raw.size:
            if raw.size % np.dtype(dtype).itemsize:
                raise TfliteError("tensor %d: buffer size does not fit its type" % i)
            value = raw.view(np.dtype(dtype).newbyteorder("<")).astype(dtype)
            if sparsity is None:
                if value.size != math.prod(shape):
                    raise TfliteError("tensor %d: %d values for shape %s" % (i, value.size, shape))
                value = value.reshape(shape)
        tensors.append(Tensor(i, t.string(3) or "t%d" % i, shape, dtype, value, sparsity))
    operators = []
    for op in sg.tables(3):
        index = op.scalar(0, "I")
        if index >= len(codes):
            raise TfliteError("operator names code %d of %d" % (index, len(codes)))
        code, custom = codes[index]
        ins = [int(v) for v in (op.array(1, np.int32) if op.array(1, np.int32) is not None else [])]
        outs = [int(v) for v in (op.array(2, np.int32) if op.array(2, np.int32) is not None else [])]
        for v in ins + outs:
            if v >= len(tensors) or v < -1:
                raise TfliteError("operator refers to tensor %d of %d" % (v, len(tensors)))
        custom_options = op.array(5, np.uint8)
        operators.append(Operator(code, custom, ins, outs, op.table(4),
                                  None if custom_options is None else custom_options.tobytes()))
    gin = sg.array(1, np.int32)
    gout = sg.array(2, np.int32)
    if gin is None or gout is None:
        raise TfliteError("subgraph has no inputs or outputs")
    for v in list(gin) + list(gout):
        if not 0 <= v < len(tensors):
            raise TfliteError("graph input/output %d is not a tensor" % v)
    return Graph(tensors, [int(v) for v in gin], [int(v) for v in gout], operators)


def densify(tensor):
    """Dense values of a sparse constant (TFLite's traversal order / block map / CSR dims)."""
    sp = tensor.sparsity
    shape = tensor.shape
    order = sp["traversal_order"]
    block_map = sp["block_map"]
    dims = sp["dims"]
    if len(order) != len(dims):
        raise TfliteError("tensor %s: sparsity has %d dims for %d traversal entries"
                          % (tensor.name, len(dims), len(order)))
    rank = len(shape)
    # Size of each traversed dimension: the original dims, then the block dims.
    sizes = []
    for k, d in enumerate(dims):
        sizes.append(d["dense_size"] if d["format"] == 0 else None)
    values = tensor.data.reshape(-1)
    coords = []  # one coordinate tuple per stored value, in traversal order

    def walk(level, prefix, position):
        if level == len(dims):
            coords.append(prefix)
            return
        d = dims[level]
        if d["format"] == 0:
            for i in range(d["dense_size"]):
                walk(level + 1, prefix + (i,), position * d["dense_size"] + i)
        else:
            seg, idx = d["segments"], d["indices"]
            if seg is None or idx is None or position + 1 >= len(seg):
                raise TfliteError("tensor %s: bad sparse segments" % tensor.name)
            for j in range(int(seg[position]), int(seg[position + 1])):
                if j >= len(idx):
                    raise TfliteError("tensor %s: bad sparse indices" % tensor.name)
                walk(level + 1, prefix + (int(idx[j]),), j)

    walk(0, (), 0)
    if len(coords) != values.size:
        raise TfliteError("tensor %s: %d stored values, %d positions"
                          % (tensor.name, values.size, len(coords)))
    dense = np.zeros(shape, tensor.dtype)
    block_sizes = {}
    for b, dim in enumerate(block_map):
        block_sizes[dim] = dims[order.index(rank + b)]["dense_size"]
    for c, v in zip(coords, values):
        full = [0] * rank
        for level, i in enumerate(c):
            axis = order[level]
            if axis < rank:
                full[axis] += i * block_sizes.get(axis, 1)
            else:
                full[block_map[axis - rank]] += i
        dense[tuple(full)] = v
    return dense
