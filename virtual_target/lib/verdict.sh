# What the end of a run means.

# QEMU's exit status after the target has written 0x2a to its debug-exit device: 2 * 0x2a + 1.
# A clean power-off and a reboot after a panic give 0.
readonly FINISHED=85

# What the kernel says when something is wrong with it or with a driver. Whoever wrote the line counts:
# a program in the target fails its run by writing one to /dev/kmsg.
readonly COMPLAINT='WARNING:|(^|[^A-Z])BUG:|kernel BUG at|Oops|Call Trace:|Kernel panic|general protection fault'\
'|INFO: (task|rcu_|possible|trying)|rcu: INFO|inconsistent lock state|(soft|hard) (lockup|LOCKUP)'\
'|blocked for more than|nobody cared|UBSAN:|KASAN:'

printable() { tr -d '\r\0'; }

# The console misses what was said last, the list at the end what was said before a crash.
find_complaint() {
    local found
    found=$(cat -- "$run/console" "$run/dmesg" 2>/dev/null | printable | grep -a -E "$COMPLAINT") || true
    printf '%s' "${found%%$'\n'*}"
}

fail_target() { # EXIT_STATUS MESSAGE
    local log=$run/console
    if [[ -s $run/dmesg ]]; then log=$run/dmesg; fi
    say "$2"
    sed '/hub 0 is not connected/d; s/^/qemu: /' -- "$run/qemu" >&2 # the hub is meant to be alone
    if [[ -s $log ]]; then
        say "tail of the kernel's log:"
        tail -n 40 -- "$log" | printable | sed 's/^/  | /' >&2
    fi
    exit "$1"
}

judge() { # QEMU_STATUS
    local status='' complaint
    complaint=$(find_complaint)
    if [[ $complaint ]]; then fail_target "$EXIT_TARGET" "the target's kernel complained: $complaint"; fi
    if [[ -s $run/failure ]]; then fail_target "$EXIT_TARGET" "$(cat -- "$run/failure")"; fi
    if [[ -s $run/status ]]; then read -r status <"$run/status"; fi
    if [[ $1 -ne FINISHED || ! $status =~ ^[0-9]+$ ]]; then
        fail_target "$EXIT_TARGET" "the target ended without a result (QEMU's exit status is $1)"
    fi
    exit "$status"
}
