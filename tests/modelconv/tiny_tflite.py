# SPDX-License-Identifier: MIT
"""Writes small TFLite models with the flatbuffers builder, for the converter's tests.

A model is described as tensors (shape, optional float32/float16 constant) and operators
(builtin code or custom name, inputs, outputs, options as (slot, format, value) triples).
Also runs a tool on files in a scratch folder, as the converter's and unpacker's tests do.
"""
import os
import pathlib
import subprocess
import sys
import tempfile

import flatbuffers
import numpy as np

TYPES = {np.dtype(np.float32): 0, np.dtype(np.float16): 1, np.dtype(np.int32): 2}
SLOT = {"b": "PrependInt8Slot", "i": "PrependInt32Slot", "?": "PrependBoolSlot"}


def _ints(b, values):
    b.StartVector(4, len(values), 4)
    for v in reversed(values):
        b.PrependInt32(int(v))
    return b.EndVector()


def _bytes(b, data):
    return b.CreateNumpyVector(np.frombuffer(data, np.uint8))


def _offsets(b, offsets):
    b.StartVector(4, len(offsets), 4)
    for o in reversed(offsets):
        b.PrependUOffsetTRelative(o)
    return b.EndVector()


def _table(b, fields):
    """fields: list of (slot, kind, value); kind "b"/"i"/"?" scalars, "o" an offset."""
    b.StartObject(max([s for s, _, _ in fields] + [-1]) + 1)
    for slot, kind, value in fields:
        if kind == "o":
            b.PrependUOffsetTRelativeSlot(slot, value, 0)
        else:
            getattr(b, SLOT[kind])(slot, value, 0 if kind != "?" else False)
    return b.EndObject()


def _sparsity(b, sp):
    """sp: (traversal order, block map, dims); dims: (format, dense size, segments, indices),
    segments and indices as int32 lists for sparse dims."""
    order, block_map, dims = sp
    dim_tables = []
    for fmt, size, segments, indices in dims:
        fields = [(0, "b", fmt), (1, "i", size)]
        if fmt == 1:
            seg = _table(b, [(0, "o", _ints(b, segments))])
            idx = _table(b, [(0, "o", _ints(b, indices))])
            fields += [(2, "b", 1), (3, "o", seg), (4, "b", 1), (5, "o", idx)]
        dim_tables.append(_table(b, fields))
    return _table(b, [(0, "o", _ints(b, order)), (1, "o", _ints(b, block_map)),
                      (2, "o", _offsets(b, dim_tables))])


def model(tensors, operators, inputs, outputs):
    """tensors: list of (shape, array or None[, sparsity]); operators: list of
    (code or custom name, inputs, outputs, options triples or custom option bytes).
    Returns the model's bytes."""
    b = flatbuffers.Builder(1024)
    buffers = [_table(b, [])]  # buffer 0 is the empty one, as TFLite writes it
    tensor_tables = []
    for i, (shape, value, *sparse) in enumerate(tensors):
        buffer_index = 0
        dtype = np.dtype(np.float32)
        if value is not None:
            dtype = value.dtype
            buffers.append(_table(b, [(0, "o", _bytes(b, np.ascontiguousarray(value).tobytes()))]))
            buffer_index = len(buffers) - 1
        name = b.CreateString("t%d" % i)
        shape_vec = _ints(b, shape)
        sparsity = _sparsity(b, sparse[0]) if sparse else None
        b.StartObject(7)
        if sparsity is not None:
            b.PrependUOffsetTRelativeSlot(6, sparsity, 0)
        b.PrependUOffsetTRelativeSlot(0, shape_vec, 0)
        b.PrependInt8Slot(1, TYPES[dtype], 0)
        b.PrependUint32Slot(2, buffer_index, 0)
        b.PrependUOffsetTRelativeSlot(3, name, 0)
        tensor_tables.append(b.EndObject())
    codes, op_tables = [], []
    for code, ins, outs, options in operators:
        if code not in codes:
            codes.append(code)
        ins_vec, outs_vec = _ints(b, ins), _ints(b, outs)
        fields = [(0, "i", codes.index(code)), (1, "o", ins_vec), (2, "o", outs_vec)]
        if isinstance(options, bytes):
            fields.append((5, "o", _bytes(b, options)))
        elif options:
            fields.append((4, "o", _table(b, options)))
        op_tables.append(_table(b, fields))
    code_tables = []
    for code in codes:
        if isinstance(code, str):
            fields = [(0, "b", 32), (1, "o", b.CreateString(code)), (3, "i", 32)]
        else:
            fields = [(0, "b", min(code, 127)), (3, "i", code)]
        code_tables.append(_table(b, fields))
    subgraph = _table(b, [(0, "o", _offsets(b, tensor_tables)), (1, "o", _ints(b, inputs)),
                          (2, "o", _ints(b, outputs)), (3, "o", _offsets(b, op_tables))])
    root = _table(b, [(0, "i", 3), (1, "o", _offsets(b, code_tables)),
                      (2, "o", _offsets(b, [subgraph])), (4, "o", _offsets(b, buffers))])
    b.Finish(root, file_identifier=b"TFL3")
    return bytes(b.Output())


def run_in_folder(files, command, target):
    """Writes files ({name: bytes}) to a scratch folder and runs command (a Python script and
    its arguments) there. Returns the run, the bytes left in target (None when there are none)
    and the folder's listing."""
    with tempfile.TemporaryDirectory() as d:
        for name, data in files.items():
            pathlib.Path(d, name).write_bytes(data)
        run = subprocess.run([sys.executable] + command, cwd=d, capture_output=True, text=True)
        left = pathlib.Path(d, target)
        return run, left.read_bytes() if left.exists() else None, sorted(os.listdir(d))
