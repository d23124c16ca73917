include(GNUInstallDirs)
include(CMakePackageConfigHelpers)

install(TARGETS ZuVDR ZuVDRHost EXPORT ZuVDRTargets
  LIBRARY DESTINATION "${CMAKE_INSTALL_LIBDIR}")
install(FILES include/ZuVDR.h include/ZuVDRHost.h include/ZuVDRHost.hpp
  DESTINATION "${CMAKE_INSTALL_INCLUDEDIR}")

# find_package(ZuVDR), targets ZuVDR::ZuVDR and ZuVDR::ZuVDRHost
set(zuvdr_package_dir "${CMAKE_INSTALL_LIBDIR}/cmake/ZuVDR")
install(EXPORT ZuVDRTargets NAMESPACE ZuVDR:: DESTINATION "${zuvdr_package_dir}")
configure_package_config_file(cmake/ZuVDRConfig.cmake.in
  "${PROJECT_BINARY_DIR}/package/ZuVDRConfig.cmake"
  INSTALL_DESTINATION "${zuvdr_package_dir}" NO_SET_AND_CHECK_MACRO)
write_basic_package_version_file("${PROJECT_BINARY_DIR}/package/ZuVDRConfigVersion.cmake"
  COMPATIBILITY SameMajorVersion)
install(FILES
  "${PROJECT_BINARY_DIR}/package/ZuVDRConfig.cmake"
  "${PROJECT_BINARY_DIR}/package/ZuVDRConfigVersion.cmake"
  DESTINATION "${zuvdr_package_dir}")

# pkg-config zuvdr and zuvdr-host; paths relative to the file, so that an installed tree can be moved
file(RELATIVE_PATH zuvdr_pc_to_prefix
  "/prefix/${CMAKE_INSTALL_LIBDIR}/pkgconfig" "/prefix")
string(REGEX REPLACE "/$" "" zuvdr_pc_to_prefix "${zuvdr_pc_to_prefix}")
foreach(name zuvdr zuvdr-host)
  configure_file(cmake/${name}.pc.in "${PROJECT_BINARY_DIR}/package/${name}.pc" @ONLY)
  install(FILES "${PROJECT_BINARY_DIR}/package/${name}.pc"
    DESTINATION "${CMAKE_INSTALL_LIBDIR}/pkgconfig")
endforeach()

if(ZUVDR_TOOLS)
  # The installed program finds the library beside it. Deferred: the target comes with tools/.
  set(CMAKE_INSTALL_RPATH "$ORIGIN/../${CMAKE_INSTALL_LIBDIR}")
  cmake_language(DEFER CALL
    install TARGETS zuvdr RUNTIME DESTINATION "${CMAKE_INSTALL_BINDIR}")
endif()
