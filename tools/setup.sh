# shellcheck shell=bash
# Sourced by ./run and ./check: packages, build, progress. Expects set -euo pipefail.
: "${root:?the repository}"

# Everything that a fresh Debian 12 needs beyond its base system.
readonly PACKAGES=(
    build-essential clang clang-format clang-tidy cmake doxygen git libclang-rt-14-dev ninja-build pkg-config
    libboost-log-dev libcli11-dev libfmt-dev libpci-dev libpciaccess-dev libsystemd-dev nlohmann-json3-dev
    abigail-tools dpkg-dev file jq libbenchmark-dev libgmock-dev libgtest-dev perl rt-tests shellcheck
    busybox-static cpio kmod linux-headers-rt-amd64 pciutils qemu-system-x86 udev util-linux xz-utils
)

say() { printf '%s\n' "$*" >&2; }
die() { say "$0: $*"; exit 1; }

as_root() {
    if ((EUID == 0)); then "$@"
    elif command -v sudo >/dev/null; then sudo "$@"
    else die "installing packages needs root rights; run as root once, or install: ${missing[*]}"
    fi
}

# install_packages [PACKAGE...]: those above and these; asks dpkg first, so that a prepared machine needs neither rights nor
# the network.
install_packages() {
    local installed
    installed=$(dpkg-query -W -f '${db:Status-Abbrev}${Package}\n' 2>/dev/null | sed -n 's/^ii *//p')
    missing=()
    for package in "${PACKAGES[@]}" "$@"; do
        grep -qxF -- "$package" <<<"$installed" || missing+=("$package")
    done
    ((${#missing[@]})) || return 0
    say "installing ${#missing[@]} Debian packages: ${missing[*]}"
    mkdir -p "$root/build"
    local log=$root/build/packages.log
    {
        as_root apt-get update -q &&
            as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "${missing[@]}"
    } >"$log" 2>&1 </dev/null || {
        tail -n 20 "$log" >&2
        die "cannot install packages; the whole output is in $log"
    }
}

# build PRESET [TARGET...]: configures and builds; shows ninja's progress on a terminal, the log's end on failure.
build() {
    local preset=$1 log=$root/build/$1.log
    shift
    mkdir -p "$root/build"
    (
        cd -- "$root"
        cmake --preset "$preset" >"$log" 2>&1
        if [[ -t 2 ]]; then
            cmake --build --preset "$preset" ${1:+--target "$@"} 2>&1 | tee -a "$log" >&2
        else
            cmake --build --preset "$preset" ${1:+--target "$@"} >>"$log" 2>&1
        fi
    ) || {
        [[ -t 2 ]] || tail -n 40 "$log" >&2
        die "the $preset build failed; the whole output is in $log"
    }
}

# stage TEXT: a progress line with the time since the start.
stage() { say "[$((SECONDS / 60))m$(printf %02d $((SECONDS % 60)))s] $*"; }
