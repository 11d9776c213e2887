# SPDX-License-Identifier: Apache-2.0
# bash completion for srcwatch-sandbox

_srcwatch_sandbox() {
    local word=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD - 1]} i
    for ((i = 1; i < COMP_CWORD; ++i)); do
        if [[ ${COMP_WORDS[i]} == -- ]]; then
            _command_offset $((i + 1))
            return
        fi
    done
    COMPREPLY=()
    case $before in
        --inputs) mapfile -t COMPREPLY < <(compgen -W "1 2 3 4 5 6 7 8" -- "$word") ;;
        --log) mapfile -t COMPREPLY < <(compgen -f -- "$word") ;;
        --plug) ;;
        *) mapfile -t COMPREPLY < <(compgen -W "--inputs --plug --no-service --log --help --version --" -- "$word") ;;
    esac
}

complete -F _srcwatch_sandbox srcwatch-sandbox
