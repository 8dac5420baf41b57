# What `cmake --install` lays down: headers, both libraries, CMake package, pkg-config file. Everything finds its
# neighbours by relative path, so the installed tree can be moved.
include(CMakePackageConfigHelpers)
set(_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/primfit")

install(DIRECTORY "${PROJECT_SOURCE_DIR}/include/primfit" DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}"
        FILES_MATCHING PATTERN "*.h")
# Two export sets: a host of the shared library must not be asked for oneMKL.
install(TARGETS primfit EXPORT primfit_shared)
install(TARGETS primfit_static EXPORT primfit_static)
install(EXPORT primfit_shared FILE primfitShared.cmake NAMESPACE primfit:: DESTINATION "${_package_dir}")
install(EXPORT primfit_static FILE primfitStatic.cmake NAMESPACE primfit:: DESTINATION "${_package_dir}")

configure_package_config_file("${CMAKE_CURRENT_LIST_DIR}/primfitConfig.cmake.in"
  "${PROJECT_BINARY_DIR}/primfitConfig.cmake" INSTALL_DESTINATION "${_package_dir}"
  NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/primfitConfigVersion.cmake"
  COMPATIBILITY SameMinorVersion)  # until 1.0 a minor version may break the interface
install(FILES "${PROJECT_BINARY_DIR}/primfitConfig.cmake" "${PROJECT_BINARY_DIR}/primfitConfigVersion.cmake"
        DESTINATION "${_package_dir}")
if("MKL" IN_LIST PRIMFIT_PACKAGES)
  install(FILES "${CMAKE_CURRENT_LIST_DIR}/FindMKL.cmake" DESTINATION "${_package_dir}")
endif()

# What the static library is linked with, for pkg-config: a library that linkers find by its name is named, any other
# is a path.
set(_pc_private "")
foreach(_item ${PRIMFIT_LINKED_FILES} ${PRIMFIT_CXX_RUNTIME})
  cmake_path(GET _item PARENT_PATH _folder)
  if(_folder IN_LIST CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES AND _item MATCHES "/lib([^/]+)\\.so[.0-9]*$")
    set(_item "-l${CMAKE_MATCH_1}")
  elseif(NOT _item MATCHES "^[-/]")
    set(_item "-l${_item}")
  endif()
  string(REPLACE " " "\\ " _item "${_item}")
  string(APPEND _pc_private " ${_item}")
endforeach()
file(RELATIVE_PATH _pc_to_prefix "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
configure_file("${CMAKE_CURRENT_LIST_DIR}/primfit.pc.in" "${PROJECT_BINARY_DIR}/primfit.pc" @ONLY)
install(FILES "${PROJECT_BINARY_DIR}/primfit.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
install(FILES "${PROJECT_SOURCE_DIR}/LICENSE" "${PROJECT_SOURCE_DIR}/NOTICE" DESTINATION "${CMAKE_INSTALL_DOCDIR}")
# The sample scans are what the examples of the help and of the manual page are about.
install(DIRECTORY "${PROJECT_SOURCE_DIR}/examples" DESTINATION "${CMAKE_INSTALL_DOCDIR}"
        FILES_MATCHING PATTERN "*.h" PATTERN "*.c" PATTERN "*.cpp" PATTERN "CMakeLists.txt" PATTERN "*.xyz.gz"
                       PATTERN "README.md")

if(PRIMFIT_BUILD_TOOL)
  install(FILES "${PROJECT_SOURCE_DIR}/completions/primfit"
          DESTINATION "${CMAKE_INSTALL_DATADIR}/bash-completion/completions")
endif()
