# Message catalogues, compiled into share/locale of the build folder and of the install.

find_program(MSGFMT_PROGRAM msgfmt REQUIRED)
set(KFW_LOCALE_DIR ${CMAKE_BINARY_DIR}/share/locale)

# k_catalogue(<domain> <language>): compiles <language>.po of the current folder.
function(k_catalogue pDomain pLanguage)
    set(tSource ${CMAKE_CURRENT_SOURCE_DIR}/${pLanguage}.po)
    set(tDir ${KFW_LOCALE_DIR}/${pLanguage}/LC_MESSAGES)
    set(tOutput ${tDir}/${pDomain}.mo)
    add_custom_command(OUTPUT ${tOutput}
        COMMAND ${CMAKE_COMMAND} -E make_directory ${tDir}
        COMMAND ${MSGFMT_PROGRAM} --check-format --check-domain --output-file=${tOutput} ${tSource}
        DEPENDS ${tSource} VERBATIM)
    add_custom_target(catalogue_${pDomain}_${pLanguage} ALL DEPENDS ${tOutput})
    install(FILES ${tOutput} DESTINATION ${CMAKE_INSTALL_DATADIR}/locale/${pLanguage}/LC_MESSAGES)
endfunction()
