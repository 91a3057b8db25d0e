// What the user sees of a run: lines on standard output, and on a terminal one
// status line below them that is redrawn in place.
//
// The engine writes its own diagnostics to standard output and standard error
// from another thread, at moments nobody knows beforehand. On a terminal they
// would land in the middle of the status line; there, and only there, both
// streams pass through pipes that this class empties, and each text goes on to
// where it was meant to go.
//
// Not thread-safe: the caller sees to it that one thread at a time is in here.
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

    // Prints user text (line breaks included) on standard output. The error number
    // of the first text that could not be written stays in output_error().
    void print(std::string_view text);
    int output_error() const { return m_output_error; }
    // Prints one line on standard error.
    void print_error(const std::string &line);
    // Shows `text` as the status line; the empty text removes it. Nothing
    // without a terminal.
    void show_status(const std::string &text);
    // Passes on what the engine has written to the streams.
    void pass_on_streams();
    // Gives the streams back to the process for good.
    void release_streams();

 private:
    struct stream {
        int number = -1;   // descriptor that the process writes to: 1 or 2
        int real_fd = -1;  // where its text goes
        int pipe_fd = -1;  // where the process's text arrives, -1 when it is not taken over
        bool terminal = false;
    };

    // Who has left a line of standard output open.
    enum class open_line { none, engine_stream, user_text };

    void take_over(stream &which);
    void pass_on(stream &from);
    void write_text(stream &to, std::string_view text);
    void close_line();
    void erase_status();

    stream m_out, m_err;
    open_line m_open_line = open_line::none;
    std::string m_status;    // as it stands on the terminal now
    int m_output_error = 0;  // of standard output
};

#endif
