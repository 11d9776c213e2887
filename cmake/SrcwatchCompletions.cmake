# SPDX-License-Identifier: Apache-2.0
# What bash, zsh and fish complete for a program, from the directory completion beside its sources:
# srcwatch_install_completions(PROGRAM COMPONENT)
function(srcwatch_install_completions program component)
    install(FILES completion/${program}.bash RENAME ${program}
        DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions" COMPONENT ${component})
    install(FILES completion/_${program}
        DESTINATION "${CMAKE_INSTALL_DATADIR}/zsh/site-functions" COMPONENT ${component})
    install(FILES completion/${program}.fish
        DESTINATION "${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d" COMPONENT ${component})
endfunction()
