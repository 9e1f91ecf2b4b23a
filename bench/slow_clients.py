"""Clients that send a byte a second, for bench/serve.sh: slow_clients.py PORT COUNT, until killed."""
import contextlib
import socket
import sys
import time

connections = [socket.create_connection(("127.0.0.1", int(sys.argv[1])))
               for _ in range(int(sys.argv[2]))]
print("ready", flush=True)
for byte in b"GET /devices/d/frame HTTP/1.1\r\nHost: h\r\nX-Slow: " + b"x" * 10000:
    for connection in connections:
        with contextlib.suppress(OSError):
            connection.sendall(bytes((byte,)))
    time.sleep(1)
