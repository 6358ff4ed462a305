# Shared by `prepare` and `boot`: where things are, and how they complain.

# Debian keeps modprobe, depmod and lspci where a user's PATH does not look.
PATH=$PATH:/usr/sbin:/sbin

program=${0##*/}
here=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/.." && pwd)
cache=$(realpath -m -- "${VIRTUAL_TARGET_CACHE:-${here%/*}/build/virtual_target}")

readonly EXIT_USAGE=2
readonly EXIT_TARGET=125

say() { printf '%s: %s\n' "$program" "$*" >&2; }

die() {
    say "$@"
    exit "$EXIT_TARGET"
}

# A folder with its own name for every version of the sources: a running target may be serving another one's.
modules_folder() { # RELEASE
    local sum
    sum=$({ printf '%s\n' "$1"; cat -- "$here"/modules/*; } | sha256sum)
    printf '%s\n' "$cache/modules-${sum:0:16}"
}

# need TOOL PACKAGE: both scripts name the cure before they begin.
need() {
    type -P -- "$1" >/dev/null || die "$1 is missing; install the Debian package $2"
}
