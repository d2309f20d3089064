# What an installed copy holds, and the Debian package made of it:
# `cmake --build build --target package` writes build/vibrex_<version>_amd64.deb.
include(GNUInstallDirs)

# The program's binaries: the executable, and the window it loads only when a window may open,
# in the private folder libexec/vibrex where the executable looks for it (shlibdeps adds the
# window's own dependencies, Qt, to the package).
set(VIBREX_INSTALLED_TARGETS vibrex)
if(TARGET vibrex_window)
    list(APPEND VIBREX_INSTALLED_TARGETS vibrex_window)
endif()
install(TARGETS ${VIBREX_INSTALLED_TARGETS}
    RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBEXECDIR}/vibrex)

# The manual page, vibrex(1), from its scdoc source.
find_program(SCDOC_PROGRAM scdoc)
if(SCDOC_PROGRAM)
    set(manual ${CMAKE_BINARY_DIR}/vibrex.1.gz)
    add_custom_command(OUTPUT ${manual}
        COMMAND sh -c [["$0" < "$1" | gzip -9n > "$2"]] ${SCDOC_PROGRAM}
            ${PROJECT_SOURCE_DIR}/docs/vibrex.1.scd ${manual}
        DEPENDS ${PROJECT_SOURCE_DIR}/docs/vibrex.1.scd
        COMMENT "Writing the manual page vibrex(1)" VERBATIM)
    add_custom_target(vibrex_manual ALL DEPENDS ${manual})
    install(FILES ${manual} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
else()
    message(WARNING "scdoc (Debian scdoc) not found: no manual page is built or installed")
endif()

# The documentation users read, and what Debian asks of every package's doc folder.
set(VIBREX_PACKAGE_MAINTAINER "Vibrex project <vibrex@packages.invalid>" CACHE STRING
    "Maintainer named in the Debian package (name <address>)")
set(docFolder ${CMAKE_INSTALL_DATADIR}/doc/vibrex)
configure_file(${CMAKE_CURRENT_LIST_DIR}/changelog.in ${CMAKE_BINARY_DIR}/changelog @ONLY)
set(changelog ${CMAKE_BINARY_DIR}/changelog.gz)
add_custom_command(OUTPUT ${changelog}
    COMMAND sh -c [[gzip -9n < "$0" > "$1"]] ${CMAKE_BINARY_DIR}/changelog ${changelog}
    DEPENDS ${CMAKE_BINARY_DIR}/changelog VERBATIM)
add_custom_target(vibrex_changelog ALL DEPENDS ${changelog})
install(FILES ${changelog} ${CMAKE_CURRENT_LIST_DIR}/copyright DESTINATION ${docFolder})
install(FILES README.md docs/architecture.md docs/archives.md docs/formats.md
    docs/reliability.md docs/convert.sbatch DESTINATION ${docFolder})

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME vibrex)
set(CPACK_PACKAGE_VENDOR "Vibrex project")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "converter for seismic recordings")
set(CPACK_DEBIAN_PACKAGE_DESCRIPTION
    "Vibrex recognises a seismic recording by its content (miniSEED, SAC, GSE2.0,\n\
PSN ASCII, SAF, SEG2, Seismic Unix, Seisan and two data-logger formats),\n\
shows and edits its header, and writes it in another of these formats or as\n\
WAV audio, one output per input or merged into one multichannel file. It runs\n\
as a Qt desktop window or from the command line, where GNU parallel or Slurm\n\
spread whole archives over many cores and machines.")
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT) # vibrex_<version>_<architecture>.deb
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${VIBREX_PACKAGE_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SECTION science)
# Dependencies come from the libraries the binaries link, and nothing else.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_STRIP_FILES ON)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_BINARY_DIR})
include(CPack)
