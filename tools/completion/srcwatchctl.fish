# SPDX-License-Identifier: Apache-2.0
# fish completion for srcwatchctl

function __srcwatchctl_ports
    srcwatchctl list -o raw 2>/dev/null | cut -f1,2
end

function __srcwatchctl_fields
    srcwatchctl show 99 -o raw 2>/dev/null | cut -f2 | sort -u
end

function __srcwatchctl_keys
    srcwatchctl settings list -o raw 2>/dev/null | cut -f1
end

# The command, without options; its argument is the number of words that it may be.
function __srcwatchctl_at
    set -l words (commandline -opc | string match -v -- '-*')
    set -e words[1]
    test "$words" = "$argv"
end

function __srcwatchctl_in
    set -l words (commandline -opc | string match -v -- '-*')
    set -e words[1]
    test "$words[1..$(count $argv)]" = "$argv"
end

complete -c srcwatchctl -f
complete -c srcwatchctl -s o -l output -x -a "table json jsonl raw" -d "Form of the output"
complete -c srcwatchctl -l log -d "Show the log on standard error"
complete -c srcwatchctl -s h -l help -d "Print help"

complete -c srcwatchctl -n __srcwatchctl_at -a "list show get explain monitor wait scan optical features twc stats"
complete -c srcwatchctl -n __srcwatchctl_at -a "forget call settings plug unplug capture unknown classify validate doctor"
complete -c srcwatchctl -n "__srcwatchctl_at scan" -a "start stop resume status run"
complete -c srcwatchctl -n "__srcwatchctl_at optical" -a "start stop show"
complete -c srcwatchctl -n "__srcwatchctl_at twc" -a "status start end tuned"
complete -c srcwatchctl -n "__srcwatchctl_at settings" -a "list get set watch check repair backup restore"
complete -c srcwatchctl -n "__srcwatchctl_at unknown" -a "list save clear"
complete -c srcwatchctl -n "__srcwatchctl_at capture" -a "import new (__srcwatchctl_ports)"
complete -c srcwatchctl -n "__srcwatchctl_in capture; and not __srcwatchctl_at capture" -F
complete -c srcwatchctl -n "__srcwatchctl_in capture new" -l vendor -x -d "Vendor name"
complete -c srcwatchctl -n "__srcwatchctl_in capture new" -l product -x -d "Product description"
complete -c srcwatchctl -n "__srcwatchctl_in capture new" -l spd-code -x -d "Source information"
complete -c srcwatchctl -n "__srcwatchctl_in capture new" -l osd-name -x -d "OSD name"
complete -c srcwatchctl -n "__srcwatchctl_in capture new" -l device-type -x -d "Primary device type"
complete -c srcwatchctl -n "__srcwatchctl_in capture new" -l physical-address -x -d "Physical address"
complete -c srcwatchctl -n "__srcwatchctl_in capture new" -l vendor-id -x -d "Vendor id"

for command in show get explain forget plug unplug "twc start" "twc end" "call record" "call forget" "call deny"
    complete -c srcwatchctl -n "__srcwatchctl_at $command" -a "(__srcwatchctl_ports)"
end
for command in list get set watch
    complete -c srcwatchctl -n "__srcwatchctl_at settings $command" -a "(__srcwatchctl_keys)"
end
complete -c srcwatchctl -n "__srcwatchctl_in get; and not __srcwatchctl_at get" -a "(__srcwatchctl_fields)"
complete -c srcwatchctl -n "__srcwatchctl_at call" -a "status profiles record forget deny"
complete -c srcwatchctl -n "__srcwatchctl_in plug; and not __srcwatchctl_at plug" -a "(__fish_complete_directories)"
complete -c srcwatchctl -n "__srcwatchctl_at validate" -F
complete -c srcwatchctl -n "__srcwatchctl_at settings backup; or __srcwatchctl_at settings restore" -F
complete -c srcwatchctl -n "__srcwatchctl_in classify; or __srcwatchctl_at unknown save" -a "(__fish_complete_directories)"
complete -c srcwatchctl -n "__srcwatchctl_in classify" -l expect -r -F -d "Output to compare with"
complete -c srcwatchctl -n "__srcwatchctl_in classify" -l profiles -r -F -d "Profiles to classify by"

complete -c srcwatchctl -n "__srcwatchctl_in wait" -l port -x -a "(__srcwatchctl_ports)" -d Port
complete -c srcwatchctl -n "__srcwatchctl_in wait" -l device-type -x -d "Type of device" \
    -a "none set-top-box disc-player home-theatre streaming-box game-console other not-supported pc"
complete -c srcwatchctl -n "__srcwatchctl_in monitor" -l type -x -d "Type of event" \
    -a "connection detected scan-progress scan-finished service-started service-stopped records-saved"
complete -c srcwatchctl -n "__srcwatchctl_in monitor; or __srcwatchctl_in settings watch" -l count -x -d "End after"
for command in monitor wait "scan run" "settings watch"
    complete -c srcwatchctl -n "__srcwatchctl_in $command" -l timeout -x -d "Give up after this time"
end
for command in explain plug unplug capture
    complete -c srcwatchctl -n "__srcwatchctl_in $command" -l inputs -r -F -d "Inputs directory"
end
complete -c srcwatchctl -n "__srcwatchctl_in explain" -l profiles -r -F -d "Profiles to classify by"
complete -c srcwatchctl -n "__srcwatchctl_in plug" -l captures -r -F -d "Directory of the captures"
complete -c srcwatchctl -n "__srcwatchctl_in call" -l text -x -d "Text of the request"
complete -c srcwatchctl -n "__srcwatchctl_in call" -l extra -x -d "What follows the request"
complete -c srcwatchctl -n "__srcwatchctl_in settings set" -l int -d "Write a number"
complete -c srcwatchctl -n "__srcwatchctl_in settings set" -l text -d "Write a text"
complete -c srcwatchctl -n "__srcwatchctl_in doctor" -l profiles -r -F -d "Profiles to check"
complete -c srcwatchctl -n "__srcwatchctl_in validate" -l kind -x -d "What it is meant to be" \
    -a "activity optical statistics profiles capture spd cec aksv"
