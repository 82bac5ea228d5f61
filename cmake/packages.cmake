# Debian packages: `cpack --config build/release/CPackConfig.cmake -B build/packages`.
# orvik has the programs, and with BUILD_SHARED_LIBS the library that they run with; liborvik-dev what
# other programs are built with; python3-orvik the Python package.
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

set(packages programs:orvik development:liborvik-dev)
if(TARGET orvik_python)
  list(APPEND CPACK_COMPONENTS_ALL python)
  list(APPEND packages python:python3-orvik)
  string(REGEX MATCH "^[0-9]+\\.[0-9]+" python_version "${PYTHON_VERSION_STRING}")
  string(REGEX MATCH "[0-9]+$" python_minor "${python_version}")
  math(EXPR python_next "${python_minor} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-orvik)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3 (>= ${python_version}), python3 (<< 3.${python_next}), \
python3-numpy, python3-scipy, python3-sklearn")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_RECOMMENDS "python3-pandas, python3-matplotlib, python3-tqdm")
  # Compiled to bytes by the system when it is installed, as all packages of Python modules are.
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA "${PROJECT_SOURCE_DIR}/cmake/debian/postinst" "${PROJECT_SOURCE_DIR}/cmake/debian/prerm")
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION "Classification trees by the gain ratio, random forests and boosted trees as
estimators of scikit-learn: data frames as they are, with categories and
unknown values, every core, and the model files of the program orvik.")
endif()

if(TARGET orvmpi)
  list(APPEND CPACK_COMPONENTS_ALL mpi)
  list(APPEND packages mpi:orvik-mpi)
  set(CPACK_DEBIAN_MPI_PACKAGE_NAME orvik-mpi)
  set(CPACK_DEBIAN_MPI_PACKAGE_SECTION science)
  set(CPACK_DEBIAN_MPI_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_MPI_PACKAGE_DEPENDS "openmpi-bin")
  set(CPACK_COMPONENT_MPI_DESCRIPTION "orvmpi makes one run of orvcmd on several processes or machines: the trees
of a forest are shared out among them, with the same bytes as one process.")
endif()

# What the distribution asks of every package.
add_custom_command(OUTPUT changelog.gz COMMAND ${GZIP} -9nc ${PROJECT_SOURCE_DIR}/CHANGELOG.md > changelog.gz
                   DEPENDS CHANGELOG.md VERBATIM)
add_custom_target(orvik_package_files ALL DEPENDS changelog.gz)
foreach(of ${packages})
  string(REGEX MATCH "[^:]+" component ${of})
  string(REGEX REPLACE ".*:" "" package ${of})
  set(folder ${CMAKE_INSTALL_DATADIR}/doc/${package})
  install(FILES LICENSE RENAME copyright DESTINATION ${folder} COMPONENT ${component} EXCLUDE_FROM_ALL)
  install(FILES ${PROJECT_BINARY_DIR}/changelog.gz DESTINATION ${folder} COMPONENT ${component}
          EXCLUDE_FROM_ALL)
endforeach()
include(CPack)
