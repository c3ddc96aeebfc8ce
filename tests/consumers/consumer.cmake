# Builds and runs the consumer programs against the library as users get it.
#   -DSTEP=install          cmake --install into PREFIX, then checks the tree
#   -DSTEP=find_package     CMake consumer against PREFIX
#   -DSTEP=pkg_config       plain compiler call with the flags pkg-config gives for PREFIX
#   -DSTEP=add_subdirectory the library built inside a consumer's tree
#   -DSTEP=deb              cpack's .deb files unpacked into a scratch root, both consumers against it
# Also: BUILD_DIR (the library's build tree), WORK (scratch directory), SOURCE_DIR,
# CXX, VERSION, SOVERSION, LIBDIR (relative library directory).
cmake_minimum_required(VERSION 3.21)
set(here ${CMAKE_CURRENT_LIST_DIR})

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE rc OUTPUT_VARIABLE out ERROR_VARIABLE out)
  if(NOT rc EQUAL 0)
    string(REPLACE ";" " " shown "${ARGN}")
    message(FATAL_ERROR "failed (${rc}): ${shown}\n${out}")
  endif()
  set(run_output "${out}" PARENT_SCOPE)
endfunction()

function(expect_file path)
  if(NOT EXISTS ${path})
    message(FATAL_ERROR "missing: ${path}")
  endif()
endfunction()

# The installed tree has the versioned library, its SONAME and every development file.
function(check_tree prefix)
  set(lib ${prefix}/${LIBDIR})
  foreach(f include/ZMPavaAnalyzer.h include/ZMPavaAnalyzerExport.h ${LIBDIR}/libZMPavaAnalyzer.so ${LIBDIR}/libZMPavaAnalyzer.so.${SOVERSION}
            ${LIBDIR}/libZMPavaAnalyzer.so.${VERSION} ${LIBDIR}/pkgconfig/ZMPavaAnalyzer.pc
            ${LIBDIR}/cmake/ZMPavaAnalyzer/ZMPavaAnalyzerConfig.cmake
            ${LIBDIR}/cmake/ZMPavaAnalyzer/ZMPavaAnalyzerConfigVersion.cmake bin/pava)
    expect_file(${prefix}/${f})
  endforeach()
  if(EXISTS ${SOURCE_DIR}/core/ZMPavaAnalyzerC.h)
    expect_file(${prefix}/include/ZMPavaAnalyzerC.h)
  endif()
  run(readelf -d ${lib}/libZMPavaAnalyzer.so.${VERSION})
  if(NOT run_output MATCHES "Library soname: \\[libZMPavaAnalyzer\\.so\\.${SOVERSION}\\]")
    message(FATAL_ERROR "SONAME is not libZMPavaAnalyzer.so.${SOVERSION}:\n${run_output}")
  endif()
endfunction()

function(consume_with_cmake prefix dir)
  file(REMOVE_RECURSE ${dir})
  run(${CMAKE_COMMAND} -S ${here}/find_package -B ${dir} -DCMAKE_CXX_COMPILER=${CXX}
      -DCMAKE_PREFIX_PATH=${prefix} -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF)
  run(${CMAKE_COMMAND} --build ${dir})
  run(${dir}/consumer)
  message(STATUS "${run_output}")
endfunction()

function(consume_with_pkg_config prefix dir)
  file(REMOVE_RECURSE ${dir})
  file(MAKE_DIRECTORY ${dir})
  set(ENV{PKG_CONFIG_PATH} ${prefix}/${LIBDIR}/pkgconfig)
  set(ENV{PKG_CONFIG_LIBDIR} ${prefix}/${LIBDIR}/pkgconfig)
  run(pkg-config --modversion ZMPavaAnalyzer)
  string(STRIP "${run_output}" got)
  if(NOT got STREQUAL VERSION)
    message(FATAL_ERROR "pkg-config reports version '${got}', expected ${VERSION}")
  endif()
  run(pkg-config --cflags --libs ZMPavaAnalyzer)
  separate_arguments(flags UNIX_COMMAND "${run_output}")
  run(${CXX} -std=c++17 -Wall -Wextra -Wpedantic -Werror ${here}/consumer.cpp ${flags}
      -Wl,-rpath,${prefix}/${LIBDIR} -o ${dir}/consumer)
  run(${dir}/consumer)
  message(STATUS "${run_output}")
endfunction()

if(STEP STREQUAL "install")
  file(REMOVE_RECURSE ${WORK}/prefix)
  run(${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${WORK}/prefix)
  check_tree(${WORK}/prefix)
elseif(STEP STREQUAL "find_package")
  consume_with_cmake(${WORK}/prefix ${WORK}/find_package)
elseif(STEP STREQUAL "pkg_config")
  consume_with_pkg_config(${WORK}/prefix ${WORK}/pkg_config)
elseif(STEP STREQUAL "add_subdirectory")
  # Unoptimised: the integration is under test here, and it builds fastest.
  file(REMOVE_RECURSE ${WORK}/add_subdirectory)
  run(${CMAKE_COMMAND} -S ${here}/add_subdirectory -B ${WORK}/add_subdirectory -DCMAKE_CXX_COMPILER=${CXX}
      -DZMPAVA_SOURCE_DIR=${SOURCE_DIR} -DCMAKE_BUILD_TYPE=)
  run(${CMAKE_COMMAND} --build ${WORK}/add_subdirectory -j 2)
  run(${WORK}/add_subdirectory/consumer)
  message(STATUS "${run_output}")
elseif(STEP STREQUAL "deb")
  set(debs ${WORK}/debs)
  file(REMOVE_RECURSE ${debs} ${WORK}/root)
  run(cpack -G DEB -B ${debs} --config ${BUILD_DIR}/CPackConfig.cmake)
  file(GLOB packages ${debs}/*.deb)
  set(names "")
  foreach(deb IN LISTS packages)
    run(dpkg-deb -f ${deb} Package Depends)
    string(REGEX MATCH "Package: ([^\n]+)" unused "${run_output}")
    list(APPEND names ${CMAKE_MATCH_1})
    set(depends_${CMAKE_MATCH_1} "${run_output}")
    run(dpkg-deb -x ${deb} ${WORK}/root)
  endforeach()
  list(SORT names)
  foreach(name libzmpavaanalyzer-dev libzmpavaanalyzer0 zmpavaanalyzer-tools)
    if(NOT name IN_LIST names)
      message(FATAL_ERROR "no package ${name} among: ${names}")
    endif()
  endforeach()
  # The library's package depends on the C++ runtime; the development package on
  # exactly this version of the library's.
  if(NOT depends_libzmpavaanalyzer0 MATCHES "libstdc\\+\\+6")
    message(FATAL_ERROR "runtime package without its C++ runtime dependency:\n${depends_libzmpavaanalyzer0}")
  endif()
  if(NOT depends_libzmpavaanalyzer-dev MATCHES "libzmpavaanalyzer0 \\(= ${VERSION}\\)")
    message(FATAL_ERROR "development package does not pin the library:\n${depends_libzmpavaanalyzer-dev}")
  endif()
  check_tree(${WORK}/root/usr)
  run(${WORK}/root/usr/bin/pava ids)
  consume_with_cmake(${WORK}/root/usr ${WORK}/deb_find_package)
  consume_with_pkg_config(${WORK}/root/usr ${WORK}/deb_pkg_config)
else()
  message(FATAL_ERROR "unknown STEP '${STEP}'")
endif()
