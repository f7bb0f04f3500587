# Rooms: one object library per folder of src/. A room sees src/ as its include
# root; the arrows between rooms are those of its USES list (kept honest by
# scripts/check_rooms.sh, since an include path cannot tell rooms apart).

function(zov_options target)
  target_include_directories(${target} PUBLIC ${PROJECT_SOURCE_DIR}/src)
  target_compile_options(${target} PRIVATE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Werror -fno-omit-frame-pointer)
  # g++ 12 sees overlapping copies in plain string concatenation at -O3.
  target_compile_options(${target} PRIVATE $<$<AND:$<CONFIG:Release>,$<CXX_COMPILER_ID:GNU>>:-Wno-restrict>)
  if(ZOV_FUZZ)
    target_compile_options(${target} PUBLIC -fsanitize=fuzzer-no-link -g)
  endif()
  if(ZOV_SANITIZE)
    # g++ 12 takes instrumented code of the standard library for uninitialised.
    target_compile_options(${target} PUBLIC -fsanitize=${ZOV_SANITIZE} -g -Wno-maybe-uninitialized)
    target_link_options(${target} PUBLIC -fsanitize=${ZOV_SANITIZE})
    if(ZOV_SANITIZE MATCHES "undefined")
      target_compile_options(${target} PUBLIC -fno-sanitize-recover=undefined)
    endif()
  endif()
endfunction()

# zov_room(NAME [USES room...] [LIBRARIES target...])
function(zov_room name)
  cmake_parse_arguments(ROOM "" "" "USES;LIBRARIES" ${ARGN})
  file(GLOB_RECURSE sources CONFIGURE_DEPENDS ${PROJECT_SOURCE_DIR}/src/${name}/*.cpp)
  list(FILTER sources EXCLUDE REGEX "/main\\.cpp$")
  add_library(zov_${name}_arrows INTERFACE)
  foreach(used ${ROOM_USES})
    target_link_libraries(zov_${name}_arrows INTERFACE zov_${used}_arrows)
  endforeach()
  target_link_libraries(zov_${name}_arrows INTERFACE ${ROOM_LIBRARIES})
  if(sources)
    add_library(zov_${name} OBJECT ${sources})
    zov_options(zov_${name})
    target_link_libraries(zov_${name} PUBLIC zov_${name}_arrows)
  endif()
endfunction()

# One static library of all rooms.
function(zov_core name)
  set(objects)
  set(arrows)
  foreach(room ${ARGN})
    if(TARGET zov_${room})
      list(APPEND objects $<TARGET_OBJECTS:zov_${room}>)
    endif()
    list(APPEND arrows zov_${room}_arrows)
  endforeach()
  add_library(${name} STATIC ${objects} ${PROJECT_SOURCE_DIR}/cmake/empty.cpp)
  zov_options(${name})
  target_link_libraries(${name} PUBLIC ${arrows})
endfunction()
