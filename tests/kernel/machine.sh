# shellcheck shell=bash
# Sourced: a virtual machine with Debian's kernel, the board's devices and the program, seen from outside. Expects
# `place`, the folder of kernel and images, and makes `machine`, the folder of the one that runs.
# The functions fail with a message; `set -eE` makes the first failure the caller's.

# boot [CARD-MIB [MEMORY-MIB [IMAGE]]]: with an empty card as one buys it.
boot() {
    local size=${1:-128}
    machine=$(mktemp -d "$place/machine.XXXXXX")
    truncate -s "${size}M" "$machine/card"
    sfdisk -q "$machine/card" <<<'start=2048, type=c'
    mkfs.vfat -n CARD --offset 2048 "$machine/card" $((size * 1024 - 1024)) >/dev/null 2>&1
    mkfifo "$machine"/{agent.in,agent.out,monitor}
    exec {to_guest}<>"$machine/agent.in" {from_guest}<>"$machine/agent.out"
    # Its time is counted in its instructions, four nanoseconds each: a busy host makes it slow instead of having it lose
    # frames, and CPU times tell instructions. While it has nothing to do, time passes as fast as it can.
    # Whatever ends this shell, no machine stays behind.
    setpriv --pdeathsig KILL qemu-system-x86_64 -accel tcg -icount shift=2,sleep=off -cpu qemu64 -m "${2:-256}" \
        -nodefaults -no-user-config -vga none -display none -no-reboot -kernel "$place/vmlinux" \
        -initrd "${3:-$place/initramfs}" -append "console=ttyS0 loglevel=4 panic=-1 panic_on_warn=1 oops=panic \
        video=320x240-32 vt.global_cursor_default=0 mitigations=off" -serial "file:$machine/console" \
        -device virtio-serial-pci -chardev "pipe,id=agent,path=$machine/agent" -qmp stdio \
        -device virtserialport,chardev=agent,name=agent -device bochs-display,xres=320,yres=240 \
        -device virtio-keyboard-pci -device sdhci-pci -drive "if=none,id=card,format=raw,file=$machine/card" \
        -device sd-card,id=sd,drive=card -device i6300esb -action watchdog=reset \
        <>"$machine/monitor" >"$machine/monitor.log" 2>"$machine/qemu.log" &
    qemu=$!
    qmp qmp_capabilities
    local ready
    hear ready
}
# What is left of one that did not hold may be looked at.
power_off() {
    ! runs || kill -KILL "$qemu"
    wait "$qemu" 2>/dev/null || true
    exec {to_guest}>&- {from_guest}>&-
    (($1)) || rm -rf "$machine"
}
runs() { kill -0 "$qemu" 2>/dev/null; }
still_runs() {
    runs || {
        echo "the machine has ended: $(end_reason)"
        tail -n 50 "$machine/qemu.log" "$machine/console"
        return 1
    } >&2
}
# "watchdog", "guest-shutdown", "guest-reset" (also a kernel that gave up) …
end_reason() {
    if grep -q '"WATCHDOG"' "$machine/monitor.log"; then
        echo watchdog
    else
        sed -n 's/.*"SHUTDOWN".*"reason": "\([a-z-]*\)".*/\1/p' "$machine/monitor.log"
    fi
}
# ends REASON: by itself.
ends() {
    within 600 eval '! runs'
    equal "$(end_reason)" "$1"
}

# hear NAME...: reads a line from inside.
hear() {
    until read -r -t 10 -u "$from_guest" "$@"; do still_runs || return; done
}
# guest COMMAND: runs a shell command of one line inside, and prints its output.
guest() {
    local status size
    echo "$1" >&"$to_guest"
    hear status size
    head -c "$size" <&"$from_guest"
    return "$status"
}

# qmp COMMAND [ARGUMENTS]: asks the machine's monitor.
qmp() {
    local before
    before=$(answers)
    echo "{\"execute\": \"$1\", \"arguments\": ${2:-{\}}}" >>"$machine/monitor"
    while (($(answers) == before)); do
        still_runs
        sleep 0.02
    done
    ! grep -E '^\{"(return|error)"' "$machine/monitor.log" | tail -n 1 | grep '"error"'
}
answers() { grep -cE '^\{"(return|error)"' "$machine/monitor.log" || true; }
# key NAME...: by the monitor's names. Down and up at once: one that is held while the host is busy would repeat. What a
# key asks for is begun before the next.
key() {
    local name event
    for name; do
        event='{"type": "key", "data": {"down": true, "key": {"type": "qcode", "data": "'$name'"}}}'
        qmp input-send-event "{\"events\": [$event, ${event/true/false}]}"
        [[ $name == "${!#}" ]] || guest 'usleep 300000'
    done
}
# What is in the framebuffer now, in the machine's folder.
screen() { qmp screendump "{\"filename\": \"$machine/screen.ppm\"}"; }
eject_card() { qmp eject '{"id": "sd", "force": true}'; }
insert_card() {
    qmp blockdev-change-medium "{\"id\": \"sd\", \"filename\": \"$machine/card\", \"format\": \"raw\"}"
}

# From still mode: records, and once frames are on the card, does what is given: time inside may pass faster than outside.
begin_video() {
    key f3 ret
    guest 'in_state REC_VIDEO && patiently "[ \$(video_size) -gt $((20 * 320 * 240 * 2)) ]" && '"${1:-true}"
}
# Stays in video mode.
end_video() {
    key ret
    guest 'in_state VIEW'
}

# copy_files EXTENSION: into `files`, sorted, as they are outside after the machine wrote them back.
copy_files() {
    rm -rf "$machine/copied"
    mkdir "$machine/copied"
    guest sync
    mcopy -s -n -o -i "$machine/card@@1M" '::*' "$machine/copied"
    mapfile -t files < <(find "$machine/copied" -name "*.$1" | sort)
}
# Of a video of the camera's: how many frames it has, how many were sent meanwhile, the first's and the last's number.
# All are as they were sent, and none is there twice.
camera_frames() {
    ffmpeg -nostdin -v error -i "$1" -vsync passthrough -f rawvideo -pix_fmt yuv422p - | "$frames_program" 320x240 128 0 |
        awk '{if ($1 <= last) {print "after frame " last ": " $1; exit bad = 1}} NR == 1 {first = $1} {last = $1}
             END {if (!bad) print NR, last - first + 1, first, last; exit bad || !NR}'
}
