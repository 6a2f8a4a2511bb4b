"""Drives Firefox by Marionette."""

import json
import os
import socket
import subprocess

from running_browser import HOST_NAME, PATIENCE, RunningBrowser, full, wait_for

FIREFOX_ID = "tarvel@tarvel.org"


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
        # Less to draw, to start in advance and to ask of servers.
        "layout.frame_rate": 5,
        "dom.ipc.processPrelaunch.enabled": False,
        "browser.newtabpage.enabled": False,
        "browser.startup.homepage_override.mstone": "ignore",
        "browser.safebrowsing.malware.enabled": False,
        "browser.safebrowsing.phishing.enabled": False,
        "extensions.getAddons.cache.enabled": False,
        "services.settings.server": "data:,",
        "toolkit.telemetry.unified": False,
        "browser.bookmarks.restore_default_bookmarks": False,
        "extensions.autoDisableScopes": 0,
        # Otherwise Firefox offers its safe mode after several kills.
        "toolkit.startup.max_resumed_crashes": -1,
        # A temporary extension keeps its storage like an installed one.
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
                raise OSError("The browser has exited.")
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
        """Runs an async script with the browser's own privileges and returns its result."""
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
        "remove": "await PlacesUtils.bookmarks.remove((await children())[60].guid)",
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
