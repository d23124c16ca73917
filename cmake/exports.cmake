# Android loads the plain names; Linux packages want libZuVDR.so.3 and the links to it.
option(ZUVDR_SOVERSION "Carry the version in the names of the libraries" OFF)

# zuvdr_export_only(TARGET LIST)
# Everything a host can see of a library is listed once, in this folder's LIST, as "kind name"; hidden
# by default, the map made of it keeps the standard library's own template instances in as well. No
# version name: hosts link against plain names.
function(zuvdr_export_only target list)
  set(list "${PROJECT_SOURCE_DIR}/cmake/${list}")
  set(map "${PROJECT_BINARY_DIR}/${target}.map")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${list}")
  file(STRINGS "${list}" lines REGEX "^(function|variable|constant) ")
  set(names "")
  foreach(line IN LISTS lines)
    string(REGEX REPLACE "^[a-z]+ " "" name "${line}")
    string(APPEND names "    ${name};\n")
  endforeach()
  file(CONFIGURE OUTPUT "${map}" CONTENT "{\n  global:\n${names}  local:\n    *;\n};\n" @ONLY)
  set_target_properties(${target} PROPERTIES
    CXX_VISIBILITY_PRESET hidden
    VISIBILITY_INLINES_HIDDEN ON
    LINK_DEPENDS "${map}")
  target_link_options(${target} PRIVATE "LINKER:--version-script=${map}")
  if(ZUVDR_SOVERSION)
    set_target_properties(${target} PROPERTIES
      VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR})
  endif()
endfunction()
