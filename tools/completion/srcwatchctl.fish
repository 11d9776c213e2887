# SPDX-License-Identifier: Apache-2.0
# fish completion for srcwatchctl, which knows itself what may come next

function __srcwatchctl_candidates
    set -l words (commandline -opc)
    set -l current (commandline -ct)
    for line in (srcwatchctl complete $words[2..-1] "$current" 2>/dev/null)
        switch $line
            case :files
                __fish_complete_path $current
            case :directories
                __fish_complete_directories $current
            case '*'
                echo $line
        end
    end
end

complete -c srcwatchctl -f -a "(__srcwatchctl_candidates)"
