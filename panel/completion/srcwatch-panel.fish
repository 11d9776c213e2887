# SPDX-License-Identifier: Apache-2.0
# fish completion for srcwatch-panel

complete -c srcwatch-panel -f
complete -c srcwatch-panel -l inputs -x -a "(__fish_complete_directories)" -d "Inputs directory of the detection service"
complete -c srcwatch-panel -l captures -x -a "(__fish_complete_directories)" -d "Directory of the captures"
complete -c srcwatch-panel -l profiles -r -F -d "Profiles instead of the service's"
complete -c srcwatch-panel -l log -r -F -d "Log file to show"
complete -c srcwatch-panel -l recordings -x -a "(__fish_complete_directories)" -d "Directory of recordings"
complete -c srcwatch-panel -l listen -x -d "Address to listen on, and port"
complete -c srcwatch-panel -l read-only -d "Refuse all commands that change something"
complete -c srcwatch-panel -l token-file -r -F -d "File with the token of the address"
complete -c srcwatch-panel -s h -l help -d "Print help"
complete -c srcwatch-panel -l version -d "Print the version"
