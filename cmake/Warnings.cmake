# One INTERFACE target carries the warnings of the whole project.
add_library(trovik_warnings INTERFACE)
target_compile_options(trovik_warnings INTERFACE
  -Wall -Wextra -Wshadow -Wconversion
  $<$<COMPILE_LANGUAGE:CXX>:-Wold-style-cast>
  $<$<BOOL:${TROVIK_WERROR}>:-Werror>)
