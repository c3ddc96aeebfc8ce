# Cross builds cannot use the host's compiled fmt, nor its package files. The
# tool's dependencies are used header-only instead: fmt (FMT_HEADER_ONLY),
# nlohmann-json, CLI11 and standalone Asio from the host's /usr/include, seen through a directory
# that holds only them so no other host header can leak into the target's build.
set(zmpava_host_headers ${PROJECT_BINARY_DIR}/host-headers)
foreach(dir fmt nlohmann CLI asio asio.hpp)
  if(NOT EXISTS /usr/include/${dir})
    message(FATAL_ERROR "/usr/include/${dir} is missing: run scripts/install-deps.sh")
  endif()
  if(NOT EXISTS ${zmpava_host_headers}/${dir})
    file(MAKE_DIRECTORY ${zmpava_host_headers})
    file(CREATE_LINK /usr/include/${dir} ${zmpava_host_headers}/${dir} SYMBOLIC)
  endif()
endforeach()
foreach(target fmt::fmt nlohmann_json::nlohmann_json CLI11::CLI11 asio::asio)
  add_library(${target} INTERFACE IMPORTED)
  set_target_properties(${target} PROPERTIES INTERFACE_INCLUDE_DIRECTORIES ${zmpava_host_headers})
endforeach()
set_target_properties(fmt::fmt PROPERTIES INTERFACE_COMPILE_DEFINITIONS FMT_HEADER_ONLY=1)
