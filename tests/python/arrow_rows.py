"""An object with the Arrow C interface, made by hand."""
import ctypes

import numpy as np


class Schema(ctypes.Structure):
    pass


class Array(ctypes.Structure):
    pass


RELEASE = {kind: ctypes.CFUNCTYPE(None, ctypes.POINTER(kind)) for kind in (Schema, Array)}
Schema._fields_ = [("format", ctypes.c_char_p), ("name", ctypes.c_char_p), ("metadata", ctypes.c_char_p),
                   ("flags", ctypes.c_int64), ("n_children", ctypes.c_int64),
                   ("children", ctypes.POINTER(ctypes.POINTER(Schema))), ("dictionary", ctypes.POINTER(Schema)),
                   ("release", RELEASE[Schema]), ("private_data", ctypes.c_void_p)]
Array._fields_ = [("length", ctypes.c_int64), ("null_count", ctypes.c_int64), ("offset", ctypes.c_int64),
                  ("n_buffers", ctypes.c_int64), ("n_children", ctypes.c_int64),
                  ("buffers", ctypes.POINTER(ctypes.c_void_p)), ("children", ctypes.POINTER(ctypes.POINTER(Array))),
                  ("dictionary", ctypes.POINTER(Array)), ("release", RELEASE[Array]),
                  ("private_data", ctypes.c_void_p)]
capsule = ctypes.pythonapi.PyCapsule_New
capsule.restype, capsule.argtypes = ctypes.py_object, [ctypes.c_void_p, ctypes.c_char_p, ctypes.c_void_p]


class ArrowRows:
    """Columns of (format, name, buffers, dictionary of texts, flags), with an offset of one row."""

    def __init__(self, columns, n):
        self.columns, self.n, self.kept, self.released = columns, n, [], 0

    def keep(self, value):
        self.kept.append(value)
        return value

    def release(self, kind):
        def done(structure):
            structure.contents.release = RELEASE[kind]()
            self.released += 1
        return self.keep(RELEASE[kind](done))

    def texts(self, values):
        joined = "".join(values).encode()
        offsets = np.cumsum([0] + [len(v.encode()) for v in values]).astype(np.int32)
        return [None, offsets, np.frombuffer(joined or b" ", np.uint8)]

    def array(self, buffers, n, offset, dictionary=None):
        addresses = (ctypes.c_void_p * len(buffers))(*[None if b is None else self.keep(b).ctypes.data for b in buffers])
        inner = None if dictionary is None else ctypes.pointer(
            self.keep(self.array(self.texts(dictionary), len(dictionary), 0)))
        return self.keep(Array(n, -1, offset, len(buffers), 0, self.keep(addresses), None, inner))

    def __arrow_c_array__(self, requested_schema=None):
        schemas, arrays = [], []
        for form, name, buffers, dictionary, flags in self.columns:
            inner = None if dictionary is None else ctypes.pointer(self.keep(Schema(b"u", b"", None, 0, 0)))
            schemas.append(ctypes.pointer(self.keep(Schema(form, name, None, flags, 0, None, inner))))
            arrays.append(ctypes.pointer(self.array(buffers, self.n + 1, 1, dictionary)))
        n = len(self.columns)
        children = [self.keep((ctypes.POINTER(kind) * n)(*all)) for kind, all in ((Schema, schemas), (Array, arrays))]
        schema = self.keep(Schema(b"+s", b"", None, 0, n, children[0], None, self.release(Schema)))
        array = self.keep(Array(self.n, 0, 0, 1, n, self.keep((ctypes.c_void_p * 1)()), children[1], None,
                                self.release(Array)))
        return (capsule(ctypes.addressof(schema), b"arrow_schema", None),
                capsule(ctypes.addressof(array), b"arrow_array", None))
