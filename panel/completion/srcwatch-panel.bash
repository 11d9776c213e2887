# SPDX-License-Identifier: Apache-2.0
# bash completion for srcwatch-panel

_srcwatch_panel() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]}
    local options="--inputs --captures --profiles --log --recordings --listen --read-only --token-file --help --version"
    COMPREPLY=()
    case $before in
        --inputs | --captures | --recordings) mapfile -t COMPREPLY < <(compgen -d -- "$word") ;;
        --profiles | --log | --token-file) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
        --listen) ;;
        *)
            mapfile -t COMPREPLY < <(compgen -W "$options" -- "$word")
            return
            ;;
    esac
    compopt -o filenames 2>/dev/null
}

complete -F _srcwatch_panel srcwatch-panel
