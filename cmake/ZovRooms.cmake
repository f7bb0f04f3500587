# Rooms: one object library per line of src/rooms.txt. A room sees src/ as its include root; that it keeps to its
# arrows is checked by scripts/check_rooms.sh, since an include path cannot tell rooms apart.

function(zov_options target)
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -fno-omit-frame-pointer)
  # g++ 12 sees overlapping copies in plain string concatenation at -O3.
  target_compile_options(${target} PRIVATE $<$<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>>:-Wno-restrict>)
  # What clang alone takes into -Wconversion.
  target_compile_options(${target} PRIVATE $<$<CXX_COMPILER_ID:Clang>:-Wno-sign-conversion>)
  if(ZOV_FUZZ)
    target_compile_options(${target} PUBLIC -fsanitize=fuzzer-no-link -g
      -fsanitize-ignorelist=${PROJECT_SOURCE_DIR}/fuzz/ignored.txt)
    target_link_options(${target} PUBLIC -fsanitize=fuzzer-no-link)
  endif()
  if(ZOV_SANITIZE)
    # g++ 12 takes instrumented code of the standard library for uninitialised.
    target_compile_options(${target} PUBLIC -fsanitize=${ZOV_SANITIZE} -g
      $<$<CXX_COMPILER_ID:GNU>:-Wno-maybe-uninitialized>)
    target_link_options(${target} PUBLIC -fsanitize=${ZOV_SANITIZE})
    if(ZOV_SANITIZE MATCHES "undefined")
      target_compile_options(${target} PUBLIC -fno-sanitize-recover=undefined)
    endif()
  endif()
endfunction()

# zov_room_libraries(ROOM target...): libraries from outside that a room is built with. Before zov_core.
function(zov_room_libraries room)
  set_property(GLOBAL PROPERTY ZOV_LIBRARIES_${room} ${ARGN})
endfunction()

# One static library of all rooms, but of those that are named: these stay object libraries, for programs of their own.
function(zov_core name)
  set(rooms_file ${PROJECT_SOURCE_DIR}/src/rooms.txt)
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${rooms_file})
  file(STRINGS ${rooms_file} lines REGEX "^[a-z]")
  add_library(${name} STATIC ${PROJECT_SOURCE_DIR}/cmake/empty.cpp)
  zov_options(${name})
  foreach(line ${lines})
    string(REGEX MATCH "^([a-z/]+) *\\|([a-z/ ]*)\\|" ignored "${line}")
    set(room ${CMAKE_MATCH_1})
    separate_arguments(used UNIX_COMMAND "${CMAKE_MATCH_2}")
    string(REPLACE "/" "_" target zov_${room})
    get_property(libraries GLOBAL PROPERTY ZOV_LIBRARIES_${room})
    file(GLOB sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${room}/*.cpp)
    list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
    if(NOT sources)  # declarations only
      list(APPEND sources ${PROJECT_SOURCE_DIR}/cmake/empty.cpp)
    endif()
    add_library(${target} OBJECT ${sources})
    zov_options(${target})
    target_link_libraries(${target} PUBLIC ${libraries})
    foreach(lower ${used})
      string(REPLACE "/" "_" lower zov_${lower})
      target_link_libraries(${target} PUBLIC ${lower})  # usage requirements, and no objects
    endforeach()
    if(room IN_LIST ARGN)
      continue()
    endif()
    target_sources(${name} PRIVATE $<TARGET_OBJECTS:${target}>)
    target_link_libraries(${name} PUBLIC ${libraries})
  endforeach()
endfunction()
