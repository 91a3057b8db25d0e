// SPDX-License-Identifier: GPL-3.0-or-later
// The engine works on a thread of its own; the main thread polls it ten times a second and prints
// its news.
//
// A signal (main thread) or a fatal engine error (engine thread) can end the run. The first to lock
// m_mutex wins and never unlocks it.
#include <cerrno>
#include <csignal>
#include <ctime>
#include <functional>
#include <mutex>

#include "cli/commands.h"
#include "cli/console.h"
#include "cli/run_text.h"
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
#include "runner/run_steps.h"
#include "runner/run_thread.h"

constexpr std::chrono::milliseconds poll_interval{100};

namespace {

class command_run {
 public:
    command_run(const cli_arguments &arguments, const run_guard &guard, json_output &json);
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
    run_plan plan() const;
    run_callbacks callbacks();
    bool run_on_thread(void (run_steps::*work)());
    void print_engine_output();
    int poll();
    void show_status();
    [[noreturn]] void end_by_signal(int signal_number);
    int end_without_thread();
    void release_console();
    void print_left_files();
    int finish(int status);
    run_snapshot snapshot() const;
    void print_report(const report_facts &facts);
    void print_verdict(const std::string &sentence, const std::vector<std::string> &reasons,
                       const std::vector<std::string> &notes);
    bool write_json(const std::optional<report_json_fatal> &fatal);

    const cli_arguments &m_arguments;
    const run_guard &m_guard;
    json_output &m_json;
    run_steps m_steps;
    std::optional<report_facts> m_facts;  // main thread: the report, once there is one
    std::mutex m_mutex;                   // guards everything below while the engine's thread runs
    console m_console;
    speed_window m_speed;
    engine_phase m_phase = ENGINE_PHASE_IDLE;
};

}  // namespace

// The run that the engine reports its failures to: set and cleared by the main thread while no
// other thread runs.
static command_run *current_run = nullptr;

static void on_failure(const char *message, int exit_status) {
    current_run->end_by_failure(message, exit_status);
}

run_request cli_run_request(const cli_arguments &arguments) {
    run_request request;
    request.path = arguments.volume;
    request.start_index = arguments.start_index;
    // Reading changes nothing, so any folder and any volume may be read.
    request.judge_volume = arguments.command != cli_command::read;
    request.force = arguments.force;
    return request;
}

run_plan command_run::plan() const {
    const bool is_test = m_arguments.command == cli_command::test;
    run_plan plan;
    plan.remove = m_arguments.command != cli_command::read;
    plan.fill = is_test || m_arguments.command == cli_command::write;
    plan.read = is_test || m_arguments.command == cli_command::read;
    plan.block_size = m_arguments.block_size;
    plan.medium_is_memory = m_arguments.medium_is_memory;
    return plan;
}

run_callbacks command_run::callbacks() {
    run_callbacks callbacks;
    callbacks.memory_doubt = [this](const std::string &line) {
        const std::lock_guard lock(m_mutex);
        print_engine_output();
        m_console.print(line);
    };
    return callbacks;
}

command_run::command_run(const cli_arguments &arguments, const run_guard &guard, json_output &json)
    : m_arguments(arguments), m_guard(guard), m_json(json), m_steps(guard, plan(), callbacks()) {
    set_engine_volume_path(guard.folder().c_str());
    current_run = this;
    engine_set_fatal_handler(on_failure);
}

command_run::~command_run() {
    engine_set_fatal_handler(nullptr);
    current_run = nullptr;
}

int command_run::execute() {
    if (!run_on_thread(&run_steps::execute))
        return end_without_thread();
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
    const std::string before = test_files_text(m_guard.files().numbers);
    if (!m_steps.is_volume_gone() && m_steps.scope().removal_listing_error == 0)
        m_console.print(before.empty() ? "There were no test files.\n"
                                       : "Removed " + before + ".\n");
    return finish(0);
}

int command_run::fill() {
    const fill_verdict verdict = fill_verdict_judge(snapshot());
    print_verdict(verdict.sentence, verdict.reasons, verdict.notes);
    return finish(fill_verdict_exit_status(verdict));
}

int command_run::read_back() {
    const run_snapshot run = snapshot();
    const verdict_result verdict = verdict_judge(run);
    // Without a finished read phase, the volume's values are unknown.
    if (!m_steps.is_volume_gone() || run_snapshot_read_finished(run)) {
        const std::optional<volume_info> &volume = m_guard.volume();
        m_facts = report_facts_collect(
            m_guard.folder(), volume ? volume->capacity_bytes.value_or(0) : 0, cli_version_text());
        print_report(*m_facts);
    }
    print_verdict(verdict_sentence(verdict.verdict), verdict.reasons, verdict.notes);
    const bool cleans_up = m_arguments.command == cli_command::test && !m_arguments.keep_files;
    // Without a thread, removes the files here, without progress.
    if (cleans_up && !run_on_thread(&run_steps::clean_up))
        m_steps.clean_up();
    return finish(verdict_exit_status(verdict.verdict));
}

// Reports failures beside the test itself and writes the JSON report. Returns `status`, or another
// one when it would claim that all is well.
int command_run::finish(int status) {
    int failure = 0;
    const auto fail = [&](const std::string &line) {
        m_console.print_error("trovik-cli: " + line);
        failure = EXIT_STATUS_NOT_TESTED;
    };
    const std::string folder = shown_path(m_guard.folder());
    const std::int32_t listing_error = m_steps.scope().removal_listing_error;
    if (m_steps.is_volume_gone())
        fail(volume_gone_text(m_guard.folder()));
    if (listing_error != 0)
        fail(folder +
             " could not be read to its end, test files may be left: " + error_text(listing_error));
    if (m_console.output_error() != 0)
        fail("standard output could not be written: " + error_text(m_console.output_error()));
    if (!write_json(std::nullopt))
        failure = EXIT_STATUS_NOT_TESTED;
    return status == 0 ? failure : status;
}

// Runs `work` on a thread of its own and prints its news until it returns. False when the system
// has no thread to spare.
bool command_run::run_on_thread(void (run_steps::*work)()) {
    run_thread thread([this, work] { (m_steps.*work)(); });
    if (!thread.start())
        return false;
    while (thread.is_executing()) {
        if (const int signal_number = stop_signals_wait(poll_interval))
            end_by_signal(signal_number);
        if (poll() == EPIPE)
            end_by_signal(SIGPIPE);
    }
    poll();
    return true;
}

// Prints what the engine has said since the last time. Under the lock.
void command_run::print_engine_output() {
    m_console.pass_on_streams();
    const engine_log_view lines = engine_log_take_view();
    m_console.print({lines.text, lines.length});
}

// Returns the error number of an output that could not be written, or 0.
int command_run::poll() {
    const std::lock_guard lock(m_mutex);
    print_engine_output();
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
        input.bytes_expected =
            m_steps.scope().has_write ? written.bytes_written : m_guard.files().bytes;
    }
    if (input.phase != m_phase)
        m_speed.reset();
    m_phase = input.phase;
    m_speed.add(speed_window::clock::now(), input.bytes_done);
    input.bytes_per_s = m_speed.bytes_per_s();
    m_console.show_status(status_line_text(input));
}

run_snapshot command_run::snapshot() const {
    return run_snapshot_collect(m_steps.scope());
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

// False, with the reason printed, when a wanted report could not be written.
bool command_run::write_json(const std::optional<report_json_fatal> &fatal) {
    if (!m_json.is_wanted())
        return true;
    report_json_input input;
    input.program = "trovik-cli";
    input.version = cli_version_text();
    input.command = cli_command_name(m_arguments.command);
    input.ended_at = std::time(nullptr);
    input.volume = m_guard.volume().value_or(volume_info{});
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

// Prints all output so far, removes the status line and gives the streams back.
void command_run::release_console() {
    print_engine_output();
    m_console.release_streams();
}

void command_run::print_left_files() {
    if (m_arguments.command != cli_command::read)
        m_console.print_error("trovik-cli: " + left_files_text(m_arguments, m_guard));
}

int command_run::end_without_thread() {
    m_console.print_error(std::string("trovik-cli: ") + cli_no_thread_text);
    write_json(report_json_fatal{cli_no_thread_text, EXIT_STATUS_NO_THREAD});
    return EXIT_STATUS_NO_THREAD;
}

void command_run::end_by_signal(int signal_number) {
    m_mutex.lock();
    release_console();
    const std::string reason = std::string("stopped by ") + stop_signals_name(signal_number);
    m_console.print_error("trovik-cli: " + reason);
    print_left_files();
    write_json(report_json_fatal{reason, 128 + signal_number});
    stop_signals_die_of(signal_number);
}

void command_run::end_by_failure(const char *message, int exit_status) {
    m_mutex.lock();
    release_console();
    engine_write_results written = {};
    engine_results_write(&written);
    if (written.write_error != 0)
        m_console.print_error("trovik-cli: writing failed: " + error_text(written.write_error));
    print_left_files();
    write_json(report_json_fatal{message, exit_status});
}

int run_command(const cli_arguments &arguments, const run_guard &guard, json_output &json) {
    return command_run(arguments, guard, json).execute();
}
