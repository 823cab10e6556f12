#!/usr/bin/env python3
"""Downloads one URL into a folder, late bound, with Python's standard library only.

    download.py LIBRARY-FOLDER URL FOLDER

LIBRARY-FOLDER holds libtscom.so and libqmasyn10.so. Prints each state of the job and where the file went. Exit status
0 when it is there, 1 when it could not be had, 2 for wrong usage.
"""

import ctypes
import os
import sys
from ctypes import POINTER, Structure, Union, byref, c_double, c_int16, c_int32, c_uint16, c_uint32, c_void_p

S_OK, E_NOINTERFACE, E_FAIL = 0, -2147467262, -2147467259
VT_EMPTY, VT_I2, VT_I4, VT_DATE, VT_BSTR, VT_DISPATCH, VT_BOOL = 0, 2, 3, 7, 8, 9, 11
METHOD, GET, PUT = 1, 2, 4
DISPID_PROPERTYPUT = -3
STATES = ["stopped", "starting", "downloading", "pending", "finished", "broken"]


class Guid(Structure):
    _fields_ = [("bytes", ctypes.c_ubyte * 16)]


def guid(text):
    import uuid
    return Guid((ctypes.c_ubyte * 16)(*uuid.UUID(text).bytes_le))


IID_NULL = guid("00000000-0000-0000-0000-000000000000")
IID_IUNKNOWN = guid("00000000-0000-0000-C000-000000000046")
IID_ICLASSFACTORY = guid("00000001-0000-0000-C000-000000000046")
IID_IDISPATCH = guid("00020400-0000-0000-C000-000000000046")
IID_CONTAINER = guid("B196B284-BAB4-101A-B69C-00AA00341D07")
CLSID_CDLMANAGER = guid("F48DE0B7-A80A-11D3-93D8-00500433864D")
DIID_EVENTS = guid("2A84707C-E5E5-46C9-A127-FC9E8AA1AEBC")


class Content(Union):
    _fields_ = [("short", c_int16), ("long", c_int32), ("date", c_double), ("pointer", c_void_p),
                ("room", c_void_p * 2)]


class Variant(Structure):
    _anonymous_ = ["content"]
    _fields_ = [("vt", c_uint16), ("reserved", c_uint16 * 3), ("content", Content)]


class DispParams(Structure):
    _fields_ = [("arguments", POINTER(Variant)), ("names", POINTER(c_int32)), ("count", c_uint32),
                ("named", c_uint32)]


class ExcepInfo(Structure):
    _fields_ = [("code", c_uint16), ("reserved", c_uint16), ("source", c_void_p), ("description", c_void_p),
                ("help_file", c_void_p), ("help_context", c_uint32), ("reserved2", c_void_p),
                ("fill_in", c_void_p), ("scode", c_int32)]


class Runtime:
    """The calls of libtscom.so that this program uses."""

    def __init__(self, folder):
        self.library = ctypes.CDLL(os.path.join(folder, "libtscom.so"))
        self.library.SysAllocStringLen.restype = c_void_p
        self.library.SysAllocStringLen.argtypes = [c_void_p, c_uint32]
        self.library.SysStringLen.restype = c_uint32
        self.library.SysStringLen.argtypes = [c_void_p]
        self.library.SysFreeString.argtypes = [c_void_p]
        self.library.VariantClear.argtypes = [POINTER(Variant)]

    def new_string(self, text):
        units = text.encode("utf-16-le", "surrogatepass")
        return self.library.SysAllocStringLen(units, len(units) // 2)

    def text(self, string):
        if not string:
            return ""
        units = ctypes.string_at(string, 2 * self.library.SysStringLen(string))
        return units.decode("utf-16-le", "surrogatepass")

    def take(self, string):
        text = self.text(string)
        self.library.SysFreeString(string)
        return text

    def variant(self, value):
        variant = Variant()
        if isinstance(value, bool):
            variant.vt, variant.short = VT_BOOL, -1 if value else 0
        elif isinstance(value, int):
            variant.vt, variant.long = VT_I4, value
        else:
            variant.vt, variant.pointer = VT_BSTR, self.new_string(value)
        return variant

    def value(self, variant):
        return {VT_EMPTY: lambda: None, VT_I2: lambda: variant.short, VT_I4: lambda: variant.long,
                VT_DATE: lambda: variant.date, VT_BOOL: lambda: variant.short != 0,
                VT_BSTR: lambda: self.text(variant.pointer)}[variant.vt]()


def slot(pointer, number, *types):
    """The function in one slot of an object's method table."""
    table = ctypes.cast(pointer, POINTER(POINTER(c_void_p))).contents
    return ctypes.CFUNCTYPE(c_int32, c_void_p, *types)(table[number])


def check(result):
    if result < 0:
        raise OSError(f"0x{result & 0xFFFFFFFF:08X}")


class Automation:
    """An object behind IDispatch. Owns one reference."""

    def __init__(self, runtime, pointer):
        self.runtime, self.pointer = runtime, pointer

    def release(self):
        slot(self.pointer, 2)(self.pointer)

    def query(self, iid):
        found = c_void_p()
        check(slot(self.pointer, 0, POINTER(Guid), POINTER(c_void_p))(self.pointer, byref(iid), byref(found)))
        return found.value

    def id_of(self, name):
        units = ctypes.create_string_buffer(name.encode("utf-16-le") + b"\0\0")
        names = (c_void_p * 1)(ctypes.addressof(units))
        found = c_int32()
        check(slot(self.pointer, 5, POINTER(Guid), POINTER(c_void_p), c_uint32, c_uint32, POINTER(c_int32))(
            self.pointer, byref(IID_NULL), names, 1, 0, byref(found)))
        return found.value

    def invoke(self, name, flags, *values):
        arguments = (Variant * max(1, len(values)))(*[self.runtime.variant(value) for value in reversed(values)])
        put_name = c_int32(DISPID_PROPERTYPUT)
        named = 1 if flags == PUT else 0
        parameters = DispParams(arguments, ctypes.pointer(put_name) if named else None, len(values), named)
        result, error, bad = Variant(), ExcepInfo(), c_uint32()
        answer = slot(self.pointer, 6, c_int32, POINTER(Guid), c_uint32, c_uint16, POINTER(DispParams),
                      POINTER(Variant), POINTER(ExcepInfo), POINTER(c_uint32))(
            self.pointer, self.id_of(name), byref(IID_NULL), 0, flags, byref(parameters), byref(result),
            byref(error), byref(bad))
        for argument in arguments:
            self.runtime.library.VariantClear(byref(argument))
        source, description = self.runtime.take(error.source), self.runtime.take(error.description)
        self.runtime.library.SysFreeString(error.help_file)
        if answer < 0:
            raise OSError(f"{source}: {description} (0x{(error.scode or answer) & 0xFFFFFFFF:08X})")
        value = self.runtime.value(result)
        self.runtime.library.VariantClear(byref(result))
        return value

    def call(self, name, *values):
        return self.invoke(name, METHOD, *values)

    def get(self, name):
        return self.invoke(name, GET)

    def put(self, name, value):
        self.invoke(name, PUT, value)


class Sink:
    """An event sink: an object whose method table consists of Python functions."""

    def __init__(self, state_changed):
        self.references, self.state_changed, self.failure = 1, state_changed, None
        functions = [
            (self.query, [POINTER(Guid), POINTER(c_void_p)]), (self.add_ref, []), (self.release, []),
            (lambda *_: E_FAIL, [c_void_p]), (lambda *_: E_FAIL, [c_uint32, c_uint32, c_void_p]),
            (lambda *_: E_FAIL, [c_void_p, c_void_p, c_uint32, c_uint32, c_void_p]),
            (self.on_event, [c_int32, c_void_p, c_uint32, c_uint16, POINTER(DispParams), c_void_p, c_void_p,
                             c_void_p]),
        ]
        self.kept = [ctypes.CFUNCTYPE(c_int32, c_void_p, *types)(function) for function, types in functions]
        self.table = (c_void_p * len(self.kept))(*[ctypes.cast(each, c_void_p).value for each in self.kept])
        self.object = c_void_p(ctypes.addressof(self.table))
        self.pointer = ctypes.addressof(self.object)

    def query(self, _, iid, found):
        known = any(bytes(iid.contents) == bytes(each) for each in (IID_IUNKNOWN, IID_IDISPATCH, DIID_EVENTS))
        found[0] = self.pointer if known else None
        self.references += known
        return S_OK if known else E_NOINTERFACE

    def add_ref(self, _):
        self.references += 1
        return self.references

    def release(self, _):
        self.references -= 1
        return self.references

    def on_event(self, _, event, iid, locale, flags, parameters, result, error, bad):
        try:
            if event == 1:
                self.state_changed(parameters.contents.arguments[0].pointer)
            return S_OK
        except Exception as failure:  # an exception can't cross into the component; the loop below raises it again
            self.failure = failure
            return E_FAIL


def create_manager(runtime, folder):
    component = ctypes.CDLL(os.path.join(folder, "libqmasyn10.so"))
    factory, manager = c_void_p(), c_void_p()
    check(component.DllGetClassObject(byref(CLSID_CDLMANAGER), byref(IID_ICLASSFACTORY), byref(factory)))
    created = slot(factory.value, 3, c_void_p, POINTER(Guid), POINTER(c_void_p))(
        factory.value, None, byref(IID_IDISPATCH), byref(manager))
    slot(factory.value, 2)(factory.value)
    check(created)
    return Automation(runtime, manager.value)


def connect(manager, sink):
    container = Automation(manager.runtime, manager.query(IID_CONTAINER))
    point, cookie = c_void_p(), c_uint32()
    check(slot(container.pointer, 4, POINTER(Guid), POINTER(c_void_p))(
        container.pointer, byref(DIID_EVENTS), byref(point)))
    container.release()
    check(slot(point.value, 5, c_void_p, POINTER(c_uint32))(point.value, sink.pointer, byref(cookie)))
    return Automation(manager.runtime, point.value), cookie


def main(library_folder, url, folder):
    runtime = Runtime(library_folder)
    manager = create_manager(runtime, library_folder)
    done = []

    def state_changed(pointer):
        item = Automation(runtime, pointer)  # the caller's reference, so that it is not released here
        state = item.get("State")
        print(STATES[state], f"{item.get('Size')}/{item.get('TotalSize')}", flush=True)
        if STATES[state] == "finished":
            print(item.get("FinalPath"))
            done.append(0)
        elif STATES[state] == "broken" or (STATES[state] == "pending" and item.get("Attempts") > 0):
            done.append(1)  # a pending job is due again in three minutes; this program doesn't wait

    sink = Sink(state_changed)
    point, cookie = connect(manager, sink)
    manager.put("AssetsPath", folder)
    manager.put("AutoStart", True)
    manager.call("AddURL", url)
    glib = ctypes.CDLL("libglib-2.0.so.0")
    while not done and not sink.failure:
        glib.g_main_context_iteration(None, 1)
    slot(point.pointer, 6, c_uint32)(point.pointer, cookie)
    point.release()
    manager.release()
    if sink.failure:
        raise sink.failure
    return done[0]


if __name__ == "__main__":
    if len(sys.argv) != 4:
        print("usage: download.py LIBRARY-FOLDER URL FOLDER", file=sys.stderr)
        sys.exit(2)
    try:
        sys.exit(main(*sys.argv[1:]))
    except OSError as error:
        print(f"{sys.argv[2]}: {error}", file=sys.stderr)
        sys.exit(1)
