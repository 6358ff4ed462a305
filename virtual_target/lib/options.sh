# The command line of `boot`.

usage() {
    cat <<'END'
Usage: virtual_target/boot [OPTION...] [--] COMMAND [ARGUMENT...]
       virtual_target/boot [OPTION...] --shell

Boots Debian's PREEMPT_RT kernel in an emulated machine with PCI boards and
runs COMMAND there as root, in the current directory, with this machine's files
visible. What it writes to them is forgotten afterwards, except below --share.
Its output and its exit status become those of boot; standard output and
standard error stay apart, standard input is empty.

  --shell             an interactive shell instead of COMMAND; leave with exit
  --timeout SECONDS   limit for boot and command together (default 120, shell 0)
                      0: no limit
  --cpus N            processors (default 2); the last one is isolated if N > 1
  --share DIR         existing folder that keeps what the target writes there
  --board BOARD       edu (default), or none: no example board in its slot
  --device DEVICE     one more QEMU device, such as edu,addr=4.0 (repeatable)
  --chardev CHARDEV   what a serial device is connected to, as QEMU's option of
                      that name, such as null,id=open (repeatable); relative
                      paths lie in a folder that only this run has
  --append ARGUMENTS  more kernel arguments (repeatable)
  --verbose           show the kernel's console on standard error
  --help              this text

Exit status: that of COMMAND (128 + N if signal N ended it), or
    2  wrong usage
  124  the time limit passed
  125  the target failed: it did not boot, panicked or switched itself off, or
       its kernel's log has a complaint (WARNING, BUG, Oops, stall, ...)
       whatever COMMAND said; the log's tail is shown on standard error
  130  interrupted
END
}

usage_error() {
    say "$* (see --help)"
    exit "$EXIT_USAGE"
}

board=edu cpus=2 share='' shell='' timeout='' verbose=''
devices=() chardevs=() append=() command=()

require_number() { # OPTION VALUE LOWEST
    [[ $2 =~ ^[0-9]{1,6}$ ]] && ((10#$2 >= $3)) || usage_error "$1 wants a number of at least $3, not '$2'"
}

parse_option() { # OPTION VALUE
    case $1 in
        --timeout) require_number "$1" "$2" 0; timeout=$((10#$2)) ;;
        --cpus) require_number "$1" "$2" 1; cpus=$((10#$2)) ;;
        --share)
            [[ -d $2 && -w $2 ]] || usage_error "--share wants an existing, writable folder, not '$2'"
            share=$(realpath -- "$2")
            ;;
        --board)
            [[ $2 == edu || $2 == none ]] || usage_error "--board is edu or none, not '$2'"
            board=$2
            ;;
        --device) devices+=(-device "$2") ;;
        --chardev) chardevs+=(-chardev "$2") ;;
        --append) append+=("$2") ;;
    esac
}

parse_options() {
    while (($#)); do
        case $1 in
            --timeout | --cpus | --share | --board | --device | --chardev | --append)
                (($# >= 2)) || usage_error "$1 wants a value"
                parse_option "$1" "$2"
                shift
                ;;
            --shell) shell=yes ;;
            --verbose) verbose=yes ;;
            -h | --help) usage; exit 0 ;;
            --) shift; break ;;
            -*) usage_error "unknown option '$1'" ;;
            *) break ;;
        esac
        shift
    done
    command=("$@")
    [[ ! $shell || $# -eq 0 ]] || usage_error "--shell takes no command"
    [[ $shell || $# -gt 0 ]] || usage_error "no command given"
    [[ ! $shell || -t 0 ]] || usage_error "--shell wants a terminal on standard input"
    timeout=${timeout:-$([[ $shell ]] && echo 0 || echo 120)}
}
