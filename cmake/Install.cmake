# What `cmake --install` gives a host: header, library, tool, sample machines, and the two descriptions by which
# a build finds them. Nothing installed names the prefix, so the tree can be moved.
include(CMakePackageConfigHelpers)

install(FILES include/orvane/hwprobe.h DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}/orvane" COMPONENT development)
install(TARGETS Orvane_HwProbe EXPORT OrvaneHwProbeTargets
  RUNTIME COMPONENT library
  LIBRARY COMPONENT library NAMELINK_COMPONENT development
  ARCHIVE COMPONENT development)
install(TARGETS hwprobe COMPONENT tool)
if(WIN32)
  install(TARGETS WinRing0 RUNTIME COMPONENT library ARCHIVE EXCLUDE_FROM_ALL) # the stand-in: without a WinRing0.dll the library does not load
endif()
install(DIRECTORY machines/ DESTINATION "${CMAKE_INSTALL_DATADIR}/orvane-hwprobe/machines" COMPONENT tool
  FILES_MATCHING PATTERN "*.json" PATTERN "*.identify" PATTERN "*.smart"
  PATTERN "*.thresholds")

set(PACKAGE_DIR "${CMAKE_INSTALL_LIBDIR}/cmake/OrvaneHwProbe")
set(PACKAGE_BUILD_DIR "${CMAKE_BINARY_DIR}/package")
install(EXPORT OrvaneHwProbeTargets NAMESPACE OrvaneHwProbe:: DESTINATION "${PACKAGE_DIR}"
  COMPONENT development FILE OrvaneHwProbeConfig.cmake)
write_basic_package_version_file("${PACKAGE_BUILD_DIR}/OrvaneHwProbeConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES "${PACKAGE_BUILD_DIR}/OrvaneHwProbeConfigVersion.cmake" DESTINATION "${PACKAGE_DIR}"
  COMPONENT development)

# From the folder of the .pc file back to the prefix.
file(RELATIVE_PATH PC_TO_PREFIX "/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/")
configure_file(cmake/orvane-hwprobe.pc.in "${PACKAGE_BUILD_DIR}/orvane-hwprobe.pc" @ONLY)
install(FILES "${PACKAGE_BUILD_DIR}/orvane-hwprobe.pc" DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig"
  COMPONENT development)
