# `cmake --install`: headers, libraries, a package config with a component a family, a version file,
# pkg-config files. In three components: the program, the shared libraries where there are any, and all else
# for development.
include(CMakePackageConfigHelpers)
set(CMAKE_INSTALL_DEFAULT_COMPONENT_NAME development)

# What a family's SYSTEM entries mean to a project that uses the installed tree: the line that finds them
# again, and their pkg-config module or linker flag.
function(vantrel_describe_system entry find_variable pc_variable flag_variable)
  set(find "")
  set(pc "")
  set(flag "")
  if(entry MATCHES "^ICU::")
    set(find "find_dependency(ICU 70 COMPONENTS uc)")
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
    string(CONCAT find "find_dependency(PkgConfig)\n"
      "pkg_check_modules(${prefix} REQUIRED QUIET IMPORTED_TARGET ${modules})")
  else()
    message(FATAL_ERROR "cmake/VantrelInstall.cmake does not know how a user finds ${entry}")
  endif()
  set(${find_variable} ${find} PARENT_SCOPE)
  set(${pc_variable} ${pc} PARENT_SCOPE)
  set(${flag_variable} ${flag} PARENT_SCOPE)
endfunction()

# The linker flags for pkg-config modules, for programs that need them only in part.
function(vantrel_flags_of_modules result)
  set(items "")
  foreach(module IN LISTS ARGN)
    string(MAKE_C_IDENTIFIER "VANTREL_PC_${module}" prefix)
    pkg_check_modules(${prefix} REQUIRED QUIET ${module})
    set(folders ${${prefix}_LIBRARY_DIRS})
    list(REMOVE_ITEM folders ${CMAKE_CXX_IMPLICIT_LINK_DIRECTORIES})
    list(TRANSFORM folders PREPEND "-L")
    list(TRANSFORM ${prefix}_LIBRARIES PREPEND "-l")
    list(APPEND items ${folders} ${${prefix}_LIBRARIES})
  endforeach()
  list(REMOVE_DUPLICATES items)
  vantrel_as_needed(flag ${items})
  set(${result} ${flag} PARENT_SCOPE)
endfunction()

# Every public header, and what these include. What stands below a `detail` is nobody's else.
function(vantrel_public_headers result)
  file(GLOB_RECURSE waiting CONFIGURE_DEPENDS RELATIVE ${PROJECT_SOURCE_DIR}
    ${PROJECT_SOURCE_DIR}/vantrel/*.h)
  # HighwayTargets.h is for kernels inside the library.
  list(FILTER waiting EXCLUDE REGEX "/detail/|/HighwayTargets.h$")
  set(found "")
  while(waiting)
    list(POP_FRONT waiting header)
    list(APPEND found ${header})
    file(STRINGS ${PROJECT_SOURCE_DIR}/${header} includes REGEX "^ *# *include \"vantrel/")
    list(TRANSFORM includes REPLACE "^[^\"]*\"([^\"]*)\".*$" "\\1")
    list(APPEND waiting ${includes})
    list(REMOVE_ITEM waiting ${found})
    list(REMOVE_DUPLICATES waiting)
  endwhile()
  set(${result} ${found} PARENT_SCOPE)
endfunction()

# Relative, so that the installed tree may be moved, and a prefix given to `cmake --install` counts.
file(RELATIVE_PATH PC_PREFIX_FROM_HERE /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/Vantrel)
get_property(families GLOBAL PROPERTY VANTREL_FAMILIES)
set(VANTREL_COMPONENT_TABLE "")

foreach(family IN LISTS families)
  get_property(depends GLOBAL PROPERTY VANTREL_DEPENDS_${family})
  get_property(system GLOBAL PROPERTY VANTREL_SYSTEM_${family})

  install(TARGETS vantrel_${family} EXPORT Vantrel-${family}
    ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR}
    LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT libraries NAMELINK_COMPONENT development)
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
  # An archive needs what stands below it on every link line, and C++, which a linker called for a C program
  # does not look for by itself; a shared library brings both along.
  set(PC_LIBS "")
  if(NOT BUILD_SHARED_LIBS)
    set(PC_LIBS ${PC_FLAGS} ${VANTREL_CXX_RUNTIME})
    if(PC_MODULES)
      vantrel_flags_of_modules(flag ${PC_MODULES})
      list(PREPEND PC_LIBS ${flag})
    endif()
  endif()
  list(JOIN PC_LIBS " " PC_LIBS)
  # pkg-config reads a version only with blanks around its comparison.
  list(TRANSFORM PC_MODULES REPLACE "([<>=]+)" " \\1 ")
  list(JOIN PC_MODULES " " PC_MODULES)
  configure_file(${CMAKE_CURRENT_LIST_DIR}/family.pc.in ${PROJECT_BINARY_DIR}/package/${PC_NAME}.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/package/${PC_NAME}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig)
endforeach()

vantrel_public_headers(headers)
foreach(header IN LISTS headers)
  get_filename_component(folder ${header} DIRECTORY)
  install(FILES ${PROJECT_SOURCE_DIR}/${header} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR}/${folder})
endforeach()
install(FILES ${PROJECT_SOURCE_DIR}/LICENSE ${PROJECT_SOURCE_DIR}/CHANGELOG.md ${PROJECT_SOURCE_DIR}/README.md
  DESTINATION ${CMAKE_INSTALL_DOCDIR})
install(DIRECTORY ${PROJECT_SOURCE_DIR}/examples DESTINATION ${CMAKE_INSTALL_DOCDIR}
  FILES_MATCHING PATTERN "*.c*")

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

if(TARGET vantrel_app)
  install(TARGETS vantrel_app RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT program)
  if(TARGET vantrel_manual)
    set(generated ${PROJECT_BINARY_DIR}/share)
    # Debian's zsh reads what packages bring from a place of its own, and its manual pages are compressed.
    set(zsh_folder zsh/site-functions)
    set(page vantrel.1)
    if(VANTREL_DEBIAN)
      set(zsh_folder zsh/vendor-completions)
      set(page vantrel.1.gz)
    endif()
    set(data ${CMAKE_INSTALL_DATADIR})
    install(FILES ${generated}/man/${page} DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT program)
    install(FILES ${generated}/bash/vantrel DESTINATION ${data}/bash-completion/completions COMPONENT program)
    install(FILES ${generated}/zsh/_vantrel DESTINATION ${data}/${zsh_folder} COMPONENT program)
    install(FILES ${generated}/fish/vantrel.fish DESTINATION ${data}/fish/vendor_completions.d
      COMPONENT program)
  endif()
endif()

if(VANTREL_DEBIAN)
  include(VantrelPackages)
endif()
