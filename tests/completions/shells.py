"""Shells that are asked what they would offer at the end of a line."""

import os
import pathlib
import pty
import re
import select
import subprocess
import time

FOLDER = pathlib.Path(os.environ["TARVEL_COMPLETIONS"])
UNQUOTED_SPACE = r"(?<!\\) (?=(?:[^']*'[^']*')*[^']*$)"
FILES = {"bash": FOLDER / "tarvel", "zsh": FOLDER / "_tarvel", "fish": FOLDER / "tarvel.fish"}


def environment(home):
    """Nothing of the user's own; files are completed from the folder `home`."""
    names = {"HOME": home, "XDG_CONFIG_HOME": home, "XDG_DATA_HOME": home, "ZDOTDIR": home, "TERM": "dumb"}
    return {"PATH": f"{pathlib.Path(os.environ['TARVEL_BIN']).parent}:{os.environ['PATH']}", "LC_ALL": "C.UTF-8", **{name: str(value) for name, value in names.items()}}


def run(command, home):
    done = subprocess.run(command, env=environment(home), cwd=home, capture_output=True, text=True, timeout=60, check=False)
    if done.returncode != 0 or done.stderr:
        raise AssertionError(f"{command[0]} ended with {done.returncode}: {done.stderr}")
    return done.stdout


class Bash:
    """Splits the line into words as the line editor does."""

    def __init__(self, home):
        self.home = home

    def offers(self, line):
        words = []
        for word in re.split(UNQUOTED_SPACE, line):
            name, equals, value = word.partition("=")
            words += [name, equals, *([value] if value else [])] if equals else [word]
        script = f'source "{FILES["bash"]}"; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tarvel; '
        script += '[ ${#COMPREPLY[@]} -eq 0 ] || printf "%s\\n" "${COMPREPLY[@]}"'
        return set(run(["bash", "--norc", "--noprofile", "-c", script, "bash", *words], self.home).split("\n")) - {""}


class Fish:
    def __init__(self, home):
        self.home = home

    def offers(self, line):
        quoted = line.replace("\\", "\\\\").replace("'", "\\'")
        script = f"source {FILES['fish']}; complete -C '{quoted}'"
        lines = run(["fish", "--no-config", "-c", script], self.home).splitlines()
        # An option with its value comes as one word; what it is for stands after a tab.
        return {text.split("\t")[0].split("=")[-1] for text in lines}


class Zsh:
    """Its completions run in its line editor alone, so one stands at the other end of a terminal."""

    SETUP = r"""
PS1=; unsetopt zle_bracketed_paste 2>/dev/null
fpath=(%(folder)s $fpath); autoload -Uz compinit; compinit -u -d %(home)s/dump
compadd() {
  local word; local -a found
  for word in "$@"; do
    case $word in (-O|-A|-D) builtin compadd "$@"; return ;; (-|--) break ;; esac
  done
  builtin compadd -O found "$@"; print -rl -- $found >>%(home)s/.found
  builtin compadd "$@"
}
probe() { _main_complete; compstate[insert]=; compstate[list]=; : >%(home)s/.done }
zle -C probe list-choices probe
bindkey '^X' probe
: >%(home)s/.done
"""

    def __init__(self, home):
        self.home = home
        (home / "setup").write_text(self.SETUP % {"folder": FOLDER, "home": home})
        self.process, self.terminal = pty.fork()
        if self.process == 0:
            os.chdir(home)
            os.execvpe("zsh", ["zsh", "-f", "-i"], environment(home))
        self.send(f"source {home}/setup\n")
        self.wait()

    def send(self, text):
        os.write(self.terminal, text.encode())

    def wait(self):
        deadline = time.monotonic() + 30
        while not (self.home / ".done").exists():
            if time.monotonic() > deadline:
                raise AssertionError("zsh did not answer")
            # What it draws has to go somewhere.
            if select.select([self.terminal], [], [], 0.01)[0]:
                os.read(self.terminal, 65536)
        (self.home / ".done").unlink()

    def offers(self, line):
        # Clears the line, types another, and presses the key of the probe.
        self.send("\x15" + line + "\x18")
        self.wait()
        found = self.home / ".found"
        words = set(found.read_text().splitlines()) if found.exists() else set()
        found.unlink(missing_ok=True)
        return {word.removesuffix("=") for word in words} - {""}

    def close(self):
        os.close(self.terminal)
        os.waitpid(self.process, 0)
