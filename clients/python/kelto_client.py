"""A client for the appliance's REST interface, of Python's standard library alone."""

import base64
import http.client
import json
import os
import re
import socket
import ssl
import urllib.parse
import uuid

LONGEST_FORM = 65536  # in bytes; a longer form is empty to the device
UPLOAD_PATIENCE = 10  # times the timeout: the device stores the file before it answers
MOST_REDIRECTS = 3
PIECE = 65536


class DeviceError(Exception):
    """status: of the answer, 0 when there was none. complaints: what the device
    has against single parameters, a dict with message and property each."""

    def __init__(self, message, status=0, complaints=()):
        super().__init__(message)
        self.status = status
        self.complaints = list(complaints)


def parameters(form):
    """What a form sends, as pairs: {"a": [True]} as ("a[0]", "true"), and a list
    of records [{"a": 1}] as ("a[0]", "1"). What is None is left out."""

    def pairs(name, value, index):
        if isinstance(value, (list, tuple)):
            for i, item in enumerate(value):
                yield from pairs(f"{name}[{i}]", item, index)
        elif value is not None:
            yield name + index, str(value).lower() if isinstance(value, bool) else str(value)

    if isinstance(form, dict):
        records = [("", form)]
    else:
        records = [(f"[{i}]", record) for i, record in enumerate(form)]
    for index, record in records:
        for key, value in record.items():
            yield from pairs(key, value, index)


def encode_form(form):
    """Not by urlencode: the device takes names as they stand, and a plus sign for one."""
    quote = urllib.parse.quote
    pairs = parameters(form)
    return "&".join(f"{quote(name, safe='[]')}={quote(value, safe='')}" for name, value in pairs)


def parse(text):
    """In texts < and > arrive as entities, and control characters as they are."""
    text = text.replace("&lt;", "<").replace("&gt;", ">")
    answer = json.loads(text, strict=False) if text else []
    if not isinstance(answer, list):
        raise ValueError("not a list")
    return answer


def failure(status, text):
    try:
        answer = [one for one in parse(text) if isinstance(one, dict)]
    except ValueError:  # a page of the server
        answer = []
    complaints = [one for one in answer if "property" in one]
    reasons = [f"{one['message']} ({one['property']})" for one in complaints]
    reasons = reasons or [one["message"] for one in answer if "message" in one]
    phrase = http.client.responses.get(status, "")
    return DeviceError(" ".join(reasons) or f"{status} {phrase}", status, complaints)


def multipart(parameter, path, progress):
    """The headers and, as a function, the pieces of a form with a file in it. The
    device knows a part's headers in just this form."""
    boundary = uuid.uuid4().hex
    # The name under which the device stores a file and finds it again.
    name = re.sub(r'[%"\\\x00-\x1f\x7f]', "_", os.path.basename(path))
    disposition = f'form-data; name="{parameter}"; filename="{name}"'
    head = (f"--{boundary}\r\nContent-Disposition: {disposition}\r\n"
            "Content-Type: application/octet-stream\r\n\r\n").encode()
    tail = f"\r\n--{boundary}--\r\n".encode()
    size = os.path.getsize(path)

    def pieces():
        yield head
        sent = 0
        with open(path, "rb") as file:
            while piece := file.read(PIECE):
                yield piece
                sent += len(piece)
                if progress:
                    progress(sent / size)
        yield tail

    return {"Content-Type": f"multipart/form-data; boundary={boundary}",
            "Content-Length": str(len(head) + size + len(tail))}, pieces


def next_address(url, location):
    """A server may send requests on, to its TLS port for example. Method, body and
    login go along, but not to another host, and not out of TLS."""
    following = urllib.parse.urljoin(url, location)
    old, new = urllib.parse.urlsplit(url), urllib.parse.urlsplit(following)
    is_safe = new.hostname == old.hostname and (new.scheme == "https" or old.scheme == "http")
    return following if is_safe else None


class Device:
    def __init__(self, address, user=None, password="", ca=None, timeout=60):
        """ca: a file of certificates to trust, in PEM. timeout: seconds in which
        nothing moves."""
        self._base = address.rstrip("/") + "/api/"
        self._tls = ssl.create_default_context(cafile=ca)
        self._timeout = timeout
        self._login = {}
        if user is not None:
            login = base64.b64encode(f"{user}:{password}".encode()).decode()
            self._login = {"Authorization": f"Basic {login}"}

    # Each returns the answer's list, which is empty when there is no answer.

    def get(self, path):
        return self._send("GET", path)

    def delete(self, path):
        return self._send("DELETE", path)

    def post(self, path, form=None):
        return self._send_form("POST", path, form)

    def put(self, path, form=None):
        """An item's own id counts on the device; here it is that of the path."""
        item = re.search(r"/(\d+)$", path)
        if form is not None and item:
            form = {**form, "id": item[1]}
        return self._send_form("PUT", path, form)

    def change(self, path, changes):
        """Reads, changes and writes: a form replaces the whole record. Of a list,
        the records with the ids of the changes are written."""
        now = self.get(path)
        if isinstance(changes, dict):
            return self.put(path, {**now[0], **changes})
        records = {record["id"]: record for record in now}
        for one in changes:
            if str(one["id"]) not in records:
                raise DeviceError(f"There is no entry with the id {one['id']}.")
        return self.put(path, [{**records[str(one["id"])], **one} for one in changes])

    def upload(self, path, parameter, file, progress=None):
        """file: its path. progress is called with how much is sent, from 0 to 1."""
        headers, pieces = multipart(parameter, file, progress)
        return self._send("POST", path, headers, pieces, UPLOAD_PATIENCE * self._timeout)

    def _send_form(self, method, path, form):
        if form is None:
            return self._send(method, path)
        body = encode_form(form).encode()
        if len(body) > LONGEST_FORM:
            raise ValueError(f"A form of {len(body)} bytes is empty to the device.")
        headers = {"Content-Type": "application/x-www-form-urlencoded"}
        return self._send(method, path, headers, lambda: body)

    def _send(self, method, path, headers=None, body=lambda: None, timeout=None):
        url = self._base + path
        headers = {**self._login, **(headers or {})}
        timeout = timeout or self._timeout
        for _ in range(MOST_REDIRECTS + 1):
            status, location, text = self._exchange(method, url, headers, body(), timeout)
            if status not in (301, 302, 307, 308) or not location:
                break
            url = next_address(url, location)
            if not url:
                raise DeviceError(f"The server sends this on to {location}.", status)
        if not 200 <= status <= 299:
            raise failure(status, text)
        try:
            return parse(text)
        except ValueError as error:
            raise DeviceError("The answer of the device cannot be read.", status) from error

    def _exchange(self, method, url, headers, body, timeout):
        parts = urllib.parse.urlsplit(url)
        if parts.scheme == "https":
            connection = http.client.HTTPSConnection(
                parts.netloc, timeout=timeout, context=self._tls)
        else:
            connection = http.client.HTTPConnection(parts.netloc, timeout=timeout)
        try:
            try:
                connection.request(method, parts.path, body, headers)
            except (BrokenPipeError, ConnectionResetError):
                pass  # a refusal may have come before all was sent
            answer = connection.getresponse()
            try:
                text = answer.read()
            except (http.client.IncompleteRead, ConnectionResetError):
                if answer.status < 400:
                    raise
                text = b""  # of such a refusal the end may be lost
            return answer.status, answer.getheader("Location"), text.decode("utf-8", "replace")
        except socket.timeout as error:
            raise DeviceError("The device did not answer in time.") from error
        except (http.client.HTTPException, BrokenPipeError, ConnectionResetError) as error:
            raise DeviceError("The server closed the connection without an answer.") from error
        except OSError as error:
            raise DeviceError(f"The server does not answer: {error}") from error
        finally:
            connection.close()
