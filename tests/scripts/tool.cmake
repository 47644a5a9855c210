find_package(Python3 REQUIRED COMPONENTS Interpreter)
add_test(NAME tool
  COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tool/tool_test.py"
    ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:hwprobe> "${PROJECT_SOURCE_DIR}"
  WORKING_DIRECTORY "${TEST_WORK_DIR}")
add_test(NAME explain
  COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tool/explain_test.py"
    ${CMAKE_CROSSCOMPILING_EMULATOR} $<TARGET_FILE:hwprobe> "${PROJECT_SOURCE_DIR}"
  WORKING_DIRECTORY "${TEST_WORK_DIR}")
get_target_property(watch_screen hwprobe HAS_WATCH_SCREEN)
if(watch_screen)
  add_test(NAME watch
    COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tool/watch_test.py" $<TARGET_FILE:hwprobe>
      "${PROJECT_SOURCE_DIR}"
    WORKING_DIRECTORY "${TEST_WORK_DIR}")
  set_tests_properties(watch PROPERTIES SKIP_RETURN_CODE 77)
endif()
