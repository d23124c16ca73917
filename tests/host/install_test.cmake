# cmake -DBUILD=... -DSCRATCH=... -DSOURCE=... -DGENERATOR=... -DCC=... -DFLAGS=... -DWITH_PROGRAM=...
#       -DVERSION=... -P install_test.cmake
# Installs the build into a scratch prefix and builds the example host against that, once through
# the CMake package and once through pkg-config.
set(prefix "${SCRATCH}/prefix")
set(host "${SOURCE}/examples/host.c")
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
  "-DHOST_SOURCE=${host}")
run("${CMAKE_COMMAND}" --build "${SCRATCH}/consumer")
run("${SCRATCH}/consumer/consumer")

file(GLOB_RECURSE pc_file "${prefix}/*/zuvdr.pc")
cmake_path(GET pc_file PARENT_PATH pc_dir)
run("${CMAKE_COMMAND}" -E env "PKG_CONFIG_PATH=${pc_dir}" pkg-config --modversion zuvdr)
if(NOT output STREQUAL "${VERSION}\n")
  message(FATAL_ERROR "pkg-config names version ${output}")
endif()
run("${CMAKE_COMMAND}" -E env "PKG_CONFIG_PATH=${pc_dir}" pkg-config --cflags --libs zuvdr)
separate_arguments(pc_arguments UNIX_COMMAND "${output}")
run("${CC}" -std=c11 ${flags} "${host}" -o "${SCRATCH}/pc_host" ${pc_arguments} -lm)
run("${CMAKE_COMMAND}" -E env "LD_LIBRARY_PATH=${pc_dir}/.." "${SCRATCH}/pc_host")

# The one name that Android loads; in a configuration of its own those of a Linux package.
function(expect actual expected)
  if(NOT actual STREQUAL expected)
    message(FATAL_ERROR "names of the library: ${actual}, not ${expected}")
  endif()
endfunction()
file(GLOB program "${prefix}/bin/zuvdr")
if(program)
  run("${program}" --version)
endif()
file(GLOB names RELATIVE "${pc_dir}/.." "${pc_dir}/../libZuVDR*")
expect("${names}" libZuVDR.so)
run(readelf -d "${pc_dir}/../libZuVDR.so")
string(REGEX MATCH "soname: .([^]]+)" soname "${output}")
expect("${CMAKE_MATCH_1}" libZuVDR.so)
run("${CMAKE_COMMAND}" -G "${GENERATOR}" -S "${SOURCE}" -B "${SCRATCH}/versioned"
  -DZUVDR_SOVERSION=ON -DZUVDR_TOOLS=OFF -DZUVDR_TESTS=OFF "-DCMAKE_C_COMPILER=${CC}")
file(STRINGS "${SCRATCH}/versioned/cmake_install.cmake" names REGEX "libZuVDR\\.so\\.3")
string(REGEX MATCHALL "libZuVDR\\.so[.0-9]*" names "${names}")
list(REMOVE_DUPLICATES names)
expect("${names}" "libZuVDR.so.${VERSION};libZuVDR.so.3")

if(WITH_PROGRAM)
  run("${CMAKE_COMMAND}" -E env --unset=LD_LIBRARY_PATH "${prefix}/bin/zuvdr" --help)
endif()
