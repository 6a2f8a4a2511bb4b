"""An HTTP server on this machine."""

import http.server
import threading


class LocalServer:
    """Serves until `close()`. Subclasses answer requests, in threads of the server's own."""

    def __init__(self, tls=None):
        owner = self

        class Handler(http.server.BaseHTTPRequestHandler):
            def do_GET(self):
                owner.answer(self)

            def log_message(self, *_):
                pass

        self._server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        if tls:
            self._server.socket = tls.wrap_socket(self._server.socket, server_side=True)
        self.port = self._server.server_address[1]
        threading.Thread(target=self._server.serve_forever, daemon=True).start()

    def answer(self, request):
        """Called for each GET request."""
        raise NotImplementedError

    def address(self, path):
        return f"http://127.0.0.1:{self.port}{path}"

    def close(self):
        self._server.shutdown()
        self._server.server_close()


def send(request, body, status=200, headers=None):
    request.send_response(status)
    for name, value in (headers or {}).items():
        request.send_header(name, value)
    request.send_header("Content-Length", str(len(body)))
    request.end_headers()
    try:
        request.wfile.write(body)
    except OSError:
        pass  # The client may hang up.


FEED = """<?xml version="1.0"?><rss version="2.0" xmlns:sparkle="http://www.andymatuschak.org/xml-namespaces/sparkle">
<channel><item><title>{0}</title><enclosure url="https://updates.example/Tarvel-{0}.tar.xz" sparkle:version="{0}"
sparkle:shortVersionString="{0}" length="1" type="application/octet-stream"/></item></channel></rss>"""


def feed_of(version):
    """A feed of updates that offers `version`."""
    return FEED.format(version).encode()
