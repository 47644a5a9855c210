find_package(Python3 REQUIRED COMPONENTS Interpreter)
get_target_property(HAS_METRICS hwprobe HAS_METRICS)
if(HAS_METRICS)
  add_test(NAME metrics
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tool/metrics_test.py"
      $<TARGET_FILE:hwprobe> "${PROJECT_SOURCE_DIR}"
    WORKING_DIRECTORY "${TEST_WORK_DIR}")
  # The most memory in mebibytes: what the sanitizers keep is far more than the server's own.
  add_test(NAME metrics_server
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tool/server_test.py"
      $<TARGET_FILE:hwprobe> "${PROJECT_SOURCE_DIR}" $<IF:$<BOOL:${HWPROBE_SANITIZE}>,512,64>
    WORKING_DIRECTORY "${TEST_WORK_DIR}")
endif()
