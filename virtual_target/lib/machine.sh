# The emulated machine as QEMU arguments. Addresses are fixed; the table is in README.md.

# QEMU reads a comma as the end of a value unless it is doubled.
escape_commas() { printf '%s' "${1//,/,,}"; }

folder() { # TAG PATH ADDRESS OPTIONS
    machine+=(
        -fsdev "local,id=$1,path=$(escape_commas "$2"),security_model=none,multidevs=remap$4"
        -device "virtio-9p-pci,fsdev=$1,mount_tag=$1,addr=$3,multifunction=on"
    )
}

add_folders() {
    folder root / 1e.0 ,readonly=on
    folder layer "$target/layer" 1e.1 ,readonly=on
    folder results "$run" 1e.2 ''
    if [[ $share ]]; then folder share "$share" 1e.3 ''; fi
    folder modules "$modules" 1e.4 ,readonly=on
}

root_port() { # NAME ADDRESS CHASSIS
    machine+=(-device "pcie-root-port,id=$1,bus=pcie.0,addr=$2,multifunction=on,chassis=$3,slot=$3")
}

# Both cards hang on one hub, so each has a link and neither sees the host's network.
network_card() { # MODEL BUS ADDRESS
    machine+=(
        -netdev "hubport,id=net-$1,hubid=0"
        -device "$1,netdev=net-$1,bus=$2,addr=$3,romfile="
    )
}

add_bridges() {
    root_port port0 1c.0 1
    network_card e1000e port0 00.0
    root_port port2 1c.2 2
    machine+=(
        -device i82801b11-bridge,id=nest,bus=port2,addr=00.0
        -device pci-bridge,id=nested,bus=nest,addr=01.0,chassis_nr=9,shpc=off
    )
    network_card e1000 nested 05.0
    root_port port5 1c.5 3
}

# Without the mask the board could only reach the lowest 256 MiB by DMA.
add_boards() {
    if [[ $board == edu ]]; then machine+=(-device edu,addr=03.0,dma_mask=0xffffffff); fi
    machine+=("${chardevs[@]}" "${devices[@]}")
}

# udev would load these for parts of the machine that nothing here uses; together they take a second.
readonly UNUSED_MODULES=kvm,kvm_amd,ccp,acpi_cpufreq,pcc_cpufreq,powernow_k8,edac_mce_amd,lpc_ich,iTCO_wdt

# loglevel=5 and not "quiet": the kernel's warnings must reach the console.
kernel_arguments() {
    local isolated=''
    if ((cpus > 1)); then isolated="isolcpus=$((cpus - 1))"; fi
    echo "console=ttyS0 loglevel=5 panic=-1 iomem=relaxed cryptomgr.notests mitigations=off nokaslr" \
        "tsc=reliable no_timer_check" \
        "modprobe.blacklist=$UNUSED_MODULES $isolated ${append[*]}"
}

add_console() {
    if [[ $shell ]]; then
        machine+=(-chardev "stdio,id=console,signal=off,logfile=$(escape_commas "$run/console")")
    else
        machine+=(-chardev "file,id=console,path=$(escape_commas "$run/console")")
    fi
    machine+=(-serial chardev:console)
}

describe_machine() {
    machine=(
        qemu-system-x86_64 -machine q35,sata=off,smbus=off,i8042=off,vmport=off
        -accel tcg,thread=multi -smp "$cpus" -m 1024
        -nodefaults -no-user-config -display none -monitor none -no-reboot
        -kernel "$target/vmlinux" -initrd "$target/initramfs.cpio" -append "$(kernel_arguments)"
        -device "isa-debug-exit,iobase=0xf4,iosize=4"
    )
    add_console
    add_folders
    add_bridges
    add_boards
}
