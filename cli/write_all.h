// Whole texts to a descriptor, past the C library.
#ifndef TROVIK_CLI_WRITE_ALL_H
#define TROVIK_CLI_WRITE_ALL_H

#include <string_view>

// Writes all of `text`, waiting where the descriptor takes no more for now. False
// with the reason in errno. Any thread.
bool write_all(int fd, std::string_view text);

#endif
