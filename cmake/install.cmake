# What `cmake --install` puts where. Every path inside the package files is relative to the file
# itself, so that an installed tree can be moved.
include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

# Two components: programs with their documents, and what other programs are built with.
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME programs)
install(TARGETS orvcmd orvik_program)
install(TARGETS orvik EXPORT orvik-targets
        ARCHIVE COMPONENT development
        LIBRARY COMPONENT programs NAMELINK_COMPONENT development
        INCLUDES DESTINATION ${CMAKE_INSTALL_INCLUDEDIR})
if(TARGET orvmpi)
  install(TARGETS orvmpi COMPONENT mpi)
endif()
if(BUILD_SHARED_LIBS)
  set_target_properties(orvcmd orvik_program PROPERTIES INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
endif()
install(DIRECTORY include/orvik DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)

# find_package(orvik). Whoever links an archive links what it needs too.
set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/orvik)
configure_package_config_file(cmake/orvik-config.cmake.in orvik-config.cmake
                              INSTALL_DESTINATION ${package_dir} NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file(orvik-config-version.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/orvik-config.cmake
              ${PROJECT_BINARY_DIR}/orvik-config-version.cmake
        DESTINATION ${package_dir} COMPONENT development)
install(EXPORT orvik-targets NAMESPACE orvik:: DESTINATION ${package_dir} COMPONENT development)

# pkg-config orvik
set(from ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig)
file(RELATIVE_PATH orvik_prefix ${from} ${CMAKE_INSTALL_PREFIX})
string(REGEX REPLACE "/$" "" orvik_prefix ${orvik_prefix})
file(RELATIVE_PATH orvik_includedir ${from} ${CMAKE_INSTALL_FULL_INCLUDEDIR})
set(isal_flag "")
if(isal)
  set(isal_flag "-lisal ")
endif()
set(orvik_needs "Libs: -L\${libdir} -lorvik ${isal_flag}-pthread\nRequires: tbb zlib")
if(BUILD_SHARED_LIBS)
  set(orvik_needs "Libs: -L\${libdir} -lorvik")
endif()
configure_file(cmake/orvik.pc.in orvik.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/orvik.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
        COMPONENT development)

# Documents, examples, completion
install(FILES README.md CHANGELOG.md LICENSE DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(FILES cmd/completion.bash RENAME orvcmd
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
# orvik writes those of its own.
foreach(shell bash zsh fish)
  add_custom_command(OUTPUT orvik.${shell} COMMAND orvik_program completion ${shell} > orvik.${shell}
                     DEPENDS orvik_program VERBATIM)
  list(APPEND completions ${PROJECT_BINARY_DIR}/orvik.${shell})
endforeach()
add_custom_target(orvik_completions ALL DEPENDS ${completions})
install(FILES ${PROJECT_BINARY_DIR}/orvik.bash RENAME orvik
        DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
install(FILES ${PROJECT_BINARY_DIR}/orvik.zsh RENAME _orvik
        DESTINATION ${CMAKE_INSTALL_DATADIR}/zsh/vendor-completions)
install(FILES ${PROJECT_BINARY_DIR}/orvik.fish
        DESTINATION ${CMAKE_INSTALL_DATADIR}/fish/vendor_completions.d)

# The manual pages. Straight quotes, as the pages cite texts of the programs; and these in bold: the
# fixed-width font of the pages in docs/ does not show on a terminal.
find_program(LOWDOWN lowdown)
find_program(GZIP gzip REQUIRED)
if(NOT LOWDOWN)
  message(STATUS "lowdown is missing: the manual pages are left out")
  return()
endif()
foreach(program orvcmd orvik orvik-train orvik-predict orvik-test orvik-view orvik-prep orvik-select
                orvik-compare)
  string(TOUPPER ${program} title)
  add_custom_command(
    OUTPUT ${program}.1.gz
    COMMAND ${LOWDOWN} -s -Tman --out-no-smarty --nroff-nolinks -m title=${title} -m section=1
            -m "source=Orvik ${PROJECT_VERSION}" -o ${program}.1
            ${PROJECT_SOURCE_DIR}/docs/${program}.1.md
    COMMAND sed -i "s/\\\\fC/\\\\fB/g" ${program}.1
    COMMAND ${GZIP} -9nkf ${program}.1
    DEPENDS docs/${program}.1.md
    VERBATIM)
  list(APPEND pages ${program}.1.gz)
  install(FILES ${PROJECT_BINARY_DIR}/${program}.1.gz DESTINATION ${CMAKE_INSTALL_MANDIR}/man1)
endforeach()
add_custom_target(orvik_manual ALL DEPENDS ${pages})
