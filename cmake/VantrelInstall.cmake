# `cmake --install`: headers, libraries, a package config with a component a family, a version file, pkg-config files.
include(CMakePackageConfigHelpers)

# What a family's SYSTEM entries mean to a project that uses the installed tree: the line that finds them again, and
# their pkg-config module or linker flag.
function(vantrel_describe_system entry find_variable pc_variable flag_variable)
  set(find "")
  set(pc "")
  set(flag "")
  if(entry MATCHES "^ICU::")
    set(find "find_dependency(ICU 70 COMPONENTS uc i18n)")
    string(REPLACE "ICU::" "icu-" pc ${entry})
  elseif(entry STREQUAL "ZLIB::ZLIB")
    set(find "find_dependency(ZLIB)")
    set(pc zlib)
  elseif(entry STREQUAL "OpenSSL::Crypto")
    set(find "find_dependency(OpenSSL 3.0 COMPONENTS Crypto)")
    set(pc libcrypto)
  elseif(entry STREQUAL "Threads::Threads")
    set(find "find_dependency(Threads)")
    set(flag "-pthread")
  elseif(entry MATCHES "^hwy::(.*)$")
    string(REPLACE "_" "-" pc "lib${CMAKE_MATCH_1}")
    set(find "find_dependency(hwy)")
  elseif(entry MATCHES "^PkgConfig::(.*)$")
    set(prefix ${CMAKE_MATCH_1})
    get_property(pc GLOBAL PROPERTY VANTREL_PKGCONFIG_${prefix})
    string(REPLACE ";" " " modules "${pc}")
    # pkg-config reads a version only with blanks around its comparison.
    list(TRANSFORM pc REPLACE "([<>=]+)" " \\1 ")
    set(find "find_dependency(PkgConfig)\npkg_check_modules(${prefix} REQUIRED QUIET IMPORTED_TARGET ${modules})")
  else()
    message(FATAL_ERROR "cmake/VantrelInstall.cmake does not know how a user finds ${entry}")
  endif()
  set(${find_variable} ${find} PARENT_SCOPE)
  set(${pc_variable} ${pc} PARENT_SCOPE)
  set(${flag_variable} ${flag} PARENT_SCOPE)
endfunction()

# The archives hold C++, which a linker called for a C program does not look for by itself.
set(PC_RUNTIME "")
if(NOT BUILD_SHARED_LIBS)
  foreach(library IN LISTS VANTREL_CXX_RUNTIME)
    string(APPEND PC_RUNTIME " -l${library}")
  endforeach()
endif()

# Relative, so that the installed tree may be moved, and a prefix given to `cmake --install` counts.
file(RELATIVE_PATH PC_PREFIX_FROM_HERE /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vantrel)
get_property(families GLOBAL PROPERTY VANTREL_FAMILIES)
set(VANTREL_COMPONENT_TABLE "")

foreach(family IN LISTS families)
  get_property(depends GLOBAL PROPERTY VANTREL_DEPENDS_${family})
  get_property(system GLOBAL PROPERTY VANTREL_SYSTEM_${family})

  install(TARGETS vantrel_${family} EXPORT Vantrel-${family}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR})
  install(EXPORT Vantrel-${family} NAMESPACE Vantrel:: DESTINATION ${package_dir}
    FILE Vantrel-${family}-targets.cmake)

  set(finds "")
  set(PC_MODULES "")
  set(PC_FLAGS "")
  foreach(entry IN LISTS system)
    vantrel_describe_system(${entry} find pc flag)
    list(APPEND finds "${find}")
    list(APPEND PC_MODULES ${pc})
    list(APPEND PC_FLAGS ${flag})
  endforeach()
  list(REMOVE_DUPLICATES finds)
  string(REPLACE ";" "\n" finds "${finds}")
  file(WRITE ${PROJECT_BINARY_DIR}/package/Vantrel-${family}-dependencies.cmake "${finds}\n")
  install(FILES ${PROJECT_BINARY_DIR}/package/Vantrel-${family}-dependencies.cmake DESTINATION ${package_dir})
  string(APPEND VANTREL_COMPONENT_TABLE "set(_vantrel_needs_${family} ${depends})\n")

  set(PC_NAME vantrel-${family})
  set(PC_LIBRARY vantrel_${family})
  list(TRANSFORM depends PREPEND "vantrel-" OUTPUT_VARIABLE PC_FAMILIES)
  list(JOIN PC_FAMILIES " " PC_FAMILIES)
  list(JOIN PC_MODULES " " PC_MODULES)
  list(JOIN PC_FLAGS " " PC_FLAGS)
  # A static archive needs what stands below it on every link line; a shared library brings it along by itself.
  if(BUILD_SHARED_LIBS)
    set(PC_PRIVATE_MODULES "${PC_MODULES}")
    set(PC_PRIVATE_FLAGS "${PC_FLAGS}")
    set(PC_MODULES "")
    set(PC_FLAGS "")
  else()
    set(PC_PRIVATE_MODULES "")
    set(PC_PRIVATE_FLAGS "")
  endif()
  configure_file(${CMAKE_CURRENT_LIST_DIR}/family.pc.in ${PROJECT_BINARY_DIR}/package/${PC_NAME}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/package/${PC_NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

install(DIRECTORY ${PROJECT_SOURCE_DIR}/vantrel DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}
  FILES_MATCHING PATTERN "*.h")

list(TRANSFORM families PREPEND "vantrel-" OUTPUT_VARIABLE PC_FAMILIES)
list(JOIN PC_FAMILIES " " PC_FAMILIES)
configure_file(${CMAKE_CURRENT_LIST_DIR}/vantrel.pc.in ${PROJECT_BINARY_DIR}/package/vantrel.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/package/vantrel.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)

set(VANTREL_FAMILIES ${families})
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/VantrelConfig.cmake.in
  ${PROJECT_BINARY_DIR}/package/VantrelConfig.cmake INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(${PROJECT_BINARY_DIR}/package/VantrelConfigVersion.cmake
  COMPATIBILITY SameMinorVersion)
install(FILES ${PROJECT_BINARY_DIR}/package/VantrelConfig.cmake
  ${PROJECT_BINARY_DIR}/package/VantrelConfigVersion.cmake DESTINATION ${package_dir})

if(VANTREL_APPS)
  install(TARGETS vantrel_app RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR})
endif()
