# How the project's targets are compiled, named and installed.

include(CMakePackageConfigHelpers)
include(GenerateExportHeader)

set(CMAKE_CXX_STANDARD 17)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release)
endif()

# Options of every target. A fused multiply-add would change results, so it is never formed.
function(zeb_compile_options target)
  target_compile_options(${target} PRIVATE -msse4.1 -ffp-contract=off -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
  if(ZEB_WARNINGS_AS_ERRORS)
    target_compile_options(${target} PRIVATE -Werror)
  endif()
  if(ZEB_ARCH)
    target_compile_options(${target} PRIVATE -march=${ZEB_ARCH})
  endif()
  if(ZEB_SANITIZE)
    target_compile_options(${target} PRIVATE -fsanitize=${ZEB_SANITIZE} -fno-sanitize-recover=all -fno-omit-frame-pointer)
    target_link_options(${target} PRIVATE -fsanitize=${ZEB_SANITIZE})
  endif()
  if(ZEB_FUZZ)
    target_compile_options(${target} PRIVATE -fsanitize=fuzzer-no-link)
  endif()
endfunction()

# zeb_library(target NAME exported-name EXPORT_MACRO macro EXPORT_HEADER path): a library of the package, to be
# reached as zeb::<exported-name> in the build tree and from an installation.
function(zeb_library target)
  cmake_parse_arguments(ARG "" "NAME;EXPORT_MACRO;EXPORT_HEADER" "" ${ARGN})
  add_library(${target})
  add_library(zeb::${ARG_NAME} ALIAS ${target})
  zeb_compile_options(${target})
  set_target_properties(${target} PROPERTIES
    EXPORT_NAME ${ARG_NAME}
    VERSION ${PROJECT_VERSION}
    SOVERSION ${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR}
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    POSITION_INDEPENDENT_CODE ON
    INSTALL_RPATH "$ORIGIN")
  target_compile_features(${target} PUBLIC cxx_std_17)
  generate_export_header(${target}
    EXPORT_MACRO_NAME ${ARG_EXPORT_MACRO}
    EXPORT_FILE_NAME ${CMAKE_CURRENT_BINARY_DIR}/include/${ARG_EXPORT_HEADER})
  if(NOT BUILD_SHARED_LIBS)
    string(MAKE_C_IDENTIFIER ${target} identifier)
    string(TOUPPER ${identifier} identifier)
    target_compile_definitions(${target} PUBLIC ${identifier}_STATIC_DEFINE)
  endif()
  target_include_directories(${target} PUBLIC
    $<BUILD_INTERFACE:${CMAKE_CURRENT_BINARY_DIR}/include>
    $<INSTALL_INTERFACE:${CMAKE_INSTALL_INCLUDEDIR}>)
  install(TARGETS ${target} EXPORT zebTargets
    LIBRARY COMPONENT runtime NAMELINK_COMPONENT development
    ARCHIVE COMPONENT development)
  install(DIRECTORY ${CMAKE_CURRENT_BINARY_DIR}/include/ DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
endfunction()

# The files that let find_package(zeb) and pkg-config find an installation.
function(zeb_install_package)
  set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/zeb)
  install(EXPORT zebTargets NAMESPACE zeb:: DESTINATION ${package_dir} COMPONENT development)
  configure_package_config_file(cmake/zebConfig.cmake.in zebConfig.cmake INSTALL_DESTINATION ${package_dir})
  write_basic_package_version_file(zebConfigVersion.cmake COMPATIBILITY SameMinorVersion)
  install(FILES ${PROJECT_BINARY_DIR}/zebConfig.cmake ${PROJECT_BINARY_DIR}/zebConfigVersion.cmake
    DESTINATION ${package_dir} COMPONENT development)
  set(static_cflags "")
  set(static_libs "")
  if(NOT BUILD_SHARED_LIBS)
    set(static_cflags " -DZEB_STATIC_DEFINE -DZEB_CORE_STATIC_DEFINE -DZEB_MATH_STATIC_DEFINE")
    set(static_libs " -lfftw3f")
  endif()
  file(RELATIVE_PATH up_to_prefix /${CMAKE_INSTALL_LIBDIR}/pkgconfig /)
  configure_file(cmake/zeb.pc.in zeb.pc @ONLY)
  install(FILES ${PROJECT_BINARY_DIR}/zeb.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT development)
endfunction()
