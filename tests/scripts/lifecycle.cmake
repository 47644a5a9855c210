# Unloading, forking, missing memory, signals and cancelled threads, by a plain C host. A sanitized library needs its run-time first in the process.
if(NOT CMAKE_CROSSCOMPILING AND NOT HWPROBE_SANITIZE)
  find_package(Threads REQUIRED)
  add_executable(lifecycle package/lifecycle.c)
  target_link_libraries(lifecycle PRIVATE Threads::Threads ${CMAKE_DL_LIBS})
  foreach(case "unload 1000" "fork 40" "scarce 400" "storm 3" "cancel 30")
    separate_arguments(arguments UNIX_COMMAND "${case}")
    list(GET arguments 0 name)
    add_test(NAME lifecycle_${name} COMMAND lifecycle $<TARGET_FILE:Orvane_HwProbe> ${arguments}
      WORKING_DIRECTORY "${TEST_WORK_DIR}")
    set_tests_properties(lifecycle_${name} PROPERTIES TIMEOUT 300)
  endforeach()
endif()
