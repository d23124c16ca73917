# cmake -DTABLES=pdr/step_tables.cpp -DRECORD=training/record.json -P tables_test.cmake
# The shipped tables are those of the training that the record tells about, unedited.
if(NOT EXISTS "${RECORD}")
  message(FATAL_ERROR "${RECORD} is missing: train, and commit the record with the tables")
endif()
file(READ "${RECORD}" record)
string(JSON recorded ERROR_VARIABLE error GET "${record}" tables_sha256)
if(error)
  message(FATAL_ERROR "${RECORD}: ${error}")
endif()
file(SHA256 "${TABLES}" found)
if(NOT found STREQUAL recorded)
  message(FATAL_ERROR "${TABLES} has SHA-256 ${found}, ${RECORD} says ${recorded}: "
                      "tables and record are of different trainings, or the tables were edited")
endif()

string(JSON kernels GET "${record}" kernels)
if(NOT kernels MATCHES "^OpenBLAS [0-9.]+ Haswell, LibTorch [0-9.]+ AVX2$")
  message(FATAL_ERROR "${RECORD}: trained with ${kernels}, which not every processor can repeat")
endif()
