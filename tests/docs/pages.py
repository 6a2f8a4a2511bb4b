"""The commands that a page shows, and what it says about them.

A block of commands is indented by four spaces or fenced as ```sh. Every line of it is a command; where a line begins with
"$ ", only such lines are, and what stands below one is its output, in which "..." stands for anything. Comments above a
block, which no reader sees, tell what is otherwise with it:

    <!-- not run: the reason -->    what needs root, a desktop or the network
    <!-- exits 11 -->               the exit status of the block's last command
    <!-- after: tarvel sort -->     what the reader has done before
"""

import dataclasses
import re

NOT_RUN = re.compile(r"<!-- not run: (.+) -->$")
AFTER = re.compile(r"<!-- after: (.+) -->$")
EXITS = re.compile(r"<!-- exits ([0-9]+) -->$")


@dataclasses.dataclass
class Command:
    page: str
    line: int
    text: str
    output: list = dataclasses.field(default_factory=list)
    not_run: str = ""
    exits: int | None = None


def blocks_of(text):
    """(number of the first line, lines, comments above) of each block."""
    lines = text.splitlines()
    at, notes = 0, []
    while at < len(lines):
        line = lines[at]
        fence = re.match(r"```(\w*)$", line)
        indented = line.startswith("    ") and (at == 0 or not lines[at - 1].strip() or notes)
        if not (fence or indented):
            if line.startswith("<!-- "):
                notes.append(line)
            elif line.strip():
                notes = []
            at += 1
            continue
        first = at + (1 if fence else 0)
        at = first
        while at < len(lines) and (lines[at] != "```" if fence else lines[at].startswith("    ")):
            at += 1
        if not fence or fence.group(1) == "sh":
            yield first + 1, [one if fence else one[4:] for one in lines[first:at]], notes
        notes = []
        at += 1 if fence else 0


def commands_of(page, text):
    found = []
    for first, lines, notes in blocks_of(text):
        commands = []
        with_output = any(line.startswith("$ ") for line in lines)
        for number, line in enumerate(lines, first):
            if not with_output or line.startswith("$ "):
                commands.append(Command(page, number, line.removeprefix("$ ")))
            elif commands:
                commands[-1].output.append(line)
            else:
                raise ValueError(f"{page}:{number}: output of no command")
        for note in notes:
            reason, status, before = NOT_RUN.match(note), EXITS.match(note), AFTER.match(note)
            if not (reason or status or before):
                raise ValueError(f"{page}:{first}: what is “{note}”?")
            for command in commands if reason else []:
                command.not_run = reason.group(1)
            if status:
                commands[-1].exits = int(status.group(1))
            if before:
                commands.insert(0, Command(page, first, before.group(1)))
        found += commands
    return found


def is_as_shown(shown, output):
    """Whether the output is what the page shows; "..." on a line of its own stands for any lines, within one for any text."""
    pattern = "".join(
        "(?:.*\n)*" if line.strip() == "..." else ".*".join(map(re.escape, line.rstrip().split("..."))) + " *\n"
        for line in shown
    )
    return re.fullmatch(pattern, output) is not None
