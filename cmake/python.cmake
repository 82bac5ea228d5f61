# The Python package: the module _orvik over the public interface, and python/orvik around it. As a
# whole it lies in the build folder too, so that PYTHONPATH=build/release/python works at once.
# The interpreter is the system's, whichever comes first on the PATH: the packages that it works
# with are its own.
set(Python3_EXECUTABLE_HINT /usr/bin/python3)
if(NOT DEFINED Python3_EXECUTABLE AND EXISTS ${Python3_EXECUTABLE_HINT} AND NOT SKBUILD)
  set(ORVIK_PYTHON_EXECUTABLE ${Python3_EXECUTABLE_HINT} CACHE FILEPATH "The interpreter of the Python package")
  set(PYTHON_EXECUTABLE ${ORVIK_PYTHON_EXECUTABLE})
endif()
find_package(pybind11 2.10 CONFIG QUIET)
if(NOT pybind11_FOUND OR NOT PYTHONLIBS_FOUND AND NOT PYTHON_INCLUDE_DIRS)
  message(STATUS "pybind11 is missing: the Python package is left out")
  return()
endif()

file(GLOB python_sources CONFIGURE_DEPENDS python/src/*.cpp)
# Thin: the library does the work, and link-time optimisation would take longer than all else.
pybind11_add_module(orvik_python MODULE NO_EXTRAS ${python_sources})
set_target_properties(orvik_python PROPERTIES OUTPUT_NAME _orvik
                      LIBRARY_OUTPUT_DIRECTORY ${PROJECT_BINARY_DIR}/python/orvik)
target_compile_options(orvik_python PRIVATE $<$<CONFIG:Release>:-O1>)
target_link_libraries(orvik_python PRIVATE orvik_view orvik_flags)

file(GLOB package_files CONFIGURE_DEPENDS python/orvik/*.py python/orvik/*.pyi python/orvik/py.typed)
set(copied "")
foreach(file ${package_files})
  get_filename_component(name ${file} NAME)
  set(copy ${PROJECT_BINARY_DIR}/python/orvik/${name})
  add_custom_command(OUTPUT ${copy} COMMAND ${CMAKE_COMMAND} -E copy ${file} ${copy} DEPENDS ${file} VERBATIM)
  list(APPEND copied ${copy})
endforeach()
add_custom_target(orvik_python_files ALL DEPENDS ${copied})
