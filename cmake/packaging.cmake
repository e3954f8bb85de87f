# Debian packages with CPack (cpack -G DEB in a build configured with
# -DCMAKE_INSTALL_PREFIX=/usr): one per install component.
#   libveqdx1      component veqdx   the shared library
#   libveqdx-dev   component dev     headers, CMake package, pkg-config, static C++ library, libveqdx(3)
#   veqdx-tools    component tools   veqdx and qdx-sim with their pages, trace.xsl
#   python3-veqdx  component python  the Python package
include(GNUInstallDirs)

# Each package carries the licence as its copyright file and a compressed changelog.
set(_changelog ${PROJECT_BINARY_DIR}/packaging/changelog.gz)
add_custom_command(OUTPUT ${_changelog}
  COMMAND ${CMAKE_COMMAND} -E make_directory ${PROJECT_BINARY_DIR}/packaging
  COMMAND gzip -9nc ${PROJECT_SOURCE_DIR}/packaging/changelog > ${_changelog}
  DEPENDS ${PROJECT_SOURCE_DIR}/packaging/changelog VERBATIM)
add_custom_target(veqdx_package_docs ALL DEPENDS ${_changelog})
foreach(pair veqdx:libveqdx1 dev:libveqdx-dev tools:veqdx-tools python:python3-veqdx)
  string(REPLACE ":" ";" pair ${pair})
  list(GET pair 0 component)
  list(GET pair 1 package)
  install(FILES ${PROJECT_SOURCE_DIR}/LICENSE DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
          RENAME copyright COMPONENT ${component})
  install(FILES ${_changelog} DESTINATION ${CMAKE_INSTALL_DATADIR}/doc/${package}
          COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME veqdx)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "veqdx maintainers <maintainers@users.noreply.c-seed-fb9b8eb8.example>")
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL veqdx dev tools python)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
# The tools link libveqdx.so.1 of their sibling package: dpkg-shlibdeps finds it in the build
# tree, and the dependency comes from the component dependency below.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS ${PROJECT_BINARY_DIR})
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_PRIORITY optional)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(_description_tail
"VelmoraQdx supplies (QDX750L to QDX1500ML) are driven over raw sockets,\nVXI-11, serial lines, USB TMC or VISA, or simulated without an instrument.")

set(CPACK_DEBIAN_VEQDX_PACKAGE_NAME libveqdx1)
set(CPACK_DEBIAN_VEQDX_PACKAGE_SECTION libs)
# A shlibs file, so that programs built against it depend on it, and the ldconfig trigger.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_VEQDX_PACKAGE_CONTROL_EXTRA ${PROJECT_SOURCE_DIR}/packaging/triggers)
set(CPACK_DEBIAN_VEQDX_DESCRIPTION
"driver library for VelmoraQdx DC power supplies\nThe shared library libveqdx.so.1 with the flat C interface.\n${_description_tail}")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libveqdx-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_DEBIAN_DEV_PACKAGE_DEPENDS "libpugixml-dev, libtirpc-dev")
set(CPACK_COMPONENT_DEV_DEPENDS veqdx)
set(CPACK_DEBIAN_DEV_DESCRIPTION
"development files for the VelmoraQdx driver\nHeaders of the C interface (veqdx.h) and the C++ object model, the CMake\npackage and pkg-config file, the static C++ library and libveqdx(3).\n${_description_tail}")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME veqdx-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION electronics)
set(CPACK_COMPONENT_TOOLS_DEPENDS veqdx)
set(CPACK_DEBIAN_TOOLS_DESCRIPTION
"command-line tool and emulator for VelmoraQdx DC power supplies\nveqdx identifies, sets, measures, logs and discovers supplies; qdx-sim\nemulates one on the network; trace.xsl shows the driver's method trace.\n${_description_tail}")

set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-veqdx)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
set(CPACK_DEBIAN_PYTHON_PACKAGE_SHLIBDEPS OFF)
set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS "python3:any (>= 3.11)")
set(CPACK_COMPONENT_PYTHON_DEPENDS veqdx)
set(CPACK_DEBIAN_PYTHON_DESCRIPTION
"Python package for VelmoraQdx DC power supplies\nSessions, outputs with their settings as properties, measurements, trigger,\nstatus registers and logging, over libveqdx.so.1.\n${_description_tail}")

include(CPack)
