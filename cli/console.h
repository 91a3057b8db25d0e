// SPDX-License-Identifier: GPL-3.0-or-later
// A run's output: lines on standard output and, on a terminal, one status line below them, redrawn
// in place.
//
// The engine writes diagnostics to standard output and standard error from another thread at any
// time. On a terminal they would break the status line. There, and only there, both streams pass
// through pipes, which this class empties into the terminal.
//
// Not thread-safe: the caller lets in one thread at a time.
#ifndef TROVIK_CLI_CONSOLE_H
#define TROVIK_CLI_CONSOLE_H

#include <string>
#include <string_view>

// Writes all of `text` to the descriptor, past the C library; waits while the descriptor takes no
// more. False with the reason in errno. Any thread.
bool write_all(int fd, std::string_view text);

class console {
 public:
    // Takes the streams over when standard output is a terminal.
    console();
    // Gives them back, the status line gone.
    ~console();
    console(const console &) = delete;
    console &operator=(const console &) = delete;

    // Prints text with its line breaks on standard output. output_error() keeps the error number of
    // the first failed write.
    void print(std::string_view text);
    int output_error() const { return m_output_error; }
    // Prints one line on standard error.
    void print_error(const std::string &line);
    // Shows `text` as the status line; empty text removes it. No effect without a terminal.
    void show_status(const std::string &text);
    // Empties the pipes into the terminal.
    void pass_on_streams();
    // Gives the streams back to the process for good.
    void release_streams();

 private:
    struct stream {
        int number = -1;   // descriptor that the process writes to: 1 or 2
        int real_fd = -1;  // the terminal or file behind it
        int pipe_fd = -1;  // reading end of its pipe, -1 without one
        bool terminal = false;
    };

    // The source of an unfinished line on standard output.
    enum class open_line { none, engine_stream, user_text };

    void take_over(stream &which);
    void pass_on(stream &from);
    void write_text(stream &to, std::string_view text);
    void close_line();
    void erase_status();

    stream m_out, m_err;
    open_line m_open_line = open_line::none;
    std::string m_status;    // on the terminal now
    int m_output_error = 0;  // of standard output
};

#endif
