# SPDX-License-Identifier: GPL-3.0-or-later
# One INTERFACE target carries the warnings of the whole project.
add_library(trovik_warnings INTERFACE)
target_compile_options(trovik_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wconversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  # GCC 12 sees overlapping copies in every "text" + std::string (its bug 105651).
  $<$<CXX_COMPILER_ID:GNU>:-Wno-restrict>
  $<$<BOOL:${TROVIK_WERROR}>:-Werror>)
