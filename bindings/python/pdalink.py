"""Drives a handheld terminal: in this process (Library) or through `pdactl serve` (Server).

Needs Python 3.7 and its standard library only. ../README.md tells which of the two to take.
"""

import _ctypes
import ctypes
import json
import os
import queue
import subprocess
import threading
from socket import AF_UNIX, SHUT_WR, socket as Socket, socketpair

RESPONSE_SIZE = 128 * 1024  # bytes, which no response exceeds


class Error(Exception):
    """There is no response that can be used; the text says why."""


def accepted(response):
    """The response itself if the terminal accepted the request; otherwise raises Error with its result code."""
    code = response.get("pRetCode", response.get("retCode", "000000"))
    if code != "000000" or response.get("pScanState") == "000060":  # 600009 has its silence there
        raise Error("the terminal did not accept the request: result code '%s'" % response.get("pScanState", code))
    return response


def _is_empty(response):
    return not any(value for name, value in response.items() if name != "transCode")


class _Closing:
    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class Library(_Closing):
    """libpdalink.so in this process, for the requests that have a code. Any number of threads may use it."""

    _one_at_a_time = threading.Lock()  # for all objects, because the library's state is the process's

    def __init__(self, path):
        """Loads the library; its PDAConfigure.ini and its log are in the same directory."""
        self._path = os.path.abspath(path)  # by a name with "./" it would look beside the interpreter
        try:
            self._library = ctypes.CDLL(self._path)
            self._call = self._library.PDA_CommonCall
        except (OSError, AttributeError) as reason:
            raise Error("%s cannot be used: %s" % (self._path, reason)) from None
        self._call.argtypes = [ctypes.c_char_p, ctypes.c_int, ctypes.c_char_p, ctypes.POINTER(ctypes.c_int)]
        self._buffer = ctypes.create_string_buffer(RESPONSE_SIZE)

    def request(self, code, **members):
        """Makes a request, for example request("600005", pdaNumber="00000001"), and returns the response, a dict.

        Raises Error when there is none: the library refused the request, the message could not be written, or no
        value came back. A result code of the terminal's is no error, and neither is "000060", which stands for its
        silence; accepted() makes it one.
        """
        request = json.dumps(dict(members, transCode=str(code))).encode()
        length = ctypes.c_int(0)
        with self._one_at_a_time:
            if self._call is None:
                raise Error("the library was closed")
            self._call(request, len(request), self._buffer, ctypes.byref(length))
            response = json.loads(self._buffer.raw[:length.value].decode() or "{}")
        if not response:
            raise Error("the library refused %s: there is no such code, or a member is missing or of the wrong type; "
                        "log/PDA.log beside %s says which" % (code, self._path))
        if _is_empty(response):
            raise Error("nothing came back for %s, or it could not be sent; 'pdactl doctor' and log/PDA.log beside %s "
                        "say why" % (code, self._path))
        return response

    def close(self):
        """Unloads the library, which gives up the terminal."""
        with self._one_at_a_time:
            if self._call is not None:
                self._call = None
                _ctypes.dlclose(self._library._handle)


class Server(_Closing):
    """A client of `pdactl serve`, for all that a host can do. Any number of threads may use it."""

    def __init__(self, command=("pdactl", "serve"), socket=None):
        """Starts the command, or connects to the socket of a `pdactl serve --socket` that runs already."""
        self._process = None
        try:
            if socket is None:
                self._socket, its_own = socketpair()
                with its_own:
                    self._process = subprocess.Popen(command, stdin=its_own, stdout=its_own)
            else:
                self._socket = Socket(AF_UNIX)
                self._socket.connect(socket)
        except OSError as reason:
            raise Error("%s cannot be used: %s" % (socket or command[0], reason)) from None
        self._one_at_a_time = threading.Lock()
        self._id = 0
        self._answers = queue.Queue()
        self._events = queue.Queue()
        self._reader = threading.Thread(target=self._read, daemon=True)
        self._reader.start()

    def request(self, code, **members):
        """Makes a request as Library.request() does. 600015 and 600016 may have a file's path, file="/...",
        instead of its digits."""
        return self._ask(dict(members, transCode=str(code)))

    def call(self, member, **parameters):
        """Calls a member that has no code, for example call("GetLockInfo", lockId="L1"); returns its outputs."""
        return self._ask(dict(parameters, call=member))

    def event(self, timeout=None):
        """The next message that the terminal started, a dict; None when none comes within timeout seconds."""
        try:
            return self._take(self._events, timeout)
        except queue.Empty:
            return None

    def close(self):
        """Ends the connection, or the command, which does first what it has been asked."""
        try:
            self._socket.shutdown(SHUT_WR)
        except OSError:
            pass  # it was closed before
        self._reader.join()
        self._socket.close()
        if self._process is not None:
            self._process.wait()

    def _ask(self, request):
        with self._one_at_a_time:
            self._id += 1
            try:
                self._socket.sendall(json.dumps(dict(request, id=self._id)).encode() + b"\n")
            except OSError:
                pass  # it has ended: so have the answers
            answer = self._take(self._answers)
            while answer.get("id") not in (self._id, None):  # to a request whose wait was interrupted
                answer = self._take(self._answers)
        if answer["exitCode"] == 0 or answer["exitCode"] in (5, 6) and not _is_empty(answer["response"]):
            return answer["response"]
        raise Error(answer["message"])

    def _take(self, documents, timeout=None):
        document = documents.get(timeout=timeout)
        if document is None:
            documents.put(None)  # for whoever asks next
            raise Error("pdactl serve has ended; its standard error says why")
        return document

    def _read(self):
        try:
            with self._socket.makefile(encoding="utf-8") as lines:
                for line in lines:
                    document = json.loads(line)
                    (self._events if "event" in document else self._answers).put(document)
        finally:
            self._answers.put(None)
            self._events.put(None)
