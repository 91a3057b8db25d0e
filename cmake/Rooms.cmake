# SPDX-License-Identifier: GPL-3.0-or-later
# Headers are included as "room/header.h". Each room has folders in the build tree that
# hold nothing but links to its headers, and only targets that link the room get such a
# folder on their include path. An include that breaks the rules of the house does not
# compile; tests/rooms shows it.

# trovik_room(target room [PUBLIC_HEADERS header...])
# Without PUBLIC_HEADERS, all headers of the room can be included by targets that link it.
# With them, only those can. The room itself still sees all of its headers, and so do the
# targets that also link ${target}_internals: its tests, fuzz targets and benchmarks.
function(trovik_room target room)
  cmake_parse_arguments(R "" "" "PUBLIC_HEADERS" ${ARGN})
  set(all_headers ${CMAKE_BINARY_DIR}/rooms/${room})
  file(MAKE_DIRECTORY ${all_headers})
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${room} ${all_headers}/${room} SYMBOLIC)
  target_link_libraries(${target} PRIVATE trovik_warnings)
  if(NOT R_PUBLIC_HEADERS)
    target_include_directories(${target} PUBLIC ${all_headers})
    return()
  endif()
  target_include_directories(${target} PRIVATE ${all_headers})
  trovik_headers(${target}_headers ${room} ${R_PUBLIC_HEADERS})
  target_link_libraries(${target} PUBLIC ${target}_headers)
  add_library(${target}_internals INTERFACE)
  target_include_directories(${target}_internals INTERFACE ${all_headers})
  target_link_libraries(${target}_internals INTERFACE ${target})
endfunction()

# trovik_headers(name room header...)
# Some headers of a room without its code, for a room that may know these types and no more.
function(trovik_headers name room)
  set(folder ${CMAKE_BINARY_DIR}/headers/${name})
  # A header that has left the list must not stay behind in an old build tree.
  file(REMOVE_RECURSE ${folder})
  file(MAKE_DIRECTORY ${folder}/${room})
  foreach(header IN LISTS ARGN)
    if(NOT EXISTS ${CMAKE_SOURCE_DIR}/${room}/${header})
      message(FATAL_ERROR "${room}/${header} does not exist")
    endif()
    file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${room}/${header} ${folder}/${room}/${header} SYMBOLIC)
  endforeach()
  add_library(${name} INTERFACE)
  target_include_directories(${name} INTERFACE ${folder})
endfunction()
