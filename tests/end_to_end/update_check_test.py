"""The program that looks for updates, against real servers on this machine."""

import gzip
import http.server
import os
import pathlib
import ssl
import subprocess
import tempfile
import threading
import unittest

CHECK = os.environ["TARVEL_UPDATE_CHECK"]
NAMESPACE = "http://www.andymatuschak.org/xml-namespaces/sparkle"


def feed(*versions, padding=0):
    items = "".join(f'<item><enclosure sparkle:version="{v}"/></item>' for v in versions)
    return f'<rss xmlns:sparkle="{NAMESPACE}"><channel>{items}<!--{"x" * padding}--></channel></rss>'.encode()


class Server:
    """Answers by path. Keeps what was asked."""

    def __init__(self, tls=None):
        self.requests = []
        outer = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                outer.requests.append((self.path, dict(self.headers)))
                outer.answer(self)

            def log_message(self, *_):
                pass

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        if tls:
            self.server.socket = tls.wrap_socket(self.server.socket, server_side=True)
        self.port = self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, daemon=True).start()

    def answer(self, request):
        body, status, headers = feed("2.0"), 200, {}
        path = request.path
        if path.startswith("/redirect/"):
            left = int(path.rpartition("/")[2])
            headers["Location"] = f"/redirect/{left - 1}" if left else "/feed"
            body, status = b"", 302
        elif path == "/to-file":
            body, status, headers = b"", 302, {"Location": "file:///etc/passwd"}
        elif path == "/to-plain":
            body, status, headers = b"", 302, {"Location": "http://192.0.2.1/feed"}
        elif path == "/missing":
            body, status = b"", 404
        elif path == "/empty":
            body = b""
        elif path == "/html":
            body = b"<html><body>2.0</body></html>"
        elif path == "/large":
            body = feed("2.0", padding=1024 * 1024)
        elif path == "/almost-large":
            body = feed("2.0", padding=1024 * 1024 - 1000)
        elif path == "/bomb":
            body, headers = gzip.compress(feed("2.0", padding=50_000_000)), {"Content-Encoding": "gzip"}
        elif path == "/packed":
            body, headers = gzip.compress(feed("2.0")), {"Content-Encoding": "gzip"}
        elif path == "/doctype":
            body = b"<!DOCTYPE rss>" + feed("2.0")
        elif path == "/many":
            body = feed("0.9", "3.0", "2.0")
        request.send_response(status)
        for name, value in headers.items():
            request.send_header(name, value)
        request.send_header("Content-Length", str(len(body)))
        request.send_header("Set-Cookie", "a=b")
        request.end_headers()
        try:
            request.wfile.write(body)
        except OSError:
            pass  # It hung up, as it may.

    def close(self):
        self.server.shutdown()
        self.server.server_close()


class UpdateCheck(unittest.TestCase):
    def setUp(self):
        self.server = Server()
        self.addCleanup(self.server.close)

    def check(self, path, current="1.0", *more, address=None):
        address = address or f"http://127.0.0.1:{self.server.port}{path}"
        result = subprocess.run([CHECK, "--feed", address, "--current", current, *more], capture_output=True,
                                check=False, timeout=120, env={"PATH": os.environ["PATH"], "HOME": "/nonexistent",
                                                               "no_proxy": "*"})
        return result.returncode, result.stdout.decode(), result.stderr.decode()

    def test_a_newer_version_is_printed(self):
        self.assertEqual(self.check("/feed"), (0, "2.0\n", ""))
        self.assertEqual(self.check("/many"), (0, "3.0\n", ""))
        self.assertEqual(self.check("/packed"), (0, "2.0\n", ""))

    def test_the_same_an_older_and_a_skipped_version_are_nothing_new(self):
        self.assertEqual(self.check("/feed", "2.0"), (1, "", ""))
        self.assertEqual(self.check("/feed", "10"), (1, "", ""))
        self.assertEqual(self.check("/feed", "1.0", "--skipped", "2.0"), (1, "", ""))

    def test_five_redirections_are_followed_and_no_more(self):
        self.assertEqual(self.check("/redirect/4"), (0, "2.0\n", ""))
        self.assertEqual(self.check("/redirect/5")[0], 2)
        self.assertEqual(len([r for r in self.server.requests if r[0].startswith("/redirect")]), 5 + 6)

    def test_redirections_elsewhere_are_refused(self):
        for path in ("/to-file", "/to-plain"):
            status, output, errors = self.check(path)
            self.assertEqual((status, output), (2, ""))
            self.assertIn("The address is n", errors)

    def test_what_is_no_feed_is_a_fault(self):
        for path in ("/missing", "/empty", "/html", "/doctype"):
            status, output, errors = self.check(path)
            self.assertEqual((status, output), (2, ""), path)
            self.assertTrue(errors.startswith("tarvel-update-check: "), path)

    def test_a_megabyte_is_the_most_packed_or_not(self):
        self.assertEqual(self.check("/almost-large")[0], 0)
        self.assertEqual(self.check("/large"), (2, "", "tarvel-update-check: The feed is too large.\n"))
        self.assertEqual(self.check("/bomb"), (2, "", "tarvel-update-check: The feed is too large.\n"))

    def test_it_says_who_it_is_and_keeps_no_cookie(self):
        self.check("/redirect/1")
        for _, headers in self.server.requests:
            self.assertRegex(headers["User-Agent"], r"^tarvel-update-check/\d")
            self.assertNotIn("Cookie", headers)
            self.assertNotIn("Authorization", headers)

    def test_nobody_there_is_a_fault(self):
        self.server.close()
        self.assertEqual(self.check("/feed")[0], 2)

    def test_a_server_that_cannot_prove_its_name_is_refused(self):
        with tempfile.TemporaryDirectory() as folder:
            key, certificate = pathlib.Path(folder, "key"), pathlib.Path(folder, "certificate")
            made = subprocess.run(["openssl", "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-subj", "/CN=localhost",
                                   "-keyout", key, "-out", certificate, "-days", "2"], capture_output=True, check=False)
            self.assertEqual(made.returncode, 0, made.stderr)
            tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            tls.load_cert_chain(certificate, key)
            server = Server(tls)
            self.addCleanup(server.close)
            status, output, errors = self.check("", address=f"https://localhost:{server.port}/feed")
            self.assertEqual((status, output), (2, ""))
            self.assertIn("certificate", errors)
            self.assertEqual(server.requests, [])

    def test_wrong_usage_is_a_fault_and_help_is_help(self):
        self.assertEqual(subprocess.run([CHECK], capture_output=True, check=False).returncode, 2)
        help_text = subprocess.run([CHECK, "--help"], capture_output=True, check=False)
        self.assertEqual(help_text.returncode, 0)
        self.assertIn(b"Exit status: 0", help_text.stdout)
        self.assertEqual(subprocess.run([CHECK, "--version"], capture_output=True, check=False).returncode, 0)


if __name__ == "__main__":
    unittest.main()
