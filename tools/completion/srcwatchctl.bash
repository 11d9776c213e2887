# SPDX-License-Identifier: Apache-2.0
# bash completion for srcwatchctl

_srcwatchctl_words() {
    mapfile -t COMPREPLY < <(compgen -W "$1" -- "$2")
}

_srcwatchctl_ports() {
    srcwatchctl list -o raw 2>/dev/null | cut -f1
}

_srcwatchctl_fields() {
    srcwatchctl show 99 -o raw 2>/dev/null | cut -f2 | sort -u
}

_srcwatchctl_keys() {
    srcwatchctl settings list -o raw 2>/dev/null | cut -f1
}

# Values of the option before the cursor. Fails when it takes none of these.
_srcwatchctl_value() {
    case $1 in
        -o | --output) _srcwatchctl_words "table json jsonl raw" "$2" ;;
        --port) _srcwatchctl_words "$(_srcwatchctl_ports)" "$2" ;;
        --kind) _srcwatchctl_words "activity optical statistics profiles capture spd cec aksv" "$2" ;;
        --type)
            _srcwatchctl_words "connection detected scan-progress scan-finished service-started service-stopped \
                records-saved" "$2"
            ;;
        --device-type)
            _srcwatchctl_words "none set-top-box disc-player home-theatre streaming-box game-console other \
                not-supported pc" "$2"
            ;;
        --inputs | --captures | --profiles | --expect) mapfile -t COMPREPLY < <(compgen -f -- "$2") ;;
        --count | --timeout | --extra) COMPREPLY=() ;;
        *) return 1 ;;
    esac
}

_srcwatchctl_options() {
    case $1 in
        explain) echo "--inputs --profiles" ;;
        monitor) echo "--type --count --timeout" ;;
        wait) echo "--port --device-type --timeout" ;;
        "scan run") echo "--timeout" ;;
        call) echo "--text --extra" ;;
        "settings set") echo "--int --text" ;;
        "settings watch") echo "--count --timeout" ;;
        plug) echo "--inputs --captures" ;;
        unplug) echo "--inputs" ;;
        capture) echo "--inputs" ;;
        "capture new")
            echo "--vendor --product --spd-code --osd-name --device-type --physical-address --vendor-id"
            ;;
        classify) echo "--expect --profiles" ;;
        validate) echo "--kind" ;;
        doctor) echo "--profiles" ;;
    esac
    echo "-o --output --log --help"
}

# Words that may stand after a command and this many arguments.
_srcwatchctl_arguments() {
    case "$1:$2" in
        show:0 | explain:0 | forget:0 | get:0 | plug:0 | unplug:0 | "twc start:0" | "twc end:0") _srcwatchctl_ports ;;
        get:1) _srcwatchctl_fields ;;
        plug:1) ls "${SRCWATCH_CAPTURES:-/usr/share/srcwatch/captures}" 2>/dev/null ;;
        call:0) echo "status profiles record forget deny" ;;
        call:1) _srcwatchctl_ports ;;
        "settings get:0" | "settings set:0" | "settings watch:0" | "settings list:0") _srcwatchctl_keys ;;
        scan:0) echo "start stop resume status run" ;;
        optical:0) echo "start stop show" ;;
        twc:0) echo "status start end tuned" ;;
        settings:0) echo "list get set watch check repair backup restore" ;;
        unknown:0) echo "list save clear" ;;
        capture:0) echo "import new"; _srcwatchctl_ports ;;
        :0)
            echo "list show get explain monitor wait scan optical features twc stats forget call settings plug unplug" \
                "capture unknown classify validate doctor"
            ;;
    esac
}

_srcwatchctl() {
    local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
    local command="" arguments=0 word skip=0
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        if ((skip)); then
            skip=0
            continue
        fi
        case $word in
            --int | --log | --help) ;;
            --text) [[ $command == "settings set" ]] || skip=1 ;;
            -*) skip=1 ;;
            *)
                case $command in
                    "") command=$word ;;
                    scan | optical | twc | settings | unknown) command+=" $word" ;;
                    capture)
                        if [[ $word == import || $word == new ]]; then command+=" $word"; else arguments=$((arguments + 1)); fi
                        ;;
                    *) arguments=$((arguments + 1)) ;;
                esac
                ;;
        esac
    done
    _srcwatchctl_value "$previous" "$current" && return
    if [[ $current == -* ]]; then
        _srcwatchctl_words "$(_srcwatchctl_options "$command")" "$current"
    elif [[ $command == validate || $command == classify || $command == "unknown save" || $command == "capture "* ||
        $command == "settings backup" || $command == "settings restore" ]]; then
        mapfile -t COMPREPLY < <(compgen -f -- "$current")
    else
        _srcwatchctl_words "$(_srcwatchctl_arguments "$command" "$arguments")" "$current"
    fi
}

complete -F _srcwatchctl srcwatchctl
