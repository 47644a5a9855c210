# What the platform sides link against: the system's own interfaces and nothing of a hardware vendor.
if(WIN32)
  target_link_libraries(hwprobe_core PUBLIC iphlpapi pdh winmm ws2_32 setupapi ole32 oleaut32 wbemuuid
    wintrust crypt32)
else()
  find_package(Threads REQUIRED)
  target_link_libraries(hwprobe_core PUBLIC Threads::Threads ${CMAKE_DL_LIBS})
endif()
