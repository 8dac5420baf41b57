# Compile options shared by all targets: warnings, sanitizers, visibility.
add_library(primfit_options INTERFACE)
target_compile_options(primfit_options INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow -Wcast-qual
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast -Woverloaded-virtual>
  $<$<BOOL:${PRIMFIT_WERROR}>:-Werror>)
if(PRIMFIT_SANITIZE)
  add_compile_options(-fsanitize=${PRIMFIT_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=${PRIMFIT_SANITIZE})
endif()
# Deliberate: no fused multiply-adds. A point on the bound of a band must count the same on every road
# and every machine; GCC contracts by default as soon as the target has FMA.
add_compile_options(-ffp-contract=off)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
