# Debian packages: `cpack --config build/release/CPackConfig.cmake -B build/packages`.
# orvik has the programs, and with BUILD_SHARED_LIBS the library that they run with; liborvik-dev what
# other programs are built with.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_COMPONENTS_ALL programs development)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "learner of classification trees and forests")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "The Orvik authors <orvik@example.org>")
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION TRUE)

set(CPACK_DEBIAN_PROGRAMS_PACKAGE_NAME orvik)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SECTION science)
set(CPACK_DEBIAN_PROGRAMS_PACKAGE_SHLIBDEPS ON)
set(CPACK_COMPONENT_PROGRAMS_DESCRIPTION "Grows, prunes, tests and applies classification trees, bagged trees and
random forests on tables of discrete and numeric columns with case weights
and unknown values. The program orvik goes from CSV files to models and
predictions, and shows models as reports, pictures, rules and programs.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME liborvik-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "libtbb-dev, zlib1g-dev")
if(isal)
  string(APPEND CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS ", libisal-dev")
endif()
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "Library, headers, CMake package and pkg-config file for programs that
learn, apply, save and render classification trees.")

# What the distribution asks of every package.
add_custom_command(OUTPUT changelog.gz COMMAND ${GZIP} -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md > changelog.gz
                   DEPENDS CHANGELOG.md VERBATIM)
add_custom_target(orvik_package_files ALL DEPENDS changelog.gz)
foreach(of programs:orvik development:liborvik-dev)
  string(REGEX MATCH "[^:]+" component ${of})
  string(REGEX REPLACE ".*:" "" package ${of})
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES LICENSE RENAME copyright DESTINATION ${folder} COMPONENT ${component} EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${folder} COMPONENT ${component}
          EXCLUDE_FROM_ALL)
endforeach()
include(CPack)
