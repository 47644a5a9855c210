# The header-only libraries of the system's packages: spdlog, fmt, CLI11, nlohmann-json.
# The bodies of fmt and spdlog are compiled once, in headerLibraries.cpp.
#
# A native build finds them where every header is. The cross build must not see the rest of the native
# include folder, so it gets a staged folder with links to these libraries alone.
add_library(hwprobe_headers INTERFACE)
target_compile_definitions(hwprobe_headers INTERFACE SPDLOG_COMPILED_LIB SPDLOG_FMT_EXTERNAL)
if(CMAKE_CROSSCOMPILING)
  set(HWPROBE_STAGED_INCLUDE "${CMAKE_BINARY_DIR}/staged-include")
  file(MAKE_DIRECTORY "${HWPROBE_STAGED_INCLUDE}")
  foreach(library fmt spdlog CLI nlohmann)
    if(NOT EXISTS "/usr/include/${library}")
      message(FATAL_ERROR "/usr/include/${library} is missing: run scripts/install-packages")
    endif()
    file(CREATE_LINK "/usr/include/${library}" "${HWPROBE_STAGED_INCLUDE}/${library}" SYMBOLIC)
  endforeach()
  target_include_directories(hwprobe_headers SYSTEM INTERFACE "${HWPROBE_STAGED_INCLUDE}")
endif()
