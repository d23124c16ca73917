# Other weights of the step networks, as scripts/make-step-tables writes them.
set(ZUVDR_STEP_TABLES "${PROJECT_SOURCE_DIR}/pdr/step_tables.cpp"
    CACHE FILEPATH "Source of the step networks' weights")

# The product: libZuVDR. Nothing but the standard library and libm behind it.
add_library(ZuVDR SHARED
  engine/alignment.cpp
  engine/epoch_release.cpp
  engine/exports.cpp
  engine/gnss_epoch.cpp
  engine/gnss_intake.cpp
  engine/insZuAlgo.cpp
  engine/log_line.cpp
  engine/monitors.cpp
  engine/pedestrian.cpp
  engine/published_position.cpp
  engine/sensor_epoch.cpp
  engine/sensor_intake.cpp
  engine/standstill.cpp
  kf/aiding_updates.cpp
  kf/feedback.cpp
  kf/gnss_update.cpp
  kf/kf.cpp
  kf/process_noise.cpp
  kf/time_update.cpp
  kf/transition.cpp
  kf/update_core.cpp
  nav/attitude.cpp
  nav/earth.cpp
  nav/geodesy.cpp
  nav/ins.cpp
  nav/matrix.cpp
  nav/motion.cpp
  nav/mounting.cpp
  nav/signal.cpp
  pdr/pedestrian_filter.cpp
  pdr/step_detector.cpp
  pdr/step_length.cpp
  pdr/step_network_layers.cpp
  pdr/step_networks.cpp
  pdr/step_state_machine.cpp
  ${ZUVDR_STEP_TABLES})
target_include_directories(ZuVDR
  PUBLIC $<BUILD_INTERFACE:${PROJECT_SOURCE_DIR}/include> $<INSTALL_INTERFACE:include>
  PRIVATE ${PROJECT_SOURCE_DIR})
target_link_libraries(ZuVDR PRIVATE $<BUILD_INTERFACE:zuvdr_flags>)

# Everything a host can see of the library is listed once, as "kind name"; hidden by default, the map
# made of it keeps the standard library's own template instances in as well. No version name: hosts
# link against plain names. The exported pointers must stay reachable through the global offset table
# (no -Bsymbolic), so that a second copy of the library in one process finds the first one's engine.
set(zuvdr_exported_symbols "${PROJECT_SOURCE_DIR}/cmake/exported_symbols.txt")
set(zuvdr_exports_map "${PROJECT_BINARY_DIR}/exports.map")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${zuvdr_exported_symbols}")
file(STRINGS "${zuvdr_exported_symbols}" lines REGEX "^(function|variable|constant) ")
set(names "")
foreach(line IN LISTS lines)
  string(REGEX REPLACE "^[a-z]+ " "" name "${line}")
  string(APPEND names "    ${name};\n")
endforeach()
file(CONFIGURE OUTPUT "${zuvdr_exports_map}"
  CONTENT "{\n  global:\n${names}  local:\n    *;\n};\n" @ONLY)
set_target_properties(ZuVDR PROPERTIES
  CXX_VISIBILITY_PRESET hidden
  VISIBILITY_INLINES_HIDDEN ON
  LINK_DEPENDS "${zuvdr_exports_map}")
target_link_options(ZuVDR PRIVATE "LINKER:--version-script=${zuvdr_exports_map}")

# Android loads the plain name; Linux packages want libZuVDR.so.3 and the links to it.
option(ZUVDR_SOVERSION "Carry the version in the names of the library" OFF)
if(ZUVDR_SOVERSION)
  set_target_properties(ZuVDR PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
endif()
