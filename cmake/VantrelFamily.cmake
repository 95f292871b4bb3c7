# One library target a family. A family is a folder below vantrel/ with headers and sources side by side.
#
#   vantrel_family(codec DEPENDS base host SYSTEM ZLIB::ZLIB)
#
# DEPENDS names other families; SYSTEM names what stands outside the project and is linked privately; SOURCES
# what is not all of the folder.

add_library(vantrel_build_flags INTERFACE)
target_compile_features(vantrel_build_flags INTERFACE cxx_std_20 c_std_11)
# Where addresses have 32 bits, files may still have more than 2 GiB.
target_compile_definitions(vantrel_build_flags INTERFACE _FILE_OFFSET_BITS=64)
target_compile_options(vantrel_build_flags INTERFACE
  -Wall -Wextra -Wpedantic -Wshadow
  $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor -Woverloaded-virtual>
  $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wthread-safety>
  # GCC 12 sees overlapping copies in optimised string concatenations where there are none.
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<BOOL:${VANTREL_WERROR}>:-Werror>)
if(VANTREL_SANITIZE)
  target_compile_options(vantrel_build_flags INTERFACE
    -fsanitize=${VANTREL_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all
    # Between a sanitizer's calls GCC 12 sees members of empty optionals read where nothing reads them.
    $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
  target_link_options(vantrel_build_flags INTERFACE -fsanitize=${VANTREL_SANITIZE})
endif()

if(VANTREL_FUZZ)
  target_compile_options(vantrel_build_flags INTERFACE -fsanitize=fuzzer-no-link)
endif()

set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_C_EXTENSIONS OFF)

# vantrel_as_needed(result item...): one linker flag for libraries that a program lists among the needed ones
# only when it uses them. What stands around it on the line is linked as its owner said. One flag, because
# neither CMake nor pkg-config keeps several together.
function(vantrel_as_needed result)
  list(JOIN ARGN "," items)
  set(${result} "-Wl,--push-state,--as-needed,${items},--pop-state" PARENT_SCOPE)
endfunction()

# What the C++ compiler adds to a link line by itself and the C compiler does not.
set(runtime ${CMAKE_CXX_IMPLICIT_LINK_LIBRARIES})
list(REMOVE_ITEM runtime ${CMAKE_C_IMPLICIT_LINK_LIBRARIES})
list(REMOVE_DUPLICATES runtime)
list(TRANSFORM runtime PREPEND "-l")
vantrel_as_needed(VANTREL_CXX_RUNTIME ${runtime})

# Compiles a family with what stands outside the project and links that where it is used.
function(vantrel_use_system target entry)
  if(entry STREQUAL "Threads::Threads")
    target_link_libraries(${target} PRIVATE ${entry})
    return()
  endif()
  target_include_directories(${target} SYSTEM PRIVATE
    $<TARGET_PROPERTY:${entry},INTERFACE_INCLUDE_DIRECTORIES>)
  target_compile_definitions(${target} PRIVATE $<TARGET_PROPERTY:${entry},INTERFACE_COMPILE_DEFINITIONS>)
  target_compile_options(${target} PRIVATE $<TARGET_PROPERTY:${entry},INTERFACE_COMPILE_OPTIONS>)
  get_target_property(type ${entry} TYPE)
  if(type STREQUAL "INTERFACE_LIBRARY")
    vantrel_as_needed(item "$<JOIN:$<TARGET_PROPERTY:${entry},INTERFACE_LINK_LIBRARIES>,$<COMMA>>")
  else()
    vantrel_as_needed(item $<TARGET_FILE:${entry}>)
  endif()
  if(BUILD_SHARED_LIBS)
    target_link_libraries(${target} PRIVATE ${item})
  else()
    target_link_libraries(${target} INTERFACE ${item})
  endif()
endfunction()

# Whether one of the families is to be built.
function(vantrel_wanted result)
  set(${result} FALSE PARENT_SCOPE)
  foreach(family IN LISTS ARGN)
    if(NOT VANTREL_FAMILIES OR family IN_LIST VANTREL_FAMILIES)
      set(${result} TRUE PARENT_SCOPE)
    endif()
  endforeach()
endfunction()

function(vantrel_family name)
  cmake_parse_arguments(ARG "" "" "DEPENDS;SYSTEM;SOURCES" ${ARGN})
  if(NOT ARG_SOURCES)
    file(GLOB_RECURSE ARG_SOURCES CONFIGURE_DEPENDS
      ${CMAKE_CURRENT_SOURCE_DIR}/*.cc ${CMAKE_CURRENT_SOURCE_DIR}/*.c)
  endif()
  set(target vantrel_${name})
  add_library(${target} ${ARG_SOURCES})
  add_library(Vantrel::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${name} VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR}
    # The families lie side by side and find each other there, wherever the tree is installed.
    INSTALL_RPATH "$ORIGIN")
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}> $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  target_compile_features(${target} PUBLIC cxx_std_20)
  if(BUILD_SHARED_LIBS)
    target_compile_definitions(${target} PUBLIC VANTREL_SHARED)
  else()
    # For projects in C; in one that has C++ as well, CMake may still call the C++ compiler.
    target_link_libraries(${target} INTERFACE "$<INSTALL_INTERFACE:${VANTREL_CXX_RUNTIME}>")
  endif()
  target_link_libraries(${target} PRIVATE $<BUILD_INTERFACE:vantrel_build_flags>)
  foreach(entry IN LISTS ARG_SYSTEM)
    vantrel_use_system(${target} ${entry})
  endforeach()
  foreach(family IN LISTS ARG_DEPENDS)
    if(NOT TARGET vantrel_${family})
      message(FATAL_ERROR "The family ${name} stands on ${family}: add it to VANTREL_FAMILIES")
    endif()
    target_link_libraries(${target} PUBLIC vantrel_${family})
  endforeach()
  set_property(GLOBAL APPEND PROPERTY VANTREL_FAMILIES ${name})
  set_property(GLOBAL PROPERTY VANTREL_DEPENDS_${name} "${ARG_DEPENDS}")
  set_property(GLOBAL PROPERTY VANTREL_SYSTEM_${name} "${ARG_SYSTEM}")
endfunction()

# A pkg-config dependency that an installed package config can find again: vantrel_pkgconfig(GSTREAMER
# gstreamer-1.0 ...) gives the target PkgConfig::GSTREAMER.
macro(vantrel_pkgconfig prefix)
  pkg_check_modules(${prefix} REQUIRED IMPORTED_TARGET GLOBAL ${ARGN})
  set_property(GLOBAL PROPERTY VANTREL_PKGCONFIG_${prefix} "${ARGN}")
endmacro()
