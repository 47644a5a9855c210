# What a host sees of the library: its exported names, the examples that load it, the installed package.
find_package(Python3 REQUIRED COMPONENTS Interpreter)
set(PACKAGE_TESTS "${CMAKE_CURRENT_SOURCE_DIR}/package")
add_test(NAME exported_names
  COMMAND "${Python3_EXECUTABLE}" "${PACKAGE_TESTS}/exports_test.py" "${PROJECT_SOURCE_DIR}/include/orvane/hwprobe.h"
    $<TARGET_FILE:Orvane_HwProbe> "${CMAKE_NM}" "${CMAKE_OBJDUMP}")
add_test(NAME header_tells_every_key
  COMMAND "${Python3_EXECUTABLE}" "${PACKAGE_TESTS}/header_test.py" "${PROJECT_SOURCE_DIR}/include/orvane/hwprobe.h"
    "${PROJECT_SOURCE_DIR}/machines/laptop.json" ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:hwprobe>
  WORKING_DIRECTORY "${TEST_WORK_DIR}")
add_test(NAME example_host_c
  COMMAND "${Python3_EXECUTABLE}" "${PACKAGE_TESTS}/host_test.py" $<TARGET_FILE:Orvane_HwProbe>
    ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:example_host>
  WORKING_DIRECTORY "${TEST_WORK_DIR}")
if(NOT CMAKE_CROSSCOMPILING)
  add_test(NAME scripts COMMAND "${Python3_EXECUTABLE}" "${PACKAGE_TESTS}/scripts_test.py" "${PROJECT_SOURCE_DIR}")
endif()
# A sanitized library needs its run-time first in the process, so it is no library for a plain Python or C host.
if(NOT CMAKE_CROSSCOMPILING AND NOT HWPROBE_SANITIZE)
  add_test(NAME example_host_python
    COMMAND "${Python3_EXECUTABLE}" "${PACKAGE_TESTS}/host_test.py" $<TARGET_FILE:Orvane_HwProbe>
      "${Python3_EXECUTABLE}" "${PROJECT_SOURCE_DIR}/examples/host.py"
    WORKING_DIRECTORY "${TEST_WORK_DIR}")
  set(HOSTS "${PROJECT_SOURCE_DIR}/examples")
  add_test(NAME example_host_node
    COMMAND "${Python3_EXECUTABLE}" "${PACKAGE_TESTS}/host_test.py" --needs node --needs "${HOSTS}/node/node_modules/koffi"
      $<TARGET_FILE:Orvane_HwProbe> node "${HOSTS}/node/host.js"
    WORKING_DIRECTORY "${TEST_WORK_DIR}")
  set(CSHARP_HOST "${CMAKE_BINARY_DIR}/csharp/Host.exe") # beside the library it would find it without a path
  file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/csharp")
  add_test(NAME example_host_csharp
    COMMAND "${Python3_EXECUTABLE}" "${PACKAGE_TESTS}/host_test.py" --needs mcs --needs mono
      --first "mcs -out:'${CSHARP_HOST}' '${HOSTS}/csharp/Host.cs'" --by-name
      $<TARGET_LINKER_FILE:Orvane_HwProbe> mono "${CSHARP_HOST}"
    WORKING_DIRECTORY "${TEST_WORK_DIR}")
  set_tests_properties(example_host_node example_host_csharp PROPERTIES SKIP_RETURN_CODE 77)
  add_test(NAME log_in_hostile_hosts
    COMMAND "${Python3_EXECUTABLE}" "${PACKAGE_TESTS}/log_test.py" $<TARGET_FILE:Orvane_HwProbe>)
  add_test(NAME installed_package
    COMMAND "${Python3_EXECUTABLE}" "${PACKAGE_TESTS}/install_test.py" "${CMAKE_BINARY_DIR}"
      "${HOSTS}/cpp" "${CMAKE_CXX_COMPILER}")
endif()
