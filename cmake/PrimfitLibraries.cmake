# The libraries under primfit. A plain build needs Eigen, Highway and headers of Boost. Two optional parts need more, and
# are built when asked for, never because their library happens to be there.
option(PRIMFIT_WITH_LAPACK "Build the matrix classes over LAPACK, which no fit calls" OFF)
option(PRIMFIT_WITH_MKL "Build oneMKL's trust-region engine beside the native one" OFF)
set(PRIMFIT_LAPACK "" CACHE STRING
    "LAPACK of the matrix classes: mkl or system; when empty, mkl with PRIMFIT_WITH_MKL and system without")
set_property(CACHE PRIMFIT_LAPACK PROPERTY STRINGS "" mkl system)
set(PRIMFIT_ENGINE native CACHE STRING "Default trust-region engine: native, or mkl, which needs PRIMFIT_WITH_MKL")
set_property(CACHE PRIMFIT_ENGINE PROPERTY STRINGS native mkl)

if(NOT PRIMFIT_ENGINE MATCHES "^(native|mkl)$")
  message(FATAL_ERROR "PRIMFIT_ENGINE is '${PRIMFIT_ENGINE}'; set it to native or mkl.")
elseif(PRIMFIT_ENGINE STREQUAL "mkl" AND NOT PRIMFIT_WITH_MKL)
  message(FATAL_ERROR "PRIMFIT_ENGINE is mkl, which needs PRIMFIT_WITH_MKL=ON.")
endif()
if(NOT PRIMFIT_WITH_LAPACK)
  set(PRIMFIT_LAPACK_PROVIDER none)
elseif(PRIMFIT_LAPACK MATCHES "^(mkl|system)$")
  set(PRIMFIT_LAPACK_PROVIDER ${PRIMFIT_LAPACK})
elseif(NOT PRIMFIT_LAPACK STREQUAL "")
  message(FATAL_ERROR "PRIMFIT_LAPACK is '${PRIMFIT_LAPACK}'; set it to mkl or system.")
elseif(PRIMFIT_WITH_MKL)
  set(PRIMFIT_LAPACK_PROVIDER mkl)
else()
  set(PRIMFIT_LAPACK_PROVIDER system)
endif()

find_package(Eigen3 3.4 REQUIRED NO_MODULE)
find_package(Boost 1.74 REQUIRED)
set(PRIMFIT_LINKED "")        # targets that both libraries link
set(PRIMFIT_PACKAGES "")      # packages that hold them
set(PRIMFIT_LINKED_FILES "")  # the same as files and flags of the linker
# What the C++ compiler links by itself and the C compiler does not: libstdc++ and libm, with GCC.
set(PRIMFIT_CXX_RUNTIME ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(REMOVE_ITEM PRIMFIT_CXX_RUNTIME ${CMAKE_C_IMPLICIT_LINK_LIBRARIES})
list(REMOVE_DUPLICATES PRIMFIT_CXX_RUNTIME)

# `system` takes what the distribution calls liblapack, or what BLA_VENDOR names; it must have 32-bit integers and
# should be sequential. It stands before oneMKL, which holds the same functions.
if(PRIMFIT_LAPACK_PROVIDER STREQUAL "system")
  if(NOT DEFINED BLA_VENDOR)
    set(BLA_VENDOR Generic)
  endif()
  find_package(LAPACK)
  if(NOT LAPACK_FOUND)
    message(FATAL_ERROR "The matrix classes (PRIMFIT_WITH_LAPACK) need a LAPACK, and none was found. Install one, on "
      "Debian the package liblapack-dev, or build without them.")
  endif()
  list(APPEND PRIMFIT_LINKED LAPACK::LAPACK)
  list(APPEND PRIMFIT_PACKAGES LAPACK)
  list(APPEND PRIMFIT_LINKED_FILES ${LAPACK_LIBRARIES})
endif()
if(PRIMFIT_WITH_MKL OR PRIMFIT_LAPACK_PROVIDER STREQUAL "mkl")
  find_package(MKL)
  if(NOT MKL_FOUND)
    message(FATAL_ERROR "PRIMFIT_WITH_MKL or PRIMFIT_LAPACK asks for oneMKL (sequential layer), which was not found. "
      "Install it, on Debian the package libmkl-dev of the component non-free, or set MKLROOT to its folder; or build "
      "without it.")
  endif()
  list(APPEND PRIMFIT_LINKED MKL::sequential)
  list(APPEND PRIMFIT_PACKAGES MKL)
  list(APPEND PRIMFIT_LINKED_FILES ${MKL_LIBRARIES})
endif()
if(PRIMFIT_SIMD)
  find_package(hwy REQUIRED)
  list(APPEND PRIMFIT_LINKED hwy::hwy)
  list(APPEND PRIMFIT_PACKAGES hwy)
  get_target_property(_hwy_file hwy::hwy LOCATION)
  list(APPEND PRIMFIT_LINKED_FILES "${_hwy_file}")
endif()
message(STATUS "LAPACK of the matrix classes: ${PRIMFIT_LAPACK_PROVIDER}; oneMKL's engine: ${PRIMFIT_WITH_MKL}; "
  "default engine: ${PRIMFIT_ENGINE}")
