# cmake -DSOURCE=... -DSCRATCH=... -DGENERATOR=... -DCC=... -DCXX=... -DLAUNCHER=...
#       -P add_subdirectory_test.cmake
# A host's project takes the repository in with add_subdirectory: it gets the libraries and
# nothing else, keeps its own settings, and runs the example hosts.
file(REMOVE_RECURSE "${SCRATCH}")
file(WRITE "${SCRATCH}/host/CMakeLists.txt" [==[
cmake_minimum_required(VERSION 3.25)
project(host VERSION 1.2 LANGUAGES C CXX)

# Every variable but the project's own, and what holds for all targets of the host.
function(settings result)
  set(all "")
  get_cmake_property(variables VARIABLES)
  get_cmake_property(cached CACHE_VARIABLES)
  list(APPEND variables ${cached})
  list(FILTER variables EXCLUDE REGEX "^(ZuVDR_|ZUVDR_|ARG[CNV])")
  list(REMOVE_ITEM variables all variables cached result before after)
  list(REMOVE_DUPLICATES variables)
  list(SORT variables)
  foreach(variable IN LISTS variables)
    string(APPEND all "${variable}=${${variable}}\n")
  endforeach()
  foreach(property COMPILE_OPTIONS COMPILE_DEFINITIONS INCLUDE_DIRECTORIES LINK_OPTIONS TESTS)
    get_property(value DIRECTORY PROPERTY ${property})
    string(APPEND all "${property} ${value}\n")
  endforeach()
  set(${result} "${all}" PARENT_SCOPE)
endfunction()

settings(before)
add_subdirectory("${ZUVDR_SOURCE}" zuvdr)
settings(after)
if(NOT before STREQUAL after)
  file(WRITE "${CMAKE_BINARY_DIR}/before.txt" "${before}")
  file(WRITE "${CMAKE_BINARY_DIR}/after.txt" "${after}")
  execute_process(COMMAND diff before.txt after.txt WORKING_DIRECTORY "${CMAKE_BINARY_DIR}"
                  OUTPUT_VARIABLE difference)
  message(FATAL_ERROR "settings of the host before (<) and after (>):\n${difference}")
endif()

get_property(targets DIRECTORY "${ZUVDR_SOURCE}" PROPERTY BUILDSYSTEM_TARGETS)
get_property(folders DIRECTORY "${ZUVDR_SOURCE}" PROPERTY SUBDIRECTORIES)
foreach(folder IN LISTS folders)
  get_property(more DIRECTORY "${folder}" PROPERTY BUILDSYSTEM_TARGETS)
  list(APPEND targets ${more})
endforeach()
list(SORT targets)
if(NOT targets STREQUAL "ZuVDR;ZuVDRHost;zuvdr_flags")
  message(FATAL_ERROR "more than the libraries: ${targets}")
endif()

add_executable(bare_app "${ZUVDR_SOURCE}/examples/bare_host.c")
target_link_libraries(bare_app PRIVATE ZuVDR::ZuVDR m)
add_executable(app "${ZUVDR_SOURCE}/examples/host.c")
target_link_libraries(app PRIVATE ZuVDR::ZuVDRHost m)
]==])

function(run)
  execute_process(COMMAND ${ARGV} OUTPUT_VARIABLE output ERROR_VARIABLE output
                  RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}\n${output}\nended with ${result}")
  endif()
endfunction()

run("${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${SCRATCH}/host" -B "${SCRATCH}/build"
  "-DZUVDR_SOURCE=${SOURCE}" "-DCMAKE_C_COMPILER=${CC}" "-DCMAKE_CXX_COMPILER=${CXX}"
  "-DCMAKE_C_COMPILER_LAUNCHER=${LAUNCHER}" "-DCMAKE_CXX_COMPILER_LAUNCHER=${LAUNCHER}")
run("${CMAKE_COMMAND}" --build "${SCRATCH}/build" --parallel 2)
run("${SCRATCH}/build/bare_app")
run("${SCRATCH}/build/app")
