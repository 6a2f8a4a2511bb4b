#!/bin/sh
# Runs a real systemd user manager until standard input ends. In namespaces of its own it sees only processes that it
# started, and these end with it.
#
# Usage: real_user_manager.sh FOLDER, which becomes its runtime folder. Exit status 77: not possible on this machine.
set -u
folder=$1
program=/lib/systemd/systemd

cannot() {
    echo "$1" >&2
    exit 77
}

# In a mount namespace: creates the control group that is the root of the next namespace, and removes it.
keep_group() {
    mkdir "$folder/control" && mount -t cgroup2 none "$folder/control" || cannot 'control groups cannot be mounted here'
    group=$folder/control/tarvel-test-$$
    mkdir "$group" || cannot 'control groups cannot be made here'
    [ -w "$group/cgroup.kill" ] || { rmdir "$group"; cannot 'control groups cannot be ended here'; }
    sh -c 'echo $$ > "$1/cgroup.procs" || exit 77
           exec unshare --mount --cgroup --uts --ipc -- sh "$2" "$3" manager' sh "$group" "$0" "$folder" < /dev/null &
    manager=$!
    exec 3<&0
    { read -r line <&3; : > "$folder/asked"; echo 1 > "$group/cgroup.kill"; } &
    reader=$!
    wait $manager
    status=$?
    kill $reader 2> /dev/null
    echo 1 > "$group/cgroup.kill"
    # What was killed takes a moment to be gone.
    for attempt in 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 19 20; do
        find "$group" -depth -type d -exec rmdir {} + 2> /dev/null
        [ -d "$group" ] || break
        sleep 0.05
    done
    umount "$folder/control"
    [ -e "$folder/asked" ] || cannot "the service manager ended by itself, with $status"
}

run_manager() {
    mount -t cgroup2 none /sys/fs/cgroup || cannot 'control groups cannot be mounted here'
    # A manager runs only where it believes that the machine was started by its like.
    [ -d /run/systemd/system ] || { mount -t tmpfs none /run && mkdir -p /run/systemd/system; } || cannot 'no /run'
    mkdir "$folder/units" "$folder/none"
    for target in basic shutdown exit; do
        printf '[Unit]\nDescription=%s\nDefaultDependencies=no\n' $target > "$folder/units/$target.target"
    done
    exec env -i PATH="$PATH" HOME="$HOME" TARVEL_RECORD="$TARVEL_RECORD" XDG_RUNTIME_DIR="$folder" \
        SYSTEMD_UNIT_PATH="$HOME/.config/systemd/user:$folder/units" SYSTEMD_GENERATOR_PATH="$folder/none" \
        SYSTEMD_ENVIRONMENT_GENERATOR_PATH="$folder/none" \
        "$program" --user --log-target=console --unit=basic.target
}

case ${2-start} in
start)
    [ -x "$program" ] || cannot 'no service manager is installed'
    unshare --mount --cgroup --uts --ipc true 2> /dev/null || cannot 'namespaces cannot be made here'
    exec unshare --mount -- sh "$0" "$folder" group
    ;;
group) keep_group ;;
manager) run_manager ;;
esac
