# shellcheck shell=bash
# SPDX-License-Identifier: Apache-2.0
# What the steps share; sourced by each of them. STEP is the name of the step.
set -euo pipefail

unit=org.nalto.srcwatch-service.service
inputs=/run/srcwatch/inputs

say() { echo "# $*"; }

# check TEXT COMMAND...: one line with the result; what a failed command said follows.
check() {
    local text=$1 output
    shift
    if output=$("$@" 2>&1); then
        echo "ok - $STEP: $text"
    else
        echo "not ok - $STEP: $text"
        sed 's/^/#    /' <<<"$*"$'\n'"$output"
    fi
}

# Runs a command until it succeeds: a minute and a half at most, which is far above what it takes on a busy machine.
eventually() {
    local end=$((SECONDS + 90)) output
    until output=$("$@" 2>&1); do
        if ((SECONDS > end)); then
            echo "not within 90 seconds: $output"
            return 1
        fi
        sleep 0.2
    done
}

fails() { ! "$@"; }
equal() { [[ $1 == "$2" ]] || { echo "'$1' is not '$2'"; return 1; }; }
contains() { grep -qF -- "$2" <<<"$1" || { echo "no '$2' in: $1"; return 1; }; }

property() { systemctl show --property="$1" --value "$unit"; }
property_is() { equal "$(property "$1")" "$2"; }
# field_is PORT NAME VALUE: of the stored record.
field_is() { equal "$(srcwatchctl get "$1" "$2")" "$3"; }
# type_is PORT TYPE: in the list.
type_is() {
    local list
    list=$(srcwatchctl list --output raw) || return
    equal "$(sed -nE "s/^$1\t[^\t]*\t([^\t]*).*/\1/p" <<<"$list")" "$2"
}
logged() { contains "$(journalctl --unit="$unit" --output=cat --no-pager)" "$1"; }

# Devices on HDMI-CEC, as the kernel emulates them: /dev/cec0 is the TV's adapter, /dev/cec1 to /dev/cec4 are those of
# what is connected to HDMI 1 to 4. cec-ctl makes each of them a device.
emulate_adapters() {
    modprobe vivid n_devs=1 node_types=0x101 num_inputs=1 input_types=3 num_outputs=4 output_types=0xf
}
# device INPUT OPTION...: what is connected there becomes a device, and says so.
device() { cec-ctl --device="/dev/cec$1" "${@:2}"; }

# Two users, made by the first step: one in the group of the applications, one in no group.
as_member() { setpriv --reuid=member --regid=member --init-groups "$@"; }
as_stranger() { setpriv --reuid=stranger --regid=stranger --init-groups "$@"; }
