"""A web client inside a device, for the device's own web server."""

import json
import urllib.parse

REQUEST = """
import http.client, sys
host, method, path, content_type = sys.argv[1:]
connection = http.client.HTTPConnection(host, 80)
connection.request(method, path, sys.stdin.buffer.read(), {"Content-Type": content_type})
answer = connection.getresponse()
sys.stdout.buffer.write(b"%d\\n" % answer.status + answer.read())
"""


def request(device, method, path="/", body=b"", content_type="application/json", host="localhost"):
    """Status and body of the answer."""
    command = ["/usr/bin/python3", "-c", REQUEST, host, method, path, content_type]
    status, _, answer = device.exec(command, input=body, text=False, check=True).stdout.partition(b"\n")
    return int(status), answer


def call(device, path, interface, method, *params, service="com.ozt.nodekeep", host="localhost"):
    """The answer to a call of the bus: a dictionary with "result" or "error"."""
    text = {"id": 1, "method": f"{service}|{path}|{interface}.{method}", "params": params}
    status, answer = request(device, "POST", body=json.dumps(text).encode(), host=host)
    assert status == 200
    return json.loads(answer)


def upload(device, content, name, kind="file"):
    """Uploads a file; the result is where the web server has put it. Who listens may have taken it from there."""
    path = f"/upload/{kind}/{urllib.parse.quote(name)}"
    status, answer = request(device, "PUT", path, content, "application/octet-stream")
    assert status == 200
    (stored,) = json.loads(answer)["stored"]
    return stored


def upload_form(device, *files):
    """Uploads files, each given as kind, name and content, as a browser does; the result is as above, for each."""
    boundary = b"----what-no-file-holds"
    body = b""
    for kind, name, content in files:
        head = f'Content-Disposition: form-data; name="{kind}"; filename="{name}"\r\nContent-Type: text/plain\r\n\r\n'
        body += b"--" + boundary + b"\r\n" + head.encode() + content + b"\r\n"
    body += b"--" + boundary + b"--\r\n"
    content_type = f"multipart/form-data; boundary={boundary.decode()}"
    status, answer = request(device, "POST", "/upload", body, content_type)
    assert status == 200
    return json.loads(answer)["stored"]
