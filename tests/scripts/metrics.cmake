find_package(Python3 REQUIRED COMPONENTS Interpreter)
get_target_property(HAS_METRICS hwprobe HAS_METRICS)
if(HAS_METRICS)
  add_test(NAME metrics
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tool/metrics_test.py"
      $<TARGET_FILE:hwprobe> "${PROJECT_SOURCE_DIR}"
    WORKING_DIRECTORY "${TEST_WORK_DIR}")
endif()
