#!/usr/bin/python3
"""A web server on loopback that serves one file well and badly: http_server.py PORT FILE.

/good      as it is
/missing   404
/redirect  leads to /good
/cut       breaks off in the middle, once; then as /good
/slow      stops in the middle until the file /run/http-go exists
"""
import http.server
import os
import sys
import time


class Handler(http.server.BaseHTTPRequestHandler):
    cut_before = False

    def do_GET(self):
        page = self.path.strip("/")
        if page == "redirect":
            self.send_response(302)
            self.send_header("Location", "/good")
            self.end_headers()
        elif page in ("good", "cut", "slow"):
            self.send_file(page)
        else:
            self.send_error(404)

    def send_file(self, page):
        with open(sys.argv[2], "rb") as file:
            content = file.read()
        self.send_response(200)
        self.send_header("Content-Length", str(len(content)))
        self.end_headers()
        half = len(content) // 2
        self.wfile.write(content[:half])
        if page == "cut" and not Handler.cut_before:
            Handler.cut_before = True
            return
        while page == "slow" and not os.path.exists("/run/http-go"):
            time.sleep(0.02)
        self.wfile.write(content[half:])

    def log_message(self, *args):
        pass


http.server.HTTPServer(("127.0.0.1", int(sys.argv[1])), Handler).serve_forever()
