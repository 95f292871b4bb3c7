# Debian packages: `vantrel` is the program, `libvantrel-dev` what a program is built with, and, where the
# libraries are shared, `libvantrel0` these.
set(CPACK_GENERATOR DEB)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_PACKAGE_NAME vantrel)
# Empty: each package's description begins with its own short one.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "The Vantrel developers <developers@vantrel.invalid>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS
  OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)

set(CPACK_COMPONENTS_ALL development)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libvantrel-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEVELOPMENT_DESCRIPTION "general-purpose utility library in C++20 (development files)
Byte, text and JSON tools, archives and settings, checksums, a cipher, digests
and gzip, a lock-free ring and a blocking queue, tasks, timers and a calendar,
files, notices and sorting, and a music player. Each family of these is a
library of its own. This package has the headers and what programs link.")

# What the pkg-config files ask for: the packages that hold the files of those modules.
set(needed "")
get_property(families GLOBAL PROPERTY VANTREL_FAMILIES)
foreach(family IN LISTS families)
  file(STRINGS ${PROJECT_BINARY_DIR}/package/vantrel-${family}.pc line REGEX "^Requires.private:")
  string(REGEX MATCHALL "[A-Za-z][A-Za-z0-9+._-]*" modules "${line}")
  list(REMOVE_ITEM modules Requires.private)
  foreach(module IN LISTS modules)
    pkg_get_variable(folder ${module} pcfiledir)
    execute_process(COMMAND dpkg-query -S ${folder}/${module}.pc
      OUTPUT_VARIABLE owner COMMAND_ERROR_IS_FATAL ANY)
    string(REGEX REPLACE "[:,].*" "" owner "${owner}")
    list(APPEND needed ${owner})
  endforeach()
endforeach()
list(REMOVE_DUPLICATES needed)
list(SORT needed)

if(VANTREL_APPS)
  list(APPEND CPACK_COMPONENTS_ALL program)
endif()
set(CPACK_DEBIAN_PROGRAM_PACKAGE_NAME vantrel)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SECTION utils)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PROGRAM_PACKAGE_RECOMMENDS "gstreamer1.0-plugins-base, gstreamer1.0-plugins-good")
set(CPACK_DEBIAN_PROGRAM_PACKAGE_SUGGESTS gstreamer1.0-libav)
set(CPACK_DEBIAN_PROGRAM_DESCRIPTION "tools for bytes, text, archives and times, and a music player
Hexadecimal text, checksums, AES, digests, gzip and JSON; folders, calendar
and sorting; and a player of files and folders that remembers where it was.")

if(BUILD_SHARED_LIBS)
  list(APPEND CPACK_COMPONENTS_ALL libraries)
  list(APPEND needed "libvantrel${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_PROGRAM_PACKAGE_DEPENDS "libvantrel${PROJECT_VERSION_MAJOR} (= ${PROJECT_VERSION})")
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_NAME libvantrel${PROJECT_VERSION_MAJOR})
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SECTION libs)
  set(CPACK_DEBIAN_LIBRARIES_PACKAGE_SHLIBDEPS ON)
  set(CPACK_DEBIAN_LIBRARIES_DESCRIPTION "general-purpose utility library in C++20 (shared libraries)
What programs need to run that are linked with the shared libraries.")
  # Where the families are while their packages are made.
  foreach(family IN LISTS families)
    list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS $<TARGET_FILE_DIR:vantrel_${family}>)
  endforeach()
endif()
list(JOIN needed ", " CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS)

# Every package says its licence and what changed.
set(changes ${PROJECT_BINARY_DIR}/package/changelog)
string(TIMESTAMP today "%a, %d %b %Y 00:00:00 +0000" UTC)
file(WRITE ${changes} "vantrel (${PROJECT_VERSION}) unstable; urgency=medium\n\n  * See CHANGELOG.md.\n\n"
  " -- ${CPACK_PACKAGE_CONTACT}  ${today}\n")
execute_process(COMMAND gzip -9nf ${changes} COMMAND_ERROR_IS_FATAL ANY)
foreach(component IN LISTS CPACK_COMPONENTS_ALL)
  string(TOUPPER ${component} upper)
  set(place ${CMAKE_INSTALL_DATADIR}/doc/${CPACK_DEBIAN_${upper}_PACKAGE_NAME})
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${place} COMPONENT ${component} RENAME copyright)
  install(FILES ${changes}.gz DESTINATION ${place} COMPONENT ${component})
endforeach()
include(CPack)
