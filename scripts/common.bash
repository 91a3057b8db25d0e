# SPDX-License-Identifier: GPL-3.0-or-later
# What the scripts share: where the project lies, and how a check's result is kept.
# Sourced, never run. Nothing here changes the working directory, so that paths a
# user typed keep their meaning.

root=$(dirname "$(dirname "$(readlink -f "${BASH_SOURCE[0]}")")")
readonly root
readonly out=$root/out

# One line per check: verdict, stage, name, reason. ./check counts these lines and
# nothing else.
readonly results=$out/results.tsv

# shellcheck disable=SC2034 # not every script needs every one
# sysexits.h: EX_USAGE, EX_UNAVAILABLE, EX_SOFTWARE.
readonly status_usage=64 status_unavailable=69 status_software=70

# record passed|failed|skipped STAGE NAME [REASON]
record() {
    printf '%s\t%s\t%s\t%s\n' "$1" "$2" "$3" "${4:-}" >>"$results"
}

# Errors and progress go to standard error: standard output belongs to the report.
say() {
    printf '%s\n' "$*" >&2
}

# The version that the rules were written for where it is installed: others lay
# out a few lines differently and know other mistakes.
clang_tool() {
    command -v "$1-14" || command -v "$1"
}

# fixed_addresses PRESET COMMAND...: the thread sanitizer of older compilers does
# not start on kernels that scatter addresses widely; setarch stops the scattering.
# Where that is not allowed, the command runs as it is.
fixed_addresses() {
    local before=()
    if [ "$1" = tsan ] && setarch "$(uname -m)" -R true 2>/dev/null; then
        before=(setarch "$(uname -m)" -R)
    fi
    shift
    "${before[@]}" "$@"
}
