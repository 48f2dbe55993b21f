"""A client of the Master that is made of bytes: it may stop in the midst of a message, which those made of
a library do not. As much of HTTP/2 as one call takes, and of the envelopes what `corvan/messages.proto`
names."""

import base64
import socket
import struct
import uuid

COMMAND = "6d396773-6d80-4f82-823f-fbc6c1cca52f"  # The job type of that name.
PATIENCE_S = 120

DATA, HEADERS, RESET, SETTINGS, PING, GOAWAY, WINDOW = 0, 1, 3, 4, 6, 7, 8
ACK, END_STREAM, END_HEADERS = 1, 1, 4
STREAM = 1

# Fields of an envelope.
SERIAL, ANSWERS, GATHERED, HELLO, WELCOME, ACCEPTED, REFUSED = 1, 2, 3, 10, 11, 12, 13
FOLLOW, GET_JOB, JOB, SET, SET_ALL, REMOVE, REMOVED = 20, 21, 22, 23, 24, 25, 26
LIST, LISTED, GET_TASKS, TASKS, GET_LOG, LOG = 30, 31, 32, 33, 34, 35


def varint(number):
    encoded = b""
    while number > 0x7F:
        encoded += bytes([number & 0x7F | 0x80])
        number >>= 7
    return encoded + bytes([number])


def field(number, value):
    """A text, bytes of a message, or a whole number."""
    if isinstance(value, int):
        return varint(number << 3) + varint(value)
    if isinstance(value, str):
        value = value.encode()
    return varint(number << 3 | 2) + varint(len(value)) + value


def read_varint(message, at):
    number = shift = 0
    while True:
        byte = message[at]
        at += 1
        number |= (byte & 0x7F) << shift
        shift += 7
        if byte < 0x80:
            return number, at


def values(message):
    """Each field with its number, in order."""
    at = 0
    while at < len(message):
        key, at = read_varint(message, at)
        if key & 7 == 0:
            value, at = read_varint(message, at)
        else:
            size, at = read_varint(message, at)
            value = message[at : at + size]
            at += size
        yield key >> 3, value


def fields(message):
    """The last value of each field by its number."""
    return dict(values(message))


def job_envelope(job, parameters):
    pairs = b"".join(field(3, field(1, name) + field(2, value)) for name, value in parameters.items())
    return field(JOB, field(1, job) + field(2, COMMAND) + pairs)


def set_envelope(job, name, value):
    return field(SET, field(1, job) + field(2, name) + field(3, value))


def frame(kind, flags, stream, payload=b""):
    return struct.pack(">I", len(payload))[1:] + bytes([kind, flags]) + struct.pack(">I", stream) + payload


def header(name, value):
    """Literal, in no table."""
    return b"\0" + varint_prefix(len(name)) + name.encode() + varint_prefix(len(value)) + value.encode()


def varint_prefix(number):
    return bytes([number]) if number < 127 else bytes([127]) + varint(number - 127)


class Lost(Exception):
    """The connection is no more, or the call is not."""


class RawClient:
    """Connected; `begin` opens the call. All waits are bounded."""

    def __init__(self, connected, token=None, protocol=3):
        self.protocol = protocol
        self.socket = connected
        self.socket.settimeout(PATIENCE_S)
        self.token = token
        self.serial = 0
        self.read = b""
        self.data = b""
        self.waiting = []  # Envelopes that came together with others.
        self.is_over = False

    def opening(self):
        """All that comes before the first message."""
        headers = [
            (":method", "POST"), (":scheme", "http"), (":path", "/corvan.wire.Master/Connect"),
            (":authority", "localhost"), ("te", "trailers"), ("content-type", "application/grpc"),
        ]
        if self.token:
            told = base64.b64encode(self.token.encode()).decode().rstrip("=")
            headers.append(("corvan-token-bin", told))
        block = b"".join(header(name, value) for name, value in headers)
        # A window that nobody here fills: then none has to be kept count of.
        window = frame(WINDOW, 0, 0, struct.pack(">I", (1 << 30) - 1))
        settings = frame(SETTINGS, 0, 0, struct.pack(">HI", 4, (1 << 31) - 1))
        return (b"PRI * HTTP/2.0\r\n\r\nSM\r\n\r\n" + settings + window
                + frame(HEADERS, END_HEADERS, STREAM, block))

    @staticmethod
    def message(envelope):
        """As it goes over the wire."""
        framed = b"\0" + struct.pack(">I", len(envelope)) + envelope
        return b"".join(frame(DATA, 0, STREAM, framed[at : at + 16384])
                        for at in range(0, len(framed), 16384))

    def send(self, raw):
        try:
            self.socket.sendall(raw)
        except OSError as error:
            raise Lost(str(error)) from error

    def begin(self):
        """True where the Master has welcomed it."""
        self.send(self.opening())
        hello = field(1, str(uuid.uuid4())) + field(2, 1) + field(3, "raw") + field(4, "1")
        hello += field(6, self.protocol)
        return WELCOME in self.ask(field(HELLO, hello))

    def ask(self, envelope):
        """Gives the fields of the answer."""
        self.serial += 1
        self.send(self.message(field(SERIAL, self.serial) + envelope))
        while True:
            answer = self.receive()
            if answer.get(ANSWERS) == self.serial:
                return answer

    def receive(self):
        while not self.waiting:
            message = self.receive_message()
            gathered = [value for number, value in values(message) if number == GATHERED]
            self.waiting = [fields(one) for one in gathered or [message]]
        return self.waiting.pop(0)

    def receive_message(self):
        while len(self.data) < 5 or len(self.data) < 5 + struct.unpack(">I", self.data[1:5])[0]:
            self.take_frame()
        size = 5 + struct.unpack(">I", self.data[1:5])[0]
        message, self.data = self.data[5:size], self.data[size:]
        return message

    def take_frame(self):
        """What is no data is answered or passed over."""
        if self.is_over:
            raise Lost("the call has ended")
        head = self.take_bytes(9)
        kind, flags = head[3], head[4]
        payload = self.take_bytes(struct.unpack(">I", b"\0" + head[:3])[0])
        if kind == DATA:
            self.data += payload
        elif kind == SETTINGS and not flags & ACK:
            self.send(frame(SETTINGS, ACK, 0))
        elif kind == PING and not flags & ACK:
            self.send(frame(PING, ACK, 0, payload))
        elif kind == GOAWAY or kind == RESET:
            self.is_over = True
        if kind in (DATA, HEADERS) and flags & END_STREAM:
            self.is_over = True

    def take_bytes(self, count):
        while len(self.read) < count:
            try:
                piece = self.socket.recv(1 << 16)
            except OSError as error:
                raise Lost(str(error)) from error
            if not piece:
                raise Lost("the Master has closed the connection")
            self.read += piece
        taken, self.read = self.read[:count], self.read[count:]
        return taken

    def leave(self):
        """In good order: the call ends, and then the connection."""
        self.send(frame(DATA, END_STREAM, STREAM))
        while not self.is_over:
            self.take_frame()
        self.socket.close()

    def vanish(self):
        """As a machine does that loses its power, only quicker."""
        try:
            self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        except OSError:
            pass
        self.socket.close()
