#!/bin/bash
# What virtual_target/boot promises. Usage: launcher_test.sh [--list | CASE...]; without a case: all.
set -uo pipefail
root=$(cd -- "$(dirname -- "${BASH_SOURCE[0]}")/../../.." && pwd)
boot=$root/virtual_target/boot

# Every boot of this test keeps its files below $scratch/tmp, which also marks its processes.
scratch=$(mktemp -d)
trap 'rm -rf -- "$scratch"' EXIT
mkdir "$scratch/tmp"
export TMPDIR=$scratch/tmp

run() {
    "$boot" "$@" >"$scratch/out" 2>"$scratch/err"
    status=$?
}

fail() {
    printf '    %s\n' "$*"
    sed 's/^/    err: /' "$scratch/err" | tail -n 60
    failed=yes
}

expect_status() { [[ $status -eq $1 ]] || fail "exit status is $status, not $1"; }
expect_line() { grep -aqxF -- "$1" "$scratch/out" || fail "no line '$1' in: $(head -c 2000 "$scratch/out")"; }
expect_error() { [[ ! $1 ]] || grep -aqE -- "$1" "$scratch/err" || fail "standard error lacks '$1'"; }

# By its output, not by its status: a process that ends meanwhile is an error to grep.
processes_left() { grep -lzF -- "$TMPDIR" /proc/[0-9]*/cmdline 2>/dev/null; }
qemu_runs() { processes_left | xargs -r grep -lzq -- -machine 2>/dev/null; }
nothing_runs() { [[ -z $(processes_left) ]]; }

expect_nothing_left() {
    [[ -z $(ls -A "$TMPDIR") ]] || fail "files left: $(ls -A "$TMPDIR")"
    nothing_runs || fail "processes left: $(processes_left)"
}

# outcome STATUS ERROR ARGUMENT...: how a boot with these arguments ends, leaving nothing.
outcome() {
    run "${@:3}"
    expect_status "$1"
    expect_error "$2"
    expect_nothing_left
}

# await COMMAND...: until it succeeds; a minute and a half is the limit, for a slow boot on a busy machine.
await() {
    local tries
    for ((tries = 0; tries < 900; tries++)); do
        if "$@"; then return; fi
        sleep 0.1
    done
    fail "waited in vain for: $*"
}

# Runs in the background like a command typed in a terminal: own process group, SIGINT not ignored.
run_apart() {
    setsid env --default-signal=INT "$boot" "$@" >"$scratch/out" 2>"$scratch/err" &
    apart=$!
}

machine_is_the_documented_one() {
    # shellcheck disable=SC2016 # for the target's shell
    local probe='uname -v; hostname; cat /sys/devices/system/cpu/isolated; lspci -n | sed "s/ (rev .*//"
        for card in enp1s0 enp4s5; do udevadm info -q property /sys/class/net/$card | grep ^ID_PATH=; done
        udevadm info -q property -n ttyS0 | grep ^DEVNAME='
    local line documented=(
        quillmark-vt 1
        '00:00.0 0600: 8086:29c0' '00:03.0 00ff: 1234:11e8' '00:1c.0 0604: 1b36:000c' '00:1c.2 0604: 1b36:000c'
        '00:1c.5 0604: 1b36:000c' '00:1e.0 0002: 1af4:1009' '00:1e.1 0002: 1af4:1009' '00:1e.2 0002: 1af4:1009'
        '00:1e.4 0002: 1af4:1009' '00:1f.0 0601: 8086:2918' '01:00.0 0200: 8086:10d3' '02:00.0 0604: 8086:244e'
        '03:01.0 0604: 1b36:0001' '04:05.0 0200: 8086:100e'
        ID_PATH=pci-0000:01:00.0 ID_PATH=pci-0000:04:05.0 DEVNAME=/dev/ttyS0
    )
    run bash -c "$probe"
    expect_status 0
    for line in "${documented[@]}"; do expect_line "$line"; done
    [[ $(wc -l <"$scratch/out") -eq $((${#documented[@]} + 1)) ]] || fail "more than documented: $(<"$scratch/out")"
    grep -q PREEMPT_RT "$scratch/out" || fail "not a real-time kernel: $(head -n 1 "$scratch/out")"
}

results_come_back_unchanged() {
    cd /usr/bin || return
    run sh -c 'pwd >&2; cat bash; exit 77'
    expect_status 77
    cmp -s "$scratch/out" bash || fail "standard output was changed on its way"
    [[ $(<"$scratch/err") == /usr/bin ]] || fail "standard error is not what the command wrote: $(<"$scratch/err")"
}

ends_without_a_status_of_the_program_are_told_apart() {
    outcome 139 '' sh -c 'kill -SEGV $$'
    outcome 127 'No such file' /nonexistent/program
}

only_the_share_is_written() {
    mkdir -p "$scratch/a share, kept" "$scratch/out side"
    cd "$scratch/out side" || return
    run --share "$scratch/a share, kept" sh -c 'date >lost; date >"../a share, kept/kept"; ls'
    expect_line lost
    [[ ! -e lost ]] || fail "the target wrote to this machine"
    [[ -s $scratch/a\ share,\ kept/kept ]] || fail "the share did not keep the file"
}

program_left_behind_does_not_hold_the_target() {
    run --timeout 60 sh -c 'sleep 1000 & echo finished'
    expect_status 0
    expect_line finished
}

hang_ends_at_the_time_limit() {
    outcome 124 'time limit of 40 s' --timeout 40 sh -c 'echo before; sleep 1000'
    expect_line before
}

panic_fails_with_the_logs_tail() { outcome 125 '\|.*sysrq triggered crash' sh -c 'echo c >/proc/sysrq-trigger; sleep 100'; }

complaint_in_the_kernels_log_fails_a_successful_command() { # the kernel's own, and a program's
    outcome 125 'kernel complained: .*Call Trace' sh -c 'echo l >/proc/sysrq-trigger'
    expect_error '\|.*write_sysrq_trigger'
    outcome 125 'kernel complained: .*somewhere' \
        sh -c 'echo "<4>WARNING: CPU: 0 PID: 1 at somewhere" >/dev/kmsg'
}

# Process 1 may lose its file system before the power is off, which the kernel complains about.
switching_off_is_not_a_result() { outcome 125 'without a result|kernel complained' sh -c 'echo o >/proc/sysrq-trigger; sleep 100'; }

interrupt_leaves_nothing() {
    run_apart --share "$scratch/tmp" sh -c 'echo running; sleep 1000'
    await grep -q running "$scratch/out"
    kill -INT -- "-$apart"
    wait "$apart"
    status=$?
    expect_status 130
    expect_nothing_left
}

killed_launcher_takes_its_processes_along() {
    run_apart sleep 1000
    await qemu_runs
    kill -KILL "$apart"
    wait "$apart" 2>/dev/null
    await nothing_runs
    rm -rf -- "${TMPDIR:?}"/*
}

wrong_usage_is_refused_before_anything_starts() {
    local usage
    for usage in '' --nonsense '--timeout' '--timeout -1 true' '--cpus 0 true' '--share /nonexistent true' \
        '--board ada true' '--shell true' '--shell'; do
        # shellcheck disable=SC2086 # words on purpose
        outcome 2 'see --help' $usage </dev/null
    done
}

mapfile -t cases < <(sed -n 's/^\([a-z0-9_]*\)() {.*/\1/p' "${BASH_SOURCE[0]}" |
    grep -vxE 'run|fail|outcome|run_apart|await|expect_[a-z_]*|[a-z]*_(runs|left)')
if [[ ${1-} == --list ]]; then
    printf '%s\n' "${cases[@]}"
    exit 0
fi
if (($#)); then cases=("$@"); fi

bad=0
for case in "${cases[@]}"; do
    failed=''
    [[ $(type -t "$case") == function ]] || { echo "no case '$case'; see --list"; exit 2; }
    cd / && : >"$scratch/err"
    started=$SECONDS
    "$case"
    printf '%s %s (%d s)\n' "$([[ $failed ]] && echo FAIL || echo ok)" "$case" $((SECONDS - started))
    if [[ $failed ]]; then bad=$((bad + 1)); fi
done
echo "${#cases[@]} cases, $bad failed"
((bad == 0))
