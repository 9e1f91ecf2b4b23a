"""How many 304s a second 64 kept connections get, for bench/serve.sh: matched.py PORT TAG SECONDS.
wrk waits for the body that the length of a 304 speaks of, and never comes."""
import socket
import sys
import time

request = (f"GET /devices/d/frame HTTP/1.1\r\nHost: h\r\nIf-None-Match: {sys.argv[2]}\r\n\r\n").encode()
connections = [socket.create_connection(("127.0.0.1", int(sys.argv[1]))) for _ in range(64)]
answers = 0
start = time.monotonic()
while time.monotonic() < start + float(sys.argv[3]):
    for connection in connections:
        connection.sendall(request)
    for connection in connections:
        answer = b""
        while not answer.endswith(b"\r\n\r\n"):
            piece = connection.recv(65536)
            if not piece:
                sys.exit("the service closed a connection")
            answer += piece
        if not answer.startswith(b"HTTP/1.1 304 "):
            sys.exit(answer.split(b"\r\n")[0].decode())
        answers += 1
print(f"{answers / (time.monotonic() - start):,.0f}")
