# SPDX-License-Identifier: Apache-2.0
# bash completion for srcwatchctl, which knows itself what may come next

_srcwatchctl() {
    local current=${COMP_WORDS[COMP_CWORD]} words=() word line
    [[ $current != = ]] || current=
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do # bash makes a word of the = behind an option
        [[ $word == = ]] || words+=("$word")
    done
    COMPREPLY=()
    while IFS=$'\t' read -r line _; do
        case $line in
            :files) mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$current") ;;
            :directories) mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -d -- "$current") ;;
            *)
                COMPREPLY+=("$line")
                continue
                ;;
        esac
        compopt -o filenames 2>/dev/null
    done < <(srcwatchctl complete "${words[@]}" "$current" 2>/dev/null)
}

complete -F _srcwatchctl srcwatchctl
