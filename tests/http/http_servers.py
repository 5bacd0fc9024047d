#!/usr/bin/env python3
"""Loopback HTTP server for the stream tests: serves DIR with Content-Length,
plus misbehaving answers under /fault/KIND[/FILE]. Asked as a proxy (an
absolute address), it wants Basic credentials vexa:secret and answers every
other attempt with 407 again. Prints its port, then serves until killed.
Every wait is bounded, so a client that never hangs up cannot keep a handler
forever."""
import base64, http.server, os, sys, time

ROOT = sys.argv[1]
PROXY_CREDENTIALS = "Basic " + base64.b64encode(b"vexa:secret").decode()


class Handler(http.server.SimpleHTTPRequestHandler):
    protocol_version = "HTTP/1.0"

    def __init__(self, *args, **kwargs):
        super().__init__(*args, directory=ROOT, **kwargs)

    def log_message(self, *args):
        pass

    def answer(self, status, headers, body=b"", pause=0.0, piece=None):
        self.send_response(status)
        for name, value in headers.items():
            self.send_header(name, value)
        self.end_headers()
        for i in range(0, len(body), piece or max(len(body), 1)):
            self.wfile.write(body[i : i + (piece or len(body))])
            self.wfile.flush()
            time.sleep(pause)

    def do_GET(self):
        if self.path.startswith("http://"):
            if self.headers.get("Proxy-Authorization") != PROXY_CREDENTIALS:
                body = b"<html>credentials, please</html>"
                return self.answer(407, {"Proxy-Authenticate": 'Basic realm="vexa"', "Content-Length": len(body)}, body)
            self.path = "/" + self.path.split("/", 3)[3]
        parts = self.path.split("/") + [""]
        if parts[1] != "fault":
            return super().do_GET()
        kind, data = parts[2], open(os.path.join(ROOT, parts[3]), "rb").read() if parts[3] else b""
        if kind == "short":  # fewer than 1024 bytes, then the end
            self.answer(200, {}, b"\xff" * 500)
        elif kind == "missing":  # an error page larger than the pre-buffer's minimum
            self.answer(404, {"Content-Type": "text/html", "Content-Length": 2000}, b"<html>" + b"x" * 1987 + b"</html>")
        elif kind == "silent":  # never answers
            time.sleep(30)
        elif kind == "stall":  # stops after 100 bytes
            self.answer(200, {}, b"\0" * 100, pause=30)
        elif kind == "cut":  # states the whole length, sends the first half
            self.answer(200, {"Content-Length": len(data)}, data[: len(data) // 2])
        elif kind == "trickle":  # 16 bytes at a time
            self.answer(200, {}, data, pause=0.0005, piece=16)
        elif kind == "redirect":
            self.answer(302, {"Location": "/" + parts[3]})


server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)  # daemon threads: killed with the server
print(server.server_address[1], flush=True)
server.serve_forever()
