# oneMKL, sequential layer. Defines MKL::sequential, and MKL_LIBRARIES, what it is on a linker's command line.
# The static archives are preferred: the shared ones load their kernels with dlopen at run time, which
# fails inside hosts that load libprimfit themselves with local symbols (interpreters, plug-ins).
find_path(MKL_INCLUDE_DIR mkl_rci.h PATH_SUFFIXES mkl HINTS ENV MKLROOT)
set(_mkl_libs "")
foreach(_part mkl_intel_lp64 mkl_sequential mkl_core)
  find_library(MKL_${_part}_LIBRARY NAMES lib${_part}.a ${_part} HINTS ENV MKLROOT PATH_SUFFIXES lib/intel64)
  list(APPEND _mkl_libs "${MKL_${_part}_LIBRARY}")
  mark_as_advanced(MKL_${_part}_LIBRARY)
endforeach()
mark_as_advanced(MKL_INCLUDE_DIR)
include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(MKL REQUIRED_VARS MKL_INCLUDE_DIR MKL_mkl_intel_lp64_LIBRARY
                                  MKL_mkl_sequential_LIBRARY MKL_mkl_core_LIBRARY)
if(MKL_FOUND)
  find_package(Threads REQUIRED)
  set(MKL_LIBRARIES -Wl,--start-group ${_mkl_libs} -Wl,--end-group ${CMAKE_THREAD_LIBS_INIT} m ${CMAKE_DL_LIBS})
endif()
if(MKL_FOUND AND NOT TARGET MKL::sequential)
  add_library(MKL::sequential INTERFACE IMPORTED)
  target_include_directories(MKL::sequential SYSTEM INTERFACE "${MKL_INCLUDE_DIR}")
  target_link_libraries(MKL::sequential INTERFACE ${MKL_LIBRARIES})
endif()
