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

# The exported pointers must stay reachable through the global offset table (no -Bsymbolic), so that a
# second copy of the library in one process finds the first one's engine.
zuvdr_export_only(ZuVDR exported_symbols.txt)
