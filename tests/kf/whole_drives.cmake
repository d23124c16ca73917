cmake_minimum_required(VERSION 3.25)

# Whole drives through the engine with its own forms and with the dense ones: every answer the same
# in every digit. Simulated, and recorded where the recordings are.
set(logs "")
foreach(journey "drive;--seed;3" "mixed;--seed;4" "drive;--seed;5;--mounting;landscape;--road;rough")
  list(LENGTH logs n)
  execute_process(COMMAND "${ZUVDR}" simulate ${journey} --out "${SCRATCH}/journey-${n}.csv"
                  OUTPUT_QUIET COMMAND_ERROR_IS_FATAL ANY)
  list(APPEND logs "${SCRATCH}/journey-${n}.csv")
endforeach()
file(GLOB recorded "${DATA}/vehicle/*_phone_ne*.csv.gz" "${DATA}/reference/car-*.csv.gz")
list(FILTER recorded EXCLUDE REGEX "trace")
foreach(log IN LISTS logs recorded)
  foreach(form trace dense_trace)  # the calls are those of the latter
    string(TOUPPER ${form} program)
    execute_process(COMMAND "${${program}}" "${log}" OUTPUT_FILE "${SCRATCH}/${form}.csv"
                    ERROR_VARIABLE calls COMMAND_ERROR_IS_FATAL ANY)
  endforeach()
  # All six of them take part in a drive with a tunnel, which the first one is.
  if(log MATCHES "journey-0" AND calls MATCHES " 0 ")
    message(FATAL_ERROR "${log}: dense forms were not called: ${calls}")
  endif()
  file(SHA256 "${SCRATCH}/trace.csv" a)
  file(SHA256 "${SCRATCH}/dense_trace.csv" b)
  if(NOT a STREQUAL b)
    message(FATAL_ERROR "${log}: ${SCRATCH}/trace.csv and dense_trace.csv differ")
  endif()
  message(STATUS "${log}: equal, ${calls}")
endforeach()
