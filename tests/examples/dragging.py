"""Files that are dragged into a window, by the protocol of X for that (XDND, version 5), as a file manager does it."""

import ctypes
import time
from pathlib import Path

CLIENT_MESSAGE, SELECTION_NOTIFY, SELECTION_REQUEST = 33, 31, 30
PROPERTY_REPLACED = 0
ATOM = 4  # the type of a list of atoms
VERSION = 5


class ClientMessage(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("window", ctypes.c_ulong), ("message_type", ctypes.c_ulong),
                ("format", ctypes.c_int), ("data", ctypes.c_long * 5)]


class SelectionRequest(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("owner", ctypes.c_ulong), ("requestor", ctypes.c_ulong),
                ("selection", ctypes.c_ulong), ("target", ctypes.c_ulong), ("property", ctypes.c_ulong),
                ("time", ctypes.c_ulong)]


class SelectionNotify(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("serial", ctypes.c_ulong), ("send_event", ctypes.c_int),
                ("display", ctypes.c_void_p), ("requestor", ctypes.c_ulong), ("selection", ctypes.c_ulong),
                ("target", ctypes.c_ulong), ("property", ctypes.c_ulong), ("time", ctypes.c_ulong)]


class Event(ctypes.Union):
    _fields_ = [("type", ctypes.c_int), ("message", ClientMessage), ("request", SelectionRequest),
                ("notify", SelectionNotify), ("room", ctypes.c_long * 24)]


class Dragging:
    """Owns what is dragged, and answers the window that it is dragged over."""

    def __init__(self, x, connection, paths):
        """@param x the library of X
        @param connection to the screen"""
        self._x, self._connection = x, connection
        for function in ("XDefaultRootWindow", "XCreateSimpleWindow", "XInternAtom"):
            getattr(x, function).restype = ctypes.c_ulong
        self._root = x.XDefaultRootWindow(connection)
        self._window = x.XCreateSimpleWindow(connection, ctypes.c_ulong(self._root), 0, 0, 1, 1, 0, ctypes.c_ulong(0),
                                             ctypes.c_ulong(0))
        self._list = "".join(f"{Path(path).as_uri()}\r\n" for path in paths).encode()
        self._answers = {}  # the data of what the window has answered, by the kind of answer
        x.XSetSelectionOwner(connection, ctypes.c_ulong(self._atom("XdndSelection")), ctypes.c_ulong(self._window),
                             ctypes.c_ulong(0))

    def drop_at(self, left, top):
        """@return whether the window says that it has taken what was dropped"""
        target = self._window_at(left, top)
        self._send(target, "XdndEnter", VERSION << 24, self._atom("text/uri-list"))
        for _ in range(100):  # it may have to find out first whether it wants that
            self._send(target, "XdndPosition", 0, left << 16 | top, 0, self._atom("XdndActionCopy"))
            if self._answer("XdndStatus")[1] & 1:
                break
        else:
            self._send(target, "XdndLeave")
            return False
        self._send(target, "XdndDrop")
        return bool(self._answer("XdndFinished")[1] & 1)

    def close(self):
        self._x.XDestroyWindow(self._connection, ctypes.c_ulong(self._window))
        self._x.XSync(self._connection, 0)

    def _atom(self, name):
        return self._x.XInternAtom(self._connection, name.encode(), 0)

    def _window_at(self, left, top):
        """Without a window manager, the windows of programs are those of the screen."""
        child, x, y = ctypes.c_ulong(), ctypes.c_int(), ctypes.c_int()
        deadline = time.monotonic() + 30
        while not child.value:
            assert time.monotonic() < deadline, "there is no window"
            self._x.XTranslateCoordinates(self._connection, ctypes.c_ulong(self._root), ctypes.c_ulong(self._root), left,
                                          top, ctypes.byref(x), ctypes.byref(y), ctypes.byref(child))
            time.sleep(0.01)
        return child.value

    def _send(self, target, kind, *data):
        event = Event()
        event.message = ClientMessage(CLIENT_MESSAGE, 0, 1, self._connection, target, self._atom(kind), 32)
        event.message.data[0] = self._window
        for place, value in enumerate(data, 1):
            event.message.data[place] = value
        self._x.XSendEvent(self._connection, ctypes.c_ulong(target), 0, ctypes.c_long(0), ctypes.byref(event))
        self._x.XSync(self._connection, 0)

    def _answer(self, kind):
        """Waits for an answer of that kind, and hands out what is dragged meanwhile."""
        kind, deadline = self._atom(kind), time.monotonic() + 30
        self._answers.pop(kind, None)
        while kind not in self._answers:
            assert time.monotonic() < deadline, "the window does not answer"
            if not self._x.XPending(self._connection):
                time.sleep(0.01)
                continue
            event = Event()
            self._x.XNextEvent(self._connection, ctypes.byref(event))
            if event.type == CLIENT_MESSAGE:
                self._answers[event.message.message_type] = list(event.message.data)
            elif event.type == SELECTION_REQUEST:
                self._hand_out(event.request)
        return self._answers[kind]

    def _hand_out(self, request):
        is_known = True
        if request.target == self._atom("text/uri-list"):
            self._set(request, request.target, 8, self._list, len(self._list))
        elif request.target == self._atom("TARGETS"):
            targets = (ctypes.c_ulong * 2)(self._atom("TARGETS"), self._atom("text/uri-list"))
            self._set(request, ATOM, 32, ctypes.byref(targets), 2)
        else:
            is_known = False
        event = Event()
        event.notify = SelectionNotify(SELECTION_NOTIFY, 0, 1, self._connection, request.requestor, request.selection,
                                       request.target, request.property if is_known else 0, request.time)
        self._x.XSendEvent(self._connection, ctypes.c_ulong(request.requestor), 0, ctypes.c_long(0), ctypes.byref(event))
        self._x.XSync(self._connection, 0)

    def _set(self, request, kind, bits, data, elements):
        self._x.XChangeProperty(self._connection, ctypes.c_ulong(request.requestor), ctypes.c_ulong(request.property),
                                ctypes.c_ulong(kind), bits, PROPERTY_REPLACED, data, elements)
