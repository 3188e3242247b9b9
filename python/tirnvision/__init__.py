"""tirnvision: the image-processing plug-in, driven from Python.

The classes and functions are those of the plug-in's own tables, read at
import through the host emulator; every method follows its prototype line.

    import tirnvision as tv
    img = tv.CImage.from_numpy(array)        # uint8, uint16 or float32
    gauss = tv.CGaussFilter(img.depth())
    gauss.setBandwidth(2.0)
    out = tv.CImage(img.depth())
    gauss.setInput(img); gauss.setOutput(out); gauss.exec()
    result = out.to_numpy()                  # or: gauss(img).to_numpy()

Script errors become ScriptError(kind, message). What the library prints
goes to sys.stdout unless silenced (``with tirnvision.silenced():`` or
``tirnvision.quiet = True``). The plug-in is the one this package was built
with unless the environment names another in TIRNVISION_MODULE.
"""

import atexit
import contextlib
import inspect
import os
import re
import sys
import warnings
import weakref

import numpy as np

from . import _config, _core

__all__ = ["ScriptError", "UnitWarning", "Network", "Unit", "silenced", "quiet", "version",
           "classes", "functions"]

# When true, what the library prints is dropped instead of going to sys.stdout.
quiet = False


class ScriptError(Exception):
    """A script error raised by the library (prog_throw or qor_throw)."""

    def __init__(self, kind, message):
        super().__init__(kind, message)
        self.kind = kind
        self.message = message

    def __str__(self):
        return f"{self.kind} {self.message}".rstrip("\n")


@contextlib.contextmanager
def silenced():
    """Drops what the library prints while the block runs."""
    global quiet
    before = quiet
    quiet = True
    try:
        yield
    finally:
        quiet = before


def _module_path():
    path = os.environ.get("TIRNVISION_MODULE") or _config.MODULE_PATH
    return os.path.join(os.path.dirname(os.path.abspath(__file__)), path)


# --- Purposes and parameter meanings ------------------------------------------

_TAGS = re.compile(r"\s*\{([^}]*)\}\s*$")


def _read_docs(path):
    docs = {}
    with open(path, encoding="utf-8") as f:
        for line in f:
            line = line.strip()
            if not line or line.startswith("#") or " = " not in line:
                continue
            key, text = line.split(" = ", 1)
            m = _TAGS.search(text)
            tags = m.group(1).split() if m else []
            docs[key] = (text[: m.start()] if m else text, tags)
    return docs


_docs = _read_docs(os.path.join(os.path.dirname(__file__), "tirnvision_docs.txt"))


def _doc(key, table=None):
    # A class's own entry, else the one its prefix's suffix shares with every
    # class ("*_0_exec" for "CGaussFilter_0_exec").
    if key not in _docs and table and key.startswith(table):
        key = "*" + key[len(table):]
    return _docs.get(key, ("", []))


# --- Prototypes and argument binding ---------------------------------------------

_MISSING = object()
_INT_RANGE = (-(2**31), 2**31 - 1)
_ARRAY_DTYPES = {"byte*": np.uint8, "float*": np.float32}


class _Param:
    def __init__(self, number, export, table, spec):
        self.type, self.name, self.has_default, self.default = spec
        self.meaning, self.tags = _doc(f"{export}.{number}", table)


class _Proto:
    def __init__(self, table, index, d):
        self.table = table
        self.index = index
        self.line = d["line"]
        self.kind = d["kind"]
        self.result = d["result"]
        self.name = d["name"]
        self.export = d["export"]
        self.purpose, self.tags = _doc(self.export, table)
        self.params = [_Param(i + 1, self.export, table, p) for i, p in enumerate(d["params"])]
        self.required = next((i for i, p in enumerate(self.params) if p.has_default),
                             len(self.params))

    def describe(self):
        lines = [self.line + f"    [{self.export}]"]
        if self.purpose:
            lines.append("    " + self.purpose)
        for i, p in enumerate(self.params):
            if p.meaning:
                lines.append(f"      {p.name or i + 1}: {p.meaning}")
        return "\n".join(lines)


def _accepts(ptype, value, lenient):
    if ptype == "int":
        return isinstance(value, (int, np.integer))
    if ptype == "float":
        return isinstance(value, (float, np.floating)) or (
            lenient and isinstance(value, (int, np.integer)))
    if ptype == "char*":
        return isinstance(value, (str, bytes, bytearray))
    if ptype in _ARRAY_DTYPES:
        if isinstance(value, np.ndarray):
            return value.dtype == _ARRAY_DTYPES[ptype]
        return value is None or isinstance(value, (list, tuple))
    if ptype == "class CImage":
        return value is None or isinstance(value, CImage)
    return False


def _bind(proto, args, kwargs, lenient):
    """Positional values for proto, up to the last one given; None if it does not fit."""
    params = proto.params
    if len(args) > len(params):
        return None
    values = list(args) + [_MISSING] * (len(params) - len(args))
    for key, value in kwargs.items():
        index = next((i for i, p in enumerate(params) if p.name == key), None)
        if index is None or values[index] is not _MISSING:
            return None
        values[index] = value
    given = [i for i, v in enumerate(values) if v is not _MISSING]
    values = values[: given[-1] + 1] if given else []
    if len(values) < proto.required:
        return None
    for i, value in enumerate(values):
        p = params[i]
        if value is _MISSING:
            if not p.has_default:
                return None
            # A gap before a later keyword: filled as the host fills defaults.
            values[i] = (int(p.default) if p.type == "int" else
                         float(np.float32(p.default)) if p.type == "float" else None)
        elif not _accepts(p.type, value, lenient):
            return None
    return values


def _choose(protos, args, kwargs, owner):
    for lenient in (False, True):
        for proto in protos:
            values = _bind(proto, args, kwargs, lenient)
            if values is not None:
                return proto, values
    lines = "\n  ".join(p.line for p in protos)
    raise TypeError(f"no {owner} takes these arguments; it has:\n  {lines}")


def _depth_code(code, rule):
    """The depth a constructor's depth code selects, None if it is refused."""
    if code in (8, -1):
        return 8
    if code in (16, -2):
        return 16
    if code in (32, -3):
        return 32
    if rule == "depth2" and code <= 0:
        return 32
    return None


# --- Checks before calls the library would answer by ending the process ------------

def _check(proto, values, obj):
    info = None
    name = f"{proto.table or 'function'}.{proto.name}"
    needs = [t.split("=", 1)[1] for t in proto.tags if t.startswith("needs=")]
    needs = [n for group in needs for n in group.split(",")]
    if obj is not None:
        needs += obj._generic_needs(proto)
    # The library would give a shared channel an 8-bit copy whatever the depth.
    if "shared-depth8" in proto.tags and obj.depth() != 8 and obj.isAttached():
        raise ValueError(f"{name}: a {obj.depth()}-bit image with shared channels "
                         "would get 8-bit copies of them")
    for needed in needs:
        if needed not in obj._keep:
            raise ValueError(f"{name}: no {needed} image set (call set{needed.capitalize()} first)")
    for i, value in enumerate(values):
        p = proto.params[i]
        if p.type == "class CImage":
            if value is None:
                raise ValueError(f"{name}: argument {i + 1} needs an image, not None")
            if value._handle is None:
                raise ValueError(f"{name}: argument {i + 1} is a closed image")
            want = obj._wanted_depth(proto) if obj is not None else None
            for tag in p.tags:
                if re.fullmatch(r"depth(8|16|32)", tag):
                    want = int(tag[5:])
            if want is not None and value.depth() != want:
                raise ValueError(f"{name}: argument {i + 1} is a {value.depth()}-bit image, "
                                 f"this needs a {want}-bit one")
        for tag in p.tags:
            if tag in ("x", "y", "c", "c-1", "xf", "yf", "c-input") or tag.startswith("c-of="):
                if tag == "c-input":
                    w, h, c = obj._keep["input"]._info()[:3]
                elif tag.startswith("c-of="):
                    other = values[int(tag[5:]) - 1]
                    if not isinstance(other, CImage) or other._handle is None:
                        continue  # refused below, as that argument
                    w, h, c = other._info()[:3]
                else:
                    if info is None:
                        info = obj._info()
                    w, h, c = info[:3]
                if tag in ("x", "xf"):
                    limit, what = w, "column"
                elif tag in ("y", "yf"):
                    limit, what = h, "row"
                else:
                    limit, what = c, "channel"
                if tag == "c-1" and value == -1:
                    continue
                ok = 0 <= value <= limit - 1 if tag in ("xf", "yf") else 0 <= value < limit
                if not ok:
                    raise IndexError(f"{name}: {what} {value} outside 0..{limit - 1}")
            elif tag.startswith("len="):
                need = tag[4:]
                if need in ("pixels", "all", "channels"):
                    if info is None:
                        source = obj if obj is not None else values[0]
                        info = source._info()
                    w, h, c = info[:3]
                    n = {"pixels": w * h, "all": w * h * c, "channels": c}[need]
                else:
                    n = 1
                    for factor in need.split("*"):
                        n *= int(values[int(factor[3:]) - 1]) if factor.startswith("arg") else int(factor)
                size = None if value is None else np.size(value)
                if size is None or size < n:
                    raise ValueError(f"{name}: argument {i + 1} needs {n} elements, got {size}")


# --- Calls -------------------------------------------------------------------------

def _convert(proto, values, keep):
    out = []
    for i, value in enumerate(values):
        ptype = proto.params[i].type
        if ptype == "int":
            value = int(value)
            if not _INT_RANGE[0] <= value <= _INT_RANGE[1]:
                raise OverflowError(f"{proto.name}: argument {i + 1} does not fit an int")
            out.append(("int", value))
        elif ptype == "float":
            out.append(("float", float(value)))
        elif ptype == "class CImage":
            out.append(("class CImage", value._handle))
        elif ptype == "char*" and isinstance(value, (str, bytes)):
            out.append(("char*", value.encode() if isinstance(value, str) else value))
        elif ptype == "char*":  # a bytearray: a buffer the library writes into
            if not value:
                raise ValueError(f"{proto.name}: a text buffer needs room for its final zero")
            array = np.frombuffer(value, dtype=np.uint8)
            keep.append(array)
            out.append(("char*", (array.ctypes.data, len(value) - 1)))
        elif value is None:
            out.append((ptype, (0, 0)))
        else:
            array = _as_array(value, _ARRAY_DTYPES[ptype], proto.name, i)
            keep.append(array)
            out.append((ptype, (array.ctypes.data, array.size)))
    return out


def _as_array(value, dtype, name, i):
    if isinstance(value, np.ndarray):
        if value.dtype != dtype:
            raise TypeError(f"{name}: argument {i + 1} must be a {np.dtype(dtype).name} array, "
                            f"not {value.dtype}")
        if not value.flags.c_contiguous:
            raise ValueError(f"{name}: argument {i + 1} must be C-contiguous")
        # The library cannot tell what it only reads: a read-only array goes
        # as a copy, so that a result written into it cannot fault.
        return value if value.flags.writeable else value.copy()
    return np.array(value, dtype=dtype)


def _emit(printed):
    if printed and not quiet:
        sys.stdout.write(printed.decode("utf-8", "replace"))


def _invoke(proto, obj, values):
    _check(proto, values, obj)
    keep = []
    args = _convert(proto, values, keep)
    handle = obj._handle if obj is not None else 0
    result, printed, errors = _core.call(proto.table or "", proto.index, handle, args)
    _emit(printed)
    if proto.kind == "method" and proto.result == "class CImage":
        result = CImage._adopt(result) if result else None
    if errors:
        if isinstance(result, CImage):
            result.close()
        elif proto.kind == "constructor" and result:
            _core.release(result)
        kind, message = errors[0]
        raise ScriptError(kind.decode("utf-8", "replace"), message.decode("utf-8", "replace"))
    return result, keep


# --- Objects -------------------------------------------------------------------------

class _Object:
    """A handle of the plug-in, freed by close() or when the object goes."""

    _table = None
    _constructors = ()
    _handle = None

    def __init__(self, *args, **kwargs):
        self._keep = {}
        self._users = weakref.WeakSet()
        self._depth = None
        proto, values = _choose(self._constructors, args, kwargs, self._table)
        for i, p in enumerate(proto.params):
            if i < len(values):
                for tag in p.tags:
                    if tag in ("depth", "depth2"):
                        self._depth = _depth_code(int(values[i]), tag)
        handle, keep = _invoke(proto, None, values)
        if not handle:
            raise ScriptError("", f"{self._table}: the constructor returned no object")
        self._handle = handle
        for i, p in enumerate(proto.params):
            if "keep=mask" in p.tags and i < len(values) and values[i] is not None:
                self._keep["mask"] = keep[0]

    @classmethod
    def _adopt(cls, handle):
        obj = cls.__new__(cls)
        obj._keep = {}
        obj._users = weakref.WeakSet()
        obj._depth = None
        obj._handle = handle
        return obj

    def close(self):
        """Frees the handle now; later calls raise ValueError."""
        if self._handle is None:
            return
        holders = [u for u in self._users if u._handle is not None and
                   any(v is self for v in u._keep.values())]
        if holders:
            raise ValueError(f"this image is still held by a {holders[0]._table}; "
                             "close that first or give it another image")
        handle, self._handle = self._handle, None
        self._keep = {}
        if _core is not None and _core.loaded():
            _core.release(handle)

    def __del__(self):
        try:
            self.close()
        except Exception:
            pass

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __getattr__(self, name):
        if name.startswith("_"):
            raise AttributeError(name)
        raise AttributeError(f"{self._table} has no method {name}; it has: "
                             + ", ".join(sorted(self._methods)))

    def __repr__(self):
        state = "closed" if self._handle is None else hex(self._handle)
        return f"<tirnvision.{self._table} {state}>"

    def __call__(self, image):
        """Runs this filter on image and returns the result, a new image of
        the filter's depth (the filter keeps both, as setInput/setOutput do)."""
        out = CImage(self._depth or image.depth())
        if "setInput" in self._methods:
            self.setInput(image)
            self.setOutput(out)
            self.exec()
        elif any(len(p.params) == 2 for p in self._methods.get("exec", ())):
            self.exec(image, out)
        else:
            out.close()
            raise TypeError(f"{self._table} is not a filter")
        return out

    # Filters keep pointers to their images: what they need and keep follows
    # from the method names that every filter class shares.
    def _generic_needs(self, proto):
        if "setInput" not in self._methods:
            return []
        if proto.name == "exec" and not proto.params:
            return ["input", "output"]
        if proto.name == "selectChannel":
            return ["input"]
        return []

    def _wanted_depth(self, proto):
        # A filter takes every image as one of its own depth; an image joins
        # the channels of an image of any depth (converted to its own).
        if isinstance(self, CImage):
            return None
        if proto.name in ("setInput", "setOutput", "exec"):
            return self._depth
        return None

    def _after(self, proto, values):
        if proto.name in ("setInput", "setOutput") and values:
            role = "input" if proto.name == "setInput" else "output"
            self._keep[role] = values[0]
            values[0]._users.add(self)


def _signature(protos, bound):
    """The one prototype's parameters as a Python signature, for help()."""
    if len(protos) != 1:
        return None
    params = [inspect.Parameter("self", inspect.Parameter.POSITIONAL_ONLY)] if bound else []
    for i, p in enumerate(protos[0].params):
        default = inspect.Parameter.empty
        if p.has_default:
            default = (int(p.default) if p.type == "int" else
                       float(np.float32(p.default)) if p.type == "float" else None)
        kind = (inspect.Parameter.POSITIONAL_OR_KEYWORD if p.name
                else inspect.Parameter.POSITIONAL_ONLY)
        params.append(inspect.Parameter(p.name or f"arg{i + 1}", kind, default=default))
    try:
        return inspect.Signature(params)
    except ValueError:  # an unnamed parameter after a named one: no Python form
        return None


def _make_method(name, protos, owner):
    def method(self, *args, **kwargs):
        if self._handle is None:
            raise ValueError(f"{owner}.{name} on a closed object")
        proto, values = _choose(protos, args, kwargs, f"{owner}.{name}")
        result, _ = _invoke(proto, self, values)
        self._after(proto, values)
        return result

    method.__name__ = name
    method.__qualname__ = f"{owner}.{name}"
    method.__doc__ = "\n".join(p.describe() for p in protos)
    method.__signature__ = _signature(protos, True)
    return method


def _make_function(name, protos):
    def function(*args, **kwargs):
        proto, values = _choose(protos, args, kwargs, name)
        return _invoke(proto, None, values)[0]

    function.__name__ = name
    function.__doc__ = "\n".join(p.describe() for p in protos)
    function.__signature__ = _signature(protos, False)
    return function


class _ImageMixin:
    """numpy access of CImage."""

    _DTYPES = {8: np.uint8, 16: np.uint16, 32: np.float32}

    def _info(self):
        return self.width(), self.height(), self.channels(), self.depth()

    @property
    def shape(self):
        """(height, width, channels)"""
        w, h, c, _ = self._info()
        return h, w, c

    @classmethod
    def from_numpy(cls, array, planar=False, dtype=None):
        """A new image from an H x W, H x W x C or (planar=True) C x H x W array.

        uint8, uint16 and float32 give depths 8, 16 and 32; any other dtype is
        refused unless dtype= names one of these three to convert to.
        """
        a = np.asarray(array)
        if dtype is not None:
            a = a.astype(dtype)
        depth = next((d for d, t in cls._DTYPES.items() if a.dtype == t), None)
        if depth is None:
            raise TypeError(f"CImage.from_numpy: dtype {a.dtype} is not uint8, uint16 or "
                            "float32; pass dtype=... to convert")
        if a.ndim == 2:
            a = a[np.newaxis] if planar else a[:, :, np.newaxis]
        if a.ndim != 3:
            raise ValueError(f"CImage.from_numpy: {a.ndim} dimensions, need 2 or 3")
        c, h, w = a.shape if planar else (a.shape[2], a.shape[0], a.shape[1])
        if 0 in (c, h, w):
            raise ValueError(f"CImage.from_numpy: empty array of shape {array.shape}")
        image = cls(depth, w, h, c)
        # 16-bit values travel as floats, which hold every one of them exactly.
        data = np.ascontiguousarray(a, dtype=np.uint8 if depth == 8 else np.float32)
        image._transfer("setImageData", data, int(planar), 0)  # no row flip
        return image

    def to_numpy(self, planar=False):
        """The pixels as H x W x C (H x W for one channel) or, planar, C x H x W."""
        w, h, c, depth = self._info()
        data = np.empty((c, h, w) if planar else (h, w, c),
                        dtype=np.uint8 if depth == 8 else np.float32)
        self._transfer("getImageData", data, int(planar))
        if depth == 16:
            data = data.astype(np.uint16)
        return data[:, :, 0] if c == 1 and not planar else data

    def __array__(self, dtype=None):
        # np.asarray(image): the pixels as to_numpy() gives them.
        data = self.to_numpy()
        return data if dtype is None else data.astype(dtype)

    def _transfer(self, name, data, *flags):
        export = ("CImage8_" if data.dtype == np.uint8 else "CImage32_") + name
        proto = next(p for p in self._methods[name] if p.export == export)
        _invoke(proto, self, [data, *flags])


# --- Units and networks ----------------------------------------------------------------

class UnitWarning(UserWarning):
    """A warning the plug-in gave the host (qor_warning), its text as given."""


def _net_call(fn, *args):
    result, printed, errors, warns = fn(*args)
    _emit(printed)
    for w in warns:
        warnings.warn(w.decode("utf-8", "replace"), UnitWarning, stacklevel=3)
    if errors:
        kind, message = errors[0]
        raise ScriptError(kind.decode("utf-8", "replace"), message.decode("utf-8", "replace"))
    return result


def _answers(answers, kwargs):
    items = list((answers or {}).items()) + list(kwargs.items())
    out = []
    for key, value in items:
        is_text = False
        if isinstance(key, tuple):  # ("text", n): a text field by number
            is_text, key = True, key[1]
        out.append((key if isinstance(key, str) else int(key), str(value), is_text))
    return out


class Unit:
    """A unit of a Network; pins are counted from 0 as the plug-in counts them."""

    def __init__(self, network, handle):
        self.network = network
        self._handle = handle

    def _info(self):
        return self.network._box.info(self._handle)

    icon = property(lambda self: self._info()["icon"])
    label = property(lambda self: self._info()["label"])
    inputs = property(lambda self: self._info()["inputs"])
    outputs = property(lambda self: self._info()["outputs"])

    def set_value(self, pin, value, group=None):
        """A value pin: by its number, or with group= by its place in that group."""
        box = self.network._box
        if group is None:
            _net_call(box.set_value, self._handle, int(pin), float(value))
        else:
            _net_call(box.set_group_value, self._handle, int(group), int(pin), float(value))

    def value(self, pin, group=None):
        box = self.network._box
        if group is None:
            return _net_call(box.value, self._handle, int(pin))
        return _net_call(box.group_value, self._handle, int(group), int(pin))

    def set_input(self, pin, image):
        """Copies the image into the input pin's own image, as a connection would."""
        if not isinstance(image, CImage):
            image = CImage.from_numpy(np.asarray(image))
        if image._handle is None:
            raise ValueError("the image is closed")
        _net_call(self.network._box.set_input_image, self._handle, int(pin), image._handle)

    def output_image(self, pin=0):
        """A copy of the output pin's image (the unit keeps its own); None if it has none."""
        raw = _net_call(self.network._box.output_image, self._handle, int(pin))
        if not raw:
            return None
        proto = CImage._methods["deepCopy"][0]
        result, printed, errors = _core.call("CImage", proto.index, raw, [])
        _emit(printed)
        if errors:
            if result:
                _core.release(result)
            kind, message = errors[0]
            raise ScriptError(kind.decode("utf-8", "replace"), message.decode("utf-8", "replace"))
        return CImage._adopt(result)

    def __eq__(self, other):
        return isinstance(other, Unit) and (self.network, self._handle) == (
            other.network, other._handle)

    def __hash__(self):
        return hash(self._handle)

    def control(self, code):
        """Sends a control code to the unit's control hook; its answer."""
        return _net_call(self.network._box.control, self._handle, int(code))

    def apply(self, answers=None, **kwargs):
        """Answers the icon's second dialog and applies it."""
        return _net_call(self.network._box.apply_second, self._handle, _answers(answers, kwargs))

    def window(self):
        """The unit's window as H x W (grey) or H x W x 3 (rgb) uint8, top row first."""
        got = self.network._box.window(self._handle)
        if got is None:
            raise ValueError(f"unit {self.icon} has no window")
        w, h, rgb, pixels = got
        a = np.frombuffer(pixels, dtype=np.uint8)
        return a.reshape((h, w, 3) if rgb else (h, w)).copy()

    def save_png(self, path):
        _net_call(self.network._box.save_png, self._handle, os.fspath(path))

    def remove(self):
        _net_call(self.network._box.remove, self._handle)

    def __repr__(self):
        return f"<tirnvision.Unit {self.icon}>"


class Network:
    """A host network of the plug-in's units.

    net = tirnvision.Network()
    conv = net.create("ConvolutionFilter", {"Depth of Input-CImage": "32-bit"},
                      Filtertype="1.G", Orientation=45)
    show = net.create("display_image", Mode="gray")
    net.connect(conv, 0, show, 0)
    conv.set_input(0, image); net.run([conv, show]); show.window()

    Dialog answers go by field label (keywords, or a dict for labels that are
    no Python names) or by field number (dict keys); ("text", n) answers text
    field n. Refused answers raise ValueError with the host's text, the
    plug-in's warnings arrive as UnitWarning, script errors as ScriptError.
    """

    def __init__(self):
        self._box = _core.Network()
        self.folder = _core.folder()

    def close(self):
        self._box.close()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def create(self, icon, answers=None, **kwargs):
        """A unit from the folder's icon, its first dialog answered; None if refused."""
        h = _net_call(self._box.create, self.folder, icon, _answers(answers, kwargs))
        return Unit(self, h) if h else None

    @property
    def units(self):
        return [Unit(self, h) for h in self._box.units()]

    def connect(self, source, output, target, input):
        _net_call(self._box.connect, source._handle, int(output), target._handle, int(input))

    def run(self, order=None):
        """Runs the units in the order given (default: creation order); whether all ran."""
        order = self.units if order is None else order
        return _net_call(self._box.run, [u._handle for u in order])

    def save(self, path):
        _net_call(self._box.save, os.fspath(path))

    def load(self, path):
        _net_call(self._box.load, os.fspath(path))


def _build():
    module = sys.modules[__name__]
    _core.load(_module_path())
    atexit.register(_core.unload)
    built = {}
    for name, table in _core.classes():
        protos = [_Proto(name, i, d) for i, d in enumerate(table)]
        methods = {}
        for p in protos:
            if p.kind == "method":
                methods.setdefault(p.name, []).append(p)
        purpose = _doc(name)[0]
        doc = "\n".join([purpose, ""] + [p.line for p in protos] +
                        [f"Depths: {_doc(name + '.depths')[0]}"])
        namespace = {
            "__doc__": doc,
            "__module__": __name__,
            "_table": name,
            "_methods": methods,
            "_constructors": [p for p in protos if p.kind == "constructor"],
        }
        namespace["__signature__"] = _signature(namespace["_constructors"], False)
        for method, overloads in methods.items():
            namespace[method] = _make_method(method, overloads, name)
        bases = (_ImageMixin, _Object) if name == "CImage" else (_Object,)
        if name == "CImage":
            namespace["depth"] = _cached_depth(namespace["depth"])
        cls = type(name, bases, namespace)
        built[name] = cls
        setattr(module, name, cls)
        __all__.append(name)
    funcs = {}
    for i, d in enumerate(_core.functions()):
        p = _Proto(None, i, d)
        if p.kind == "method":
            funcs.setdefault(p.name, []).append(p)
    for name, overloads in funcs.items():
        setattr(module, name, _make_function(name, overloads))
        __all__.append(name)
    return built, sorted(funcs)


def _cached_depth(table_depth):
    # An image never changes its depth, and the checks ask for it often.
    def depth(self):
        if self._depth is None:
            self._depth = table_depth(self)
        return self._depth

    depth.__doc__ = table_depth.__doc__
    return depth


CImage = None  # replaced by _build()
classes, functions = _build()
version = _core.version()
