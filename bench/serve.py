"""Clients of oxel serve for bench/serve.sh.

    serve.py RATE CONNECTIONS SECONDS URL     asks at a steady rate, and prints what that took
    serve.py slow COUNT ADDRESS               COUNT clients that send a byte a second, until killed

Latency counts from when a request was due, not from when there was time to send it.
"""
import selectors
import socket
import sys
import time
from urllib.parse import urlsplit


def connect(url):
    connection = socket.create_connection((url.hostname, url.port))
    connection.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
    return connection


class Client:
    """One connection that is kept, and what comes by it."""

    def __init__(self, url):
        self.connection = connect(url)
        self.request = f"GET {url.path} HTTP/1.1\r\nHost: {url.netloc}\r\n\r\n".encode()
        self.head, self.left, self.due = b"", None, None

    def ask(self, due):
        self.due = due
        self.connection.sendall(self.request)

    def receive(self, buffer):
        """Whether the answer is whole."""
        count = self.connection.recv_into(buffer)
        if count == 0:
            raise SystemExit("the service has ended a connection")
        if self.left is None:
            self.head += bytes(buffer[:count])
            end = self.head.find(b"\r\n\r\n")
            if end < 0:
                return False
            length = self.head.lower().split(b"content-length: ")[1].split(b"\r")[0]
            self.left = int(length) - (len(self.head) - end - 4)
        else:
            self.left -= count
        if self.left == 0:
            self.head, self.left = b"", None
            return True
        return False


def measure(rate, connections, seconds, address):
    url = urlsplit(address)
    selector = selectors.DefaultSelector()
    idle = [Client(url) for _ in range(connections)]
    for client in idle:
        selector.register(client.connection, selectors.EVENT_READ, client)
    buffer = bytearray(1 << 18)
    start = time.perf_counter()
    asked, times = 0, []
    total = int(rate * seconds)
    while len(times) < total:
        now = time.perf_counter() - start
        while idle and asked < total and asked / rate <= now:
            idle.pop(0).ask(asked / rate)
            asked += 1
        wait = asked / rate - now if idle and asked < total else 1
        for key, _ in selector.select(max(0, wait)):
            client = key.data
            if client.receive(buffer):
                times.append(time.perf_counter() - start - client.due)
                idle.append(client)
    seconds = time.perf_counter() - start
    times.sort()
    print(f"p50 {1000 * times[len(times) // 2]:.2f} ms, p99 {1000 * times[len(times) * 99 // 100]:.2f}"
          f" ms at {len(times) / seconds:,.0f} a second")


def be_slow(count, address):
    url = urlsplit(address)
    connections = [connect(url) for _ in range(count)]
    text = b"GET /devices/d/frame HTTP/1.1\r\nHost: h\r\nX-Slow: " + b"x" * 100000
    print("ready", flush=True)
    for byte in text:
        for connection in connections:
            try:
                connection.sendall(bytes((byte,)))
            except OSError:
                pass
        time.sleep(1)


if sys.argv[1] == "slow":
    be_slow(int(sys.argv[2]), sys.argv[3])
else:
    measure(float(sys.argv[1]), int(sys.argv[2]), float(sys.argv[3]), sys.argv[4])
