#!/usr/bin/env python3
"""Loopback HTTP server for the stream tests: serves DIR with Content-Length,
plus misbehaving answers under /fault/KIND[/FILE]. Asked as a proxy (an
absolute address), it wants Basic credentials vexa:secret and answers every
other attempt with 407 again. Prints its port, then serves until killed.
Every wait is bounded, so a client that never hangs up cannot keep a handler
forever."""
import base64, http.server, os, socketserver, sys, time

PROXY_CREDENTIALS = "Basic " + base64.b64encode(b"vexa:secret").decode()

ROOT = sys.argv[1]


class Handler(http.server.SimpleHTTPRequestHandler):
    protocol_version = "HTTP/1.0"

    def __init__(self, *args, **kwargs):
        super().__init__(*args, directory=ROOT, **kwargs)

    def log_message(self, *args):
        pass

    def head(self, status, length=None, kind="audio/mpeg"):
        self.send_response(status)
        self.send_header("Content-Type", kind)
        if length is not None:
            self.send_header("Content-Length", str(length))
        self.end_headers()

    def do_GET(self):
        if self.path.startswith("http://"):
            if self.headers.get("Proxy-Authorization") != PROXY_CREDENTIALS:
                self.send_response(407)
                self.send_header("Proxy-Authenticate", 'Basic realm="vexa"')
                body = b"<html>credentials, please</html>"
                self.send_header("Content-Length", str(len(body)))
                self.end_headers()
                return self.wfile.write(body)
            self.path = "/" + self.path.split("/", 3)[3]
        parts = self.path.split("/")
        if len(parts) < 3 or parts[1] != "fault":
            return super().do_GET()
        kind = parts[2]
        data = open(os.path.join(ROOT, parts[3]), "rb").read() if len(parts) > 3 else b""
        if kind == "short":  # fewer than 1024 bytes, then the end
            self.head(200)
            self.wfile.write(b"\xff" * 500)
        elif kind == "missing":  # an error page larger than the pre-buffer's minimum
            self.head(404, 2000, "text/html")
            self.wfile.write(b"<html>" + b"x" * 1987 + b"</html>")
        elif kind in ("silent", "stall"):  # never answers / stops after 100 bytes
            if kind == "stall":
                self.head(200)
                self.wfile.write(b"\0" * 100)
                self.wfile.flush()
            time.sleep(30)
        elif kind == "cut":  # states the whole length, sends the first half
            self.head(200, len(data))
            self.wfile.write(data[: len(data) // 2])
        elif kind == "trickle":  # 16 bytes at a time
            self.head(200)
            for i in range(0, len(data), 16):
                self.wfile.write(data[i : i + 16])
                self.wfile.flush()
                time.sleep(0.0005)
        elif kind == "redirect":
            self.send_response(302)
            self.send_header("Location", "/" + parts[3])
            self.end_headers()


class Server(socketserver.ThreadingMixIn, http.server.HTTPServer):
    daemon_threads = True


server = Server(("127.0.0.1", 0), Handler)
print(server.server_address[1], flush=True)
server.serve_forever()
