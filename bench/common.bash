# SPDX-License-Identifier: GPL-3.0-or-later
# Shared by the scripts of this folder, which source it from the project's folder.

# Some systems keep root's programs here.
PATH=$PATH:/sbin:/usr/sbin

refuse() { echo "bench/${0##*/}: $2" >&2; exit "$1"; } # STATUS REASON

require_root() { [ "$(id -u)" = 0 ] || refuse 77 "mounting needs root"; }
require_built() { [ -x "$1" ] || refuse 69 "$1 is not built (./check builds it)"; } # PROGRAM
require_tools() { # NAME...
    local tool
    for tool in "$@"; do
        command -v "$tool" >/dev/null || refuse 69 "$tool is not installed"
    done
}

# A folder for all output, with the mount point in it. Both are removed on EXIT; a script that
# has more to remove replaces the trap.
make_work_folder() {
    work=$(mktemp -d)
    readonly work volume=$work/volume
    mkdir "$volume" "$work/kept"
    trap remove_work_folder EXIT
}
remove_work_folder() {
    umount "$volume" "$work/kept" 2>/dev/null || true
    rm -rf --one-file-system "$work"
}

# Keeps programs from waiting for the machine's memory. A virtual machine may return free
# blocks of 2 MiB and more to its host, and the next allocation of such a block waits for the
# host. Occupying a page of every MiB leaves no such block.
keep_memory() {
    local mib part
    echo 3 >/proc/sys/vm/drop_caches
    mib=$(awk '/^MemFree:/ { print int($2 / 1024) }' /proc/meminfo)
    [ "$mib" -ge 12288 ] || refuse 69 "needs 12 GiB of free memory"
    mount -t tmpfs -o "size=${mib}m,nr_inodes=0" tmpfs "$work/kept"
    for ((part = 0; part < mib - 768; part++)); do
        head -c 1M /dev/zero
        echo >"$work/kept/$part"
    done >"$work/kept/all"
    rm "$work/kept/all"
}

# fio_job MEASURE NAME VERIFY ARGUMENT...: calls MEASURE NAME, a function of the script, to run
# fio over $bytes of the volume in blocks of 1 MiB, verified by VERIFY.
fio_job() {
    local measure=$1 name=$2 verify=(--verify="$3")
    [ "$3" != pattern ] || verify+=(--verify_pattern=0x5aa53cc3)
    shift 3
    # shellcheck disable=SC2154 # the script's
    "$measure" "$name" fio --name=verify --filename="$volume/other" --size="$bytes" --bs=1M \
        --ioengine=psync "${verify[@]}" --verify_fatal=1 --verify_state_save=0 "$@"
}
