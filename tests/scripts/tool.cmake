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
  foreach(name watch terminal)
    add_test(NAME ${name}
      COMMAND "${Python3_EXECUTABLE}" "${CMAKE_CURRENT_SOURCE_DIR}/tool/${name}_test.py" $<TARGET_FILE:hwprobe>
        "${PROJECT_SOURCE_DIR}"
      WORKING_DIRECTORY "${TEST_WORK_DIR}")
    set_tests_properties(${name} PROPERTIES SKIP_RETURN_CODE 77)
  endforeach()
endif()
