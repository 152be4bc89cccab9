# Whether the Python module is built: KS_BUILD_PYTHON, by default where there are pybind11 and a
# Python with its headers. Unless Python3_EXECUTABLE says otherwise that is the system's, since the
# packages that the module is used with are installed for it.
if(NOT DEFINED Python3_EXECUTABLE AND NOT CMAKE_CROSSCOMPILING AND EXISTS /usr/bin/python3)
  set(Python3_EXECUTABLE /usr/bin/python3 CACHE FILEPATH "The Python that the module is for")
endif()
find_package(Python3 3.9 QUIET COMPONENTS Interpreter Development.Module)
if(Python3_FOUND)  # Without it, pybind11 looks for another Python, and stops where that is broken.
  find_package(pybind11 2.10 QUIET CONFIG)
endif()
if(Python3_FOUND AND pybind11_FOUND)
  set(KS_PYTHON_FOUND ON)
else()
  set(KS_PYTHON_FOUND OFF)
endif()
include(CMakeDependentOption)
cmake_dependent_option(KS_BUILD_PYTHON "Build the Python module (needs pybind11 and Python's headers)"
                       ${KS_PYTHON_FOUND} "KS_BUILD_TOOLS" OFF)
if(KS_BUILD_PYTHON AND NOT KS_PYTHON_FOUND)
  message(FATAL_ERROR "KS_BUILD_PYTHON needs pybind11 2.10 and a Python 3.9 or newer with its "
                      "headers, on Debian the packages pybind11-dev and python3-dev.")
elseif(KS_BUILD_TOOLS AND NOT KS_PYTHON_FOUND)
  message(STATUS "Without the Python module: no pybind11 or no headers of Python (Debian "
                 "pybind11-dev, python3-dev)")
endif()
