# SPDX-License-Identifier: Apache-2.0
# fish completion for srcwatch-sandbox

complete -c srcwatch-sandbox -l inputs -x -a "1 2 3 4 5 6 7 8" -d "Number of HDMI inputs"
complete -c srcwatch-sandbox -l plug -x -d "Plug a capture into a port: PORT=CAPTURE"
complete -c srcwatch-sandbox -l no-service -d "Start no detection service"
complete -c srcwatch-sandbox -l log -r -d "Append the log to this file"
complete -c srcwatch-sandbox -s h -l help -d "Print help"
complete -c srcwatch-sandbox -l version -d "Print the version"
