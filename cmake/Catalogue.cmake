# The link catalogue from the gateway's own definitions (src/msgHandle): the
# CRC extra of every msgid and the names of the sub-command codes of msgids
# 150 (RC settings), 182/183 (nest) and 200/201 (AT commands). Run at build
# time as
#   cmake -DSOURCE_DIR=<checkout> -DHEADER=<file> -DLUA_TABLES=<file> -P cmake/Catalogue.cmake
# to write the simulator's name tables (a C++ header) and the Wireshark
# dissector's link tables (a Lua file that lumbrix.lua loads), or as
#   cmake -DSOURCE_DIR=<checkout> -DLUA=<lumbrix.lua> -P cmake/Catalogue.cmake
# to check that the dissector names every message id the gateway defines
# (ctest -R catalogue).
cmake_minimum_required(VERSION 3.16)
set(defs ${SOURCE_DIR}/src/msgHandle)

# codes(FILE KEEP OUT): "code=NAME" of the enum entries of FILE and of its
# uint8_t constants whose names match KEEP; the first name of a code wins.
function(codes file keep out)
  file(STRINGS ${file} lines REGEX "^[ \t]*(constexpr uint8_t )?[A-Z][A-Z0-9_]* = [0-9]+[,;]")
  set(found)
  set(seen)
  foreach(line ${lines})
    string(REGEX MATCH "([A-Z0-9_]+) = ([0-9]+)([,;])" parts "${line}")
    set(name ${CMAKE_MATCH_1})
    set(code ${CMAKE_MATCH_2})
    if((CMAKE_MATCH_3 STREQUAL "," OR name MATCHES "${keep}") AND NOT name MATCHES "_END$" AND NOT code IN_LIST seen)
      list(APPEND seen ${code})
      list(APPEND found "${code}=${name}")
    endif()
  endforeach()
  set(${out} ${found} PARENT_SCOPE)
endfunction()

codes(${defs}/RcCommandDefine.h "^$" rc)
codes(${defs}/NestCommandDefine.h "^NEST_CODE_" nest)
codes(${defs}/AtCommandDefine.h "^AT_COMAND_QUICK_MATCH_C" at)
file(STRINGS ${defs}/XoltMessageDefine.h ids REGEX "constexpr uint8_t XOLT_(MSG_ID|SYSTEM_CMD)_[A-Z_]+ = [0-9]+;")
list(TRANSFORM ids REPLACE ".* = ([0-9]+);.*" "\\1")
file(READ ${defs}/XoltProtocol.h protocol)
string(REGEX MATCH "xolt_message_crcs\\[256\\] = {[^}]*}" crcs "${protocol}")
string(REGEX REPLACE "//[^\n]*" "" crcs "${crcs}")
string(REGEX MATCHALL "[0-9]+" crcs "${crcs}")
list(REMOVE_AT crcs 0) # the 256
file(STRINGS ${defs}/XoltMessageDefine.h extra REGEX "XOLT_MSG_CRC_RC_SET_GIMBAL_SPEED = [0-9]+")
string(REGEX MATCH "= ([0-9]+)" extra "${extra}")
set(extra ${CMAKE_MATCH_1})

if(HEADER)
  set(HEADER_text "// Made at build time from the gateway's definitions (cmake/Catalogue.cmake).\n")
  set(LUA_TABLES_text "-- Made at build time from the gateway's definitions (cmake/Catalogue.cmake).\nreturn {\n")
  foreach(table rc nest at)
    string(APPEND HEADER_text "const TCodeName s_${table}Codes[] = {\n")
    string(APPEND LUA_TABLES_text "  ${table} = {\n")
    foreach(entry ${${table}})
      string(REGEX REPLACE "(.*)=(.*)" "    {\\1, \"\\2\"},\n" row "${entry}")
      string(APPEND HEADER_text "${row}")
      string(REGEX REPLACE "(.*)=(.*)" "    [\\1] = \"\\2\",\n" row "${entry}")
      string(APPEND LUA_TABLES_text "${row}")
    endforeach()
    string(APPEND HEADER_text "};\n")
    string(APPEND LUA_TABLES_text "  },\n")
  endforeach()
  list(JOIN crcs ", " crc_list)
  string(APPEND LUA_TABLES_text "  crc_extra = { [0] = ${crc_list} },\n  set_gimbal_speed_extra = ${extra},\n}\n")
  foreach(out HEADER LUA_TABLES)
    file(WRITE ${${out}}.new "${${out}_text}")
    file(COPY_FILE ${${out}}.new ${${out}} ONLY_IF_DIFFERENT)
  endforeach()
  return()
endif()

# The dissector names every message id (its MESSAGES table, "[id] = "NAME"").
file(READ ${LUA} lua)
string(REGEX MATCH "\nlocal MESSAGES = {[^}]*}" body "${lua}")
string(REGEX MATCHALL "\\[[0-9]+\\] =" entries "${body}")
list(TRANSFORM entries REPLACE "\\[([0-9]+)\\] =" "\\1")
list(SORT entries COMPARE NATURAL)
list(SORT ids COMPARE NATURAL)
if(NOT "${ids}" STREQUAL "${entries}")
  message(FATAL_ERROR "${LUA}: the message ids of MESSAGES differ from the gateway's definitions:\n"
                      "  gateway:   ${ids}\n  dissector: ${entries}")
endif()
message("catalogue: the dissector names every message id of the gateway")
