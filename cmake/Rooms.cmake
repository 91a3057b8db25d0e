# A room's headers are included as "room/header.h". Each room gets a folder of
# its own in the build tree that holds nothing but a link to that room, and only
# targets that link the room see the folder: who may not know a room cannot
# include its headers.
function(trovik_room target room)
  set(door ${CMAKE_BINARY_DIR}/rooms/${room})
  file(MAKE_DIRECTORY ${door})
  file(CREATE_LINK ${CMAKE_SOURCE_DIR}/${room} ${door}/${room} SYMBOLIC)
  target_include_directories(${target} PUBLIC ${door})
  target_link_libraries(${target} PRIVATE trovik_warnings)
endfunction()
