# Configures primfit where neither oneMKL nor LAPACK can be found: each row of options, and what is said of them.
function(expect said)
  file(REMOVE "${BUILD}/CMakeCache.txt")
  execute_process(COMMAND "${CMAKE_COMMAND}" -S "${SOURCE}" -B "${BUILD}" -G "${GENERATOR}"
    "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_C_COMPILER=${CC}" -DPRIMFIT_BUILD_TESTS=OFF -DPRIMFIT_BUILD_TOOL=OFF
    -DCMAKE_DISABLE_FIND_PACKAGE_MKL=ON -DCMAKE_DISABLE_FIND_PACKAGE_LAPACK=ON ${ARGN}
    OUTPUT_VARIABLE _text ERROR_VARIABLE _text)
  string(REGEX REPLACE "[ \n]+" " " _text "${_text}")
  if(NOT _text MATCHES "${said}")
    message(SEND_ERROR "'${ARGN}' gives '${_text}', not '${said}'")
  endif()
endfunction()
expect("oneMKL's engine: OFF; default engine: native.*Generating done")
expect("Install it, on Debian the package libmkl-dev.*Configuring incomplete" -DPRIMFIT_WITH_MKL=ON)
expect("Install one, on Debian the package liblapack-dev.*Configuring incomplete" -DPRIMFIT_WITH_LAPACK=ON)
expect("libmkl-dev.*Configuring incomplete" -DPRIMFIT_WITH_LAPACK=ON -DPRIMFIT_LAPACK=mkl)
expect("needs PRIMFIT_WITH_MKL=ON.*Configuring incomplete" -DPRIMFIT_ENGINE=mkl)
