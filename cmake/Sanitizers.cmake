# SPDX-License-Identifier: GPL-3.0-or-later
# Sanitizers apply to everything that is built, or their reports are worth little.
if(TROVIK_SANITIZE STREQUAL "address")
  # The address sanitizer reports the use of a null pointer as well. -fsanitize=null would take GCC
  # a minute for the vector code of model/sector_lanes.cpp alone.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=null -fno-sanitize-recover=undefined
    -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(TROVIK_SANITIZE STREQUAL "thread")
  add_compile_options(-fsanitize=thread -fno-omit-frame-pointer)
  add_link_options(-fsanitize=thread)
elseif(TROVIK_SANITIZE STREQUAL "fuzzer")
  # What the fuzz targets run is watched as under "address"; clang only.
  add_compile_options(-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
elseif(TROVIK_SANITIZE)
  message(FATAL_ERROR "TROVIK_SANITIZE is '${TROVIK_SANITIZE}': it can be empty, address, thread or fuzzer")
endif()
