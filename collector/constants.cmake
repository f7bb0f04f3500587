# Writes a Java class of constants from one of the agent's lists:
#   cmake -D LIST=<.def> -D MACRO=<pattern> -D CLASS=<name> -D OUTPUT=<.java> -P constants.cmake
# Of each line that the pattern opens, the first two arguments are number and name, and a text behind them is what
# the constant means. Names become those of Java's constants: request_count and RequestCount both REQUEST_COUNT.
cmake_minimum_required(VERSION 3.25)
get_filename_component(list_name ${LIST} NAME)
set(constants)
file(STRINGS ${LIST} lines REGEX "^(${MACRO})\\(")
foreach(line IN LISTS lines)
  if(NOT line MATCHES "^[A-Z_]+\\(([0-9]+), ([A-Za-z0-9_]+)(, .*\"(.*)\")?")
    message(FATAL_ERROR "${list_name}: not understood: ${line}")
  endif()
  set(number ${CMAKE_MATCH_1})
  set(meaning "${CMAKE_MATCH_4}")
  string(REGEX REPLACE "Key$" "" name ${CMAKE_MATCH_2})
  string(REGEX REPLACE "([a-z])([A-Z])" "\\1_\\2" name ${name})
  string(REGEX REPLACE "([A-Z])([A-Z][a-z])" "\\1_\\2" name ${name})
  string(TOUPPER ${name} name)
  string(APPEND constants "\n")
  if(meaning)
    string(APPEND constants "  /** ${meaning} */\n")
  endif()
  string(APPEND constants "  static final int ${name} = ${number};\n")
endforeach()
file(WRITE ${OUTPUT} "// Made from ${list_name}.
package zov.collector;

final class ${CLASS} {
  private ${CLASS}() {}
${constants}}
")
