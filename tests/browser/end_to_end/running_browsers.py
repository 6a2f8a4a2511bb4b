"""Real browsers with the extension in them, headless, each in a home of its own.

Both are driven by what they bring along: Chromium by its debugging protocol over two pipes, Firefox by Marionette.
"""

import json
import os
import pathlib
import select
import shutil
import signal
import socket
import subprocess
import time

PATIENCE = 60
CHROMIUM_ID = "hokgngcmbmadaepdokbpnpnfdkhajlil"
FIREFOX_ID = "tarvel@tarvel.org"
HOST_NAME = "org.tarvel.browser_host"


def wait_for(condition, what, patience=PATIENCE, pause=0.05):
    """The first true answer of `condition`."""
    end = time.monotonic() + patience
    while True:
        answer = condition()
        if answer:
            return answer
        if time.monotonic() > end:
            raise AssertionError(f"In vain waited for: {what}")
        time.sleep(pause)


class RunningBrowser:
    """What the tests ask of either browser. `roots` maps "bar" and "other" to ids."""

    def __init__(self, home, extension, host):
        """Without an extension: one that is installed for all users, as its host is."""
        self.home = pathlib.Path(home)
        self.extension = extension
        self.process = None
        if extension:
            self.install_host(host)

    @property
    def environment(self):
        kept = {name: os.environ[name] for name in ("PATH", "ASAN_OPTIONS") if name in os.environ}
        return {
            **kept,
            "HOME": str(self.home),
            "XDG_DATA_HOME": str(self.home / "data"),
            "XDG_CONFIG_HOME": str(self.home / "config"),
            "XDG_RUNTIME_DIR": str(self.home),
            "LC_ALL": "C.UTF-8",
            "MOZ_HEADLESS": "1",
        }

    def install_host(self, host):
        """Registers a host; None for none at all."""
        manifest = self.manifest_path()
        manifest.parent.mkdir(parents=True, exist_ok=True)
        manifest.unlink(missing_ok=True)
        if host is not None:
            facts = {"name": HOST_NAME, "description": "Tarvel", "path": str(host), "type": "stdio", **self.caller}
            manifest.write_text(json.dumps(facts))

    def host_processes(self):
        """The numbers of the hosts that this browser runs."""
        found = []
        for folder in pathlib.Path("/proc").glob("[0-9]*"):
            try:
                environment = (folder / "environ").read_bytes().split(b"\0")
                command = (folder / "cmdline").read_bytes().split(b"\0")
            except OSError:
                continue
            if command[0].endswith(b"tarvel-browser-host") and f"HOME={self.home}".encode() in environment:
                found.append(int(folder.name))
        return found

    def kill(self):
        """As a power cut: no chance to tidy up."""
        os.killpg(self.process.pid, signal.SIGKILL)
        self.process.wait()
        self.release()

    def stop(self):
        if self.process is None:
            return
        try:
            self.quit()
            self.process.wait(30)
        except (OSError, subprocess.TimeoutExpired, AssertionError):
            pass
        if self.process.poll() is None:
            self.kill()
        else:
            self.release()

    def click(self, name):
        self.evaluate(f"document.getElementById({json.dumps(name)}).click()")

    def text(self, name):
        return self.evaluate(f"document.getElementById({json.dumps(name)}).textContent")

    def is_enabled(self, name):
        return self.evaluate(f"!document.getElementById({json.dumps(name)}).disabled")

    def wait_for_text(self, name, wanted, patience=PATIENCE):
        return wait_for(lambda: wanted in self.text(name) and self.text(name), f"{wanted} in {name}", patience)

    def run(self, button, confirm=None):
        """Presses a button of the page, and waits for the end of the run. Answers what the page says then."""
        wait_for(lambda: self.is_enabled(button), f"button {button}")
        self.evaluate("document.getElementById('status').textContent = ''")
        self.click(button)
        if confirm:
            wait_for(lambda: not self.evaluate("document.getElementById('question').hidden"), "the question")
            self.click(confirm)
        return self.wait_for_end()

    def wait_for_end(self, patience=PATIENCE):
        def end():
            problem = self.text("problem")
            if problem:
                raise AssertionError(problem)
            status = self.text("status")
            return status if status.startswith(("Done", "Nothing")) else None

        return wait_for(end, "the end of the run", patience)


class Chromium(RunningBrowser):
    family = "chromium"
    roots = {"bar": "1", "other": "2"}
    caller = {"allowed_origins": [f"chrome-extension://{CHROMIUM_ID}/"]}

    def manifest_path(self):
        return self.home / "profile/NativeMessagingHosts" / f"{HOST_NAME}.json"

    def start(self):
        self.to_browser, self.from_browser = os.pipe(), os.pipe()
        # Chromium reads requests from descriptor 3 and writes answers to 4.
        command = [
            "sh", "-c", f'exec 3<&{self.to_browser[0]} 4>&{self.from_browser[1]} "$@"', "sh",
            os.environ["TARVEL_BROWSER"], "--headless=new", "--no-sandbox", "--disable-gpu", "--no-first-run",
            f"--user-data-dir={self.home / 'profile'}", "--remote-debugging-pipe",
        ]  # fmt: skip
        # Another list of extensions takes the place of those that are installed for all users.
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
                raise AssertionError("The browser does not answer.")
            read = os.read(self.from_browser[0], 1 << 20)
            if not read:
                raise OSError("The browser has ended.")
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
        """The page once more. Answers what use() takes for the first and the second one."""
        first, self.page = self.page, None
        self.open_page()
        return first, self.page

    def use(self, page):
        self.page = page

    def evaluate(self, expression):
        return self.evaluate_in(self.page, expression)

    def others(self, expression):
        """What another page of the browser does: its own manager of bookmarks, which extensions see as a stranger."""
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
        entries, or of title and address. Answers the ids in order."""
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

    #: What the user does, `folder` being an id.
    changes = {
        "add": "chrome.bookmarks.create({ parentId: folder, title: '00000', url: 'https://example.org/new' })",
        "move": "chrome.bookmarks.getChildren(folder).then((all) => chrome.bookmarks.move(all.at(-1).id, { index: 0 }))",
        "remove": "chrome.bookmarks.getChildren(folder).then((all) => chrome.bookmarks.remove(all[100].id))",
        "sort by name": "chrome.bookmarkManagerPrivate.sortChildren(folder)",
        "import": """(async () => {
          for (let i = 500; i > 0; i--) {
            await chrome.bookmarks.create({ parentId: '2', title: 'imported ' + i, url: 'https://example.org/' + i });
          }
        })()""",
    }

    def change_after_moves(self, count, change, folder):
        """Once so many entries have been moved, that is in the middle of a run, the user makes a change."""
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
        """Keeps the extension from moving on until it hears one more event than it has caused.

        A page hears of a move late: on a busy machine the run would end before the page could change anything.
        """
        self.in_worker(
            f"""(() => {{
              const events = [chrome.bookmarks.onCreated, chrome.bookmarks.onRemoved, chrome.bookmarks.onMoved,
                              chrome.bookmarks.onChildrenReordered];
              const move = chrome.bookmarks.move;
              let heard = 0, moved = 0, goOn = null;
              const hear = () => {{ if (++heard > {count}) goOn?.(); }};
              for (const event of events) event.addListener(hear);
              chrome.bookmarks.move = async (...details) => {{
                const answer = await move(...details);
                if (++moved < {count}) return answer;
                chrome.bookmarks.move = move;
                if (heard <= {count}) await new Promise((resolve) => {{ goOn = resolve; }});
                for (const event of events) event.removeListener(hear);
                return answer;
              }};
            }})()"""
        )

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


class Firefox(RunningBrowser):
    family = "firefox"
    roots = {"bar": "toolbar_____", "other": "unfiled_____", "menu": "menu________", "mobile": "mobile______"}
    caller = {"allowed_extensions": [FIREFOX_ID]}
    preferences = {
        "marionette.port": 0,
        "remote.prefs.recommended": False,
        "browser.shell.checkDefaultBrowser": False,
        "browser.aboutwelcome.enabled": False,
        "browser.startup.page": 0,
        "datareporting.policy.dataSubmissionEnabled": False,
        "app.normandy.enabled": False,
        "browser.bookmarks.restore_default_bookmarks": False,
        "extensions.autoDisableScopes": 0,
        # After some kills it would ask whether to start without extensions.
        "toolkit.startup.max_resumed_crashes": -1,
        # An extension that is loaded for a while keeps its storage like one that is installed.
        "extensions.webextensions.keepStorageOnUninstall": True,
        "extensions.webextensions.keepUuidOnUninstall": True,
    }

    def manifest_path(self):
        return self.home / ".mozilla/native-messaging-hosts" / f"{HOST_NAME}.json"

    def start(self):
        profile = self.home / "profile"
        profile.mkdir(exist_ok=True)
        lines = [f"user_pref({json.dumps(name)}, {json.dumps(value)});\n" for name, value in self.preferences.items()]
        (profile / "user.js").write_text("".join(lines))
        port_file = profile / "MarionetteActivePort"
        port_file.unlink(missing_ok=True)
        with open(self.home / "browser.log", "ab") as log:
            self.process = subprocess.Popen(
                [
                    os.environ["TARVEL_FIREFOX"], "--headless", "--no-remote", "--profile", str(profile),
                    "--marionette", "--remote-allow-system-access", "about:blank",
                ],  # fmt: skip
                env=self.environment,
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=log,
                start_new_session=True,
            )
        wait_for(lambda: port_file.exists() and port_file.read_text().strip(), "Firefox")
        self.socket = socket.create_connection(("127.0.0.1", int(port_file.read_text())), PATIENCE)
        self.socket.settimeout(PATIENCE)
        self.number = 0
        self.receive()
        self.command("WebDriver:NewSession", strictFileInteractability=False)
        self.command("WebDriver:SetTimeouts", script=PATIENCE * 1000)
        if self.extension:
            self.command("Addon:Install", path=str(self.extension), temporary=True)
        return self

    def release(self):
        self.process = None
        self.socket.close()

    def quit(self):
        self.command("Marionette:Quit", flags=["eForceQuit"])

    def receive(self):
        length = b""
        while not length.endswith(b":"):
            byte = self.socket.recv(1)
            if not byte:
                raise OSError("The browser has ended.")
            length += byte
        left = int(length[:-1])
        message = b""
        while len(message) < left:
            message += self.socket.recv(left - len(message))
        return json.loads(message)

    def command(self, method, **parameters):
        self.number += 1
        message = json.dumps([0, self.number, method, parameters]).encode()
        self.socket.sendall(str(len(message)).encode() + b":" + message)
        while True:
            _, number, error, result = self.receive()
            if number == self.number:
                break
        if error:
            raise AssertionError(f"{method}: {error}")
        return result.get("value") if isinstance(result, dict) and "value" in result else result

    def system(self, script, *arguments):
        """A script with the rights of the browser itself. It may await, and returns its answer."""
        self.command("Marionette:SetContext", value="chrome")
        try:
            return self.command(
                "WebDriver:ExecuteAsyncScript",
                script=f"""
                  const [...args] = arguments;
                  const done = args.pop();
                  (async () => {{ {script} }})().then((v) => done(v), (e) => done({{ error: String(e) }}));""",
                args=list(arguments),
            )
        finally:
            self.command("Marionette:SetContext", value="content")

    def open_page(self):
        host = wait_for(
            lambda: self.system(f"return WebExtensionPolicy.getByID('{FIREFOX_ID}')?.mozExtensionHostname ?? null;"),
            "the extension",
        )
        self.command("WebDriver:Navigate", url=f"moz-extension://{host}/page.html")

    def close_page(self):
        self.command("WebDriver:Navigate", url="about:blank")

    def open_second_window(self):
        first = self.command("WebDriver:GetWindowHandle")
        second = self.command("WebDriver:NewWindow", type="window")["handle"]
        self.use(second)
        self.open_page()
        return first, second

    def use(self, page):
        self.command("WebDriver:SwitchToWindow", handle=page)

    def evaluate(self, expression):
        return self.command("WebDriver:ExecuteScript", script=f"return ({expression});", args=[])

    def tree(self):
        answer = self.system(
            """const tree = await PlacesUtils.promiseBookmarksTree(PlacesUtils.bookmarks.rootGuid);
               return JSON.stringify(tree);"""
        )
        roots = [self.node(root) for root in json.loads(answer)["children"]]
        return [root for root in roots if root["id"] in self.roots.values()]

    def node(self, place):
        kinds = {"text/x-moz-place": "bookmark", "text/x-moz-place-container": "folder"}
        return {
            "id": place["guid"],
            "title": place.get("title", ""),
            "url": place.get("uri"),
            "type": kinds.get(place["type"], "separator"),
            "dateAdded": place["dateAdded"],
            "children": [self.node(child) for child in place.get("children", [])],
        }

    def add(self, parent, wanted):
        return json.loads(
            self.system(
                """const [parentGuid, all] = args;
                   const ids = [];
                   const add = async (parentGuid, [title, rest]) => {
                     const isFolder = Array.isArray(rest);
                     const type = isFolder ? PlacesUtils.bookmarks.TYPE_FOLDER
                       : rest === "separator" ? PlacesUtils.bookmarks.TYPE_SEPARATOR : PlacesUtils.bookmarks.TYPE_BOOKMARK;
                     const info = { parentGuid, type };
                     if (rest !== "separator") info.title = title;
                     if (type === PlacesUtils.bookmarks.TYPE_BOOKMARK) info.url = rest;
                     const made = await PlacesUtils.bookmarks.insert(info);
                     ids.push(made.guid);
                     if (isFolder) for (const child of rest) await add(made.guid, child);
                   };
                   for (const one of all) await add(parentGuid, one);
                   return JSON.stringify(ids);""",
                self.roots.get(parent, parent),
                full(wanted),
            )
        )

    def move(self, identifier, index):
        self.system("await PlacesUtils.bookmarks.update({ guid: args[0], index: args[1] });", identifier, index)

    def remove(self, identifier):
        self.system("await PlacesUtils.bookmarks.remove(args[0]);", identifier)

    changes = {
        "add": "await PlacesUtils.bookmarks.insert({ parentGuid: folder, title: '00000', url: 'https://example.org/new' })",
        "move": "await PlacesUtils.bookmarks.update({ guid: (await children()).at(-1).guid, index: 0 })",
        "remove": "await PlacesUtils.bookmarks.remove((await children())[100].guid)",
        "sort by name": """await PlacesUtils.bookmarks.reorder(
          folder, (await children()).sort((a, b) => (a.title < b.title ? -1 : 1)).map((child) => child.guid))""",
        "import": """for (let i = 500; i > 0; i--) {
          await PlacesUtils.bookmarks.insert(
            { parentGuid: 'unfiled_____', title: 'imported ' + i, url: 'https://example.org/' + i });
        }""",
    }

    def change_after_moves(self, count, change, folder):
        self.system(
            f"""const [folder] = args;
            const children = async () => (await PlacesUtils.promiseBookmarksTree(folder)).children;
            let left = {count};
            Services.prefs.setBoolPref("test.changed", false);
            const heard = async (events) => {{
              left -= events.length;
              if (left > 0) return;
              PlacesObservers.removeListener(["bookmark-moved"], heard);
              {self.changes[change]};
              Services.prefs.setBoolPref("test.changed", true);
            }};
            PlacesObservers.addListener(["bookmark-moved"], heard);""",
            folder,
        )

    def is_changed(self):
        return self.system("return Services.prefs.getBoolPref('test.changed');")


def full(wanted):
    """Each entry as a pair of its title and what is in it, or its address."""
    pairs = []
    for one in wanted:
        title, rest = one if isinstance(one, tuple) else (one, None)
        if isinstance(rest, list):
            pairs.append([title, full(rest)])
        else:
            pairs.append([title, rest or f"https://example.org/{title}"])
    return pairs


def copy_extension(source, target):
    """The extension as it is installed."""
    shutil.copytree(source, target)
    return target
