// orvcmd on several processes, on one machine or many: mpirun -n 4 orvmpi ARGUMENTS OF orvcmd.
//
// All processes read the table and take the same steps; trees, folds, rows and what else takes long
// are shared out among them, and with -columns the columns that a single tree is grown by. What one
// process would write is written, by the first.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <random>
#include <stdexcept>

#include "errors.h"
#include "mpi_team.h"
#include "options.h"
#include "orvik/orvik.h"
#include "program.h"
#include "zel/inpout/replacing_file.h"
#include "zel/util/run_context.h"

namespace {

using orvcmd::options;
using orvmpi::mpi_team;

constexpr char k_nowhere[] = "/dev/null";
constexpr char k_trace_alone[] = "Option -tti measures one process: run orvcmd";

/// Only the first process speaks.
void be_silent() {
  const int nowhere = open(k_nowhere, O_WRONLY);
  if (nowhere < 0) throw std::runtime_error(std::string(k_nowhere) + ": " + std::strerror(errno));
  dup2(nowhere, STDOUT_FILENO);
  close(nowhere);
}

bool can_be_read_by_all(const std::string& file) {
  std::error_code error;
  const std::filesystem::file_type type = std::filesystem::status(file, error).type();
  return type == std::filesystem::file_type::regular ||
         type == std::filesystem::file_type::not_found;
}

/// What others than the first process do: the same, without an output. What is said in the log and
/// in the report, and of rows, is found by all together, so they say it to nobody.
void leave_out_outputs(options& opt) {
  opt.others_show_matrix = opt.shows_training_matrix();
  opt.log_stdout = opt.log_stdout || !opt.log_file.empty();
  opt.text_stdout = opt.text_stdout || !opt.text_file.empty();
  opt.xml_stdout = opt.dot_stdout = false;
  for (std::string options::*file :
       {&options::binary_data_output, &options::mapped_data_output, &options::tree_binary_output,
        &options::text_file, &options::xml_file, &options::dot_file, &options::pmml_file,
        &options::json_file, &options::log_file}) {
    (opt.*file).clear();
  }
  for (std::string options::*file :
       {&options::score_output_file, &options::reasons_file, &options::metrics_file}) {
    if (!(opt.*file).empty()) opt.*file = k_nowhere;
  }
}

/// Rows from a pipe are the first process's alone.
void leave_out_pipes(options& opt) {
  if (!can_be_read_by_all(opt.test_file)) opt.test_file.clear();
  if (can_be_read_by_all(opt.score_data_file)) return;
  opt.score_data_file.clear();
  opt.reasons_file.clear();
}

/// The processes of a machine part its threads among them, unless it is said how many each has.
unsigned long workers_of_one(const mpi_team& team) {
  return std::max(1UL, orvik::get_n_workers() / team.size_on_this_machine());
}

/// Draws that differ from run to run, yet not from process to process.
unsigned long common_seed(mpi_team& team) {
  return std::stoul(team.exchange(std::to_string(std::random_device()()))[0]);
}

void run(int argc, char** argv, mpi_team& team) {
  orvik::set_n_workers(workers_of_one(team));
  options opt = options::parse(argc, argv);
  if (!opt.trace_file.empty()) throw std::runtime_error(k_trace_alone);
  if (team.rank() != 0) {
    leave_out_outputs(opt);
    leave_out_pipes(opt);
  }
  if (!opt.seed) opt.seed = common_seed(team);
  zel::util::default_context().companions = &team;
  zel::util::default_context().steps.wanted = opt.columns;
  orvcmd::run_program(opt);
}

/// Every process ends as the others do; an error of one is told by the first.
void run_with(int argc, char** argv, mpi_team& team) {
  try {
    run(argc, argv, team);
    team.exchange("");
  } catch (...) {
    const orvcmd::early_end end = orvcmd::current_end();
    if (end.status != 0) team.tell_error(end.text.substr(0, end.text.find('\n')));
    throw end;
  }
}

}  // namespace

int main(int argc, char** argv) {
  zel::inpout::end_on_interrupts();
  orvcmd::guard_process();
  mpi_team team(argc, argv);
  return orvcmd::exit_status_of([&] {
    if (team.rank() != 0) be_silent();
    run_with(argc, argv, team);
  });
}
