# What `cpack` makes of a build: two Debian packages, named as Debian names libraries and what builds against them.

set(runtime libzeb${PROJECT_VERSION_MAJOR}.${PROJECT_VERSION_MINOR})
set(development libzeb-dev)

# Each package has to bring the licence, and the changes compressed.
foreach(component runtime development)
  install(FILES LICENSE RENAME copyright COMPONENT ${component} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${component}})
  install(FILES ${PROJECT_BINARY_DIR}/changelog.gz COMPONENT ${component}
    DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${${component}})
endforeach()
file(ARCHIVE_CREATE OUTPUT ${PROJECT_BINARY_DIR}/changelog.gz PATHS ${PROJECT_SOURCE_DIR}/CHANGELOG.md
  FORMAT raw COMPRESSION GZip)

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zeb)
set(CPACK_PACKAGE_CONTACT "the zeb authors <zeb@localhost>")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL development)
if(BUILD_SHARED_LIBS)
  list(APPEND CPACK_COMPONENTS_ALL runtime)
endif()
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)

set(about "Thresholds, statistics, filters, morphology, chain-coded outlines, warps, fits of
lines, circles and rectangles, drawing and frequency filtering for programs that
inspect and measure: the same bytes for the same input, fast.")
# The first line of both descriptions.
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "image analysis for 8-bit grey images")

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME ${runtime})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "${about} This package has\nthe shared libraries.")
# What the libraries link is looked up; they also link each other.
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
  ${PROJECT_BINARY_DIR} ${PROJECT_BINARY_DIR}/siblings/core ${PROJECT_BINARY_DIR}/siblings/math)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME ${development})
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION
  "${about} This package has\nthe headers and what CMake and pkg-config need.")
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SUGGESTS "cmake, pkg-config")
if(BUILD_SHARED_LIBS)
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS "${runtime} (= ${PROJECT_VERSION})")
else()
  set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS libfftw3-dev)
endif()

include(CPack)
