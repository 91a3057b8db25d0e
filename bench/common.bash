# What the scripts of this folder share. Sourced, never run, from the project's folder.

# Where some systems keep what only root uses.
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

# A folder for everything that is written, with one in it to mount the volume on. Both go
# with the script, which traps its EXIT anew where more is to go.
make_work_folder() {
    work=$(mktemp -d)
    readonly work volume=$work/volume
    mkdir "$volume"
    trap 'umount "$volume" 2>/dev/null || true; rm -rf --one-file-system "$work"' EXIT
}

# fio_job MEASURE NAME VERIFY ARGUMENT...: MEASURE NAME, a function of the script's, runs
# fio over $bytes of the volume in blocks of 1 MiB, checked by VERIFY.
fio_job() {
    local measure=$1 name=$2 verify=(--verify="$3")
    [ "$3" != pattern ] || verify+=(--verify_pattern=0x5aa53cc3)
    shift 3
    # shellcheck disable=SC2154 # the script's
    "$measure" "$name" fio --name=verify --filename="$volume/other" --size="$bytes" --bs=1M \
        --ioengine=psync "${verify[@]}" --verify_fatal=1 --verify_state_save=0 "$@"
}
