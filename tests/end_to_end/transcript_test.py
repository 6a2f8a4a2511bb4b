"""The command as a user meets it: every row of its grammar, its messages, help and pager, on terminals of 60 and 100 columns."""

import json
import os
import plistlib
import re
import shutil
import subprocess
import unittest

import runner
from bookmark_trees import folder, leaf, root
from home import SOURCE, TARVEL, HomeTest
from terminal import Terminal

WIDTHS = (60, 100)
COMMANDS = ("", "preview", "sort", "diff", "restore", "backup", "backup create", "backup list", "backup prune", "dump",
            "settings", "settings list", "settings get", "settings set", "settings unset", "agent", "agent enable",
            "agent disable", "agent start", "agent stop", "agent status", "agent log", "browser", "browser list",
            "browser enable", "browser disable", "browser status", "status", "doctor", "report")


def unsorted_root():
    return root(
        folder("BookmarksBar", leaf("x")),
        folder("BookmarksMenu", leaf("b", "http://same/"), leaf("News"), leaf("News", "http://n/"), folder("Empty"),
               folder("Travel", leaf("q"), leaf("c")), leaf("a", "http://same/")),
    )


def ordered_root():
    return root(folder("BookmarksBar", leaf("x")), folder("BookmarksMenu", leaf("a", "u"), leaf("b", "u")))


class TranscriptTest(HomeTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CONFIG_HOME"] = str(self.home / "config")

    def say(self, *arguments, status=0, **options):
        """Standard output, where nothing may be on the error output."""
        result = self.tarvel(*arguments, **options)
        self.assertEqual((result.returncode, result.stderr), (status, b""), (arguments, result.stdout))
        return result.stdout.decode()

    def complain(self, status, *arguments, **options):
        result = self.tarvel(*arguments, **options)
        self.assertEqual(result.returncode, status, (arguments, result.stdout, result.stderr))
        self.assertTrue(result.stderr.startswith(b"tarvel: "), result.stderr)
        return result.stderr.decode()

    def on_terminal(self, columns, *arguments, keys=None, **environment):
        run = Terminal({**self.environment, "TERM": "dumb", **environment}, *arguments, columns=columns)
        for question, answer in keys or ():
            self.assertTrue(run.wait_for(question), run.shown)
            run.press(answer)
        status = run.end()
        return status, run.shown.decode().replace("\r\n", "\n")


class Grammar(TranscriptTest):
    def test_preview(self):
        self.write(unsorted_root())
        self.assertEqual(
            self.say("preview", self.file, status=10),
            "Preview of “~/Bookmarks.plist”:\n"
            "3 entries moved in 2 folders, 2 removed, 1 renamed. Nothing has been written.\n\n"
            "Order of BookmarksMenu (2 entries move)\n*    3  News (was 3, others moved past it)\n*    4  News 2 (was 2)\n\n"
            "Order of BookmarksMenu / Travel (1 entry moves)\n*    1  c (was 2)\n\n"
            "removed “b” <http://same/> from BookmarksMenu: same address as “a” in BookmarksMenu\n"
            "removed “Empty” from BookmarksMenu: empty folder\n"
            "renamed “News” to “News 2” in BookmarksMenu\n",
        )

    def test_preview_of_standard_input(self):
        content = self.write(unsorted_root())
        self.assertIn("Preview of “standard input”:", self.say("preview", "-", status=10, input=content))
        for command in (["preview", "-"], ["diff", "-", self.file]):
            self.assertTrue(self.complain(5, *command, input=b"").startswith("tarvel: “standard input” could not be read.\n"))

    def test_volume_of_a_preview(self):
        self.write(unsorted_root())
        self.assertEqual(self.say("preview", "-q", self.file, status=10).count("\n"), 1)
        self.assertIn("     1  Travel\n", self.say("preview", "-v", self.file, status=10))

    def test_a_preview_lists_only_what_moves(self):
        menu = [leaf(f"entry {i:04}") for i in range(2000)]
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", *menu, leaf("a"))))
        self.assertEqual(self.say("preview", self.file, status=10).count("\n"), 5)

    def test_sort_and_its_dry_run(self):
        before = self.write(unsorted_root())
        self.assertIn("Nothing has been written.", self.say("sort", "-n", self.file, status=10))
        self.assertEqual(self.file.read_bytes(), before)
        self.assertEqual(
            self.say("sort", self.file).splitlines()[:2],
            ["The bookmarks file was opened, sorted and saved.", "3 entries moved in 2 folders, 2 removed, 1 renamed."],
        )

    def test_a_sort_lists_at_most_twenty_removals(self):
        self.write(root(folder("BookmarksBar"), folder("BookmarksMenu", leaf("b"), leaf("a"), *(leaf(str(i), " ") for i in range(30)))))
        shown = self.say("sort", self.file)
        self.assertEqual(shown.count("removed “"), 20)
        self.assertIn("... and 10 more removed\n", shown)

    def test_a_file_in_order(self):
        before = self.write(ordered_root())
        for command, words in (("preview", "a sort would write nothing"), ("sort", "nothing was written")):
            self.assertEqual(
                self.say(command, "--no-settings", self.file).removeprefix("Preview of “~/Bookmarks.plist”:\n"),
                f"The bookmarks are in order already; {words}. 1 removal waits for the next change of order.\n\n"
                "removed “a” <u> from BookmarksMenu: same address as “b” in BookmarksMenu\n",
            )
        self.assertEqual(self.file.read_bytes(), before)

    def test_diff(self):
        before = self.write(unsorted_root())
        (self.home / "old.plist").write_bytes(before)
        self.say("sort", self.file)
        shown = self.say("diff", "old.plist", self.file, status=10)
        # The same places as the preview has.
        for line in ("*    3  News (was 3, others moved past it)", "*    4  News 2 (was 2)", "*    1  c (was 2)"):
            self.assertIn(line, shown)
        self.assertIn("From “standard input”", self.say("diff", "-", self.file, status=10, input=before))
        self.assertEqual(self.say("diff", "-q", "old.plist", "old.plist").count("\n"), 1)

    def test_html_has_one_grammar(self):
        self.write(unsorted_root())
        for command in (["preview", self.file], ["diff", self.file, self.file]):
            status = 10 if command[0] == "preview" else 0
            page = self.say(*command, "--html", status=status)
            self.assertTrue(page.startswith("<!DOCTYPE html>"))
            self.assertIn("The page was written to “~/page.html”.", self.say(*command, "--html", "-o", "page.html", status=status))
            self.assertEqual((self.home / "page.html").read_text(), page)
            (self.home / "page.html").unlink()

    def test_backup(self):
        self.write(unsorted_root())
        made = self.say("backup", self.file)
        self.assertIn("was made (7 bookmarks).\nTo put it back:\n  tarvel restore --from '", made)
        self.assertIn("no other was made", self.say("backup", "create", self.file))
        self.assertIn("(same as the file now)", self.say("backup", "list", self.file))
        (name,) = self.say("backup", "list", "-q", self.file).splitlines()
        self.assertTrue((self.home / "data/Tarvel" / name).is_file())
        self.assertEqual(self.say("backup", "prune", "--keep", "0", "-n", self.file), "No backups would be removed, 1 would stay.\n")
        self.complain(64, "backup", "prune", self.file)
        self.assertEqual(self.say("backup", "prune", "--keep", "0", self.home / "Other.plist"), "There are no backups to prune.\n")

    def test_dump(self):
        content = self.write({"a": 1})
        self.assertEqual(json.loads(self.say("dump", "-f", "json", self.file)), {"a": 1})
        self.assertEqual(json.loads(self.say("dump", "-f", "json", "-", input=content)), {"a": 1})
        self.say("dump", "-o", "out.plist", self.file)
        self.assertEqual(plistlib.loads((self.home / "out.plist").read_bytes()), {"a": 1})
        for taken in ("out.plist", self.home / "data"):
            (self.home / "data").mkdir(exist_ok=True)
            self.assertIn("It exists already, and a dump replaces nothing.\nNothing was changed.\n",
                          self.complain(6, "dump", "-o", taken, self.file))

    def test_settings(self):
        self.assertIn("folders-at-top = yes\n", self.say("settings"))
        self.assertEqual(self.say("settings", "get", "FoldersAtTop"), "yes\n")
        self.assertEqual(self.say("settings", "set", "folders-at-top", "no"), "folders-at-top is now no, from the next sort.\n")
        self.assertEqual(self.say("settings", "get", "folders-at-top"), "no\n")
        self.say("settings", "unset", "FoldersAtTop")
        self.assertIn("Did you mean “folders-at-top”?", self.complain(64, "settings", "get", "folder-at-top"))

    def test_an_option_beats_a_setting_and_a_setting_the_default(self):
        self.write(unsorted_root())
        self.say("settings", "set", "sort-bookmarks-bar", "yes")
        self.assertIn("  sort-bookmarks-bar = yes\n", self.say("preview", self.file, status=10))
        self.assertNotIn("= yes", self.say("preview", "--no-sort-bookmarks-bar", self.file, status=10))

    def test_agent_status_doctor_and_report(self):
        self.assertEqual(self.say("agent", "disable").splitlines()[0], "Automatic sorting is already off.")
        self.assertEqual(self.say("agent", "stop"), "The agent is not running.\n")
        self.assertIn("Automatic sorting is off.\nThe agent is not running", self.say("agent"))
        self.assertEqual(self.say("agent"), self.say("agent", "status"))
        self.assertTrue(self.complain(12, "agent", "start").endswith("To turn it on:\n  tarvel agent enable\n"))
        self.assertIn("  tarvel agent enable\n", self.say("status"))
        self.assertIn("problem", self.tarvel("doctor").stdout.decode())
        self.assertEqual(self.say("report"), "No pending error.\n")

    def test_global_options_stand_before_or_after_the_command(self):
        self.write(unsorted_root())
        for arguments in (["-q", "preview", self.file], ["preview", "-q", self.file], ["preview", self.file, "-q", "--no-pager"]):
            self.assertEqual(self.say(*arguments, status=10).count("\n"), 1)
        (self.home / "-q").write_bytes(self.file.read_bytes())
        self.assertIn("Preview of “~/-q”", self.say("preview", "--", "-q", status=10))

    def test_version(self):
        self.assertEqual(self.say("-V"), self.say("--version"))
        self.assertEqual(self.say("sort", "-V"), self.say("-V"))


class UsageErrors(TranscriptTest):
    def test_they_name_the_cause_and_the_help(self):
        for arguments, text in (
            (["srot"], "tarvel: There is no command “srot”.\nDid you mean “sort”?\n  tarvel help\n"),
            (["help", "srot"], "tarvel: There is no command “srot”.\nDid you mean “sort”?\n  tarvel help\n"),
            (["help", "agent", "strat"],
             "tarvel: There is no command “agent strat”.\nDid you mean “start”?\n  tarvel help agent\n"),
            (["agent", "strat"], "tarvel: There is no command “agent strat”.\nDid you mean “start”?\n  tarvel help agent\n"),
            (["sort", "--folder-at-top"],
             "tarvel: There is no option “--folder-at-top”.\nDid you mean “--folders-at-top”?\n  tarvel help sort\n"),
            (["sort", "--color=sometimes"], "tarvel: --color: “sometimes” is not auto, always or never.\n  tarvel help sort\n"),
            (["preview", "--color"], "tarvel: --color needs a value.\n  tarvel help preview\n"),
            (["-n", "sort"], "tarvel: The option -n goes after the command.\n  tarvel help sort\n"),
            (["preview", "-x"], "tarvel: There is no option “-x”.\n  tarvel help preview\n"),
            (["sort", "--no-backup=maybe"], "tarvel: --no-backup takes no value.\n  tarvel help sort\n"),
            (["dump", "-f", "yaml"], "tarvel: --format: “yaml” is not xml, binary or json.\n  tarvel help dump\n"),
            (["backup", "prune", "--keep", "x"],
             "tarvel: --keep: “x” is not a number of backups.\n  tarvel help backup prune\n"),
            (["sort", "a", "b"], "tarvel: There is one argument too many: “b”.\n  tarvel help sort\n"),
            (["diff", "a"], "tarvel: “tarvel diff” needs OLD and NEW.\n  tarvel help diff\n"),
            (["preview", "--html", "my page.html", "x"],
             "tarvel: --html takes no file, so “my page.html” would be read as bookmarks.\nTo write the page to it:\n"
             "  tarvel preview --html -o 'my page.html' x\n"),
            (["-q", "preview", "--html", "page.html"],
             "tarvel: --html takes no file, so “page.html” would be read as bookmarks.\nTo write the page to it:\n"
             "  tarvel -q preview --html -o page.html\n"),
            (["preview", "--html="],
             "tarvel: --html: the value is empty; is a variable of your shell not set?.\n  tarvel help preview\n".replace("?.", "?")),
        ):
            with self.subTest(arguments):
                self.assertEqual(self.complain(64, *arguments), text)


class Failures(TranscriptTest):
    def test_a_folder_and_a_broken_file_are_not_a_matter_of_access(self):
        broken = self.home / "broken.plist"
        broken.write_bytes(b"<plist>\n<dict><foo/>")
        (self.home / "empty.plist").touch()
        for command in ("sort", "preview", "backup"):
            for file, reason in ((self.home, "It is a folder."), (broken, "unknown tag foo on line 2"), ("empty.plist", "It is empty.")):
                text = self.tarvel(command, file).stderr.decode()
                self.assertIn(reason, text)
                self.assertNotIn("read and write access", text)
                self.assertTrue(text.endswith("Nothing was changed.\n"), text)
                self.assertEqual(text.count(self.shown(broken)), 1 if file == broken else 0, text)

    def test_a_backup_that_fails_is_not_called_the_bookmarks_file(self):
        self.write(unsorted_root())
        (self.home / "data").write_text("in the way")
        self.assertEqual(self.complain(7, "sort", self.file),
                         "tarvel: No backup could be made in “~/data/Tarvel”.\n"
                         "Check that you can write there, and that the disk is not full.\nNothing was changed.\n")
        text = self.complain(7, "backup", self.file)
        self.assertRegex(text, "^tarvel: No backup could be made in “~/data/Tarvel”.\n[^“\n]*[.]\nNothing was changed.\n$")

    def test_a_file_is_named_once(self):
        self.write(unsorted_root())
        self.assertEqual(self.complain(12, "preview", "-o", "none/page.html", self.file),
                         "tarvel: The page could not be written to “~/none/page.html”.\nNo such file or directory.\n")

    def test_sentences_have_at_most_80_columns_in_a_pipe_too(self):
        self.write(unsorted_root())
        (self.home / "broken").write_bytes(b"<plist><dict>")
        (self.home / "link.html").symlink_to("page.html")
        (self.home / ".mozilla").mkdir()
        for arguments in (
            ("sort", "none"), ("sort", "broken"), ("preview", "--html", "page.html"), ("preview", "-o", "link.html", self.file),
            ("preview", "-o", self.file, self.file), ("diff", "none", self.file), ("diff", self.file, self.file),
            ("restore", "none"), ("restore", self.file), ("restore", "--from", "none", self.file), ("backup", "none"),
            ("restore", "--from", "broken", self.file), ("backup", "list", "none"), ("backup", "prune", "--keep", "1", "none"),
            ("dump", "none"), ("dump", "broken"), ("settings", "get", "x"), ("settings", "set", "folders-at-top", "x"),
            ("settings", "set", "bookmarks-update-latency", "1000"), ("settings", "set", "bookmarks-filename", ""),
            ("settings", "set", "last-check-time", "1"), ("agent",), ("agent", "start"), ("agent", "stop"), ("agent", "disable"),
            ("browser",), ("browser", "enable", "firefox"), ("browser", "enable", "x"), ("browser", "disable"), ("report",),
            ("agent", "log", "--lines", "1"), ("sort", "-q", "--no-backup", self.file), ("sort", "-q", self.file),
        ):
            result = self.tarvel(*arguments)
            for line in (result.stdout + result.stderr).decode().splitlines():
                if not line.startswith("  "):
                    self.assertLessEqual(len(line.removeprefix("tarvel: ")), 80, arguments)

    def test_a_dump_says_what_happened_why_and_what_to_do(self):
        broken = self.home / "broken.plist"
        broken.write_bytes(b"<plist>\n<dict><foo/>")
        for status, file, text in (
            (1, "none", "tarvel: There is no file “~/none”.\n"),
            (1, broken / "none", "tarvel: There is no file “~/broken.plist/none”.\n"),
            (5, self.home / "data", "tarvel: “~/data” could not be read.\nIt is a folder.\n"),
            (5, "/dev/null", "tarvel: “/dev/null” could not be read.\n"),
        ):
            (self.home / "data").mkdir(exist_ok=True)
            self.assertTrue(self.complain(status, "dump", file).startswith(text), file)
        self.assertRegex(self.complain(5, "dump", broken),
                         "^tarvel: “~/broken.plist” could not be read.\nIt is not a property list: .* line 2.*\n$")
        self.assertTrue(self.complain(1, "dump").endswith("pass its path:\n  tarvel dump PATH\n"))
        _, shown = self.on_terminal(100, "dump", "-f", "binary", "my file")
        self.assertTrue(shown.endswith("Write it to a file:\n  tarvel dump --format binary -o FILE 'my file'\n"), shown)

    def test_restore_without_a_file_names_it(self):
        text = self.complain(2, "restore", self.file)
        self.assertEqual(text, "tarvel: There is no bookmarks file “~/Bookmarks.plist”.\nNothing was changed.\n"
                               f"To see which other backups there are:\n  tarvel backup list '{self.file}'\n")


class CommandsToPaste(TranscriptTest):
    def paste(self, said):
        """Runs the last line in a shell."""
        line = said.splitlines()[-1]
        self.assertTrue(line.startswith("  tarvel "), said)
        programs = self.home / "programs"
        programs.mkdir(exist_ok=True)
        if not (programs / "tarvel").exists():
            (programs / "tarvel").symlink_to(TARVEL)
        environment = {**self.environment, "PATH": f"{programs}:{self.environment['PATH']}"}
        return subprocess.run(["bash", "-c", line], env=environment, cwd="/", stdin=subprocess.DEVNULL, capture_output=True, check=False)

    def test_they_are_exact_for_every_name_of_a_file(self):
        content = self.write(unsorted_root())
        for name in (b"a b", b"it's", b'"q"', b"-n", b"new\nline", b"$HOME `id`", "\u202etxt".encode(), b"\xff\xfe", b"back\\slash"):
            with self.subTest(name):
                path = self.home / os.fsdecode(name)
                path.write_bytes(content)
                shown = self.say("backup", "create", path).replace("--from", "--yes --from")
                path.write_bytes(b"")
                self.assertEqual(self.paste(shown).returncode, 0, shown)
                self.assertEqual(path.read_bytes(), content)


    def test_they_name_the_file_that_the_command_was_about(self):
        content = self.write(unsorted_root())
        for arguments in (["backup", "list", self.file], ["restore", self.file], ["restore", "--from", "nothing", self.file]):
            result = self.tarvel(*arguments)
            said = (result.stdout + result.stderr).decode()
            self.assertTrue(said.endswith(f" '{self.file}'\n"), said)
            self.assertEqual(self.paste(said).returncode, 0, said)
        # The first of them says how to make a backup.
        shown = self.say("backup", "list", self.file)
        self.assertTrue(shown.endswith(f"\n  tarvel restore --from NAME '{self.file}'\n"), shown)
        self.say("sort", self.file)
        (name,) = self.say("backup", "list", "-q", self.file).splitlines()[:1]
        shown = self.say("restore", "--from", name, self.file, status=10)
        self.assertIn("There is no terminal to ask on. Nothing was changed.\n", shown)
        self.assertEqual(self.paste(shown).returncode, 0, shown)
        self.assertEqual(self.file.read_bytes(), content)


class OnATerminal(TranscriptTest):
    def test_help_fits_the_width_and_has_its_parts(self):
        for columns in WIDTHS:
            for command in COMMANDS:
                status, shown = self.on_terminal(columns, *command.split(), "--help")
                self.assertEqual(status, 0)
                for line in shown.splitlines():
                    if not line.startswith("  tarvel "):
                        self.assertLessEqual(len(line), columns, line)
                self.assertNotIn("{", shown)
                examples = shown.partition("\nExamples:\n")[2].partition("\n\n")[0].splitlines()
                self.assertEqual(len(examples), 2, command)
                self.assertIn("\nExit status:\n  0 ", shown)
        _, shown = self.on_terminal(60, "help", "preview")
        self.assertEqual(shown, self.on_terminal(60, "preview", "-h")[1])
        self.assertIn("--[no-]folders-at-top", shown)
        self.assertNotIn("backup", shown)

    def test_messages_fit_the_width(self):
        for columns in WIDTHS:
            for arguments in (["sort", self.file], ["restore", self.file], ["agent", "start"], ["sort", "--color=sometimes"],
                              ["agent"], ["status"], ["doctor"], ["browser"]):
                _, shown = self.on_terminal(columns, *arguments)
                for line in shown.splitlines():
                    if not line.lstrip().startswith("tarvel "):
                        self.assertLessEqual(len(line), min(columns, 80), line)

    def test_restore_shows_the_difference_and_asks(self):
        self.write(unsorted_root())
        self.say("sort", self.file)
        after = self.file.read_bytes()
        status, shown = self.on_terminal(100, "restore", self.file, keys=[(b"Put this backup back? [y/N]", b"\n")])
        self.assertEqual(status, 10)
        self.assertIn("Order of BookmarksMenu", shown)
        self.assertTrue(shown.endswith("Nothing was changed.\n"), shown)
        self.assertEqual(self.file.read_bytes(), after)
        status, shown = self.on_terminal(100, "restore", "-y", self.file)
        self.assertEqual(status, 0)
        self.assertNotIn("[y/N]", shown)
        self.assertNotEqual(self.file.read_bytes(), after)

    def test_a_pager_is_used_on_a_terminal_only_and_unless_refused(self):
        self.write(unsorted_root())
        pager = self.home / "pager"
        pager.write_text("#!/bin/sh\necho paged with $LESS; cat\n")
        pager.chmod(0o755)
        for command in (["preview", self.file], ["dump", self.file], ["settings"], ["backup", "list", self.file]):
            self.assertIn("paged with FRX", self.on_terminal(100, *command, PAGER=str(pager))[1], command)
            self.assertNotIn("paged", self.on_terminal(100, *command, "--no-pager", PAGER=str(pager))[1], command)
            self.assertNotIn("paged", self.on_terminal(100, *command, PAGER="")[1], command)
        self.environment["PAGER"] = str(pager)
        self.assertNotIn("paged", self.say("preview", self.file, status=10))

    def test_restore_asks_below_what_the_pager_has_shown(self):
        self.write(unsorted_root())
        self.say("sort", self.file)
        pager = self.home / "pager"
        pager.write_text("#!/bin/sh\ncat; echo end of pager\n")
        pager.chmod(0o755)
        _, shown = self.on_terminal(100, "restore", self.file, PAGER=str(pager), keys=[(b"[y/N]", b"n\n")])
        self.assertIn("end of pager\nPut this backup back? [y/N]", shown)

    def test_a_missing_pager_and_one_that_ends_early_lose_nothing(self):
        self.write(unsorted_root())
        status, shown = self.on_terminal(100, "preview", self.file, PAGER="no-such-pager")
        self.assertEqual(status, 10)
        self.assertIn("renamed “News” to “News 2”", shown)
        self.assertEqual(self.on_terminal(100, "preview", self.file, PAGER="true")[0], 10)
        self.assertEqual(self.on_terminal(100, "preview", self.file, PAGER="less", TERM="xterm")[0], 10)


class Manual(HomeTest):
    def manual(self):
        return (SOURCE / "packaging/man/tarvel.1").read_text().replace("\\-", "-")

    @unittest.skipUnless(shutil.which("man"), "man is not installed")
    def test_it_is_set_without_warnings_at_60_and_100_columns(self):
        for page in ("tarvel.1", "TarvelHelper.8"):
            for columns in WIDTHS:
                environment = {**self.environment, "MANWIDTH": str(columns)}
                shown = subprocess.run(["man", "--warnings", "-l", SOURCE / "packaging/man" / page], env=environment, stdin=subprocess.DEVNULL, capture_output=True, check=True)
                self.assertEqual(shown.stderr, b"", page)

    def test_every_option_of_every_command_is_in_the_manual(self):
        manual = self.manual()
        for command in COMMANDS:
            shown = self.tarvel("help", *command.split()).stdout.decode()
            for option in set(re.findall(r"--[a-z][a-z-]+", shown.partition("\nExamples:")[0])):
                self.assertIn(option, manual, command)

    def test_every_field_of_an_answer_is_in_the_manual(self):
        schema = (SOURCE / "packaging/json/answer.schema.json").read_text()
        words = {"properties", "if", "then", "else", "items", "additionalProperties", *json.loads(schema)["$defs"]}
        manual = self.manual()
        for field in set(re.findall(r'"([a-zA-Z]+)": \{', schema)) - words:
            self.assertRegex(manual, rf"\b{field}\b")

    def test_every_exit_status_is_in_the_manual(self):
        section = self.manual().partition(".SH EXIT STATUS")[2].partition(".SH ")[0]
        for command in COMMANDS:
            shown = self.tarvel("help", *command.split()).stdout.decode().partition("\nExit status:\n")[2]
            for status in re.findall(r"^  (\d+) ", shown, re.MULTILINE):
                self.assertIn(f"\n.B {status}\n", section)


if __name__ == "__main__":
    runner.main()
