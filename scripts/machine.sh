# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# What the commands share that run tests on an emulated machine with Debian's kernel. Sourced by them after packages.sh.

# shellcheck source=/dev/null
codename=$(. /etc/os-release && echo "$VERSION_CODENAME")

# unpack ARCHITECTURE DIRECTORY PACKAGE...: the packages and what they need, unpacked and not installed: nothing of the
# other architecture has to run for that. Does nothing if the directory has them already.
unpack() {
    local architecture=$1 directory=$2
    shift 2
    [[ $(cat "$directory/packages" 2>/dev/null) == "$*" ]] && return
    echo "== $(basename "$directory")"
    rm -rf "$directory"
    debian_sources | mmdebstrap --quiet --arch="$architecture" --variant=extract --include="$(IFS=,; echo "$*")" \
        "$codename" "$directory" -
    echo "$*" >"$directory/packages"
}

# run_under_user_emulation COMMAND: where the kernel runs programs for 32-bit ARM by the emulator, which is registered in a
# namespace of its own, so that the machine stays as it is. Users are who they are outside: tests change to other ones.
run_under_user_emulation() {
    local command=$*
    local register='
        mount -t binfmt_misc none /proc/sys/fs/binfmt_misc
        cat /usr/lib/binfmt.d/qemu-arm.conf >/proc/sys/fs/binfmt_misc/register'
    if ((EUID != 0)); then
        unshare --mount --map-current-user --keep-caps bash -euc "$register
            exec setpriv --inh-caps=-all --ambient-caps=-all $command"
        return
    fi
    local namespace map output
    exec {output}>&1
    coproc inside { exec unshare --mount --user \
        bash -euc "echo ready; read -r; $register; $command >&$output"; }
    namespace=$!
    read -r <&"${inside[0]}"
    for map in uid_map gid_map; do
        echo 0 0 4294967295 >"/proc/$namespace/$map"
    done
    echo mapped >&"${inside[1]}"
    wait "$namespace"
}

# The following take the directory of an unpacked kernel package.
kernel_of() { echo "$1"/boot/vmlinuz-*; }
release_of() { ls "$1/lib/modules"; }

# modules_of ROOT MODULE...: the files of these modules and of those that they need, in the order of loading.
modules_of() {
    local root=$1
    shift
    depmod -b "$root" "$(release_of "$root")"
    modprobe -d "$root" -S "$(release_of "$root")" --show-depends -a "$@" |
        awk '$1 == "insmod" && !seen[$2]++ { print $2 }'
}

# make_initrd FILE ROOT INIT MODULE...: loads the modules, and hands over to INIT on the disk /dev/vda.
make_initrd() {
    local file=$1 root=$2 init=$3 tree module number=100
    shift 3
    tree=$(mktemp -d)
    mkdir -p "$tree"/{bin,dev,proc,sys,root,modules}
    for module in $(modules_of "$root" "$@"); do
        cp "$module" "$tree/modules/$((number++))-$(basename "$module")"
    done
    cp "$root/bin/busybox" "$tree/"
    cat >"$tree/init" <<END
#!/busybox sh
export PATH=/bin
/busybox --install -s /bin
mount -t proc proc /proc
mount -t sysfs sys /sys
mount -t devtmpfs dev /dev
exec </dev/console >/dev/console 2>&1
for module in /modules/*; do insmod \$module 2>/dev/null; done
mount -t ext4 /dev/vda /root || poweroff -f
for directory in dev proc sys; do mount --move /\$directory /root/\$directory; done
exec switch_root /root $init
END
    chmod +x "$tree/init"
    (cd "$tree" && find . | cpio -o -H newc --quiet | gzip -1) >"$file"
    rm -rf "$tree"
}
