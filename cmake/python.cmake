# The Python package: the module _orvik over the public interface and what the programs show models
# with, and python/orvik around it. It lies whole in the build folder, so that
# PYTHONPATH=build/release/python works at once.
#
# The interpreter is the system's, whichever comes first on the PATH: it has the packages that this
# one works with. ORVIK_PYTHON_EXECUTABLE names another; scikit-build brings its own.
if(NOT SKBUILD)
  set(ORVIK_PYTHON_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The interpreter of the Python package")
  set(PYTHON_EXECUTABLE ${ORVIK_PYTHON_EXECUTABLE})
endif()
execute_process(COMMAND ${PYTHON_EXECUTABLE} -c "import sysconfig; print(sysconfig.get_path('include'))"
                OUTPUT_VARIABLE python_headers OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(EXISTS "${python_headers}/Python.h")
  find_package(pybind11 2.10 CONFIG QUIET)
endif()
if(NOT pybind11_FOUND)
  message(STATUS "pybind11 or the headers of Python are missing: the Python package is left out")
  return()
endif()

file(GLOB python_sources CONFIGURE_DEPENDS python/src/*.cpp)
# The library does the work: optimising these takes longer than it ever gains.
pybind11_add_module(orvik_python MODULE NO_EXTRAS ${python_sources})
set(python_folder ${PROJECT_BINARY_DIR}/python/orvik)
set_target_properties(orvik_python PROPERTIES OUTPUT_NAME _orvik LIBRARY_OUTPUT_DIRECTORY ${python_folder})
target_compile_options(orvik_python PRIVATE $<$<CONFIG:Release>:-O1>)
target_link_libraries(orvik_python PRIVATE orvik_view orvik_flags)

file(GLOB package_files CONFIGURE_DEPENDS python/orvik/*.py python/orvik/*.pyi python/orvik/py.typed)
foreach(file ${package_files})
  get_filename_component(name ${file} NAME)
  add_custom_command(OUTPUT ${python_folder}/${name} DEPENDS ${file} VERBATIM
                     COMMAND ${CMAKE_COMMAND} -E copy ${file} ${python_folder}/${name})
  list(APPEND copied_files ${python_folder}/${name})
endforeach()
add_custom_target(orvik_python_files ALL DEPENDS ${copied_files})

# Where Debian's packages of Python have their modules; pip takes only what its folder of sources has.
if(SKBUILD)
  set(python_destination python/orvik)
else()
  set(ORVIK_PYTHON_DIR lib/python3/dist-packages CACHE PATH "Where the Python package is installed")
  set(python_destination ${ORVIK_PYTHON_DIR}/orvik)
  install(FILES ${package_files} DESTINATION ${python_destination} COMPONENT python)
endif()
install(TARGETS orvik_python LIBRARY DESTINATION ${python_destination} COMPONENT python)
if(BUILD_SHARED_LIBS)
  set_target_properties(orvik_python PROPERTIES INSTALL_RPATH "$ORIGIN/../../../../${CMAKE_INSTALL_LIBDIR}")
endif()
# The module alone, for pip.
add_custom_target(orvik_python_install DEPENDS orvik_python
                  COMMAND ${CMAKE_COMMAND} -DCMAKE_INSTALL_COMPONENT=python -P ${PROJECT_BINARY_DIR}/cmake_install.cmake)
