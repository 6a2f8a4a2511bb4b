#!/bin/sh
# Runs a command with a separate real journal, which is invisible outside and ends with the command.
#
# Usage: real_journal.sh COMMAND [ARGUMENT...], whose exit status it returns. 77: not possible on this machine.
set -u
program=/lib/systemd/systemd-journald

cannot() {
    echo "$1" >&2
    exit 77
}

if [ -z "${TARVEL_INSIDE_JOURNAL-}" ]; then
    [ -x "$program" ] || cannot 'no journal is installed'
    [ -s /etc/machine-id ] || cannot 'this machine has no number for its journal'
    unshare --mount true 2> /dev/null || cannot 'namespaces cannot be made here'
    TARVEL_INSIDE_JOURNAL=yes exec unshare --mount -- sh "$0" "$@"
fi
# Hides the machine's own journals.
mount -t tmpfs none /run || cannot 'no /run'
[ ! -d /var/log ] || mount -t tmpfs none /var/log || cannot 'no /var/log'
mkdir -p /run/systemd/journal /run/log/journal
"$program" 2> /dev/null &
journal=$!
attempt=0
until [ -S /run/systemd/journal/socket ]; do
    attempt=$((attempt + 1))
    [ $attempt -lt 200 ] || cannot 'the journal does not listen'
    kill -0 $journal 2> /dev/null || cannot 'the journal ended by itself'
    sleep 0.1
done
unset TARVEL_INSIDE_JOURNAL
"$@"
status=$?
kill $journal
wait $journal
exit $status
