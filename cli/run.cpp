// The engine works on a thread of its own and knows nobody; this polls it ten
// times a second and prints what it finds. Before each of its steps the path is
// looked at again: a volume can go away in the middle of a run, and what lies
// below its mount point is not ours.
//
// Two ends can come unbidden: a signal, on the main thread, and a failure that
// ends the engine's process, on the engine's. Whichever takes the lock first has
// the last word: it is never given back.
#include "cli/run.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <ctime>
#include <mutex>

#include "cli/console.h"
#include "cli/exit_status.h"
#include "cli/job.h"
#include "cli/left_files.h"
#include "cli/status_line.h"
#include "cli/stop_signals.h"
#include "model/engine_log.h"
#include "model/engine_status.h"
#include "model/fatal.h"
#include "report/printable.h"
#include "report/report_block.h"
#include "report/report_facts.h"
#include "report/report_json.h"
#include "report/run_snapshot.h"
#include "report/verdict.h"
#include "volume/cold_read.h"

constexpr std::chrono::milliseconds poll_interval{100};

namespace {

class command_run {
 public:
    command_run(const cli_arguments &arguments, const run_target &target, json_output &json);
    ~command_run();
    command_run(const command_run &) = delete;
    command_run &operator=(const command_run &) = delete;

    int execute();

    // The engine is about to end the process. On the engine's thread.
    void end_by_failure(const char *message, int exit_status);

 private:
    int remove_files();
    int fill();
    int read_back();
    void do_steps(job_steps steps);
    bool is_volume_in_place();
    void see_to_medium();
    void print_news();
    int poll();
    void show_status();
    [[noreturn]] void end_by_signal(int signal_number);
    void pass_on_last_words();
    void say_what_is_left();
    int finish(int status);
    run_snapshot snapshot() const;
    void print_report(const report_facts &facts);
    void print_verdict(const std::string &sentence, const std::vector<std::string> &reasons,
                       const std::vector<std::string> &notes);
    bool write_json(const std::optional<report_json_fatal> &fatal);

    const cli_arguments &m_arguments;
    const run_target &m_target;
    json_output &m_json;
    run_scope m_scope;                    // main thread, while no job runs
    std::optional<report_facts> m_facts;  // likewise: the report, once there is one
    // Found out by the job's thread, read by both.
    std::atomic<bool> m_volume_gone{false};
    std::atomic<bool> m_may_rest_on_memory{false};
    std::mutex m_mutex;  // guards everything below while a job runs
    console m_console;
    speed_window m_speed;
    engine_phase m_phase = ENGINE_PHASE_IDLE;
};

}  // namespace

// The run whose failures the engine reports: set and cleared by the main thread
// while no job runs.
static command_run *current_run = nullptr;

static void on_failure(const char *message, int exit_status) {
    current_run->end_by_failure(message, exit_status);
}

// A word for a shell, whatever blanks and quotes are in it. Bytes that must not
// reach a terminal are escaped as Bash and its relatives read them.
static std::string shell_quoted(const std::string &text) {
    const bool plain = printable_text(text) == text;
    std::string quoted = plain ? "'" : "$'";
    for (const char character : text) {
        if (character == '\'')
            quoted += plain ? "'\\''" : "\\'";
        else if (character == '\\' && !plain)
            quoted += "\\\\";
        else
            quoted += character;
    }
    return (plain ? quoted : printable_text(quoted)) + "'";
}

command_run::command_run(const cli_arguments &arguments, const run_target &target,
                         json_output &json)
    : m_arguments(arguments), m_target(target), m_json(json) {
    m_scope.start_index = arguments.start_index;
    set_engine_volume_path(target.folder.c_str());
    current_run = this;
    engine_set_fatal_handler(on_failure);
}

command_run::~command_run() {
    engine_set_fatal_handler(nullptr);
    current_run = nullptr;
}

int command_run::execute() {
    switch (m_arguments.command) {
        case cli_command::clean:
            return remove_files();
        case cli_command::write:
            return fill();
        case cli_command::test:
        case cli_command::read:
            return read_back();
        case cli_command::info:
            break;
    }
    return EXIT_STATUS_USAGE;
}

int command_run::remove_files() {
    const std::string before = test_files_text(m_target.files.numbers);
    do_steps({.remove = true});
    if (!m_volume_gone && m_scope.removal_listing_error == 0)
        m_console.print(before.empty() ? "There were no test files.\n"
                                       : "Removed " + before + ".\n");
    return finish(0);
}

int command_run::fill() {
    m_scope.has_write = true;
    do_steps({.remove = true, .fill = true});
    const fill_verdict verdict = fill_verdict_judge(snapshot());
    print_verdict(verdict.sentence, verdict.reasons, verdict.notes);
    return finish(fill_verdict_exit_status(verdict));
}

int command_run::read_back() {
    const bool is_test = m_arguments.command == cli_command::test;
    m_scope.has_write = m_scope.expects_all_written = is_test;
    m_scope.has_read = true;
    do_steps({.remove = is_test, .fill = is_test, .read = true});

    const verdict_result verdict = verdict_judge(snapshot());
    if (!m_volume_gone) {
        m_facts = report_facts_collect(m_target.folder, m_target.volume.capacity_bytes.value_or(0),
                                       cli_version_text());
        print_report(*m_facts);
    }
    print_verdict(verdict_sentence(verdict.verdict), verdict.reasons, verdict.notes);
    if (is_test && !m_arguments.keep_files && !m_volume_gone)
        do_steps({.remove = true});
    return finish(verdict_exit_status(verdict.verdict));
}

// Says what went wrong beside the test itself and writes the JSON report. Returns
// `status`, or another one when it would claim that all is well.
int command_run::finish(int status) {
    int failure = 0;
    const auto fail = [&](const std::string &line) {
        m_console.print_error("trovik-cli: " + line);
        failure = EXIT_STATUS_NOT_TESTED;
    };
    const std::string folder = "'" + printable_text(m_target.folder) + "'";
    if (m_volume_gone)
        fail("the volume on " + folder +
             " was unmounted or replaced during the run; what stands there now was not touched");
    if (m_scope.removal_listing_error != 0)
        fail(folder + " could not be read to its end, test files may be left: " +
             error_text(m_scope.removal_listing_error));
    if (m_console.output_error() != 0)
        fail("standard output could not be written: " + error_text(m_console.output_error()));
    if (!write_json(std::nullopt))
        failure = EXIT_STATUS_NOT_TESTED;
    return status == 0 ? failure : status;
}

void command_run::do_steps(job_steps steps) {
    job_plan plan;
    plan.steps = steps;
    plan.folder = m_target.folder;
    plan.start_index = m_arguments.start_index;
    plan.block_size = m_arguments.block_size;
    plan.may_go_on = [this] { return is_volume_in_place(); };
    plan.before_read = [this] { see_to_medium(); };
    job running(std::move(plan));
    while (running.is_running()) {
        if (const int signal_number = stop_signals_wait(poll_interval))
            end_by_signal(signal_number);
        if (poll() == EPIPE)
            end_by_signal(SIGPIPE);
    }
    poll();
    if (m_scope.removal_listing_error == 0)
        m_scope.removal_listing_error = running.removal_listing_error();
}

// On the job's thread, before each step.
bool command_run::is_volume_in_place() {
    if (!m_target.anchor->is_in_place())
        m_volume_gone = true;
    return !m_volume_gone;
}

// On the job's thread, before the files are read: nothing may come from memory
// that the medium has lost.
void command_run::see_to_medium() {
    std::vector<std::string> names;
    std::string unlisted;
    test_files_names(m_target.folder, m_arguments.start_index, names, unlisted);
    const std::string reason = cold_read_prepare(m_target.volume, m_target.folder, names, unlisted,
                                                 m_arguments.medium_is_memory);
    if (reason.empty())
        return;
    m_may_rest_on_memory = true;
    const std::lock_guard lock(m_mutex);
    print_news();
    m_console.print(
        "What is read now may come from the computer's memory: " + printable_text(reason) + "\n");
}

// Prints what the engine has said since the last time. Under the lock.
void command_run::print_news() {
    m_console.pass_on_streams();
    const engine_log_view lines = engine_log_take_view();
    m_console.print({lines.text, lines.length});
}

// Returns the error number of an output that could not be written, or 0.
int command_run::poll() {
    const std::lock_guard lock(m_mutex);
    print_news();
    show_status();
    return m_console.output_error();
}

void command_run::show_status() {
    engine_write_results written = {};
    engine_read_results read = {};
    engine_results_write(&written);
    engine_results_read(&read);
    status_line_input input;
    input.phase = engine_results_phase();
    if (input.phase == ENGINE_PHASE_WRITING) {
        input.index = written.current_index;
        input.bytes_done = written.bytes_written;
        input.bytes_expected = written.free_at_start;
    } else if (input.phase == ENGINE_PHASE_READING) {
        input.index = read.current_index;
        input.bytes_done = read.bytes_read;
        input.bytes_expected = m_scope.has_write ? written.bytes_written : m_target.files.bytes;
    }
    if (input.phase != m_phase)
        m_speed.reset();
    m_phase = input.phase;
    m_speed.add(speed_window::clock::now(), input.bytes_done);
    input.bytes_per_s = m_speed.bytes_per_s();
    m_console.show_status(status_line_text(input));
}

run_snapshot command_run::snapshot() const {
    run_scope scope = m_scope;
    scope.volume_gone = m_volume_gone;
    scope.may_rest_on_memory = m_may_rest_on_memory;
    return run_snapshot_collect(scope);
}

void command_run::print_report(const report_facts &facts) {
    for (const std::string &line : report_block_lines(facts))
        m_console.print(line);
}

void command_run::print_verdict(const std::string &sentence,
                                const std::vector<std::string> &reasons,
                                const std::vector<std::string> &notes) {
    m_console.print("\n" + sentence + "\n");
    for (const std::vector<std::string> *lines : {&reasons, &notes}) {
        for (const std::string &line : *lines)
            m_console.print("  " + line + "\n");
    }
}

// False, with the reason said, when a report that is wanted could not be written.
bool command_run::write_json(const std::optional<report_json_fatal> &fatal) {
    if (!m_json.is_wanted())
        return true;
    report_json_input input;
    input.program = "trovik-cli";
    input.version = cli_version_text();
    input.command = cli_command_name(m_arguments.command);
    input.ended_at = std::time(nullptr);
    input.volume = m_target.volume;
    input.run = snapshot();
    input.verdict = verdict_judge(input.run);
    input.facts = m_facts;
    input.fatal = fatal;
    std::string error;
    if (m_json.write(report_json_text(input), error))
        return true;
    m_console.print_error("trovik-cli: the JSON report could not be written to " + error);
    return false;
}

// Everything that has been said so far, the status line gone, the streams as the
// process found them.
void command_run::pass_on_last_words() {
    print_news();
    m_console.release_streams();
}

void command_run::say_what_is_left() {
    if (m_arguments.command == cli_command::read)
        return;
    const std::string folder = "'" + printable_text(m_target.folder) + "'";
    const std::optional<std::string> files =
        left_files_text(m_target.folder, m_arguments.start_index);
    if (files && files->empty()) {
        m_console.print_error("trovik-cli: no test files are left on " + folder);
        return;
    }
    std::string command = "trovik-cli clean " + shell_quoted(m_target.folder);
    if (m_arguments.start_index > 0)
        command += " --start-at=" + std::to_string(m_arguments.start_index + 1);
    if (m_arguments.force)
        command += " --force";
    const std::string what = files ? "test files left on " + folder + ": " + *files
                                   : "test files may be left on " + folder;
    m_console.print_error("trovik-cli: " + what + "; remove them with: " + command);
}

void command_run::end_by_signal(int signal_number) {
    m_mutex.lock();
    pass_on_last_words();
    const std::string reason = std::string("stopped by ") + stop_signals_name(signal_number);
    m_console.print_error("trovik-cli: " + reason);
    say_what_is_left();
    write_json(report_json_fatal{reason, 128 + signal_number});
    stop_signals_die_of(signal_number);
}

void command_run::end_by_failure(const char *message, int exit_status) {
    m_mutex.lock();
    pass_on_last_words();
    engine_write_results written = {};
    engine_results_write(&written);
    if (written.write_error != 0)
        m_console.print_error("trovik-cli: writing failed: " + error_text(written.write_error));
    say_what_is_left();
    write_json(report_json_fatal{message, exit_status});
}

int run_command(const cli_arguments &arguments, const run_target &target, json_output &json) {
    return command_run(arguments, target, json).execute();
}
