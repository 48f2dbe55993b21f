"""Pages of a corvan-web as its server sees them: streams of events of one job, read as bytes."""

import json
import re
import selectors
import socket
import sys
import threading
import time

PATIENCE_S = 600


class Streams:
    """So many streams of one job, read by a thread of its own."""

    def __init__(self, web, job, count):
        self.web = web
        self.job = job
        self.count = count
        self.lock = threading.Condition()
        # Of each stream, the passes that it was told of; when each came, and what it had changed.
        self.passes = [[] for _ in range(count)]
        self.times = []
        self.changes = []
        self.is_ended = False

    def __enter__(self):
        self.selector = selectors.DefaultSelector()
        self.sockets = []
        for number in range(self.count):
            stream = socket.create_connection((self.web.host, self.web.port))
            stream.sendall(
                f"GET /api/events?job={self.job}&format=0 HTTP/1.1\r\nHost: {self.web.host}:{self.web.port}\r\n"
                f"Authorization: Bearer {self.web.token}\r\n\r\n".encode()
            )
            stream.setblocking(False)
            self.sockets.append(stream)
            self.selector.register(stream, selectors.EVENT_READ, [number, b""])
        self.thread = threading.Thread(target=self._read, daemon=True)
        self.thread.start()
        return self

    def __exit__(self, *trouble):
        self.is_ended = True
        self.thread.join()
        for stream in self.sockets:
            stream.close()
        self.selector.close()

    def _read(self):
        while not self.is_ended:
            for key, _ in self.selector.select(0.1):
                now = time.time()
                data = key.fileobj.recv(1 << 20)
                if not data:
                    self.selector.unregister(key.fileobj)
                    continue
                number, left = key.data
                *events, key.data[1] = (left + data).split(b"\n\n")
                for event in events:
                    self._take(number, event, now)

    def _take(self, number, event, now):
        found = re.search(rb"event: frames\r?\ndata: (.*)", event)
        if not found:
            return
        told = json.loads(found[1])
        with self.lock:
            self.passes[number].append(told["pass"])
            if number == 0:
                self.times.append(now)
                if told["changed"]:
                    self.changes.append(now)
            self.lock.notify_all()

    def _wait(self, is_so):
        with self.lock:
            if not self.lock.wait_for(is_so, PATIENCE_S):
                sys.exit("no pass is told of")

    def wait_for_passes(self, count):
        """Returns once each stream was told of so many more."""
        with self.lock:
            wanted = [len(passes) + count for passes in self.passes]
        self._wait(lambda: all(len(passes) >= least for passes, least in zip(self.passes, wanted)))

    def wait_for_change(self, since):
        """When the first event of a change after this time came."""
        self._wait(lambda: self.changes and self.changes[-1] >= since)
        with self.lock:
            return next(time for time in self.changes if time >= since)

    def told(self):
        """The first and the last pass of all that each stream was told of; it ends where they differ."""
        with self.lock:
            shared = range(max(passes[0] for passes in self.passes), min(passes[-1] for passes in self.passes) + 1)
            for passes in self.passes:
                if [each for each in passes if each in shared] != list(shared):
                    sys.exit(f"a stream was told of the passes {passes}, others of {shared}")
        return shared[0], shared[-1]

    def pass_s(self):
        """From one pass to the next, pause included, lately."""
        with self.lock:
            late = self.times[-10:]
        return (late[-1] - late[0]) / (len(late) - 1) if len(late) > 1 else 0
