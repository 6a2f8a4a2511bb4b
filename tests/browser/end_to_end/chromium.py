"""Drives Chromium by its debugging protocol, over two pipes."""

import json
import os
import select
import subprocess
import time

from running_browser import HOST_NAME, PATIENCE, RunningBrowser, full, wait_for

CHROMIUM_ID = "hokgngcmbmadaepdokbpnpnfdkhajlil"


class Chromium(RunningBrowser):
    family = "chromium"
    roots = {"bar": "1", "other": "2"}
    caller = {"allowed_origins": [f"chrome-extension://{CHROMIUM_ID}/"]}

    def manifest_path(self):
        return self.home / "profile/NativeMessagingHosts" / f"{HOST_NAME}.json"

    def start(self):
        self.to_browser, self.from_browser = os.pipe(), os.pipe()
        # Chromium reads requests from descriptor 3 and writes replies to 4.
        command = [
            "sh", "-c", f'exec 3<&{self.to_browser[0]} 4>&{self.from_browser[1]} "$@"', "sh",
            os.environ["TARVEL_BROWSER"], "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run",
            f"--user-data-dir={self.home / 'profile'}", "--remote-debugging-pipe",
        ]  # fmt: skip
        # A list of extensions replaces those installed for all users.
        if self.extension:
            command += [f"--load-extension={self.extension}", f"--disable-extensions-except={self.extension}"]
        command.append("about:blank")
        with open(self.home / "browser.log", "ab") as log:
            self.process = subprocess.Popen(
                command,
                env=self.environment,
                pass_fds=(self.to_browser[0], self.from_browser[1]),
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                start_new_session=True,
            )
        os.close(self.to_browser[0])
        os.close(self.from_browser[1])
        self.buffer = b""
        self.number = 0
        self.foreign = None
        self.page = None
        return self

    def release(self):
        self.process = None
        for descriptor in (self.to_browser[1], self.from_browser[0]):
            os.close(descriptor)

    def quit(self):
        self.command("Browser.close")

    def command(self, method, session=None, **parameters):
        self.number += 1
        message = {"id": self.number, "method": method, "params": parameters}
        if session:
            message["sessionId"] = session
        os.write(self.to_browser[1], json.dumps(message).encode() + b"\0")
        while True:
            answer = self.receive()
            if answer.get("id") != self.number:
                continue
            if "error" in answer:
                raise AssertionError(f"{method}: {answer['error']}")
            return answer["result"]

    def receive(self):
        end = time.monotonic() + PATIENCE
        while b"\0" not in self.buffer:
            ready, _, _ = select.select([self.from_browser[0]], [], [], max(0, end - time.monotonic()))
            if not ready:
                raise AssertionError("The browser does not reply.")
            read = os.read(self.from_browser[0], 1 << 20)
            if not read:
                raise OSError("The browser has exited.")
            self.buffer += read
        message, self.buffer = self.buffer.split(b"\0", 1)
        return json.loads(message)

    def open_tab(self, address):
        target = self.command("Target.createTarget", url=address)["targetId"]
        session = self.command("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        wait_for(lambda: self.evaluate_in(session, "document.readyState") == "complete", address)
        return session

    def evaluate_in(self, session, expression):
        result = self.command(
            "Runtime.evaluate", session, expression=expression, awaitPromise=True, returnByValue=True, userGesture=True
        )
        if "exceptionDetails" in result:
            raise AssertionError(f"{expression}: {result['exceptionDetails']}")
        return result["result"].get("value")

    def open_page(self):
        if self.page is None:
            self.page = self.open_tab("about:blank")

        def is_open():
            # The extension takes a moment to load after the start.
            self.command("Page.navigate", self.page, url=f"chrome-extension://{CHROMIUM_ID}/page.html")
            wait_for(lambda: self.evaluate("document.readyState") == "complete", "the page")
            return self.evaluate("typeof chrome.bookmarks") == "object"

        wait_for(is_open, "the page", pause=0.3)

    def close_page(self):
        self.command("Page.navigate", self.page, url="about:blank")

    def open_second_window(self):
        """Opens the page again. Returns the arguments of use() for both."""
        first, self.page = self.page, None
        self.open_page()
        return first, self.page

    def use(self, page):
        self.page = page

    def evaluate(self, expression):
        return self.evaluate_in(self.page, expression)

    def others(self, expression):
        """Evaluates in the browser's bookmark manager. To the extension, its changes are another program's."""
        if self.foreign is None:
            self.foreign = self.open_tab("chrome://bookmarks")
        return self.evaluate_in(self.foreign, expression)

    def tree(self):
        text = self.others("chrome.bookmarks.getTree().then((tree) => JSON.stringify(tree))")
        return [self.node(root) for root in json.loads(text)[0]["children"]]

    def node(self, json_node):
        return {
            "id": json_node["id"],
            "title": json_node["title"],
            "url": json_node.get("url"),
            "type": "bookmark" if "url" in json_node else "folder",
            "dateAdded": json_node.get("dateAdded"),
            "children": [self.node(child) for child in json_node.get("children", [])],
        }

    def add(self, parent, wanted):
        """Adds entries at the end of a folder. Each is a title, with an address made of it, or a pair of title and
        entries, or of title and address. Returns the ids in order."""
        return json.loads(
            self.others(
                """(async (parentId, all) => {
                  const ids = [];
                  const add = async (parentId, [title, rest]) => {
                    const isFolder = Array.isArray(rest);
                    const made = await chrome.bookmarks.create({ parentId, title, url: isFolder ? undefined : rest });
                    ids.push(made.id);
                    if (isFolder) for (const child of rest) await add(made.id, child);
                  };
                  for (const one of all) await add(parentId, one);
                  return JSON.stringify(ids);
                })"""
                + f"({json.dumps(self.roots.get(parent, parent))}, {json.dumps(full(wanted))})"
            )
        )

    def move(self, identifier, index):
        self.others(f"chrome.bookmarks.move({json.dumps(identifier)}, {{ index: {index} }})")

    def remove(self, identifier):
        self.others(f"chrome.bookmarks.removeTree({json.dumps(identifier)})")

    #: Changes by the user; `folder` is an id.
    changes = {
        "add": "chrome.bookmarks.create({ parentId: folder, title: '00000', url: 'https://example.org/new' })",
        "move": "chrome.bookmarks.getChildren(folder).then((all) => chrome.bookmarks.move(all.at(-1).id, { index: 0 }))",
        "remove": "chrome.bookmarks.getChildren(folder).then((all) => chrome.bookmarks.remove(all[60].id))",
        "sort by name": "chrome.bookmarkManagerPrivate.sortChildren(folder)",
        "import": """(async () => {
          for (let i = 500; i > 0; i--) {
            await chrome.bookmarks.create({ parentId: '2', title: 'imported ' + i, url: 'https://example.org/' + i });
          }
        })()""",
    }

    def change_after_moves(self, count, change, folder):
        """Makes a change after `count` moves, in the middle of a run."""
        self.hold_after_moves(count)
        self.others(
            f"""(() => {{
              const folder = {json.dumps(folder)};
              let left = {count};
              window.changed = false;
              chrome.bookmarks.onMoved.addListener(async function heard() {{
                if (--left) return;
                chrome.bookmarks.onMoved.removeListener(heard);
                await {self.changes[change]};
                window.changed = true;
              }});
            }})()"""
        )

    def hold_after_moves(self, count):
        """Holds the extension after `count` moves until it receives an event that it has not caused, or until go_on().

        Pages receive events late: on a busy machine the run would end before the page could change anything.
        """
        self.in_worker(
            f"""(() => {{
              const events = [chrome.bookmarks.onCreated, chrome.bookmarks.onRemoved, chrome.bookmarks.onMoved,
                              chrome.bookmarks.onChildrenReordered];
              const {{ create, move }} = chrome.bookmarks;
              let heard = 0, caused = 0, moved = 0, goOn = null, isReleased = false;
              globalThis.release = () => {{ isReleased = true; goOn?.(); }};
              const hear = () => {{ if (++heard > caused) goOn?.(); }};
              for (const event of events) event.addListener(hear);
              chrome.bookmarks.create = async (...details) => {{
                const answer = await create(...details);
                ++caused;
                return answer;
              }};
              chrome.bookmarks.move = async (...details) => {{
                const answer = await move(...details);
                ++caused;
                if (++moved < {count}) return answer;
                Object.assign(chrome.bookmarks, {{ create, move }});
                if (heard <= caused && !isReleased) await new Promise((resolve) => {{ goOn = resolve; }});
                for (const event of events) event.removeListener(hear);
                return answer;
              }};
            }})()"""
        )

    def go_on(self):
        self.in_worker("globalThis.release()")

    def in_worker(self, expression):
        """Evaluates in the background of the extension, which an open page keeps running."""
        def worker():
            targets = self.command("Target.getTargets")["targetInfos"]
            return next((t["targetId"] for t in targets if t["type"] == "service_worker" and CHROMIUM_ID in t["url"]), None)

        target = wait_for(worker, "the background")
        session = self.command("Target.attachToTarget", targetId=target, flatten=True)["sessionId"]
        return self.evaluate_in(session, expression)

    def is_changed(self):
        return self.others("window.changed")
