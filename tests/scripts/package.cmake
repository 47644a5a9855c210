# What a host sees of the library: its exported names, the examples that load it, the installed package.
set(HEADER "${PROJECT_SOURCE_DIR}/include/orvane/hwprobe.h")
set(HOSTS "${PROJECT_SOURCE_DIR}/examples")
set(LIBRARY $<TARGET_FILE:Orvane_HwProbe>)
python_test(exported_names package/exports_test.py "${HEADER}" ${LIBRARY} "${CMAKE_NM}" "${CMAKE_OBJDUMP}")
python_test(header_tells_every_key package/header_test.py "${HEADER}" "${PROJECT_SOURCE_DIR}/machines/laptop.json"
  ${TOOL_COMMAND})
python_test(example_host_c package/host_test.py ${LIBRARY} ${CMAKE_CROSSCOMPILING_EMULATOR}
  $<TARGET_FILE:example_host>)
if(NOT CMAKE_CROSSCOMPILING)
  python_test(scripts package/scripts_test.py "${PROJECT_SOURCE_DIR}")
endif()
# A sanitized library needs its run-time first in the process, so it is no library for a plain Python or C host.
if(NOT CMAKE_CROSSCOMPILING AND NOT HWPROBE_SANITIZE)
  python_test(example_host_python package/host_test.py ${LIBRARY} "${Python3_EXECUTABLE}" "${HOSTS}/host.py")
  python_test(example_host_node package/host_test.py --needs node --needs "${HOSTS}/node/node_modules/koffi"
    ${LIBRARY} node "${HOSTS}/node/host.js")
  set(CSHARP_HOST "${CMAKE_BINARY_DIR}/csharp/Host.exe") # beside the library it would find it without a path
  file(MAKE_DIRECTORY "${CMAKE_BINARY_DIR}/csharp")
  python_test(example_host_csharp package/host_test.py --needs mcs --needs mono
    --first "mcs -out:'${CSHARP_HOST}' '${HOSTS}/csharp/Host.cs'" --by-name
    $<TARGET_LINKER_FILE:Orvane_HwProbe> mono "${CSHARP_HOST}")
  python_test(log_in_hostile_hosts package/log_test.py ${LIBRARY})
  python_test(installed_package package/install_test.py "${CMAKE_BINARY_DIR}" "${HOSTS}/cpp" "${CMAKE_CXX_COMPILER}")
endif()
