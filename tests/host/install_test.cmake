# cmake -DBUILD=... -DSCRATCH=... -DSOURCE=... -DGENERATOR=... -DCC=... -DCXX=... -DFLAGS=...
#       -DWITH_PROGRAM=... -DVERSION=... -P install_test.cmake
# Installs the build into a scratch prefix and builds the example hosts against that, once through
# the CMake package and once through pkg-config.
set(prefix "${SCRATCH}/prefix")
separate_arguments(flags UNIX_COMMAND "${FLAGS}")
file(REMOVE_RECURSE "${SCRATCH}")
file(MAKE_DIRECTORY "${SCRATCH}")

function(run)
  execute_process(COMMAND ${ARGV} WORKING_DIRECTORY "${SCRATCH}" OUTPUT_VARIABLE output
                  ERROR_VARIABLE output RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    list(JOIN ARGV " " command)
    message(FATAL_ERROR "${command}\n${output}\nended with ${result}")
  endif()
  set(output "${output}" PARENT_SCOPE)
endfunction()

run("${CMAKE_COMMAND}" --install "${BUILD}" --prefix "${prefix}")
# A tree that was moved must work as well as one that was not.
file(RENAME "${prefix}" "${SCRATCH}/moved")
set(prefix "${SCRATCH}/moved")

run("${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${SOURCE}/tests/host/consumer" -B "${SCRATCH}/consumer"
  "-DCMAKE_PREFIX_PATH=${prefix}" "-DCMAKE_C_COMPILER=${CC}" "-DCMAKE_C_FLAGS=${FLAGS}"
  "-DCMAKE_CXX_COMPILER=${CXX}" "-DCMAKE_CXX_FLAGS=${FLAGS}" "-DEXAMPLES=${SOURCE}/examples")
run("${CMAKE_COMMAND}" --build "${SCRATCH}/consumer")
foreach(host bare_host host_c host_cpp)
  run("${SCRATCH}/consumer/${host}")
endforeach()

file(GLOB_RECURSE pc_file "${prefix}/*/zuvdr.pc")
cmake_path(GET pc_file PARENT_PATH pc_dir)
# pc_host(PACKAGE SOURCE COMPILER...)
function(pc_host package source)
  run("${CMAKE_COMMAND}" -E env "PKG_CONFIG_PATH=${pc_dir}" pkg-config --modversion ${package})
  if(NOT output STREQUAL "${VERSION}\n")
    message(FATAL_ERROR "pkg-config names version ${output} of ${package}")
  endif()
  run("${CMAKE_COMMAND}" -E env "PKG_CONFIG_PATH=${pc_dir}" pkg-config --cflags --libs ${package})
  separate_arguments(pc_arguments UNIX_COMMAND "${output}")
  run(${ARGN} ${flags} "${SOURCE}/examples/${source}" -o "${SCRATCH}/pc_host" ${pc_arguments} -lm)
  run("${CMAKE_COMMAND}" -E env "LD_LIBRARY_PATH=${pc_dir}/.." "${SCRATCH}/pc_host")
endfunction()
pc_host(zuvdr bare_host.c "${CC}" -std=c11)
pc_host(zuvdr-host host.c "${CC}" -std=c11)
pc_host(zuvdr-host host.cpp "${CXX}" -std=c++17)

# The names that Android loads; in a configuration of its own those of a Linux package.
function(expect actual expected)
  if(NOT actual STREQUAL expected)
    message(FATAL_ERROR "names of the libraries: ${actual}, not ${expected}")
  endif()
endfunction()
file(GLOB program "${prefix}/bin/zuvdr")
if(program)
  run("${program}" --version)
endif()
file(GLOB names RELATIVE "${pc_dir}/.." "${pc_dir}/../libZuVDR*")
expect("${names}" "libZuVDR.so;libZuVDRHost.so")
foreach(name IN LISTS names)
  run(readelf -d "${pc_dir}/../${name}")
  string(REGEX MATCH "soname: .([^]]+)" soname "${output}")
  expect("${CMAKE_MATCH_1}" ${name})
endforeach()
run("${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${SOURCE}" -B "${SCRATCH}/versioned"
  -DZUVDR_SOVERSION=ON -DZUVDR_TOOLS=OFF -DZUVDR_TESTS=OFF "-DCMAKE_C_COMPILER=${CC}")
foreach(name libZuVDR.so libZuVDRHost.so)
  file(STRINGS "${SCRATCH}/versioned/cmake_install.cmake" names REGEX "${name}[.]3")
  string(REGEX MATCHALL "${name}[.0-9]*" names "${names}")
  list(REMOVE_DUPLICATES names)
  expect("${names}" "${name}.${VERSION};${name}.3")
endforeach()

if(WITH_PROGRAM)
  run("${CMAKE_COMMAND}" -E env --unset=LD_LIBRARY_PATH "${prefix}/bin/zuvdr" --help)
endif()
