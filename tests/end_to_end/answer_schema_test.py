"""Every JSON answer of every command, of failures and usage errors too, is as packaging/json/answer.schema.json says."""

import json

import jsonschema

import runner
from bookmark_trees import folder, leaf, root
from home import SOURCE, HomeTest

SCHEMA = json.loads((SOURCE / "packaging/json/answer.schema.json").read_text())
COMMANDS = {name for name in SCHEMA["properties"]["command"]["enum"] if name not in (None, "backup", "settings", "agent", "browser")}


def unsorted_root():
    return root(
        folder("BookmarksBar", leaf("x")),
        folder("BookmarksMenu", leaf("b", "http://same/"), leaf("News"), leaf("News", "http://n/"), folder("Empty"),
               leaf(None, "http://untitled/"), folder("Travel", leaf("q"), leaf("c")), leaf("a", "http://same/")),
    )


class AnswerSchema(HomeTest):
    def setUp(self):
        super().setUp()
        self.environment["XDG_CONFIG_HOME"] = str(self.home / "config")
        self.seen = set()

    def answer(self, *arguments, **options):
        result = self.tarvel(*arguments, "--json", **options)
        # Only log lines of the engine may be on the error output.
        answer = json.loads(result.stdout)
        jsonschema.Draft202012Validator(SCHEMA).validate(answer)
        self.assertEqual(answer["exitStatus"], result.returncode, arguments)
        if result.returncode in (0, 10, 11):
            self.seen.add(answer["command"])
        return answer

    def test_the_schema_is_valid_and_refuses_what_is_not_in_it(self):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)
        good = {"schema": 1, "command": "report", "exitStatus": 0, "message": "", "error": None}
        validator = jsonschema.Draft202012Validator(SCHEMA)
        self.assertTrue(validator.is_valid(good))
        for bad in ({"error": "5"}, {"surplus": 1}, {"schema": 2}, {"command": "sing"}):
            self.assertFalse(validator.is_valid({**good, **bad}), bad)
        del good["error"]
        self.assertFalse(validator.is_valid(good))

    def test_every_command_answers_by_the_schema(self):
        other = self.home / "Other.plist"
        before = self.write(unsorted_root())
        other.write_bytes(before)
        self.answer("preview", self.file)
        self.answer("preview", "-", input=before)
        self.answer("sort", "-n", self.file)
        self.answer("sort", self.file)
        self.answer("sort", self.file)
        self.answer("preview", self.file)
        self.answer("diff", other, self.file)
        self.answer("diff", "-", self.file, input=before)
        self.answer("backup", self.file)
        self.answer("backup", "create", self.file)
        self.answer("backup", "list", self.file)
        self.answer("backup", "prune", "--keep", "1", self.file)
        self.answer("restore", "-n", self.file)
        self.answer("restore", self.file)
        self.answer("restore", "--from", other, self.file)
        self.answer("dump", self.file)
        self.answer("dump", "-", input=before)
        self.answer("settings")
        self.answer("settings", "list")
        for key in ("folders-at-top", "BookmarksFilename", "bookmarks-update-latency", "last-check-time"):
            self.answer("settings", "get", key)
        self.answer("settings", "set", "folders-at-top", "no")
        self.answer("settings", "unset", "folders-at-top")
        self.answer("browser")
        self.answer("browser", "list")
        self.answer("browser", "status")
        self.answer("browser", "enable", "firefox")
        self.answer("browser", "disable", "firefox")
        # Whether the agent can start depends on the machine.
        self.answer("agent", "enable")
        self.answer("agent", "start")
        self.answer("agent", "disable")
        self.answer("agent", "stop")
        self.answer("agent", "status")
        self.answer("agent", "log")
        self.answer("status")
        doctor = self.answer("doctor")
        self.assertIn("tarvel settings set bookmarks-filename PATH", [finding["command"] for finding in doctor["findings"]])
        self.answer("report")
        # Without a journal there is no log to show.
        self.assertLessEqual(COMMANDS - self.seen, {"agent log"})

    def test_failures_answer_by_the_schema(self):
        self.write({"a": 1})
        broken = self.home / "broken.plist"
        broken.write_bytes(b"<plist><dict>")
        for arguments in (
            ("sort", self.file), ("preview", self.file), ("sort", broken), ("preview", self.home), ("sort", "none"),
            ("diff", self.file, broken), ("diff", "none", broken), ("restore", "none"), ("restore", self.file),
            ("restore", "--from", "2001", self.file), ("backup", self.file), ("backup", "none"), ("dump", broken),
            ("dump", "none"), ("settings", "get", "nonsense"), ("settings", "set", "auto-sort-mode", "maybe"),
            ("settings", "set", "last-helper-error", "5"), ("browser", "enable", "netscape"),
        ):
            with self.subTest(arguments):
                answer = self.answer(*arguments)
                self.assertNotEqual(answer["exitStatus"], 0)
                self.assertNotEqual(answer["message"], "")

    def test_usage_errors_answer_by_the_schema(self):
        for arguments in (("srot",), ("agent", "strat"), ("sort", "--folder-at-top"), ("sort", "--color=x"), ("diff", "a"),
                          ("backup", "prune"), ("backup", "prune", "--keep", "x"), ("sort", "a", "b"), ()):
            with self.subTest(arguments):
                answer = self.answer(*arguments)
                self.assertEqual(answer["exitStatus"], 64)
                self.assertNotEqual(answer["message"], "")

    def test_values_are_typed_and_absent_ones_null(self):
        setting = self.answer("settings", "get", "folders-at-top")["setting"]
        self.assertIs(setting["value"], True)
        self.assertIsNone(setting["stored"])
        self.assertEqual(self.answer("settings", "get", "bookmarks-update-latency")["setting"]["value"], 30)
        self.assertIsNone(self.answer("settings", "get", "last-check-time")["setting"]["value"])
        status = self.answer("status")
        self.assertIsNone(status["process"])
        self.assertIsNone(status["pendingError"])
        self.assertIs(status["settings"]["sort-bookmarks-bar"], False)

    def test_a_backup_is_named_where_one_was_needed(self):
        self.write(unsorted_root())
        for arguments, file, made in ((["preview"], None, False), (["sort", "-n"], None, False),
                                      (["sort"], str(self.backup), True), (["sort"], None, False)):
            answer = self.answer(*arguments, self.file)
            self.assertEqual((answer["backupFile"], answer["backupMade"]), (file, made), arguments)

    def test_an_ordered_file_is_not_said_to_be_saved(self):
        self.write(root(folder("BookmarksBar", leaf("x")), folder("BookmarksMenu", leaf("a", "u"), leaf("b", "u"))))
        answer = self.answer("sort", self.file)
        self.assertIs(answer["written"], False)
        self.assertNotIn("saved", answer["message"])
        self.assertIn("nothing was written", answer["message"])
        self.assertEqual([entry["title"] for entry in answer["removed"]], ["a"])

    def test_preview_sort_and_diff_agree_on_places(self):
        before = self.write(unsorted_root())
        preview = self.answer("preview", self.file)
        done = self.answer("sort", self.file)
        diff = self.answer("diff", "-", self.file, input=before)
        for part in ("counts", "moved", "renamed", "named"):
            self.assertEqual(preview[part], done[part])
            self.assertEqual(preview[part], diff[part])
        places = {entry["before"]["title"]: entry["before"]["place"] for entry in preview["moved"]}
        self.assertEqual(places["c"], 2)


if __name__ == "__main__":
    runner.main()
