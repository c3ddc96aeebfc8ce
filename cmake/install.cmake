# Install rules, the CMake package, the pkg-config file and the Debian packages.
#
# Components (one .deb each):
#   runtime  the shared library (SONAME libZMPavaAnalyzer.so.0)
#   dev      public headers, the unversioned .so link, CMake package, pkg-config file
#   tool     the pava tool and the Wireshark dissector
#   python   the Python package, when the tree has one
include(CMakePackageConfigHelpers)

set(ZMPAVA_CMAKE_DIR ${CMAKE_INSTALL_LIBDIR}/cmake/ZMPavaAnalyzer)

install(TARGETS ZMPavaAnalyzer EXPORT ZMPavaAnalyzerTargets
  RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT runtime
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime NAMELINK_COMPONENT dev
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT dev)

# Public headers: the C++ interface, and the C interface where the tree has it.
set(ZMPAVA_PUBLIC_HEADERS ${PROJECT_SOURCE_DIR}/core/ZMPavaAnalyzer.h
                          ${PROJECT_SOURCE_DIR}/core/ZMPavaAnalyzerExport.h)
if(EXISTS ${PROJECT_SOURCE_DIR}/core/ZMPavaAnalyzerC.h)
  list(APPEND ZMPAVA_PUBLIC_HEADERS ${PROJECT_SOURCE_DIR}/core/ZMPavaAnalyzerC.h)
endif()
install(FILES ${ZMPAVA_PUBLIC_HEADERS} DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT dev)

install(EXPORT ZMPavaAnalyzerTargets NAMESPACE ZMPavaAnalyzer::
        DESTINATION ${ZMPAVA_CMAKE_DIR} COMPONENT dev)
configure_package_config_file(${CMAKE_CURRENT_LIST_DIR}/ZMPavaAnalyzerConfig.cmake.in
  ${PROJECT_BINARY_DIR}/ZMPavaAnalyzerConfig.cmake INSTALL_DESTINATION ${ZMPAVA_CMAKE_DIR})
# Every 0.x release keeps the record layout and the SONAME, so any 0.y satisfies 0.x (y >= x).
write_basic_package_version_file(${PROJECT_BINARY_DIR}/ZMPavaAnalyzerConfigVersion.cmake
  COMPATIBILITY SameMajorVersion)
install(FILES ${PROJECT_BINARY_DIR}/ZMPavaAnalyzerConfig.cmake
              ${PROJECT_BINARY_DIR}/ZMPavaAnalyzerConfigVersion.cmake
        DESTINATION ${ZMPAVA_CMAKE_DIR} COMPONENT dev)

# The pkg-config file finds the prefix from its own place, so a tree installed
# with `cmake --install --prefix` or unpacked from the .deb anywhere works as is.
file(RELATIVE_PATH ZMPAVA_PC_TO_PREFIX
     /prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig /prefix)
configure_file(${CMAKE_CURRENT_LIST_DIR}/ZMPavaAnalyzer.pc.in
               ${PROJECT_BINARY_DIR}/ZMPavaAnalyzer.pc @ONLY)
install(FILES ${PROJECT_BINARY_DIR}/ZMPavaAnalyzer.pc
        DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig COMPONENT dev)

# The tool and the dissector. ZMPAVA_DISSECTOR_LUA names the generated dissector
# file; Wireshark loads Lua plugins from <libdir>/wireshark/plugins.
if(TARGET pava)
  install(TARGETS pava RUNTIME DESTINATION ${CMAKE_INSTALL_BINDIR} COMPONENT tool)
endif()
if(ZMPAVA_DISSECTOR_LUA)
  install(FILES ${ZMPAVA_DISSECTOR_LUA}
          DESTINATION ${CMAKE_INSTALL_LIBDIR}/wireshark/plugins COMPONENT tool)
endif()
# The compiled plugin into the plugin folder of the Wireshark it was built
# for; the Lua dissector steps aside where the plugin is loaded.
if(ZMPAVA_WIRESHARK_PLUGIN_TARGET)
  install(TARGETS ${ZMPAVA_WIRESHARK_PLUGIN_TARGET}
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/wireshark/plugins/${ZMPAVA_WIRESHARK_ABI}/epan COMPONENT tool)
endif()

# The Python package with its compiled module, by default where Debian's
# python3 finds packages of /usr. The module carries its own copy of the
# codecs, so the package needs no other part installed.
set(ZMPAVA_PYTHON_DIR lib/python3/dist-packages CACHE PATH "Python package directory, relative to the prefix")
set(ZMPAVA_HAS_PYTHON OFF)
if(TARGET _pava)
  set(ZMPAVA_HAS_PYTHON ON)
  install(DIRECTORY ${PROJECT_SOURCE_DIR}/python/pava
          DESTINATION ${ZMPAVA_PYTHON_DIR} COMPONENT python
          PATTERN "__pycache__" EXCLUDE PATTERN "*.pyc" EXCLUDE)
  install(TARGETS _pava LIBRARY DESTINATION ${ZMPAVA_PYTHON_DIR}/pava COMPONENT python)
endif()

# Debian packages: `cpack -G DEB` in the build tree. A parent project that adds
# this one keeps its own packaging.
if(NOT PROJECT_IS_TOP_LEVEL)
  return()
endif()
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME zmpavaanalyzer)
set(CPACK_PACKAGE_VERSION ${PROJECT_VERSION})
set(CPACK_PACKAGE_CONTACT "ZMPavaAnalyzer maintainers <zmpava@localhost>")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "PAVA protocol codec")
set(CPACK_PACKAGE_INSTALL_DIRECTORY ZMPavaAnalyzer)
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL runtime dev tool)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_ENABLE_COMPONENT_DEPENDS ON)

set(CPACK_DEBIAN_RUNTIME_PACKAGE_NAME libzmpavaanalyzer0)
set(CPACK_DEBIAN_RUNTIME_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_RUNTIME_DESCRIPTION "PAVA protocol codec (shared library)
 Encodes PavaFullData records into PAVA frames and decodes them back.")
# A shlibs file, so packages linking the library depend on this version or newer.
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS ON)
set(CPACK_DEBIAN_PACKAGE_GENERATE_SHLIBS_POLICY ">=")

set(CPACK_DEBIAN_DEV_PACKAGE_NAME libzmpavaanalyzer-dev)
set(CPACK_DEBIAN_DEV_PACKAGE_SECTION libdevel)
set(CPACK_COMPONENT_DEV_DESCRIPTION "PAVA protocol codec (development files)
 Headers, CMake package and pkg-config file of the PAVA codec library.")
set(CPACK_COMPONENT_DEV_DEPENDS runtime)

set(CPACK_DEBIAN_TOOL_PACKAGE_NAME zmpavaanalyzer-tools)
set(CPACK_DEBIAN_TOOL_PACKAGE_SECTION utils)
set(CPACK_COMPONENT_TOOL_DESCRIPTION "PAVA protocol codec (tools)
 The pava command (encode, decode, dissect frames) and a Wireshark dissector.")
if(ZMPAVA_DISSECTOR_LUA)
  set(CPACK_DEBIAN_TOOL_PACKAGE_SUGGESTS wireshark)
endif()
if(ZMPAVA_WIRESHARK_PLUGIN_TARGET AND ZMPAVA_WIRESHARK_PACKAGE)
  # The plugin loads only into the Wireshark version it was built against.
  string(REGEX MATCH "^[0-9]+" ws_major ${ZMPAVA_WIRESHARK_ABI})
  string(REGEX MATCH "[0-9]+$" ws_minor ${ZMPAVA_WIRESHARK_ABI})
  math(EXPR ws_next "${ws_minor} + 1")
  set(CPACK_DEBIAN_TOOL_PACKAGE_DEPENDS "${ZMPAVA_WIRESHARK_PACKAGE} (>= ${ZMPAVA_WIRESHARK_ABI}), \
${ZMPAVA_WIRESHARK_PACKAGE} (<< ${ws_major}.${ws_next})")
endif()

if(ZMPAVA_HAS_PYTHON)
  list(APPEND CPACK_COMPONENTS_ALL python)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_NAME python3-zmpavaanalyzer)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_SECTION python)
  # The module is built for one Python version (its file name says which).
  math(EXPR next_minor "${ZMPAVA_PYTHON_VERSION_MINOR} + 1")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_DEPENDS
      "python3 (>= ${ZMPAVA_PYTHON_VERSION_MAJOR}.${ZMPAVA_PYTHON_VERSION_MINOR}), python3 (<< ${ZMPAVA_PYTHON_VERSION_MAJOR}.${next_minor})")
  set(CPACK_COMPONENT_PYTHON_DESCRIPTION "PAVA protocol codec (Python package)
 The pava Python package: records as dicts, frames as bytes, stream decoding
 and asyncio streams, with the codecs compiled in.")
endif()

include(CPack)
